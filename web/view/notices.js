/** What has happened and is not to be seen elsewhere, newest first, until somebody dismisses it. */
import { find, make } from './elements.js';

const mostNotices = 100;

export function notify(text) {
  const list = find('#notices');
  const dismiss = make('button', { className: 'quiet', type: 'button', textContent: '×' });
  dismiss.setAttribute('aria-label', `Dismiss: ${text}`);
  const notice = make('li', {}, make('span', { textContent: text }), dismiss);
  dismiss.addEventListener('click', () => notice.remove());
  list.prepend(notice);
  list.children[mostNotices]?.remove();
}
