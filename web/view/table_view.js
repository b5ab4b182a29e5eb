/** All files in a table: a row for each, which stays as long as it says the same. */
import { arrange, find, make, offer } from './elements.js';

const verdictOf = ({ check }) => (check.usable ? 'usable' : check.accepted ? 'not usable' : 'refused');
const reasonsOf = ({ words }) => (words.isUsable ? '' : words.reasons.join('; '));
const apartOf = (file) => file.differences?.map?.apart ?? {};
const pixels = (number) => (number === undefined ? '' : number.toFixed(6));

/** The columns: what they are called, what a cell says, and what the rows are sorted by. */
const columns = [
  ['file', ({ label }) => label],
  ['verdict', ({ examination }) => verdictOf(examination)],
  ['reasons', ({ examination }) => reasonsOf(examination)],
  ['round trip', ({ examination }) => pixels(examination.check.roundTrip?.largest)],
  ['largest difference', (file) => pixels(apartOf(file).largest), (file) => apartOf(file).largest ?? -1],
  ['root mean square', (file) => pixels(apartOf(file).rootMeanSquare), (file) => apartOf(file).rootMeanSquare ?? -1],
].map(([name, text, rank = text]) => ({ name, text, rank }));

/** The row of a saved table: that of the program's `check --csv`, then those columns of `diff --csv` that it lacks. */
function savedRow({ label, examination, differences }) {
  const found = new Map();
  for (const { columns: names = [], row } of [differences ?? {}, examination]) {
    names.forEach((name, i) => found.set(name, row[i]));
  }
  return found.set('file', label);
}

/** `onShow(file)`, `onTick(file, isTicked)`, `onReference()` and `onClear()` are called by what is pressed. */
export function buildTableView({ onShow, onTick, onReference, onClear }) {
  const section = find('#list');
  const body = find('tbody', section);
  /** The rows by their files' keys: {row, cells, radio, tick}. */
  let rows = new Map();
  let sorted = { column: null, sign: 1 };
  let shown = { files: [] };

  const head = columns.map((column) => {
    const button = make('button', { type: 'button', className: 'quiet', textContent: column.name });
    const heading = make('th', { scope: 'col' }, button);
    button.addEventListener('click', () => {
      sorted = { column, sign: sorted.column === column ? -sorted.sign : 1 };
      head.forEach((other) => other.removeAttribute('aria-sort'));
      heading.setAttribute('aria-sort', sorted.sign > 0 ? 'ascending' : 'descending');
      show(shown);
    });
    return heading;
  });
  const choices = ['show', 'compare'].map((textContent) => make('th', { scope: 'col', textContent }));
  find('thead tr', section).append(...choices, ...head);

  function newRow(file) {
    const radio = make('input', { type: 'radio', name: 'shown', value: file.key });
    const tick = make('input', { type: 'checkbox', name: 'compared' });
    radio.addEventListener('change', () => onShow(file));
    tick.addEventListener('change', () => onTick(file, tick.checked));
    const cells = columns.map(() => make('td'));
    const row = make('tr', {}, make('td', {}, radio), make('td', {}, tick), ...cells);
    row.addEventListener('click', ({ target }) => target.tagName === 'INPUT' || onShow(file));
    return { row, cells, radio, tick };
  }

  function update({ row, cells, radio, tick }, file, { shown: chosen, ticked, reference }) {
    columns.forEach(({ text }, i) => {
      const words = text(file);
      if (cells[i].textContent !== words) {
        cells[i].textContent = words;
      }
    });
    radio.ariaLabel = `Show ${file.label}`;
    tick.ariaLabel = `Compare ${file.label}`;
    radio.checked = file === chosen;
    tick.checked = ticked.includes(file);
    row.className = `${file === reference ? 'reference' : ''} ${file.examination.words.isUsable ? '' : 'bad'}`;
  }

  function inOrder(files) {
    const { column, sign } = sorted;
    if (column === null) {
      return files;
    }
    const ranks = new Map(files.map((file) => [file, column.rank(file)]));
    const compare = (a, b) => (a < b ? -1 : a > b ? 1 : 0);
    return [...files].sort((a, b) => sign * compare(ranks.get(a), ranks.get(b)));
  }

  function show(state) {
    shown = state;
    section.hidden = state.files.length < 2;
    find('#summary').textContent = summaryOf(state.files);
    rows = new Map(state.files.map((file) => [file.key, rows.get(file.key) ?? newRow(file)]));
    state.files.forEach((file) => update(rows.get(file.key), file, state));
    arrange(
      body,
      inOrder(state.files).map(({ key }) => rows.get(key).row),
    );
  }

  find('.compare-all', section).addEventListener('click', onReference);
  find('.clear', section).addEventListener('click', onClear);
  find('.save-csv', section).addEventListener('click', () => {
    const cell = (value = '') => (/[",\n\r]/.test(value) ? `"${value.replaceAll('"', '""')}"` : value);
    const saved = shown.files.map(savedRow);
    const names = [...new Set(saved.flatMap((row) => [...row.keys()]))];
    const lines = [names, ...saved.map((row) => names.map((name) => row.get(name)))];
    save('csv', lines.map((line) => `${line.map(cell).join()}\n`).join(''));
  });
  find('.save-json', section).addEventListener('click', () => {
    const record = (file) => ({ ...file.examination.check, ...file.differences, key: undefined, file: file.label });
    save('json', `${JSON.stringify(shown.files.map(record), null, 2)}\n`);
  });
  const save = (type, text) => offer(new Blob([text], { type: `text/${type}` }), `calibrations.${type}`);
  return { show };
}

function summaryOf(files) {
  if (files.length < 2) {
    return files.map(({ label, examination }) => `${label}: ${examination.words.headline}`).join();
  }
  const count = (verdict) => files.filter(({ examination }) => verdictOf(examination) === verdict).length;
  return `${files.length} files: ${count('usable')} usable, ${count('not usable')} not usable, ${count('refused')} refused.`;
}
