/** What the browser test adds to the page: the library by itself, to hash and to time. */
import { makeFileSystem } from '../library/file_system.js';
import { linesOf, startModule } from '../library/module.js';
import { readAnswer } from '../library/reader.js';
import { tasks } from '../tasks.js';

const bytesOf = (base64) => Uint8Array.from(atob(base64), (letter) => letter.charCodeAt(0));
const compiled = (base64) => WebAssembly.compile(bytesOf(base64));

/** The lines of hashes that the module with the promised cases prints. */
async function goldenHashes(base64) {
  let memory = null;
  const file = { name: '', bytes: null, printed: '' };
  const { exports } = await WebAssembly.instantiate(
    await compiled(base64),
    makeFileSystem(file, () => memory),
  );
  memory = exports.memory;
  exports._initialize();
  exports.printHashes();
  return linesOf(file);
}

/**
 * The shortest time of one undistortion map in milliseconds, in an instance that is warm. Clocks in browsers are
 * coarse, so several maps are timed together.
 */
async function mapTime(base64, fileBase64, rows, cols) {
  const { exports } = await startModule(await compiled(base64), bytesOf(fileBase64));
  const record = exports.malloc(16);
  const fields = [exports.malloc(4 * rows * cols), exports.malloc(4 * rows * cols), rows, cols];
  fields.forEach((value, i) => new DataView(exports.memory.buffer).setInt32(record + 4 * i, value, true));
  const together = 10;
  let shortest = Infinity;
  for (let i = 0; i < 40; ++i) {
    const start = performance.now();
    for (let j = 0; j < together; ++j) {
      exports.DistortionProcess(2, 1, 0, record);
    }
    shortest = Math.min(shortest, (performance.now() - start) / together);
  }
  return shortest;
}

const plain = (name, value) =>
  typeof value === 'number' && !Number.isFinite(value) ? String(value).replace('Infinity', 'inf').toLowerCase() : value;

/** What the page says of each of several files [name, content], and of each beside the first, as JSON. */
async function inspections(base64, files) {
  const module = await compiled(base64);
  const entries = files.map(([name, content], key) => {
    const bytes = bytesOf(content);
    return { key, name, bytes, size: bytes.length };
  });
  const said = [];
  for (const file of entries) {
    const { check, info } = await tasks.examine(module, { file, other: null });
    const paper = { direction: 'undistort', width: 400, dotsPerPixel: 1 };
    const isComparable = entries[0].bytes.length <= file.size;
    const compared = isComparable
      ? await tasks.compare(module, { files: [entries[0], file], ...paper }, () => {}).catch(() => null)
      : null;
    said.push({ check, info, maps: compared?.maps, fields: compared?.fields });
  }
  return JSON.stringify(said, plain);
}

/** Where two records are not alike, numbers by more than what two compilers' functions differ by. */
function differences(a, b, path = '') {
  if (ArrayBuffer.isView(a) || (a !== null && typeof a === 'object')) {
    const names = Object.keys(a);
    return names.length === Object.keys(b ?? {}).length
      ? names.flatMap((name) => differences(a[name], b[name], `${path}.${name}`)).slice(0, 5)
      : [`${path}: ${names.length} members`];
  }
  const isByte = path.includes('.dots.');
  const isAlike = typeof a === 'number' ? Math.abs(a - b) <= (isByte ? 1 : 1e-6) : a === b;
  return isAlike ? [] : [`${path}: ${a} and ${b}`];
}

/** Where the page's drawing of a file is not that of the program, which stands in the bytes of the latter. */
async function drawingDifferences(base64, fileBase64, direction, width, programsBase64) {
  const bytes = bytesOf(fileBase64);
  const file = { key: 0, name: 'lens.bin', bytes, size: bytes.length };
  const request = { file, direction, ratio: 1 };
  const answer = await tasks.drawMap(
    await compiled(base64),
    { request, width, dotsPerPixel: 1, part: { left: 0, top: 0, size: 1 } },
    () => {},
  );
  return differences(answer.drawing, readAnswer(bytesOf(programsBase64), 0));
}

globalThis.harness = { goldenHashes, mapTime, inspections, drawingDifferences };
