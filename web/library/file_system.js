/**
 * The system that the library sees in the browser: one folder with one file in it, and a standard output that
 * is collected. These are the system calls of WASI preview 1 that the C library makes for access, fopen, fread,
 * fclose and printf; numbers and record layouts are WASI's.
 */

const errno = { success: 0, access: 2, badDescriptor: 8, invalid: 28, noEntry: 44 };
const fileType = { characterDevice: 2, directory: 3, regularFile: 4 };
const descriptor = { standardOutput: 1, folder: 3, file: 4 };

/** What cannot be sought in is a terminal to the C library, which then writes line by line. */
const rights = { write: 1n << 6n, all: 0xffffffffffffffffn };

/** The folder's name for the program. */
const root = '/';

/**
 * `file` is {name, bytes, printed}; with null bytes the file exists and cannot be opened, and what is printed goes to
 * `printed`. `memory` gives the memory of the instance that calls. Returns the imports of that instance.
 */
export function makeFileSystem(file, memory) {
  const view = () => new DataView(memory().buffer);
  const byteRange = (start, size) => new Uint8Array(memory().buffer, start, size);
  const textAt = (start, size) => new TextDecoder().decode(byteRange(start, size));
  let position = 0;

  /** The buffers of one call that reads or writes, as `count` pairs of address and size. */
  function* buffersOf(vectors, count) {
    for (let i = 0; i < count; ++i) {
      const start = view().getUint32(vectors + 8 * i, true);
      yield byteRange(start, view().getUint32(vectors + 8 * i + 4, true));
    }
  }

  function putFileStatus(type, size, result) {
    byteRange(result, 64).fill(0);
    view().setUint8(result + 16, type);
    view().setBigUint64(result + 24, 1n, true);
    view().setBigUint64(result + 32, BigInt(size), true);
  }

  const calls = {
    fd_prestat_get(fd, result) {
      if (fd !== descriptor.folder) {
        return errno.badDescriptor;
      }
      view().setUint32(result, 0, true);
      view().setUint32(result + 4, root.length, true);
      return errno.success;
    },

    fd_prestat_dir_name(fd, name, size) {
      if (fd !== descriptor.folder) {
        return errno.badDescriptor;
      }
      new TextEncoder().encodeInto(root, byteRange(name, size));
      return errno.success;
    },

    fd_fdstat_get(fd, result) {
      const types = [fileType.characterDevice, fileType.characterDevice, fileType.characterDevice];
      types.push(fileType.directory, fileType.regularFile);
      if (types[fd] === undefined) {
        return errno.badDescriptor;
      }
      byteRange(result, 24).fill(0);
      view().setUint8(result, types[fd]);
      const isTerminal = types[fd] === fileType.characterDevice;
      view().setBigUint64(result + 8, isTerminal ? rights.write : rights.all, true);
      view().setBigUint64(result + 16, rights.all, true);
      return errno.success;
    },

    fd_fdstat_set_flags() {
      return errno.success;
    },

    path_filestat_get(fd, flags, path, size, result) {
      if (textAt(path, size) !== file.name) {
        return errno.noEntry;
      }
      putFileStatus(fileType.regularFile, file.bytes?.length ?? 0, result);
      return errno.success;
    },

    path_open(fd, lookup, path, size, open, base, inheriting, flags, result) {
      if (textAt(path, size) !== file.name) {
        return errno.noEntry;
      }
      if (file.bytes === null) {
        return errno.access;
      }
      position = 0;
      view().setUint32(result, descriptor.file, true);
      return errno.success;
    },

    fd_read(fd, vectors, count, result) {
      if (fd !== descriptor.file) {
        return errno.badDescriptor;
      }
      const start = position;
      for (const buffer of buffersOf(vectors, count)) {
        const part = file.bytes.subarray(position, position + buffer.length);
        buffer.set(part);
        position += part.length;
      }
      view().setUint32(result, position - start, true);
      return errno.success;
    },

    fd_write(fd, vectors, count, result) {
      let size = 0;
      for (const buffer of buffersOf(vectors, count)) {
        file.printed += fd === descriptor.standardOutput ? new TextDecoder().decode(buffer) : '';
        size += buffer.length;
      }
      view().setUint32(result, size, true);
      return errno.success;
    },

    fd_seek(fd, offset, whence, result) {
      if (fd !== descriptor.file) {
        return errno.badDescriptor;
      }
      const base = [0, position, file.bytes.length][whence];
      if (base === undefined || base + Number(offset) < 0) {
        return errno.invalid;
      }
      position = base + Number(offset);
      view().setBigUint64(result, BigInt(position), true);
      return errno.success;
    },

    fd_close() {
      return errno.success;
    },

    proc_exit(status) {
      throw new Error(`the library ended with exit status ${status}`);
    },
  };

  return { wasi_snapshot_preview1: calls };
}
