/** Zooming into what an element shows: by wheel, by a rectangle, by + - 0 and Alt with arrows; a double click leads back. */
import { make } from './elements.js';

/** The part that is in view: where it begins, and its size, in parts of the whole. */
export const whole = { left: 0, top: 0, size: 1 };
const smallest = 1 / 64;

/** Where the arrow keys lead, to the right and down. */
export const arrows = { ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1] };

/**
 * `at(event)` tells where a pointer is in the view, {x, y} from 0 to 1, `isRectangle(event)` whether one begins there.
 * `onChange(part)` is called with the part that is to be shown.
 */
export function zoomable(element, { at, isRectangle, onChange }) {
  const rectangle = make('div', { className: 'rectangle', hidden: true });
  element.append(rectangle);
  let part = whole;
  let start = null;

  /** Shows as much as `factor` tells of what is seen now; the place {x, y} of the view stays where it is, or goes by a step. */
  function show(factor, { x, y }, [right, down] = [0, 0]) {
    const before = part;
    const size = Math.min(1, Math.max(smallest, before.size * factor));
    const inside = (begin, place, step) =>
      Math.min(1 - size, Math.max(0, begin + place * (before.size - size) + step * size));
    part = { left: inside(before.left, x, right), top: inside(before.top, y, down), size };
    if (part.left !== before.left || part.top !== before.top || size !== before.size) {
      onChange(part);
    }
  }

  const factors = { '+': 0.5, '-': 2, 0: Infinity };
  element.addEventListener('keydown', (event) => {
    const arrow = event.altKey && arrows[event.key];
    const factor = arrow ? 1 : !event.ctrlKey && factors[event.key];
    if (factor) {
      event.preventDefault();
      show(factor, { x: 0.5, y: 0.5 }, arrow ? arrow.map((step) => step / 4) : undefined);
    }
  });
  element.addEventListener('wheel', (event) => {
    event.preventDefault();
    show(event.deltaY > 0 ? 1.25 : 0.8, at(event));
  });
  element.addEventListener('dblclick', (event) => show(Infinity, at(event)));

  element.addEventListener('pointerdown', (event) => {
    if (event.button === 0 && isRectangle(event)) {
      start = { ...at(event), left: event.clientX, top: event.clientY };
      element.setPointerCapture(event.pointerId);
    }
  });
  element.addEventListener('pointermove', ({ clientX, clientY }) => {
    rectangle.hidden = !start;
    if (start) {
      const area = element.getBoundingClientRect();
      rectangle.style.inset = `${Math.min(clientY, start.top) - area.top}px auto auto ${Math.min(clientX, start.left) - area.left}px`;
      rectangle.style.width = `${Math.abs(clientX - start.left)}px`;
      rectangle.style.height = `${Math.abs(clientY - start.top)}px`;
    }
  });
  element.addEventListener('pointerup', (event) => {
    const [from, to] = [start, at(event)];
    start = null;
    rectangle.hidden = true;
    const size = from ? Math.max(Math.abs(to.x - from.x), Math.abs(to.y - from.y)) : 0;
    if (size > 0.02) {
      const begin = [Math.min(from.x, to.x), Math.min(from.y, to.y)];
      show(
        size,
        { x: 0, y: 0 },
        begin.map((place) => place / size),
      );
    }
  });
}
