/** The bar at the foot of the page that shows what takes time. */
import { find } from './elements.js';

const patience = 200;
const running = new Set();

/**
 * Runs `work(onProgress)`; if it takes long, the bar shows `words` and how much is done. Gives what `work` gives.
 */
export async function withProgress(words, work) {
  const task = { words, part: null };
  running.add(task);
  const timer = setTimeout(show, patience);
  try {
    return await work((part) => {
      task.part = part;
      show();
    });
  } finally {
    clearTimeout(timer);
    running.delete(task);
    show();
  }
}

function show() {
  const panel = find('#progress');
  const [task] = running;
  panel.hidden = !task;
  if (!task) {
    return;
  }
  find('label', panel).textContent = task.words;
  const bar = find('progress', panel);
  if (task.part === null) {
    bar.removeAttribute('value');
  } else {
    bar.value = task.part;
  }
}
