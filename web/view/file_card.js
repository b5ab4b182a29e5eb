/** The card of one file: verdict, the library's words, the checksummed ranges, the parameters. */
import { layout } from '../library/layout.js';
import { damagedRanges, verdictOf } from '../library/verdict.js';
import { make } from './elements.js';
import { parameterRows } from './parameters.js';

/** `other` is the second file, if there is one to compare with; `onRemove` is called by the button. */
export function fileCard(file, other, onRemove) {
  const { examination } = file;
  const verdict = verdictOf(examination);
  const remove = make('button', { className: 'quiet', type: 'button', textContent: 'Remove' });
  remove.setAttribute('aria-label', `Remove ${file.name}`);
  remove.addEventListener('click', onRemove);
  const card = make(
    'article',
    { className: 'card' },
    make('header', {}, make('h2', { textContent: file.name }), remove),
    make('p', {
      className: `verdict ${verdict.isGood ? 'good' : 'bad'}`,
      textContent: `${verdict.isGood ? '✓' : '✗'} ${verdict.headline} (status ${examination.status})`,
    }),
    ...explanation(verdict),
  );
  if (examination.words.length > 0) {
    card.append(make('h3', { textContent: 'The library says' }));
    card.append(...examination.words.map((line) => make('samp', { textContent: line })));
  }
  card.append(make('h3', { textContent: 'The file' }));
  card.append(examination.ranges.length > 0 ? rangeBars(examination.ranges) : shortFileBar(examination));
  if (examination.ranges.length > 0) {
    card.append(checksumTable(examination.ranges));
  }
  if (examination.parameters) {
    card.append(parameterTable(examination.parameters, other?.examination.parameters));
  }
  return card;
}

/** What stands below the headline. */
function explanation({ isGood, agreement, reasons, remedy }) {
  if (isGood) {
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
  const item = (range) => {
    const isDamaged = damagedRanges([range]).length > 0;
    const words = isDamaged ? `✗ ${range.name}: damaged` : `✓ ${range.name}`;
    return bar(words, range.size, isDamaged ? 'damaged' : '');
  };
  const blocks = ranges.slice(0, -1);
  return make(
    'div',
    {},
    list('Checksummed blocks', blocks.map(item)),
    list('Checksum of the whole file', ranges.slice(-1).map(item)),
  );
}

function shortFileBar({ size, isReadable }) {
  const present = isReadable ? size : 0;
  const missing = layout.CALIBMAP_FILE_SIZE - present;
  const items = [bar(`${missing} bytes missing`, missing, 'missing')];
  if (present > 0) {
    items.unshift(bar(`${present} bytes`, present, 'damaged'));
  }
  return list('What there is of the file', items);
}

function tableOf(head, rows) {
  const cells = (name, texts) => texts.map((text) => make(name, { textContent: text }));
  return make(
    'div',
    { className: 'table' },
    make(
      'table',
      {},
      make('thead', {}, make('tr', {}, ...cells('th', head))),
      make(
        'tbody',
        {},
        ...rows.map(({ texts: [first, ...rest], className }) =>
          make('tr', { className }, ...cells('th', [first]), ...cells('td', rest)),
        ),
      ),
    ),
  );
}

function details(summary, isOpen, content) {
  return make('details', { open: isOpen }, make('summary', { textContent: summary }), content);
}

function checksumTable(ranges) {
  const hex = (value) => `0x${value.toString(16).padStart(2, '0')}`;
  const damaged = damagedRanges(ranges);
  const rows = ranges.map((range) => ({
    texts: [range.name, `${range.first}..${range.first + range.size - 1}`, hex(range.stored), hex(range.computed)],
    className: damaged.includes(range) ? 'bad' : '',
  }));
  const table = tableOf(['range', 'bytes', 'stored', 'computed'], rows);
  return details('Checksums', damaged.length > 0, table);
}

function parameterTable(parameters, others) {
  const otherRows = others ? parameterRows(others) : null;
  const rows = parameterRows(parameters).map(({ texts, values }, i) => ({
    texts,
    className: otherRows && otherRows[i].values.join() !== values.join() ? 'differs' : '',
  }));
  return details('Parameters', true, tableOf(['', 'main camera (IR)', 'sub camera (RGB)'], rows));
}
