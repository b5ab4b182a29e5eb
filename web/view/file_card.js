/** The card of one file: verdict, the library's words, the checksummed ranges, the parameters. */
import { make } from './elements.js';

/** `onRemove` is called by the button. */
export function fileCard({ name, size, bytes, examination }, onRemove) {
  const { words, lines, fileSize, parameters } = examination;
  const remove = make('button', { className: 'quiet', type: 'button', textContent: 'Remove' });
  remove.setAttribute('aria-label', `Remove ${name}`);
  remove.addEventListener('click', onRemove);
  const card = make(
    'article',
    { className: 'card' },
    make('header', {}, make('h2', { textContent: name }), remove),
    make('p', {
      className: `verdict ${words.isUsable ? 'good' : 'bad'}`,
      textContent: `${words.isUsable ? '✓' : '✗'} ${words.headline} (status ${words.status})`,
    }),
    ...explanation(words),
  );
  if (lines.length > 0) {
    card.append(make('h3', { textContent: 'The library says' }));
    card.append(...lines.map((line) => make('samp', { textContent: line })));
  }
  card.append(make('h3', { textContent: 'The file' }));
  if (words.ranges.length > 0) {
    card.append(rangeBars(words.ranges), checksumTable(words.ranges));
  } else {
    card.append(shortFileBar(bytes ? size : 0, fileSize));
  }
  if (parameters && examination.status === 0) {
    card.append(parameterTable(parameters));
  }
  return card;
}

/** What stands below the headline. */
function explanation({ isUsable, agreement, reasons, remedy }) {
  if (isUsable) {
    return [make('p', { textContent: agreement })];
  }
  if (reasons.length === 1) {
    return [make('p', { textContent: `Why: ${reasons[0]}. What to do: ${remedy}.` })];
  }
  return [
    make('p', { textContent: 'Why:' }),
    make('ul', { className: 'reasons' }, ...reasons.map((reason) => make('li', { textContent: reason }))),
    make('p', { textContent: `What to do: ${remedy}.` }),
  ];
}

function bar(words, size, className) {
  const item = make('li', { className, textContent: words, title: words });
  item.style.flexGrow = size;
  item.style.flexBasis = 0;
  return item;
}

function list(label, items) {
  const result = make('ul', { className: 'ranges' }, ...items);
  result.setAttribute('aria-label', label);
  return result;
}

/** The three blocks in their order in the file, and below them the range that covers all. */
function rangeBars(ranges) {
  const item = ({ name, size, isWrong }) =>
    bar(isWrong ? `✗ ${name}: damaged` : `✓ ${name}`, size, isWrong ? 'damaged' : '');
  return make(
    'div',
    {},
    list('Checksummed blocks', ranges.slice(0, -1).map(item)),
    list('Checksum of the whole file', ranges.slice(-1).map(item)),
  );
}

function shortFileBar(present, whole) {
  const missing = whole - present;
  const items = [bar(`${missing} bytes missing`, missing, 'missing')];
  if (present > 0) {
    items.unshift(bar(`${present} bytes`, present, 'damaged'));
  }
  return list('What there is of the file', items);
}

function row(className, first, ...rest) {
  const cells = rest.map((text) => make('td', { textContent: text }));
  return make('tr', { className }, make('th', { textContent: first }), ...cells);
}

function table(...content) {
  return make('div', { className: 'table' }, make('table', {}, ...content));
}

function details(summary, isOpen, content) {
  return make('details', { open: isOpen }, make('summary', { textContent: summary }), content);
}

function checksumTable(ranges) {
  const head = ['range', 'bytes', 'stored', 'computed'].map((text) => make('th', { textContent: text }));
  const rows = ranges.map((range) =>
    row(range.isWrong ? 'bad' : '', range.name, range.bytes, range.stored, range.computed),
  );
  const isDamaged = ranges.some((range) => range.isWrong);
  return details('Checksums', isDamaged, table(make('thead', {}, make('tr', {}, ...head)), make('tbody', {}, ...rows)));
}

function parameterTable(sections) {
  const bodies = sections.map(({ name, rows }) => {
    const heading = make('th', { textContent: name, colSpan: 2, scope: 'rowgroup' });
    const lines = rows.map((parameter) => row(parameter.differs ? 'differs' : '', parameter.name, parameter.text));
    return make('tbody', {}, make('tr', { className: 'section' }, heading), ...lines);
  });
  return details('Parameters', true, table(...bodies));
}
