/** The map of one file: its picture, the place under the pointer in both images, and what can be saved of it. */
import { find, make, offer, stemOf } from './elements.js';
import { makeFigure, savePicture } from './figure.js';
import { latestIn } from './latest.js';
import { withProgress } from './progress.js';
import { stroke } from './strokes.js';
import { arrows, whole, zoomable } from './zoom.js';

const noRatio = {
  refusal: { reason: 'the ratio is no whole number below 2147483648', remedy: 'enter 1 or an even number' },
  lines: [],
};

/**
 * `run` computes; `onError` is told what went wrong. `show(request)` shows {key, file, direction, ratio}, where a ratio
 * of null stands for what is none.
 */
export function buildMapView({ run }, onError) {
  const section = find('#map');
  const figure = makeFigure(find('.figure', section), () => view.redraw());
  const marker = find('.marker', section);
  const output = find('output', section);
  const [column, row] = [find('#column'), find('#row')];
  /** The request whose map is to be seen, also while the next one is on its way, and the place marked in it. */
  let shown = null;
  let place = null;
  let latest = null;
  let part = whole;
  const view = latestIn(section, draw, onError);

  async function draw(request, signal) {
    const { file } = request;
    const seen = { paper: figure.paper(), part };
    const answer =
      request.ratio === null
        ? noRatio
        : await withProgress(`Drawing the map of ${file.label}`, (onProgress) =>
            run('drawMap', { request, ...seen.paper, part }, { onProgress, signal }),
          );
    const heading = find('h2', section);
    heading.textContent = answer.title ?? `Map of ${file.label}`;
    heading.classList.toggle('is-in-picture', Boolean(answer.drawing) && !answer.isCompact);
    showRefusal(answer);
    shown = answer.drawing ? { ...request, ...seen, plot: answer.drawing.plot } : null;
    if (shown) {
      figure.show(answer);
      find('.numbers', section).textContent = answer.numbers;
      const { width, height } = file.examination;
      await moveTo(place ?? { x: Math.floor(width / 4), y: Math.floor(height / 4) });
    }
  }

  function showRefusal({ status, refusal, lines, drawing }) {
    find('.result', section).hidden = !drawing;
    const words = find('.refusal', section);
    words.replaceChildren();
    if (refusal) {
      const statusText = status ? ` (status ${status})` : '';
      words.append(
        `No map${statusText}: ${refusal.reason}. What to do: ${refusal.remedy}.`,
        ...lines.map((line) => make('samp', { textContent: line })),
      );
    }
  }

  /** Shows where the map takes a pixel of its image, or a place on the paper. */
  async function moveTo(asked, { isSpoken = true, isOnPaper = false } = {}) {
    const request = shown;
    place = isOnPaper ? place : asked;
    latest = asked;
    const found = await run('lookUp', { request, place: asked, isOnPaper });
    if (request !== shown || latest !== asked) {
      return;
    }
    place = found.from;
    for (const input of [column, row]) {
      if (document.activeElement !== input) {
        showPlace(input);
      }
    }
    // A pointer moves faster than anybody can listen.
    output.setAttribute('aria-live', isSpoken ? 'polite' : 'off');
    output.textContent = found.sentence;
    stroke(marker, found.drawing, { ...found.light, paper: null });
  }

  function showPlace(input) {
    input.value = Math.round((input === column ? place.x : place.y) * 100) / 100;
  }

  function pointAt(event) {
    const area = figure.canvas.getBoundingClientRect();
    const onCanvas = (offset, size, dots) => (offset / size) * dots;
    return {
      x: onCanvas(event.clientX - area.left, area.width, figure.canvas.width),
      y: onCanvas(event.clientY - area.top, area.height, figure.canvas.height),
    };
  }

  const frame = find('.figure', section);
  zoomable(frame, {
    at(event) {
      const { x, y } = pointAt(event);
      const { left, top, width, height } = shown.plot;
      return { x: (x - left) / width, y: (y - top) / height };
    },
    isRectangle: () => shown !== null,
    onChange(asked) {
      part = asked;
      view.redraw();
    },
  });
  const point = (event) => shown && moveTo(pointAt(event), { isSpoken: false, isOnPaper: true }).catch(onError);
  frame.addEventListener('pointermove', point);
  frame.addEventListener('pointerdown', point);
  frame.addEventListener('keydown', (event) => {
    const step = event.shiftKey ? 10 : 1;
    const move = !event.altKey && arrows[event.key];
    if (move && place && shown) {
      event.preventDefault();
      moveTo({ x: place.x + move[0] * step, y: place.y + move[1] * step }).catch(onError);
    }
  });
  for (const input of [column, row]) {
    input.addEventListener('input', () => {
      if (input.value !== '' && shown) {
        // The other one is as exact as it has been asked for, whatever its field has room for.
        moveTo({ ...place, [input === column ? 'x' : 'y']: input.valueAsNumber }).catch(onError);
      }
    });
    // What has been answered stands in the field that is left.
    input.addEventListener('change', () => {
      if (shown) {
        moveTo(place).then(() => showPlace(input), onError);
      }
    });
  }

  const savedName = ({ file, direction }) => `${stemOf(file.name)}-${direction}`;
  find('.save-picture', section).addEventListener('click', () => {
    if (shown) {
      const request = shown;
      savePicture((paper) => run('drawMap', { request, ...paper, part: whole }), `${savedName(request)}.png`).catch(
        onError,
      );
    }
  });
  find('.save-map', section).addEventListener('click', () => {
    if (shown) {
      const request = shown;
      withProgress('Writing the map', () => run('saveMap', { request }))
        .then((blob) => offer(blob, `${savedName(request)}-${request.ratio}.npy`))
        .catch(onError);
    }
  });
  return view;
}
