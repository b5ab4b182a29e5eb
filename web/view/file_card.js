/** The card of one file: verdict, the library's words, the checksummed ranges, the parameters. */
import { details, make, row, table } from './elements.js';
import { sizeOf } from './files.js';

/** `parameters` are marked where they differ from another file's; `onRemove` is called by the button. */
export function fileCard({ label, size, bytes, examination }, parameters, onRemove) {
  const { words, lines, fileSize } = examination;
  const remove = make('button', { className: 'quiet', type: 'button', textContent: 'Remove' });
  remove.setAttribute('aria-label', `Remove ${label}`);
  remove.addEventListener('click', onRemove);
  const card = make(
    'article',
    { className: 'card' },
    make('header', {}, make('h2', { textContent: label }), remove),
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
  if (size > fileSize) {
    const more = `${sizeOf({ size: size - fileSize })} behind the calibration; a device does not read them.`;
    card.append(make('p', { className: 'help', textContent: more }));
  }
  if (words.ranges.length > 0) {
    card.append(rangeBars(words.ranges), checksumTable(words.ranges));
  } else {
    card.append(shortFileBar(bytes ? size : 0, fileSize));
  }
  if (parameters && examination.status === 0) {
    card.append(...parameterTables(parameters));
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

function checksumTable(ranges) {
  const head = ['range', 'bytes', 'stored', 'computed'].map((text) => make('th', { textContent: text }));
  const rows = ranges.map((range) =>
    row(range.isWrong ? 'bad' : '', range.name, range.bytes, range.stored, range.computed),
  );
  const isDamaged = ranges.some((range) => range.isWrong);
  return details('Checksums', isDamaged, table(make('thead', {}, make('tr', {}, ...head)), make('tbody', {}, ...rows)));
}

/** The coefficients of the models are many and have details of their own. */
function parameterTables(sections) {
  const isLong = ({ rows }) => rows.length > 8;
  const bodies = (chosen) =>
    chosen.map(({ name, rows }) => {
      const heading = make('th', { textContent: name, colSpan: 2, scope: 'rowgroup' });
      const lines = rows.map((parameter) => row(parameter.differs ? 'differs' : '', parameter.name, parameter.text));
      return make('tbody', {}, make('tr', { className: 'section' }, heading), ...lines);
    });
  return [
    details('Parameters', true, table(...bodies(sections.filter((section) => !isLong(section))))),
    details('Coefficients', false, table(...bodies(sections.filter(isLong)))),
  ];
}
