/** The map of one file: its picture, the place under the pointer in both images, and what can be saved of it. */
import { onPlot, pixelAt } from '../pictures/geometry.js';
import { whyNoMap } from '../library/verdict.js';
import { find, make, offer, offerPicture, stemOf } from './elements.js';
import { makeFigure } from './figure.js';
import { latestIn } from './latest.js';
import { withProgress } from './progress.js';

const texts = {
  undistort: {
    title: 'Undistortion map',
    subtitle: 'Colour at a pixel of the straight image: how far from it the camera records what belongs there',
    grids: ['a regular grid of the straight image', 'as the camera records it'],
    from: 'straight image',
    to: 'recorded image',
  },
  distort: {
    title: 'Distortion map',
    subtitle: 'Colour at a pixel of the recorded image: how far from it that place lies in the straight image',
    grids: ['a regular grid of the recorded image', 'where it lies when straightened'],
    from: 'recorded image',
    to: 'straight image',
  },
};

/** `bridge` computes; `onError` is told what went wrong. `show(request)` shows what a task is asked for. */
export function buildMapView(bridge, onError) {
  const section = find('#map');
  const figure = makeFigure(find('.figure', section), () => view.show(view.request));
  const marker = find('.marker', section);
  const output = find('output', section);
  const [column, row] = [find('#column'), find('#row')];
  let place = null;
  const view = latestIn(section, draw, onError);

  async function draw(request, signal) {
    const { file, direction } = request;
    const words = texts[direction];
    const title = `${words.title} of ${file.name}`;
    const heading = find('h2', section);
    heading.textContent = title;
    find('.result', section).hidden = false;
    const layout = figure.layoutFor(file.camera);
    const answer = await withProgress(`Drawing the map of ${file.name}`, (onProgress) =>
      bridge.run('drawMap', { request, layout }, { onProgress, signal }),
    );
    showRefusal(request, answer);
    heading.classList.toggle('is-in-picture', Boolean(answer.shapes) && !layout.isCompact);
    if (answer.shapes) {
      const { rows, cols } = answer.numbers;
      const { width, height } = file.camera;
      const size = `${width} × ${height} pixels · ratio ${request.ratio}: ${cols} × ${rows} samples`;
      const quantity = 'displacement';
      figure.show(layout, answer.shapes, { ...words, title, size, quantity, none: 'no distortion' });
      showNumbers(answer.numbers);
      await moveTo(place ?? { x: Math.floor(file.camera.width / 4), y: Math.floor(file.camera.height / 4) });
    }
  }

  function showRefusal(request, { status, words, shapes, isLost }) {
    find('.result', section).hidden = !shapes;
    const refusal = find('.refusal', section);
    refusal.replaceChildren();
    if (isLost) {
      refusal.append('No map can be right: the library gives one that takes every sample to no place at all.');
    } else if (!shapes) {
      const why = whyNoMap(status, request.file.camera, request.ratio);
      const statusText = status === null ? '' : ` (status ${status})`;
      refusal.append(`No map${statusText}: ${why}.`, ...words.map((line) => make('samp', { textContent: line })));
    }
  }

  function showNumbers({ rows, cols, largest, place: { x, y }, mean, outside, lost }) {
    find('.numbers', section).textContent =
      `${rows} rows x ${cols} columns, displacement at most ${largest.toFixed(3)} at (${x}, ${y}) and on average ` +
      `${mean.toFixed(3)} pixels, ${outside} of ${rows * cols} samples taken outside the image` +
      (lost > 0 ? `, ${lost} taken to no place at all` : '');
  }

  /** Shows where the map takes a pixel of its image. */
  async function moveTo(pixel, isSpoken = true) {
    const { request } = view;
    const { file, direction } = request;
    const inside = (value, size) => Math.min(Math.max(value, 0), size - 1);
    place = { x: inside(pixel.x, file.camera.width), y: inside(pixel.y, file.camera.height) };
    const asked = { request, pixel: place };
    const target = await bridge.run('lookUp', asked);
    if (request !== view.request || asked.pixel !== place) {
      return;
    }
    for (const [input, value] of [
      [column, place.x],
      [row, place.y],
    ]) {
      if (document.activeElement !== input) {
        input.value = Math.round(value * 10) / 10;
      }
    }
    const { from, to } = texts[direction];
    const text = (point) => `column ${point.x.toFixed(2)}, row ${point.y.toFixed(2)}`;
    const moved = Math.hypot(target.x - place.x, target.y - place.y);
    // A pointer moves faster than anybody can listen.
    output.setAttribute('aria-live', isSpoken ? 'polite' : 'off');
    output.textContent = `${from}: ${text(place)} → ${to}: ${text(target)}; ${moved.toFixed(2)} pixels away`;
    drawMarker(place, target);
  }

  function drawMarker(from, to) {
    const { layout } = figure;
    marker.width = layout.width;
    marker.height = layout.height;
    const context = marker.getContext('2d');
    const [a, b] = [from, to].map((pixel) => onPlot(layout, pixel));
    context.translate(layout.plot.left, layout.plot.top);
    const radius = 5 * layout.scale;
    for (const [colour, width] of [
      ['#000000', 4],
      ['#ffffff', 1.8],
    ]) {
      context.strokeStyle = colour;
      context.lineWidth = width * layout.scale;
      context.beginPath();
      context.moveTo(a.x - radius, a.y);
      context.lineTo(a.x + radius, a.y);
      context.moveTo(a.x, a.y - radius);
      context.lineTo(a.x, a.y + radius);
      context.moveTo(a.x, a.y);
      context.lineTo(b.x, b.y);
      context.stroke();
      context.beginPath();
      context.arc(b.x, b.y, radius, 0, 2 * Math.PI);
      context.stroke();
    }
  }

  function pixelUnder(event) {
    const { layout } = figure;
    const area = figure.canvas.getBoundingClientRect();
    const onCanvas = (offset, size, pixels) => (offset / size) * pixels;
    return pixelAt(layout, {
      x: onCanvas(event.clientX - area.left, area.width, layout.width) - layout.plot.left,
      y: onCanvas(event.clientY - area.top, area.height, layout.height) - layout.plot.top,
    });
  }

  const frame = find('.figure', section);
  const point = (event) => figure.layout && moveTo(pixelUnder(event), false).catch(onError);
  frame.addEventListener('pointermove', point);
  frame.addEventListener('pointerdown', point);
  frame.addEventListener('keydown', (event) => {
    const step = event.shiftKey ? 10 : 1;
    const moves = { ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1] };
    const move = moves[event.key];
    if (move && place) {
      event.preventDefault();
      moveTo({ x: place.x + move[0] * step, y: place.y + move[1] * step }).catch(onError);
    }
  });
  for (const input of [column, row]) {
    input.addEventListener('input', () => {
      if (column.value !== '' && row.value !== '') {
        moveTo({ x: column.valueAsNumber, y: row.valueAsNumber }).catch(onError);
      }
    });
  }

  const savedName = ({ file, direction }) => `${stemOf(file.name)}-${direction}`;
  find('.save-picture', section).addEventListener('click', () =>
    offerPicture(figure.canvas, `${savedName(view.request)}.png`),
  );
  find('.save-map', section).addEventListener('click', () => {
    const { request } = view;
    const name = `${savedName(request)}-${request.ratio}.npy`;
    withProgress('Writing the map', () => bridge.run('saveMap', { request }))
      .then((blob) => offer(blob, name))
      .catch(onError);
  });
  return view;
}
