import { interpolated, isInside } from './coordinate_map.js';

/**
 * A picture as the map of ratio 1 sees it: RGBA bytes of the same size, black where the map leaves the picture.
 * `step` is called after each row and may pause the work.
 */
export async function remapped(map, pixels, step) {
  const result = new Uint8ClampedArray(pixels.length);
  for (let row = 0, i = 0; row < map.rows; ++row) {
    for (let col = 0; col < map.cols; ++col, ++i) {
      if (isInside(map, map.x[i], map.y[i])) {
        for (let channel = 0; channel < 3; ++channel) {
          const at = (index) => pixels[4 * index + channel];
          result[4 * i + channel] = Math.round(interpolated(map, at, map.x[i], map.y[i]));
        }
      }
      result[4 * i + 3] = 255;
    }
    await step(row / map.rows);
  }
  return result;
}
