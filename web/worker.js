/**
 * The worker's side of the bridge. Messages to it: {library} once, {id, name, argument} for a task, {cancel: id}.
 * Messages from it: {isReady}, {id, progress}, {id, result} or {id, error}.
 */
import { makeStep, tasks } from './tasks.js';

const cancellers = new Map();
let library = null;

async function runTask({ id, name, argument }) {
  const canceller = new AbortController();
  cancellers.set(id, canceller);
  const step = makeStep((progress) => self.postMessage({ id, progress }), canceller.signal);
  try {
    const result = await tasks[name](await library, argument, step);
    const pixels = result.shapes?.heatMap ?? result.pixels;
    self.postMessage({ id, result }, pixels ? [pixels.buffer] : []);
  } catch (error) {
    self.postMessage({ id, error: error.message });
  }
  cancellers.delete(id);
}

self.onmessage = ({ data }) => {
  if (data.library) {
    library = WebAssembly.compile(data.library);
    self.postMessage({ isReady: true });
  } else if (data.cancel) {
    cancellers.get(data.cancel)?.abort();
  } else {
    runTask(data);
  }
};
