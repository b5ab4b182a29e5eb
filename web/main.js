/** The page: the one owner of what is on it, the one queue through which everything comes there, and who shows it. */
import { buildBridge } from './bridge.js';
import { showCards } from './view/cards.js';
import { buildComparisonView } from './view/comparison_view.js';
import { find } from './view/elements.js';
import { asRecorded, kindOf, labelAll, readDropped } from './view/files.js';
import { buildMapView } from './view/map_view.js';
import { notify } from './view/notices.js';
import { buildPhotoView } from './view/photo_view.js';
import { withProgress } from './view/progress.js';
import { buildTableView } from './view/table_view.js';

/** The library reads no further, and a file may be larger than the memory. */
const bytesRead = 8192;

/** Milliseconds between two looks at a long queue; a long table takes long to lay out, and is looked at less often. */
const patience = () => 250 + state.files.length;

/**
 * What is on the page. A file is {key, name, label, size, bytes, examination, differences}: the last are those from the
 * reference, for the direction that `key` in them names. `shown`, `ticked` and `reference` are what somebody has chosen
 * among the files, `marks` the parameters of two that are compared.
 */
const state = { files: [], photo: null, shown: null, ticked: [], reference: null, marks: null };
let waiting = [];
let isWorking = false;
let filesSoFar = 0;

const bridge = startBridge();
const run = async (name, argument, options) => (await bridge).run(name, sent(argument), options);
const mapView = buildMapView({ run }, showError);
const comparisonView = buildComparisonView({ run }, showError, (marks) => {
  state.marks = marks;
  showFiles();
});
const photoView = buildPhotoView({ run }, showError, removePhoto);
const tableView = buildTableView({
  onShow: (file) => change({ shown: file, ticked: [] }),
  onTick(file, isTicked) {
    const others = state.ticked.filter((other) => other !== file);
    change({ ticked: isTicked ? [...others, file].slice(-2) : others });
  },
  onReference: () => change({ reference: shownFile() }),
  onClear: removeAll,
});

async function startBridge() {
  const packed = Uint8Array.from(atob(find('#library').textContent), (letter) => letter.charCodeAt(0));
  const unpacked = new Response(new Blob([packed]).stream().pipeThrough(new DecompressionStream('gzip')));
  return buildBridge(await unpacked.arrayBuffer(), find('#worker').textContent);
}

/** What a task needs of files: what has been said of them is large and stays here. */
function sent({ request, file, files, ...rest }) {
  const bare = ({ key, name, label, size, bytes }) => ({ key, name, label, size, bytes });
  return { ...rest, request: request && sent(request), file: file && bare(file), files: files?.map(bare) };
}

function showError(error) {
  notify(`Something went wrong: ${error.message}.`);
}

// ---- What is chosen, and what follows from it -----------------------------------------------------------------

const isAccepted = (file) => file?.examination.status === 0;
const firstAccepted = () => state.files.find(isAccepted);
const shownFile = () => state.shown ?? firstAccepted() ?? state.files[0];
const reference = () => state.reference ?? firstAccepted();

/** The two files to be compared, if there are: those that are ticked, or the only ones. */
function pair() {
  const files = state.ticked.length === 2 ? state.ticked : state.files;
  return files.length === 2 ? files : null;
}

function chosen() {
  const values = new FormData(find('#controls'));
  const ratio = find('#ratio').valueAsNumber;
  const isRatio = Number.isInteger(ratio) && Math.abs(ratio) < 2 ** 31;
  return { direction: values.get('direction'), ratio: isRatio ? ratio : null };
}

function change(values) {
  Object.assign(state, values);
  show();
  work();
}

// ---- The queue ------------------------------------------------------------------------------------------------

function add(files) {
  waiting.push(...files);
  work();
}

/** Does all there is to do, one after the other, what has been dropped first. */
async function work() {
  if (isWorking) {
    return;
  }
  isWorking = true;
  find('main').setAttribute('aria-busy', 'true');
  let shownAt = performance.now();
  await withProgress('Looking at the files', async (reached) => {
    for (let job = nextJob(reached); job; job = nextJob(reached)) {
      await job().catch(showError);
      if (performance.now() - shownAt > patience()) {
        showFiles();
        shownAt = performance.now();
      }
    }
  });
  isWorking = false;
  show();
  find('main').setAttribute('aria-busy', 'false');
}

function nextJob(reached) {
  const dropped = waiting.shift();
  if (dropped) {
    reached(state.files.length / (state.files.length + waiting.length + 1) / 2);
    return () => takeIn(dropped);
  }
  const files = uncompared();
  reached(1 - files.length / (state.files.length || 1) / 2);
  return files.length > 0 ? () => compareWithReference(files[0]) : null;
}

async function takeIn(file) {
  const bytes = await file
    .slice(0, bytesRead)
    .arrayBuffer()
    .then(
      (data) => new Uint8Array(data),
      () => null,
    );
  const kind = kindOf(bytes, file);
  if (kind === 'picture') {
    await takePhoto(file);
    return;
  }
  const entry = { key: filesSoFar++, name: file.path ?? file.name, size: file.size, bytes, differences: null };
  entry.examination = await run('examine', { file: entry });
  if (kind && !isAccepted(entry)) {
    notify(`${entry.name} is ${kind}, no calibration file.`);
    return;
  }
  state.files.push(entry);
}

async function takePhoto(file) {
  try {
    const recorded = await asRecorded(file);
    const size = await run('measurePhoto', { photo: recorded });
    state.photo = { key: filesSoFar++, name: file.name, file: recorded, ...size };
  } catch {
    notify(`${file.name} cannot be read as a picture.`);
  }
}

/** The accepted files that have not been compared with the reference in this direction. */
function uncompared() {
  const key = differencesKey();
  const first = reference();
  return state.files.filter((file) => isAccepted(file) && file !== first && file.differences?.key !== key);
}

const differencesKey = () => `${reference()?.key} ${chosen().direction}`;

async function compareWithReference(file) {
  const key = differencesKey();
  file.differences = { key };
  const found = await run('differ', { files: [reference(), file], direction: chosen().direction });
  file.differences = { key, ...found };
}

// ---- Removing -------------------------------------------------------------------------------------------------

function removeFile(file) {
  const without = (chosenFile) => (chosenFile === file ? null : chosenFile);
  notify(`${file.label} has been removed.`);
  change({
    files: state.files.filter(without),
    ticked: state.ticked.filter(without),
    shown: without(state.shown),
    reference: without(state.reference),
  });
  forgetAll();
  find('#chooser').focus();
}

function removeAll() {
  waiting = [];
  change({ files: [], ticked: [], shown: null, reference: null });
  forgetAll();
  find('#chooser').focus();
}

function removePhoto() {
  state.photo = null;
  show();
  forgetAll();
}

/** With nothing left to ask about, the memory that answers took is given back. */
function forgetAll() {
  if (state.files.length === 0 && waiting.length === 0) {
    bridge.then(({ renew }) => renew());
  }
}

// ---- Showing --------------------------------------------------------------------------------------------------

/** The table, the cards and the controls as far as there is something to choose. */
function showFiles() {
  labelAll(state.files);
  const { direction } = chosen();
  const [shown, compared] = [shownFile(), pair()];
  tableView.show({ ...state, shown, reference: reference(), direction });
  const cards = state.files.length === 2 ? state.files : (compared ?? (shown ? [shown] : []));
  showCards(cards, { marks: state.marks?.pair === compared ? state.marks : null, onRemove: removeFile });
  find('#controls').hidden = !firstAccepted();
}

/** Everything, as the state says. */
function show() {
  showFiles();
  const [file, compared] = [shownFile(), pair()];
  const { direction, ratio } = chosen();
  const name = file && `${file.key} ${file.label} ${direction}`;
  mapView.show(isAccepted(file) ? { key: `${name} ${ratio}`, file, direction, ratio } : null);
  const names = compared?.map(({ key, label }) => `${key} ${label}`).join();
  const refused = compared?.filter((one) => !isAccepted(one)) ?? [];
  comparisonView.show(compared && { key: `${names} ${direction}`, files: compared, refused, direction });
  const { photo } = state;
  photoView.show(photo && { key: `${name} ${photo.key}`, file: isAccepted(file) ? file : null, direction, photo });
}

find('#chooser').addEventListener('change', ({ target }) => {
  add([...target.files]);
  // So that the same file can be chosen again.
  target.value = '';
});
find('#controls').addEventListener('input', () => change({}));
find('#controls').addEventListener('submit', (event) => event.preventDefault());
for (const type of ['dragenter', 'dragover', 'dragleave', 'drop']) {
  document.addEventListener(type, (event) => {
    event.preventDefault();
    document.body.classList.toggle('is-dragging', type === 'dragenter' || type === 'dragover');
  });
}
document.addEventListener('drop', ({ dataTransfer }) => readDropped(dataTransfer).then(add, showError));
find('#unable').hidden = true;
bridge.then(
  ({ hasWorker }) => (document.documentElement.dataset.worker = hasWorker),
  () => (find('#unable').hidden = false),
);
