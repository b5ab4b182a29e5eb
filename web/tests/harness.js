/** What the browser test adds to the page: the library by itself, to hash and to time. */
import { makeFileSystem } from '../library/file_system.js';
import { startModule } from '../library/module.js';

const compiled = (base64) => WebAssembly.compile(Uint8Array.from(atob(base64), (letter) => letter.charCodeAt(0)));

/** The lines of hashes that the module with the promised cases prints. */
async function goldenHashes(base64) {
  let memory = null;
  const system = makeFileSystem({ name: '', bytes: null }, () => memory);
  const { exports } = await WebAssembly.instantiate(await compiled(base64), system.imports);
  memory = exports.memory;
  exports._initialize();
  exports.printHashes();
  return system.linesPrinted();
}

/**
 * The shortest time of one undistortion map in milliseconds, in an instance that is warm. Clocks in browsers are
 * coarse, so several maps are timed together.
 */
async function mapTime(base64, fileBase64, rows, cols) {
  const bytes = Uint8Array.from(atob(fileBase64), (letter) => letter.charCodeAt(0));
  const { exports } = await startModule(await compiled(base64), bytes);
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

globalThis.harness = { goldenHashes, mapTime };
