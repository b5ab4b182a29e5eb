/** Two files beside each other: how far their maps are apart. */
import { details, find, make, row, table } from './elements.js';
import { makeFigure, savePicture } from './figure.js';
import { latestIn } from './latest.js';
import { withProgress } from './progress.js';

const numbersOf = (apart) =>
  [apart.largest, apart.rootMeanSquare, apart.median, apart.percentile95, apart.percentile99].map((number) =>
    number.toFixed(6),
  );

/**
 * `show(request)` shows {key, files, refused, direction}, `refused` being those of the files that have no maps, or
 * nothing for null. `onMarks` is told the parameters of both, {pair, parameters}, that differ.
 */
export function buildComparisonView({ run }, onError, onMarks) {
  const section = find('#comparison');
  const element = find('.figure', section);
  const figure = makeFigure(element, () => view.redraw());
  const save = find('.save-picture', section);
  const numbers = find('.numbers', section);
  const tables = find('.tables', section);
  let shown = null;
  const view = latestIn(section, draw, onError);

  async function draw(request, signal) {
    const { files, refused, direction } = request;
    if (refused.length > 0) {
      element.hidden = save.hidden = true;
      tables.replaceChildren();
      numbers.textContent = `No comparison: ${refused.map(({ label }) => label).join(' and ')} ${refused.length > 1 ? 'are' : 'is'} refused.`;
      return;
    }
    element.hidden = save.hidden = false;
    const answer = await withProgress('Comparing the maps', (onProgress) =>
      run('compare', { files, direction, ...figure.paper() }, { onProgress, signal }),
    );
    numbers.replaceChildren(
      ...answer.maps.map((map) => make('span', { textContent: `${map.direction} ${map.sentence}. ` })),
    );
    tables.replaceChildren(...tablesOf(answer));
    element.hidden = save.hidden = !answer.drawing;
    shown = answer.drawing ? request : null;
    if (shown) {
      figure.show(answer);
    }
    onMarks({ pair: files, parameters: answer.parameters });
  }

  save.addEventListener('click', () => {
    const { files, direction } = shown;
    const ask = (paper) => run('compare', { files, direction, ...paper });
    savePicture(ask, `difference-${direction}.png`).catch(onError);
  });
  return view;
}

/** What `calibmap diff` has besides its sentences. */
function tablesOf({ maps, fields }) {
  const head = ['maps, in pixels', 'largest', 'root mean square', 'median', '95 %', '99 %'];
  const apart = maps.filter((map) => map.apart).map((map) => row('', map.direction, ...numbersOf(map.apart)));
  const differing = fields.map(({ field, text }) => row('', field, text));
  return [
    table(make('thead', {}, make('tr', {}, ...head.map((textContent) => make('th', { textContent })))), ...apart),
    details(`Fields that differ: ${fields.length}`, false, table(...differing)),
  ];
}
