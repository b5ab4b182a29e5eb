/**
 * The one way from the page to heavy work: `run(name, argument, options)` runs a task of tasks.js in a worker, or
 * in slices on the page where the browser gives it none. Options: `onProgress` is called with how much is
 * done, `signal` ends the task. The promise is rejected when the task fails or has been ended.
 */
import { makeStep, tasks } from './tasks.js';

export async function buildBridge(libraryBytes, workerSource) {
  try {
    return bridgeTo(await startWorker(libraryBytes, workerSource));
  } catch {
    return bridgeToPage(await WebAssembly.compile(libraryBytes));
  }
}

/** A page that was opened as a file may start a worker only from its own source. */
function startWorker(libraryBytes, source) {
  return new Promise((resolve, reject) => {
    const address = URL.createObjectURL(new Blob([source], { type: 'text/javascript' }));
    const worker = new Worker(address);
    worker.onmessage = () => resolve(worker);
    worker.onerror = () => reject(new Error('no worker'));
    worker.postMessage({ library: libraryBytes });
  });
}

function bridgeTo(worker) {
  const waiting = new Map();
  let lastId = 0;
  worker.onmessage = ({ data: { id, progress, result, error } }) => {
    const task = waiting.get(id);
    if (progress !== undefined) {
      task?.onProgress?.(progress);
      return;
    }
    waiting.delete(id);
    if (error === undefined) {
      task?.resolve(result);
    } else {
      task?.reject(new Error(error));
    }
  };
  const run = (name, argument, { onProgress, signal } = {}) =>
    new Promise((resolve, reject) => {
      const id = ++lastId;
      waiting.set(id, { resolve, reject, onProgress });
      worker.postMessage({ id, name, argument });
      signal?.addEventListener('abort', () => {
        worker.postMessage({ cancel: id });
        reject(signal.reason);
      });
    });
  return { run, hasWorker: true };
}

function bridgeToPage(library) {
  const never = new AbortController().signal;
  const run = async (name, argument, { onProgress, signal = never } = {}) => {
    const result = await tasks[name](library, argument, makeStep(onProgress ?? (() => {}), signal));
    signal.throwIfAborted();
    return result;
  };
  return { run, hasWorker: false };
}
