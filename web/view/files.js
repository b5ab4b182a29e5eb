/** Files before anything is asked of them: out of what has been dropped, what they plainly are, and how to name them. */

/** All files that have been dropped, those in folders too, which have their `path`. */
export async function readDropped({ items, files }) {
  const [dropped, plain] = [[...items].map(entryOf), [...files]];
  const entries = (await Promise.all(dropped)).filter(Boolean);
  return entries.some(isFolder) ? (await Promise.all(entries.map((entry) => filesIn(entry)))).flat() : plain;
}

/** Chromium opens the older kind of entries on no page that comes from a disk, and others have no newer one. */
const entryOf = (item) => item.getAsFileSystemHandle?.().catch(() => null) ?? item.webkitGetAsEntry();
const isFolder = (entry) => entry.isDirectory ?? entry.kind === 'directory';

async function filesIn(entry, folder = '') {
  const path = folder + entry.name;
  if (!isFolder(entry)) {
    const file = await (entry.getFile?.() ?? new Promise((resolve, reject) => entry.file(resolve, reject)));
    return [Object.assign(file, { path })];
  }
  const inside = [];
  for await (const one of entry.values?.() ?? entriesIn(entry.createReader())) {
    inside.push(filesIn(one, `${path}/`));
  }
  return (await Promise.all(inside)).flat();
}

async function* entriesIn(reader) {
  // A browser gives a hundred at a time.
  for (let some = null; some?.length !== 0; yield* some) {
    some = await new Promise((resolve, reject) => reader.readEntries(resolve, reject));
  }
}

const beginnings = [
  ['\xff\xd8\xff', 'picture'],
  ['\x89PNG', 'picture'],
  ['%PDF', 'a PDF document'],
  ['PK\x03\x04', 'a ZIP archive or an office document'],
  ['\x1f\x8b', 'a gzip archive'],
  ['\x7fELF', 'a program'],
];
const mostBytes = 1 << 20;

/** What a file plainly is if it is no calibration: 'picture', or in words; null where nothing speaks against it. */
export function kindOf(bytes, { type, size }) {
  const beginning = String.fromCharCode(...(bytes?.subarray(0, 8) ?? []));
  const known = beginnings.find(([text]) => beginning.startsWith(text))?.[1];
  if (known || type.startsWith('image/')) {
    return known ?? 'picture';
  }
  return size > mostBytes ? `a file of ${sizeOf({ size })}` : null;
}

/**
 * A JPEG photo without its APP1 segments, which say how the camera was held: browsers turn the pixels by that, and the
 * map is for those that the sensor wrote. No option of a browser keeps all of them from it.
 */
export async function asRecorded(file) {
  const view = new DataView(await file.slice(0, mostBytes).arrayBuffer());
  const [startOfImage, startOfScan, app1] = [0xffd8, 0xffda, 0xffe1];
  const parts = [];
  let at = 0;
  let size = 2;
  for (let marker = startOfImage; at + size + 4 <= view.byteLength && marker !== startOfScan;) {
    if (marker !== app1) {
      parts.push(file.slice(at, at + size));
    }
    at += size;
    marker = view.getUint16(at);
    size = 2 + view.getUint16(at + 2);
  }
  // Bytes, since Firefox decodes no picture that is put together from parts of a file.
  const bytes = () => new Blob([...parts, file.slice(at)]).arrayBuffer();
  return view.getUint16(0) === startOfImage ? new Blob([await bytes()], { type: 'image/jpeg' }) : file;
}

export const sizeOf = ({ size }) => `${size.toLocaleString('en')} bytes`;

/** FNV-1a: short, and only to tell files apart that have one name. */
function hashOf(bytes) {
  const hash = (bytes ?? []).reduce((sum, byte) => Math.imul(sum ^ byte, 0x01000193), 0x811c9dc5);
  return (hash >>> 0).toString(16).padStart(8, '0');
}

/** Gives each file a `label` that no other has: its name where that is enough. */
export function labelAll(files) {
  const groups = new Map();
  for (const file of files) {
    groups.set(file.name, [...(groups.get(file.name) ?? []), file]);
  }
  for (const [name, group] of groups) {
    group.forEach((file, i) => {
      const letter = (i + 10).toString(36).toUpperCase();
      file.label =
        group.length === 1 ? name : `${name} (${letter}, ${sizeOf(file)}, ${(file.hash ??= hashOf(file.bytes))})`;
    });
  }
}
