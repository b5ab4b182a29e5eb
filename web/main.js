/** The page: which files are on it, what is asked of them, and who shows the answers. */
import { buildBridge } from './bridge.js';
import { buildComparisonView } from './view/comparison_view.js';
import { find } from './view/elements.js';
import { fileCard } from './view/file_card.js';
import { buildMapView } from './view/map_view.js';
import { buildPhotoView, readPhoto } from './view/photo_view.js';
import { withProgress } from './view/progress.js';

const mostFiles = 2;

/** The library reads no further, and a file may be larger than the memory. */
const bytesRead = 8192;

/** At most two calibration files and one photo. */
const state = { files: [], photo: null };
let filesSoFar = 0;

const packed = Uint8Array.from(atob(find('#library').textContent), (letter) => letter.charCodeAt(0));
const unpacked = new Response(new Blob([packed]).stream().pipeThrough(new DecompressionStream('gzip')));
const bridge = await buildBridge(await unpacked.arrayBuffer(), find('#worker').textContent);
const mapView = buildMapView(bridge, showError);
const comparisonView = buildComparisonView(bridge, showError);
const photoView = buildPhotoView(bridge, showError);

function notify(text) {
  find('#notice').textContent = text;
}

function showError(error) {
  notify(`Something went wrong: ${error.message}.`);
}

/** Takes in what has been dropped or chosen. */
async function addFiles(files) {
  notify('');
  find('main').setAttribute('aria-busy', 'true');
  for (const file of files) {
    if (file.type.startsWith('image/')) {
      await addPhoto(file);
    } else if (state.files.length < mostFiles) {
      await addCalibration(file);
    } else {
      notify(`Two calibration files are shown already: remove one to make room for ${file.name}.`);
    }
  }
  await showFiles();
  find('main').setAttribute('aria-busy', 'false');
}

async function addPhoto(file) {
  try {
    state.photo = await readPhoto(file);
    if (acceptedFiles().length === 0) {
      notify(`${file.name} is shown as soon as there is an accepted calibration file.`);
    }
  } catch {
    notify(`${file.name} cannot be read as a picture.`);
  }
}

async function addCalibration(file) {
  const start = file.slice(0, bytesRead);
  const bytes = await start.arrayBuffer().catch(() => null);
  const entry = { key: ++filesSoFar, name: file.name, size: file.size, bytes: bytes && new Uint8Array(bytes) };
  try {
    await examine(entry, null);
  } catch (error) {
    showError(error);
    return;
  }
  state.files.push(entry);
}

/** Asks what is to be said of a file; what differs from the other one, if there is one, is marked. */
async function examine(entry, other) {
  entry.examination = await withProgress(`Checking ${entry.name}`, () => bridge.run('examine', { file: entry, other }));
}

const acceptedFiles = () => state.files.filter((file) => file.examination.status === 0);

/** Shows the cards, and the controls as far as there is something to choose. */
async function showFiles() {
  const accepted = acceptedFiles();
  for (const file of accepted) {
    await examine(file, accepted.find((other) => other !== file) ?? null);
  }
  const cards = state.files.map((file) => fileCard(file, () => removeFile(file)));
  find('#files').replaceChildren(...cards);
  const controls = find('#controls');
  controls.hidden = accepted.length === 0;
  find('#file-choice').hidden = accepted.length < mostFiles;
  accepted.forEach((file, i) => {
    find(`#file-choice label:nth-of-type(${i + 1}) span`).textContent = file.name;
  });
  if (accepted.length < mostFiles) {
    find('#file-choice input').checked = true;
  }
  showResults();
}

async function removeFile(file) {
  state.files = state.files.filter((other) => other !== file);
  notify(`${file.name} has been removed.`);
  await showFiles();
  find('#chooser').focus();
}

/** Shows what the controls ask for. */
function showResults() {
  const accepted = acceptedFiles();
  const chosen = new FormData(find('#controls'));
  const direction = chosen.get('direction');
  const ratio = find('#ratio').valueAsNumber;
  const file = accepted[Number(chosen.get('shown'))];
  const isAsked = file && Number.isInteger(ratio) && Math.abs(ratio) < 2 ** 31;
  mapView.show(isAsked ? { file, direction, ratio } : null);
  comparisonView.show(accepted.length === mostFiles ? { files: accepted, direction } : null);
  photoView.show(file && state.photo ? { file, direction, photo: state.photo } : null);
}

find('#chooser').addEventListener('change', ({ target }) => {
  addFiles([...target.files]);
  // So that the same file can be chosen again.
  target.value = '';
});
find('#controls').addEventListener('input', showResults);
find('#controls').addEventListener('submit', (event) => event.preventDefault());
for (const type of ['dragenter', 'dragover', 'dragleave', 'drop']) {
  document.addEventListener(type, (event) => {
    event.preventDefault();
    document.body.classList.toggle('is-dragging', type === 'dragenter' || type === 'dragover');
  });
}
document.addEventListener('drop', (event) => addFiles([...event.dataTransfer.files]));
document.documentElement.dataset.worker = bridge.hasWorker;
