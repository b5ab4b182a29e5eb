/**
 * The library's services over plain objects. Every request runs in an instance of its own, as on a device in a
 * process of its own: whatever a file does to one, the next begins with fresh memory.
 */
import { makeFileSystem } from './file_system.js';
import { codes, layout } from './layout.js';

const fileName = 'calibration.bin';
const flags = { distort: codes.CALIBMAP_DISTORTION, undistort: codes.CALIBMAP_UNDISTORTION };
const checkedRanges = [
  ['main camera', layout.CALIBMAP_MAIN_BLOCK, layout.CALIBMAP_MAIN_BLOCK_SIZE],
  ['sub camera', layout.CALIBMAP_SUB_BLOCK, layout.CALIBMAP_SUB_BLOCK_SIZE],
  ['extrinsics', layout.CALIBMAP_EXTRINSIC_BLOCK, layout.CALIBMAP_EXTRINSIC_BLOCK_SIZE],
  ['whole file', 0, layout.CALIBMAP_CHECKED_SIZE],
];

/** An instance of the compiled library in which `calibin` names a file of these bytes. */
export async function startLibrary(module, bytes) {
  let memory = null;
  const system = makeFileSystem({ name: fileName, bytes }, () => memory);
  const { exports } = await WebAssembly.instantiate(module, system.imports);
  memory = exports.memory;
  exports._initialize();
  const library = { exports, linesPrinted: system.linesPrinted };
  const path = new TextEncoder().encode(`/${fileName}\0`);
  bytesAt(library, exports.calibin.value, path.length).set(path);
  return library;
}

function bytesAt(library, address, size) {
  return new Uint8Array(library.exports.memory.buffer, address, size);
}

/** A block of the library's heap; null when there is not so much memory. */
function allocate(library, size) {
  // A size that does not fit into 32 bits must not wrap around to one that does.
  const address = size <= 0xffffffff ? library.exports.malloc(size) >>> 0 : 0;
  return address === 0 ? null : address;
}

/** The CamDistortionLUT of a caller: addresses of x and y, rows, columns. */
function putMapRecord(library, x, y, rows, cols) {
  const address = allocate(library, 16);
  const view = new DataView(library.exports.memory.buffer, address, 16);
  [x, y, rows, cols].forEach((value, i) => view.setInt32(4 * i, value, true));
  return address;
}

/** Whether a device accepts the file: the library's status and its words. */
export function checkFile(library) {
  const record = putMapRecord(library, 0, 0, 1, 1);
  const status = library.exports.DistortionProcess(codes.CALIBMAP_FILE_CHECK, 1, 0, record);
  return { status, words: library.linesPrinted() };
}

function putImage(library, image) {
  const address = allocate(library, image.length);
  bytesAt(library, address, image.length).set(image);
  return address;
}

/** The four checksummed ranges of a file image, with the checksums that it holds and should hold. */
export function examineRanges(library, image) {
  const address = putImage(library, image);
  return checkedRanges.map(([name, first, size]) => ({
    name,
    first,
    size,
    stored: image[first + size],
    computed: library.exports.calibrationChecksum(address + first, size) & 0xff,
  }));
}

/** Both cameras, the extrinsic block and the shape of the models of a file image. */
export function readParameters(library, image) {
  const { exports } = library;
  const address = putImage(library, image);
  const record = (extract, size) => {
    const result = allocate(library, size);
    extract(result, address);
    return new DataView(exports.memory.buffer, result, size);
  };
  const camera = (extract) => {
    const view = record(extract, 24 + 4 * layout.CALIBMAP_COEFF_COUNT);
    const [cx, cy, fx, fy] = [8, 12, 16, 20].map((offset) => view.getFloat32(offset, true));
    const coeff = [];
    for (let i = 0; i < layout.CALIBMAP_COEFF_COUNT; ++i) {
      coeff.push(view.getUint32(24 + 4 * i, true));
    }
    return { width: view.getInt32(0, true), height: view.getInt32(4, true), cx, cy, fx, fy, coeff };
  };
  const extrinsics = record(exports.extractCameraExteral, layout.CALIBMAP_EXTRINSIC_BLOCK_SIZE);
  const block = image.subarray(layout.CALIBMAP_MAIN_BLOCK);
  return {
    mainCamera: camera(exports.extractMainCameraIntrn),
    subCamera: camera(exports.extractSubCameraIntrn),
    extrinsics: Array.from(new Uint8Array(extrinsics.buffer, extrinsics.byteOffset, extrinsics.byteLength)),
    orders: [block[layout.CALIBMAP_X_ORDER], block[layout.CALIBMAP_Y_ORDER]],
    pieces: [block[layout.CALIBMAP_X_PIECES], block[layout.CALIBMAP_Y_PIECES]],
  };
}

/**
 * Whether the image of an accepted file can be used, {isUsable, findings}: what keeps it from that or, in one sentence,
 * how well its maps agree.
 */
export function examineUse(library, image) {
  const isUsable = allocate(library, 4);
  const text = library.exports.examineUse(putImage(library, image), isUsable);
  const memory = library.exports.memory.buffer;
  const bytes = new Uint8Array(memory, text);
  const lines = new TextDecoder().decode(bytes.subarray(0, bytes.indexOf(0))).split('\n');
  return { isUsable: new DataView(memory).getInt32(isUsable, true) === 1, findings: lines.slice(0, -1) };
}

function request(library, direction, ratio, record) {
  return library.exports.DistortionProcess(flags[direction], ratio, 0, record);
}

/** The status of a request that cannot be fulfilled; null when only memory is missing. */
function refusal(library, direction, ratio, record) {
  try {
    return request(library, direction, ratio, record);
  } catch (error) {
    if (error instanceof WebAssembly.RuntimeError) {
      return null;
    }
    throw error;
  }
}

/** At these addresses an instance has no memory, so that the first access ends it. */
const nowhere = 0xfffffff0;

/**
 * The map of one direction ('undistort' or 'distort'), for a main camera of this size: the library's status and
 * words, and with status 0 the map. An image for whose map there is no memory is put to the library all the
 * same, because its own reason to refuse comes first.
 */
export function computeMap(library, camera, direction, ratio) {
  const samples = (pixels) => (ratio === 0 ? pixels : Math.trunc(pixels / ratio));
  const [rows, cols] = [samples(camera.height), samples(camera.width)];
  const size = 4 * Math.max(rows, 0) * Math.max(cols, 0);
  const [x, y] = [allocate(library, size), allocate(library, size)];
  const fits = x !== null && y !== null;
  const record = putMapRecord(library, fits ? x : nowhere, fits ? y : nowhere, rows, cols);
  const status = fits ? request(library, direction, ratio, record) : refusal(library, direction, ratio, record);
  const words = library.linesPrinted();
  if (status !== codes.CALIBMAP_SUCCESS) {
    return { status, words };
  }
  const copy = (address) => new Float32Array(library.exports.memory.buffer, address, rows * cols).slice();
  return { status, words, map: { rows, cols, ratio, x: copy(x), y: copy(y) } };
}
