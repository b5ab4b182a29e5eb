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

/** Saves what a canvas shows as a PNG file. */
export function offerPicture(canvas, name) {
  canvas.toBlob((blob) => offer(blob, name), 'image/png');
}

/** A file's name without its ending. */
export const stemOf = (name) => name.replace(/\.[^.]*$/, '');
