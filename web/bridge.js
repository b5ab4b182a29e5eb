/**
 * The one way from the page to heavy work: `run(name, argument, options)` runs a task of tasks.js in a worker, or on the
 * page where the browser gives it none. Options: `onProgress` is called with how much is done, `signal` ends the task.
 * The promise is rejected when the task fails or has been ended.
 */
import { tasks } from './tasks.js';

/** Browsers are slow to collect what instances leave behind: from so many bytes on, it goes with its worker. */
const mostWasted = 128 << 20;

export async function buildBridge(moduleBytes, workerSource) {
  const compiled = await WebAssembly.compile(moduleBytes);
  try {
    return bridgeTo(await startWorker(compiled, workerSource), () => startWorker(compiled, workerSource));
  } catch {
    return bridgeToPage(compiled);
  }
}

/** A page that was opened as a file may start a worker only from its own source. */
function startWorker(compiled, source) {
  return new Promise((resolve, reject) => {
    const address = URL.createObjectURL(new Blob([source], { type: 'text/javascript' }));
    const worker = new Worker(address);
    worker.onmessage = () => {
      URL.revokeObjectURL(address);
      resolve(worker);
    };
    worker.onerror = () => reject(new Error('no worker'));
    worker.postMessage({ compiled });
  });
}

/** One task is with the worker at a time, so that it alone is lost when it is ended with its worker. */
function bridgeTo(firstWorker, startAnother) {
  let worker = firstWorker;
  let queue = [];
  let running = null;
  let lastId = 0;

  function next() {
    if (running === null && worker !== null && queue.length > 0) {
      running = queue.shift();
      worker.onmessage = receive;
      worker.postMessage(running.message);
    }
  }

  function receive({ data: { progress, result, error, wasted } }) {
    if (progress !== undefined) {
      running.onProgress?.(progress);
      return;
    }
    const { resolve, reject } = running;
    running = null;
    if (wasted > mostWasted) {
      renew();
    }
    next();
    if (error === undefined) {
      resolve(result);
    } else {
      reject(new Error(error));
    }
  }

  async function end(task) {
    queue = queue.filter((other) => other !== task);
    if (task === running) {
      worker.terminate();
      worker = running = null;
      worker = await startAnother();
      next();
    }
  }

  const run = (name, argument, { onProgress, signal } = {}) =>
    new Promise((resolve, reject) => {
      const task = { message: { id: ++lastId, name, argument }, resolve, reject, onProgress };
      signal?.addEventListener('abort', () => {
        reject(signal.reason);
        end(task);
      });
      queue.push(task);
      next();
    });

  /** Another worker takes the place of one that has nothing to do, and of its memory. */
  function renew() {
    if (running === null && worker !== null) {
      end(null);
    }
  }
  return { run, renew, hasWorker: true };
}

function bridgeToPage(compiled) {
  const run = async (name, argument, { signal } = {}) => {
    const result = await tasks[name](compiled, argument, () => {});
    signal?.throwIfAborted();
    return result;
  };
  return { run, renew: () => {}, hasWorker: false };
}
