/** A figure on the page: it follows the width of its element and the theme of the system. */
import { themes } from '../pictures/colour.js';
import { drawFigure } from '../pictures/drawing.js';
import { layOut } from '../pictures/geometry.js';
import { find } from './elements.js';

const darkTheme = matchMedia('(prefers-color-scheme: dark)');

/**
 * The figure in `element`. `onResize` is called when its shapes have to be computed again, for `layoutFor`;
 * `show` draws them.
 */
export function makeFigure(element, onResize) {
  const canvas = find('canvas', element);
  let shown = null;
  let width = 0;

  const draw = () => {
    if (shown) {
      drawFigure(canvas, shown.layout, shown.shapes, shown.texts, darkTheme.matches ? themes.dark : themes.light);
    }
  };
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
    layoutFor: (camera) => layOut(camera, Math.round(element.clientWidth * devicePixelRatio), devicePixelRatio),
    get layout() {
      return shown?.layout;
    },
    show(layout, shapes, texts) {
      shown = { layout, shapes, texts };
      draw();
      canvas.setAttribute('aria-label', `${texts.title}. ${texts.subtitle}.`);
    },
  };
}
