/**
 * The worker's side of the bridge. Messages to it: {compiled} once, then {id, name, argument} for a task. Messages from
 * it: {isReady}, {id, progress}, {id, result} or {id, error}.
 */
import { memoryWasted, tasks } from './tasks.js';

const patience = 50;
let compiled = null;

async function runTask({ id, name, argument }) {
  let last = performance.now();
  const reached = (progress) => {
    if (performance.now() - last > patience) {
      last = performance.now();
      self.postMessage({ id, progress });
    }
  };
  try {
    const result = await tasks[name](compiled, argument, reached);
    self.postMessage({ id, result, wasted: memoryWasted() }, result.bitmap ? [result.bitmap] : []);
  } catch (error) {
    self.postMessage({ id, error: error.message });
  }
}

self.onmessage = ({ data }) => {
  if (data.compiled) {
    compiled = data.compiled;
    self.postMessage({ isReady: true });
  } else {
    runTask(data);
  }
};
