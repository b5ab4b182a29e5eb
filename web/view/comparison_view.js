/** Two files beside each other: how far their maps are apart. */
import { find, make, offerPicture } from './elements.js';
import { makeFigure } from './figure.js';
import { latestIn } from './latest.js';
import { withProgress } from './progress.js';

/** `show(request)` shows {files, direction}, or nothing for null. */
export function buildComparisonView(bridge, onError) {
  const section = find('#comparison');
  const element = find('.figure', section);
  const figure = makeFigure(element, () => view.show(view.request));
  const save = find('.save-picture', section);
  let shown = null;
  const view = latestIn(section, draw, onError);

  async function draw(request, signal) {
    element.hidden = save.hidden = false;
    const answer = await withProgress('Comparing the maps', (onProgress) =>
      bridge.run('compare', { ...request, ...figure.paper() }, { onProgress, signal }),
    );
    find('.numbers', section).replaceChildren(
      ...answer.maps.map(({ direction, sentence }) => make('span', { textContent: `${direction} ${sentence}. ` })),
    );
    element.hidden = save.hidden = !answer.drawing;
    shown = answer.drawing ? request : null;
    if (shown) {
      figure.show(answer);
    }
  }

  save.addEventListener('click', () => {
    if (shown) {
      offerPicture(figure.canvas, `difference-${shown.direction}.png`);
    }
  });
  return view;
}
