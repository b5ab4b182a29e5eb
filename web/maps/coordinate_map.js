/**
 * A map is {rows, cols, ratio, x, y} as the library delivers it: positions in samples, row by row. A field is
 * {rows, cols, values, first, step}: values in pixels at evenly spaced pixels of an image, column i and row i
 * standing at `first + step * i`.
 */

/**
 * Bilinear interpolation in a grid of `rows` x `cols` elements at column x and row y; `at(index)` gives an element.
 * Beyond the outermost elements the value goes on straight for up to `beyond` elements and then stays.
 */
export function interpolated({ rows, cols }, at, x, y, beyond = 0) {
  const clamp = (value, low, high) => Math.min(Math.max(value, low), high);
  const inX = clamp(x, -beyond, cols - 1 + beyond);
  const inY = clamp(y, -beyond, rows - 1 + beyond);
  const col = clamp(Math.floor(inX), 0, Math.max(cols - 2, 0));
  const row = clamp(Math.floor(inY), 0, Math.max(rows - 2, 0));
  const right = Math.min(col + 1, cols - 1) - col;
  const above = row * cols + col;
  const below = Math.min(row + 1, rows - 1) * cols + col;
  const between = (a, b, t) => a + (b - a) * t;
  return between(
    between(at(above), at(above + right), inX - col),
    between(at(below), at(below + right), inX - col),
    inY - row,
  );
}

/** Samples stand at the centres of what they speak for: their blocks reach half a sample further. */
const halfBlock = 0.5;

/** The pixel at which sample 0 stands. */
const firstPixel = (map) => (map.ratio - 1) / 2;

/** Where the map takes a pixel, in pixels. */
export function mapped(map, pixel) {
  const { cols, ratio } = map;
  const x = (pixel.x - firstPixel(map)) / ratio;
  const y = (pixel.y - firstPixel(map)) / ratio;
  // What is interpolated is the displacement, which goes on straight where the map does.
  const right = interpolated(map, (i) => map.x[i] - (i % cols), x, y, halfBlock);
  const down = interpolated(map, (i) => map.y[i] - Math.trunc(i / cols), x, y, halfBlock);
  return { x: pixel.x + ratio * right, y: pixel.y + ratio * down };
}

/** The value of a field at any pixel, continued to the border of the blocks. */
export function valueAt({ rows, cols, values, first, step }, pixel) {
  const x = (pixel.x - first) / step;
  const y = (pixel.y - first) / step;
  return Math.max(
    0,
    interpolated({ rows, cols }, (i) => values[i], x, y, halfBlock),
  );
}

/** True when a position in samples lies on the area that the samples of the map cover. */
export function isInside(map, x, y) {
  return x >= -0.5 && x <= map.cols - 0.5 && y >= -0.5 && y <= map.rows - 0.5;
}

/**
 * How far, in pixels, the map moves each sample: a field. Like the next functions it goes over all samples, so it
 * calls `step` after each row.
 */
export function displacementsOf(map, step) {
  return fieldOf(map, (i, row, col) => distance(map.x[i] - col, map.y[i] - row), step);
}

/** How far, in pixels, two maps of equal shape are apart: a field. */
export function driftBetween(a, b, step) {
  return fieldOf(a, (i) => distance(a.x[i] - b.x[i], a.y[i] - b.y[i]), step);
}

/** Much faster than Math.hypot, and good for all lengths that are pixels. */
const distance = (right, down) => Math.sqrt(right * right + down * down);

async function fieldOf(map, lengthAt, step) {
  const { rows, cols, ratio } = map;
  const values = new Float64Array(rows * cols);
  for (let row = 0, i = 0; row < rows; ++row) {
    for (let col = 0; col < cols; ++col, ++i) {
      values[i] = ratio * lengthAt(i, row, col);
    }
    await step(row / rows);
  }
  return { rows, cols, values, first: firstPixel(map), step: ratio };
}

/**
 * A field in numbers: the largest value and its pixel, mean and root mean square; those not finite are `lost`, and
 * with all of them the field is.
 */
export async function summaryOf({ rows, cols, values, first, step: pixels }, step) {
  let [largest, at, sum, squares, lost] = [0, 0, 0, 0, 0];
  for (let row = 0, i = 0; row < rows; ++row) {
    for (let col = 0; col < cols; ++col, ++i) {
      const value = values[i];
      if (!Number.isFinite(value)) {
        ++lost;
        continue;
      }
      if (value > largest) {
        largest = value;
        at = i;
      }
      sum += value;
      squares += value * value;
    }
    await step(row / rows);
  }
  const count = Math.max(values.length - lost, 1);
  const place = { x: first + pixels * (at % cols), y: first + pixels * Math.trunc(at / cols) };
  return {
    largest,
    place,
    mean: sum / count,
    rootMeanSquare: Math.sqrt(squares / count),
    lost,
    isLost: lost === values.length,
  };
}

/** How many samples are taken to a place outside the image. */
export async function countOutside(map, step) {
  let count = 0;
  for (let row = 0, i = 0; row < map.rows; ++row) {
    for (let col = 0; col < map.cols; ++col, ++i) {
      const isSomewhere = Number.isFinite(map.x[i] + map.y[i]);
      count += isSomewhere && !isInside(map, map.x[i], map.y[i]) ? 1 : 0;
    }
    await step(row / map.rows);
  }
  return count;
}
