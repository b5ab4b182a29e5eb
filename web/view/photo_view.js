/** A photo of the main camera before and after, with a slider between the two. */
import { find, make, offer, stemOf } from './elements.js';
import { latestIn } from './latest.js';
import { withProgress } from './progress.js';
import { whole, zoomable } from './zoom.js';

/**
 * `show(request)` shows {key, file, direction, photo}: the photo as the map of the file sees it, or nothing for null.
 * `onRemove` is called by the button.
 */
export function buildPhotoView({ run }, onError, onRemove) {
  const section = find('#photo');
  const frame = find('.photo', section);
  let [before, after] = frame.children;
  const divider = find('#divider');
  const help = find('.help', section);
  const result = find('.result', section);
  /** The photo in the elements, and what is saved of it. */
  let held = null;
  let saved = null;
  let part = whole;
  const view = latestIn(section, draw, onError);

  async function draw({ file, direction, photo }, signal) {
    const verb = direction === 'undistort' ? 'straightened' : 'bent';
    saved = null;
    hold(photo);
    const obstacle = file ? misfitOf(photo, file.examination) : 'It is shown as soon as an accepted file is.';
    result.hidden = obstacle !== '';
    find('h2', section).textContent = file ? `${photo.name}, ${verb} by ${file.label}` : photo.name;
    help.textContent = obstacle;
    if (result.hidden) {
      return;
    }
    const answer = await withProgress(`The photo is ${verb}`, (onProgress) =>
      run('remapPhoto', { file, direction, photo: photo.file }, { onProgress, signal }),
    );
    result.hidden = !answer.bitmap;
    if (answer.bitmap) {
      Object.assign(after, { width: photo.width, height: photo.height });
      after.setAttribute('aria-label', `The photo, ${verb}`);
      after.getContext('bitmaprenderer').transferFromImageBitmap(answer.bitmap);
      divide();
      saved = `${stemOf(photo.name)}-${verb}.png`;
    } else {
      const lines = answer.lines.map((line) => make('samp', { textContent: line }));
      help.replaceChildren(`No map: ${answer.refusal.reason}.`, ...lines);
    }
  }

  /** Puts a photo, or none, into elements of its own: emptied ones go on holding its memory. */
  function hold(photo) {
    if (held?.photo !== photo) {
      URL.revokeObjectURL(held?.address);
      held = photo && { photo, address: URL.createObjectURL(photo.file) };
      const old = [before, after];
      [before, after] = old.map((element) => element.cloneNode());
      before.removeAttribute('src');
      old.forEach((element, i) => element.replaceWith([before, after][i]));
      if (held) {
        before.src = held.address;
        section.scrollIntoView({ block: 'nearest' });
      }
    }
  }

  function divide() {
    const { left, top, size } = part;
    for (const element of [before, after]) {
      element.style.transform = `scale(${1 / size}) translate(${-100 * left}%, ${-100 * top}%)`;
    }
    after.style.clipPath = `inset(0 0 0 ${100 * left + divider.value * size}%)`;
  }
  divider.addEventListener('input', divide);
  const at = ({ clientX, clientY }) => {
    const area = frame.getBoundingClientRect();
    return { x: (clientX - area.left) / area.width, y: (clientY - area.top) / area.height };
  };
  const drag = (event) => {
    if (event.buttons === 1 && !event.shiftKey) {
      divider.value = 100 * at(event).x;
      divide();
    }
  };
  zoomable(frame, { at, isRectangle: ({ shiftKey }) => shiftKey, onChange: (asked) => ((part = asked), divide()) });
  frame.addEventListener('pointerdown', drag);
  frame.addEventListener('pointermove', drag);
  find('.save-picture', section).addEventListener('click', () => {
    const name = saved;
    if (name) {
      after.toBlob((blob) => offer(blob, name), 'image/png');
    }
  });
  find('.remove', section).addEventListener('click', onRemove);
  return {
    show(request) {
      view.show(request);
      if (!request) {
        hold(null);
      }
    },
  };
}

/** Why the photo is none that the camera records as it is, or ''. */
function misfitOf(photo, { width, height }) {
  return photo.width === width && photo.height === height
    ? ''
    : `The photo has ${photo.width} x ${photo.height} pixels and the camera ${width} x ${height}: ` +
        'it does not come from this camera as it is, or it has been cut or scaled. Drop the photo as it was recorded.';
}
