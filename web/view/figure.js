/** A figure on the page: it follows the width of its element and the theme of the system. */
import { find } from './elements.js';
import { stroke } from './strokes.js';

const darkTheme = matchMedia('(prefers-color-scheme: dark)');

/**
 * The figure in `element`. `onResize` is called when its drawing has to be made again, for the `paper()` of that time:
 * {width, dotsPerPixel}; `show` draws an answer's {drawing, light, dark, title,
 * colours}.
 */
export function makeFigure(element, onResize) {
  const canvas = find('canvas', element);
  let shown = null;
  let width = 0;

  const draw = () => shown && stroke(canvas, shown.drawing, darkTheme.matches ? shown.dark : shown.light);
  darkTheme.addEventListener('change', draw);

  let timer = null;
  new ResizeObserver(() => {
    // A change of the height is our own doing.
    if (element.clientWidth !== width && element.clientWidth > 0) {
      width = element.clientWidth;
      clearTimeout(timer);
      timer = setTimeout(() => shown && onResize(), 150);
    }
  }).observe(element);

  return {
    canvas,
    paper() {
      width = element.clientWidth;
      return { width: Math.round(width * devicePixelRatio), dotsPerPixel: devicePixelRatio };
    },
    show(answer) {
      shown = answer;
      draw();
      canvas.setAttribute('aria-label', `${answer.title}. ${answer.colours}.`);
    },
  };
}
