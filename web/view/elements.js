/** The element of the page that a selector names. */
export const find = (selector, within = document) => within.querySelector(selector);

/** A new element with properties (`className`, `textContent`, ...) and children. */
export function make(name, properties, ...children) {
  const element = Object.assign(document.createElement(name), properties);
  element.append(...children);
  return element;
}

/** Offers a file to the person at the page. */
export function offer(blob, name) {
  const link = make('a', { href: URL.createObjectURL(blob), download: name });
  link.click();
  // Long enough for the slowest disk to have taken it.
  setTimeout(() => URL.revokeObjectURL(link.href), 60_000);
}

/** A file's name without its ending. */
export const stemOf = (name) => name.replace(/\.[^.]*$/, '');

/** Makes these elements, in this order, the children of another one; those that are in their place stay untouched. */
export function arrange(parent, wanted) {
  const kept = new Set(wanted);
  [...parent.children].filter((child) => !kept.has(child)).forEach((child) => child.remove());
  wanted.forEach((child, i) => parent.children[i] === child || parent.insertBefore(child, parent.children[i] ?? null));
}

/** A row of a table, its first cell a heading. */
export function row(className, first, ...rest) {
  const cells = rest.map((text) => make('td', { textContent: text }));
  return make('tr', { className }, make('th', { textContent: first }), ...cells);
}

export function table(...content) {
  return make('div', { className: 'table' }, make('table', {}, ...content));
}

export function details(summary, isOpen, content) {
  return make('details', { open: isOpen }, make('summary', { textContent: summary }), content);
}
