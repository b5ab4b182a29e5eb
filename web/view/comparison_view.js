/** Two files beside each other: how far their maps are apart. */
import { find, offerPicture } from './elements.js';
import { makeFigure } from './figure.js';
import { latestIn } from './latest.js';
import { withProgress } from './progress.js';

/** `show(request)` shows {files, direction, ratio}, or nothing for null. */
export function buildComparisonView(bridge, onError) {
  const section = find('#comparison');
  const element = find('.figure', section);
  const figure = makeFigure(element, () => view.show(view.request));
  const numbers = find('.numbers', section);
  const save = find('.save-picture', section);
  const view = latestIn(section, draw, onError);

  async function draw(request, signal) {
    const { files, direction } = request;
    element.hidden = save.hidden = false;
    const layout = figure.layoutFor(files[0].camera);
    const { drift, shapes } = await withProgress('Comparing the maps', (onProgress) =>
      bridge.run('compare', { ...request, layout }, { onProgress, signal }),
    );
    numbers.textContent = describe(drift, files);
    element.hidden = save.hidden = !shapes;
    if (shapes) {
      const [maps, image] = direction === 'undistort' ? ['Undistortion', 'straight'] : ['Distortion', 'recorded'];
      figure.show(layout, shapes, {
        title: `${maps} maps of ${files[0].name} and ${files[1].name}`,
        subtitle: `Colour at a pixel of the ${image} image: how far apart the two maps take it`,
        size: `${files[0].camera.width} × ${files[0].camera.height} pixels`,
        quantity: 'difference',
        none: 'no difference',
        grids: [],
      });
    }
  }

  save.addEventListener('click', () => offerPicture(figure.canvas, `difference-${view.request.direction}.png`));
  return view;
}

function describe(drift, files) {
  const sentences = Object.entries(drift).map(([direction, summary]) => `${direction}: ${describeOne(summary)}.`);
  const sizes = files.map(({ camera }) => `${camera.width} x ${camera.height}`);
  if (sizes[0] !== sizes[1]) {
    sentences.push(`The images have different sizes, ${sizes.join(' and ')} pixels.`);
  } else if (sentences.length === 0) {
    sentences.push('The library gives no maps to compare.');
  }
  return sentences.join(' ');
}

function describeOne({ largest, place, rootMeanSquare, lost, isLost }) {
  if (isLost) {
    return 'the maps cannot be compared, because one of them takes every sample to no place at all';
  }
  if (largest === 0 && lost === 0) {
    return 'the maps are equal';
  }
  const numbers =
    `largest difference ${largest.toFixed(6)} at (${place.x}, ${place.y}), root mean square ` +
    `${rootMeanSquare.toFixed(6)} pixels`;
  return lost > 0 ? `${numbers}, ${lost} samples taken to no place at all` : numbers;
}
