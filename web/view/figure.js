/** A figure on the page: it follows the width of its element, the dots of the screen and the theme of the system. */
import { find, offer } from './elements.js';
import { stroke } from './strokes.js';

const darkTheme = matchMedia('screen and (prefers-color-scheme: dark)');

/** What a picture is saved on: the paper of the program, whatever screen this is. */
const savedPaper = { width: 900, dotsPerPixel: 0 };

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
  function resize() {
    clearTimeout(timer);
    timer = setTimeout(() => shown && onResize(), 150);
  }
  new ResizeObserver(() => {
    // A change of the height is our own doing.
    if (element.clientWidth !== width && element.clientWidth > 0) {
      width = element.clientWidth;
      resize();
    }
  }).observe(element);
  function followDots() {
    matchMedia(`(resolution: ${devicePixelRatio}dppx)`).addEventListener('change', () => (followDots(), resize()), {
      once: true,
    });
  }
  followDots();

  return {
    canvas,
    paper() {
      // It has no width yet where there has been nothing to show.
      width = element.clientWidth || find('main').clientWidth;
      return { width: Math.round(width * devicePixelRatio), dotsPerPixel: devicePixelRatio };
    },
    show(answer) {
      shown = answer;
      draw();
      canvas.setAttribute('aria-label', `${answer.title}. ${answer.colours}.`);
    },
  };
}

/** Saves as a PNG file, light, what `ask(paper)` answers for a paper. */
export async function savePicture(ask, name) {
  const { drawing, light } = await ask(savedPaper);
  const canvas = document.createElement('canvas');
  stroke(canvas, drawing, light);
  canvas.toBlob((blob) => offer(blob, name), 'image/png');
}
