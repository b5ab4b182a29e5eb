/**
 * A map is {rows, cols, ratio, x, y} as the library delivers it: positions in samples, row by row. A grid of
 * nodes is {rows, cols, values}.
 */

/** Bilinear interpolation at column x and row y; a place outside takes the value of the nearest place inside. */
export function interpolated(grid, values, x, y) {
  const { rows, cols } = grid;
  const inX = Math.min(Math.max(x, 0), cols - 1);
  const inY = Math.min(Math.max(y, 0), rows - 1);
  const col = Math.trunc(inX);
  const row = Math.trunc(inY);
  const right = Math.min(col + 1, cols - 1) - col;
  const above = row * cols + col;
  const below = Math.min(row + 1, rows - 1) * cols + col;
  const between = (a, b, t) => a + (b - a) * t;
  return between(
    between(values[above], values[above + right], inX - col),
    between(values[below], values[below + right], inX - col),
    inY - row,
  );
}

/** From pixels of the image to samples of a map and back. */
export const toSample = (map, pixel) => (pixel - (map.ratio - 1) / 2) / map.ratio;
export const toPixel = (map, sample) => sample * map.ratio + (map.ratio - 1) / 2;

/** Where the map takes a pixel, in pixels. */
export function mapped(map, pixel) {
  const x = toSample(map, pixel.x);
  const y = toSample(map, pixel.y);
  return {
    x: toPixel(map, interpolated(map, map.x, x, y)),
    y: toPixel(map, interpolated(map, map.y, x, y)),
  };
}

/** True when a position in samples lies on the area that the samples of the map cover. */
export function isInside(map, x, y) {
  return x >= -0.5 && x <= map.cols - 0.5 && y >= -0.5 && y <= map.rows - 0.5;
}

/**
 * How far, in pixels, the map moves each sample: the nodes, the largest and the mean of them (NaN when one is),
 * and how many samples are taken outside the image.
 */
export function displacementOf(map) {
  const values = new Float64Array(map.x.length);
  let [largest, sum, outside] = [0, 0, 0];
  for (let row = 0, i = 0; row < map.rows; ++row) {
    for (let col = 0; col < map.cols; ++col, ++i) {
      const distance = map.ratio * Math.hypot(map.x[i] - col, map.y[i] - row);
      values[i] = distance;
      // Written so that a NaN in the map shows in the result.
      largest = distance <= largest ? largest : distance;
      sum += distance;
      outside += isInside(map, map.x[i], map.y[i]) ? 0 : 1;
    }
  }
  const nodes = { rows: map.rows, cols: map.cols, values };
  return { nodes, largest, mean: sum / values.length, outside };
}

/** How far, in pixels, two maps of equal shape are apart: the nodes, the largest and the root mean square. */
export function driftBetween(a, b) {
  const values = new Float64Array(a.x.length);
  let [largest, squares] = [0, 0];
  for (let i = 0; i < values.length; ++i) {
    const distance = a.ratio * Math.hypot(a.x[i] - b.x[i], a.y[i] - b.y[i]);
    values[i] = distance;
    largest = distance <= largest ? largest : distance;
    squares += distance * distance;
  }
  const nodes = { rows: a.rows, cols: a.cols, values };
  return { nodes, largest, rootMeanSquare: Math.sqrt(squares / values.length) };
}
