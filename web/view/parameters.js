/**
 * The parameters of a file as rows: {texts, values}, a name and what stands below the main and the sub camera, and
 * the numbers behind it.
 */

export function parameterRows({ mainCamera, subCamera, extrinsics, orders, pieces }) {
  const both = (name, keys, text) => ({
    texts: [name, text(mainCamera), text(subCamera)],
    values: [mainCamera, subCamera].flatMap((camera) => keys.flatMap((key) => camera[key])),
  });
  const one = (name, values, text) => ({ texts: [name, text, ''], values });
  const hex = (value, digits) => value.toString(16).padStart(digits, '0');
  const words = [];
  for (let i = 0; i < extrinsics.length; i += 4) {
    words.push(
      extrinsics
        .slice(i, i + 4)
        .map((byte) => hex(byte, 2))
        .join(''),
    );
  }
  return [
    both('image', ['width', 'height'], (camera) => `${camera.width} x ${camera.height} pixels`),
    both('focal lengths', ['fx', 'fy'], (camera) => pixels(camera.fx, camera.fy)),
    both('principal point', ['cx', 'cy'], (camera) => pixels(camera.cx, camera.cy)),
    both('field of view', [], fieldOfViewText),
    both('coefficients', ['coeff'], (camera) => camera.coeff.map((word) => hex(word, 8)).join(' ')),
    one('extrinsics, bytes', extrinsics, words.join(' ')),
    one('spline orders', orders, orders.join(' x ')),
    one('pieces', pieces, pieces.join(' x ')),
  ];
}

const pixels = (a, b) => `${a.toFixed(3)}, ${b.toFixed(3)} pixels`;

/** The angles that the straightened image covers; from its edges, half a pixel outside the pixel centres. */
function fieldOfViewText(camera) {
  const left = (camera.cx + 0.5) / camera.fx;
  const right = (camera.width - 0.5 - camera.cx) / camera.fx;
  const top = (camera.cy + 0.5) / camera.fy;
  const bottom = (camera.height - 0.5 - camera.cy) / camera.fy;
  const between = (dot, a, b) => (Math.acos(Math.min(Math.max(dot / (a * b), -1), 1)) * 180) / Math.PI;
  const across = (a, b) => between(1 - a * b, Math.hypot(1, a), Math.hypot(1, b));
  const lengths = [Math.hypot(1, left, top), Math.hypot(1, right, bottom)];
  const diagonal = between(1 - left * right - top * bottom, ...lengths);
  const text = (angle) => angle.toFixed(1);
  return `${text(across(left, right))} x ${text(across(top, bottom))} degrees, ${text(diagonal)} diagonal`;
}
