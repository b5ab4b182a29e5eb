/**
 * What the page asks for, as functions from one plain object to another that do not touch the page: the same ones
 * run in the worker and, where there is none, in slices on the page itself. Each gets the compiled library and
 * `step`, which it calls with how much is done so far, from 0 to 1, and which may pause or end it.
 *
 * A `file` is {key, bytes, size, camera}: a name for its content, its first bytes, or null when they cannot be
 * read, how many it has, and once it has been examined its main camera. A `request` is {file, direction, ratio}.
 */
import { checkFile, computeMap, examineRanges, examineUse, readParameters, startLibrary } from './library/calibmap.js';
import { codes, layout as fields } from './library/layout.js';
import { countOutside, displacementsOf, driftBetween, mapped, summaryOf } from './maps/coordinate_map.js';
import { npyFile } from './maps/npy.js';
import { remapped } from './maps/remap.js';
import { makeShapes } from './pictures/shapes.js';

/** Whether a device accepts a file and why not; if it does, whether it can be used, and its parameters. */
async function examine(module, { file }) {
  const library = await startLibrary(module, file.bytes);
  const result = { size: file.size, isReadable: file.bytes !== null, ...checkFile(library) };
  const isComplete = result.isReadable && file.bytes.length >= fields.CALIBMAP_FILE_SIZE;
  result.ranges = isComplete ? examineRanges(library, file.bytes) : [];
  result.passFlag = isComplete ? file.bytes[fields.CALIBMAP_PASS_FLAG] : null;
  const isAccepted = result.status === codes.CALIBMAP_SUCCESS;
  result.parameters = isAccepted ? readParameters(library, file.bytes) : null;
  result.use = isAccepted ? examineUse(library, file.bytes) : null;
  return result;
}

/** The latest answers of `requestMap`: what is drawn is soon asked for its details. */
const answers = new Map();
const answersKept = 4;

/** The library's answer to a request: {status, words, map}. */
async function requestMap(module, { file, direction, ratio }) {
  const key = `${file.key} ${direction} ${ratio}`;
  if (!answers.has(key)) {
    const library = await startLibrary(module, file.bytes);
    answers.set(key, computeMap(library, file.camera, direction, ratio));
    if (answers.size > answersKept) {
      answers.delete(answers.keys().next().value);
    }
  }
  return answers.get(key);
}

/** The map of a request that has been answered with status 0. */
async function mapOf(module, request) {
  return (await requestMap(module, request)).map;
}

/** The map of a request as a figure and in numbers, or why there is none: no map, or one that leads nowhere. */
async function drawMap(module, { request, layout }, step) {
  const { status, words, map } = await requestMap(module, request);
  if (!map) {
    return { status, words };
  }
  const displacements = await displacementsOf(map, step);
  const summary = await summaryOf(displacements, step);
  if (summary.isLost) {
    return { status, words, isLost: true };
  }
  const numbers = { rows: map.rows, cols: map.cols, outside: await countOutside(map, step), ...summary };
  return { status, words, numbers, shapes: await makeShapes(layout, displacements, summary, map, step) };
}

/** Where a map takes a pixel. */
async function lookUp(module, { request, pixel }) {
  return mapped(await mapOf(module, request), pixel);
}

/** A map as a NumPy file. */
async function saveMap(module, { request }) {
  return npyFile(await mapOf(module, request));
}

/** A photo of the camera's size, RGBA bytes, as a map of ratio 1 sees it, or why there is none. */
async function remapPhoto(module, { file, direction, pixels }, step) {
  const { status, words, map } = await requestMap(module, { file, direction, ratio: 1 });
  return map ? { status, words, pixels: await remapped(map, pixels, step) } : { status, words };
}

/** How far the maps of two files are apart: both directions in numbers, the asked one as a figure. */
async function compare(module, { files, direction, ratio, layout }, step) {
  const result = { drift: {}, shapes: null };
  for (const either of ['undistort', 'distort']) {
    const [a, b] = [
      await mapOf(module, { file: files[0], direction: either, ratio }),
      await mapOf(module, { file: files[1], direction: either, ratio }),
    ];
    if (!a || !b || a.rows !== b.rows || a.cols !== b.cols) {
      continue;
    }
    const drift = await driftBetween(a, b, step);
    const summary = await summaryOf(drift, step);
    result.drift[either] = summary;
    if (either === direction && !summary.isLost) {
      result.shapes = await makeShapes(layout, drift, summary, null, step);
    }
  }
  return result;
}

export const tasks = { examine, drawMap, lookUp, saveMap, remapPhoto, compare };

/** A `step` that reports, gives way and heeds `signal` whenever the work has gone on for a while. */
export function makeStep(report, signal) {
  const slice = 25;
  let last = performance.now();
  return async (part) => {
    if (performance.now() - last > slice) {
      report(part);
      await new Promise((resolve) => setTimeout(resolve));
      signal.throwIfAborted();
      last = performance.now();
    }
  };
}
