/** A photo of the main camera before and after, with a slider between the two. */
import { find, make, offerPicture, stemOf } from './elements.js';
import { latestIn } from './latest.js';
import { withProgress } from './progress.js';

/** Reads a picture file: {name, bitmap}. */
export async function readPhoto(file) {
  return { name: file.name, bitmap: await createImageBitmap(file, { colorSpaceConversion: 'none' }) };
}

/** `show(request)` shows {file, direction, photo}: the photo as the map of the file sees it, or nothing for null. */
export function buildPhotoView(bridge, onError) {
  const section = find('#photo');
  const [before, after] = [find('.before', section), find('.after', section)];
  const divider = find('#divider');
  const help = find('.help', section);
  const result = find('.result', section);
  let saved = null;
  const view = latestIn(section, draw, onError);

  async function draw({ file, direction, photo }, signal) {
    const verb = direction === 'undistort' ? 'straightened' : 'bent';
    find('h2', section).textContent = `${photo.name}, ${verb} by ${file.name}`;
    after.setAttribute('aria-label', `The photo, ${verb}`);
    saved = null;
    const misfit = misfitOf(photo.bitmap, file.examination);
    help.textContent = misfit?.words ?? '';
    result.hidden = Boolean(misfit?.isFatal);
    if (result.hidden) {
      return;
    }
    const pixels = drawBefore(photo.bitmap, file.examination);
    const answer = await withProgress(`The photo is ${verb}`, (onProgress) =>
      bridge.run('remapPhoto', { file, direction, pixels }, { onProgress, signal }),
    );
    result.hidden = !answer.pixels;
    if (answer.pixels) {
      drawAfter(answer.pixels);
      saved = `${stemOf(photo.name)}-${verb}.png`;
    } else {
      const lines = answer.lines.map((line) => make('samp', { textContent: line }));
      help.replaceChildren(`No map: ${answer.refusal.reason}.`, ...lines);
    }
  }

  function drawBefore(bitmap, { width, height }) {
    Object.assign(before, { width, height });
    const context = before.getContext('2d', { willReadFrequently: true });
    context.drawImage(bitmap, 0, 0, width, height);
    return context.getImageData(0, 0, width, height).data;
  }

  function drawAfter(pixels) {
    Object.assign(after, { width: before.width, height: before.height });
    after.getContext('2d').putImageData(new ImageData(pixels, before.width, before.height), 0, 0);
    divide();
  }

  const divide = () => (after.style.clipPath = `inset(0 0 0 ${divider.value}%)`);
  divider.addEventListener('input', divide);
  const drag = (event) => {
    if (event.buttons === 1) {
      const area = before.getBoundingClientRect();
      divider.value = (100 * (event.clientX - area.left)) / area.width;
      divide();
    }
  };
  const frame = find('.photo', section);
  frame.addEventListener('pointerdown', drag);
  frame.addEventListener('pointermove', drag);
  find('.save-picture', section).addEventListener('click', () => saved && offerPicture(after, saved));
  return view;
}

/** How the photo differs from what the camera records: {isFatal, words}, or null. */
function misfitOf(bitmap, { width, height }) {
  if (bitmap.width === width && bitmap.height === height) {
    return null;
  }
  const sizes = `The photo has ${bitmap.width} x ${bitmap.height} pixels and the camera ${width} x ${height}`;
  const isSameShape = Math.abs((bitmap.width * height) / (bitmap.height * width) - 1) < 0.01;
  return isSameShape
    ? { isFatal: false, words: `${sizes}: it is shown in the camera's size.` }
    : { isFatal: true, words: `${sizes}: it does not come from this camera as it is, or it has been cut.` };
}
