/** Zooming into what an element shows: by wheel, by a rectangle, by + - 0 and Alt with arrows; a double click leads back. */
import { make } from './elements.js';

/** The part that is in view: where it begins, and its size, in parts of the whole. */
export const whole = { left: 0, top: 0, size: 1 };
const smallest = 1 / 64;

/**
 * `at(event)` tells where a pointer is in the view, {x, y} from 0 to 1, `isRectangle(event)` whether one begins there.
 * `onChange(part)` is called with the part that is to be shown.
 */
export function zoomable(element, { at, isRectangle, onChange }) {
  const rectangle = make('div', { className: 'rectangle', hidden: true });
  element.append(rectangle);
  let part = whole;
  let start = null;

  function show(left, top, asked) {
    const size = Math.min(1, Math.max(smallest, asked));
    const inside = (place) => Math.min(1 - size, Math.max(0, place));
    const { left: x, top: y, size: before } = part;
    part = { left: inside(left), top: inside(top), size };
    if (part.left !== x || part.top !== y || size !== before) {
      onChange(part);
    }
  }

  /** What is at a place of the view stays there. */
  function scale(factor, { x, y }) {
    const size = Math.min(1, Math.max(smallest, part.size * factor));
    show(part.left + x * (part.size - size), part.top + y * (part.size - size), size);
  }

  const move = (right, down) => show(part.left + right * part.size, part.top + down * part.size, part.size);
  const middle = { x: 0.5, y: 0.5 };
  const keys = {
    '+': () => scale(0.5, middle),
    '-': () => scale(2, middle),
    0: () => show(0, 0, 1),
    ArrowLeft: () => move(-0.25, 0),
    ArrowRight: () => move(0.25, 0),
    ArrowUp: () => move(0, -0.25),
    ArrowDown: () => move(0, 0.25),
  };
  element.addEventListener('keydown', (event) => {
    const act = event.altKey === event.key.startsWith('Arrow') && !event.ctrlKey && keys[event.key];
    if (act) {
      event.preventDefault();
      act();
    }
  });
  element.addEventListener('wheel', (event) => {
    event.preventDefault();
    scale(event.deltaY > 0 ? 1.25 : 0.8, at(event));
  });
  element.addEventListener('dblclick', keys[0]);

  element.addEventListener('pointerdown', (event) => {
    if (event.button === 0 && isRectangle(event)) {
      start = { event, place: at(event) };
      element.setPointerCapture(event.pointerId);
    }
  });
  element.addEventListener('pointermove', ({ clientX, clientY }) => {
    if (start) {
      const area = element.getBoundingClientRect();
      const [width, height] = [clientX - start.event.clientX, clientY - start.event.clientY];
      const lengths = {
        left: Math.min(clientX, start.event.clientX) - area.left,
        top: Math.min(clientY, start.event.clientY) - area.top,
        width: Math.abs(width),
        height: Math.abs(height),
      };
      rectangle.hidden = false;
      Object.entries(lengths).forEach(([name, length]) => (rectangle.style[name] = `${length}px`));
    }
  });
  element.addEventListener('pointerup', (event) => {
    const [from, to] = [start?.place, at(event)];
    start = null;
    rectangle.hidden = true;
    const size = from ? Math.max(Math.abs(to.x - from.x), Math.abs(to.y - from.y)) : 0;
    if (size > 0.02) {
      const begin = (axis) => part[axis === 'x' ? 'left' : 'top'] + Math.min(from[axis], to[axis]) * part.size;
      show(begin('x'), begin('y'), size * part.size);
    }
  });
}
