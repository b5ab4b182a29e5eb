/**
 * What the page asks for, as functions from one plain object to another that do not touch the page: the same ones
 * run in the worker and, where there is none, on the page itself. Each gets the compiled module and `reached`, which
 * is told how much is done so far, from 0 to 1.
 *
 * A `file` is {key, name, label, bytes, size}: a name for its content, its own name and the one it is shown under, its
 * first bytes, or null when they cannot be read, and how many it has. A `request` is {file, direction, ratio}.
 */
import { memoryTaken, startModule } from './library/module.js';

const code = (direction) => (direction === 'undistort' ? 1 : 0);

/** What is said of a file, and the library's own words. */
async function examine(compiled, { file }) {
  const module = await startModule(compiled, file.bytes);
  const { status } = module.ask('checkAsDevice');
  const lines = module.linesPrinted();
  const inspected = module.ask('inspectFile', file.name, file.size, file.bytes ? 1 : 0);
  module.rest();
  return { status, lines, ...inspected };
}

/** Instances that hold the latest maps: what is drawn is soon asked for its details. */
const holders = new Map();
const holdersKept = 2;

/** The bytes of memory that belong to instances of which nothing is wanted any more. */
export function memoryWasted() {
  const held = [...holders.values()].map(({ answer }) => answer.module.memory.buffer.byteLength);
  return held.reduce((rest, bytes) => rest - bytes, memoryTaken());
}

/** {status, refusal, lines} for a request, and the `module` that holds the map if there is one. */
async function requestMap(compiled, { file, direction, ratio }, reached) {
  const key = `${file.key} ${direction} ${ratio}`;
  const held = holders.get(key);
  if (held) {
    held.reached = reached;
    return held.answer;
  }
  const holder = { reached };
  const module = await startModule(compiled, file.bytes, (part) => holder.reached(part));
  try {
    holder.answer = { ...module.ask('makeMap', code(direction), ratio), lines: module.linesPrinted() };
  } catch (error) {
    if (!(error instanceof WebAssembly.RuntimeError)) {
      throw error;
    }
    // The instance has ended for want of memory. Another one can tell so.
    const fresh = await startModule(compiled, file.bytes);
    return { status: null, lines: module.linesPrinted(), ...fresh.ask('explainNoMemory', code(direction), ratio) };
  }
  if (holder.answer.refusal) {
    return holder.answer;
  }
  holder.answer.module = module;
  while (holders.size >= holdersKept) {
    holders.delete(holders.keys().next().value);
  }
  holders.set(key, holder);
  return holder.answer;
}

/** The map of a request as a drawing and in numbers, or why there is none. */
async function drawMap(compiled, { request, width, dotsPerPixel, part }, reached) {
  const { module, ...answer } = await requestMap(compiled, request, reached);
  return module
    ? {
        ...answer,
        ...module.ask('drawMap', request.file.label ?? request.file.name, width, dotsPerPixel, ...Object.values(part)),
      }
    : answer;
}

/** Where a map that has been drawn takes a pixel, or a place on the paper. */
async function lookUp(compiled, { request, place, isOnPaper }, reached) {
  const { module } = await requestMap(compiled, request, reached);
  return module.ask(
    'lookUpPlace',
    isOnPaper ? 1 : 0,
    place.x,
    place.y,
    request.paper.width,
    request.paper.dotsPerPixel,
    ...Object.values(request.part),
  );
}

/** A map as a NumPy file. */
async function saveMap(compiled, { request }, reached) {
  const { module } = await requestMap(compiled, request, reached);
  const { header, x, y } = module.ask('saveMap');
  return new Blob([header, x, y], { type: 'application/octet-stream' });
}

/** A picture file without what it says of its colours. */
const decode = (file) => createImageBitmap(file, { colorSpaceConversion: 'none' });

/** {width, height} of a picture file. */
async function measurePhoto(compiled, { photo }) {
  const bitmap = await decode(photo);
  const { width, height } = bitmap;
  bitmap.close();
  return { width, height };
}

/** The pixels of a picture file, RGBA bytes. */
async function pixelsOf(file) {
  const bitmap = await decode(file);
  const { width, height } = bitmap;
  const context = new OffscreenCanvas(width, height).getContext('2d', { willReadFrequently: true });
  context.drawImage(bitmap, 0, 0);
  bitmap.close();
  return context.getImageData(0, 0, width, height);
}

/** {bitmap} of a photo of the camera's size as a map of ratio 1 sees it, or why there is none. */
async function remapPhoto(compiled, { file, direction, photo }, reached) {
  const { module, ...answer } = await requestMap(compiled, { file, direction, ratio: 1 }, reached);
  if (!module) {
    return answer;
  }
  const { data, width, height } = await pixelsOf(photo);
  const { address } = module.ask('remapPhoto', data, data.length);
  // Straight out of the module's memory, which two photos have made large: the next question takes another.
  const pixels = new Uint8ClampedArray(module.memory.buffer, address, data.length);
  holders.clear();
  return { ...answer, bitmap: await createImageBitmap(new ImageData(pixels, width, height)) };
}

async function askOfPair(compiled, [first, second], reached, question, ...values) {
  const module = await startModule(compiled, first.bytes, reached);
  module.ask('takeFile', 1, second.bytes, second.bytes.length);
  const answer = module.ask(question, first.label ?? first.name, second.label ?? second.name, ...values);
  module.rest();
  return answer;
}

/** How far the maps of two files are apart: both directions in numbers, the asked one as a drawing. */
const compare = (compiled, { files, direction, width, dotsPerPixel }, reached) =>
  askOfPair(compiled, files, reached, 'compareFiles', code(direction), width, dotsPerPixel);

/** The same of one direction, in numbers alone. */
const differ = (compiled, { files, direction }, reached) =>
  askOfPair(compiled, files, reached, 'differ', code(direction));

export const tasks = { examine, drawMap, lookUp, saveMap, measurePhoto, remapPhoto, compare, differ };
