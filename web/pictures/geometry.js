/** Where things stand in a figure, in pixels of its canvas. */

const margins = {
  wide: { left: 74, top: 100, right: 122, bottom: 92 },
  compact: { left: 40, top: 12, right: 62, bottom: 28 },
};

/**
 * The layout of a figure that shows an image of `camera.width` x `camera.height` pixels. Lengths are for a figure
 * 900 wide, times `scale`. A narrow screen leaves no room for the words around the plot, and its `scale` is the one
 * at which the numbers can be read. The image keeps its proportions as far as a side of the plot does not become a
 * line; `stretch` tells how many times as high as wide a pixel is drawn.
 */
export function layOut(camera, width, pixelRatio) {
  const isCompact = width < 560 * pixelRatio;
  const margin = isCompact ? margins.compact : margins.wide;
  const scale = isCompact ? pixelRatio : width / 900;
  const left = Math.round(margin.left * scale);
  // The plot covers whole pixels of the canvas, which makes its edges sharp.
  const top = Math.round(margin.top * scale);
  const mostWidth = width - left - margin.right * scale;
  const mostHeight = 900 * scale;
  const mostSlender = 12;
  const proportion = camera.height / camera.width;
  const drawn = Math.min(Math.max(proportion, 1 / mostSlender), mostSlender);
  const plotWidth = Math.round(Math.min(mostWidth, mostHeight / drawn));
  const plot = { left, top, width: plotWidth, height: Math.round(plotWidth * drawn) };
  const height = Math.ceil(top + Math.max(plot.height, 160 * scale) + margin.bottom * scale);
  return { camera, width, height, scale, stretch: drawn / proportion, plot, isCompact };
}

/** From pixels of the image, which covers -0.5 to width - 0.5, to the plot and back. */
export function onPlot(layout, pixel) {
  const { camera, plot } = layout;
  return { x: ((pixel.x + 0.5) / camera.width) * plot.width, y: ((pixel.y + 0.5) / camera.height) * plot.height };
}

export function pixelAt(layout, place) {
  const { camera, plot } = layout;
  return { x: (place.x / plot.width) * camera.width - 0.5, y: (place.y / plot.height) * camera.height - 0.5 };
}

/** The round number (1, 2 or 5 times a power of ten) that divides a range into about `parts`. */
export function roundStep(range, parts) {
  const raw = range / parts;
  const power = 10 ** Math.floor(Math.log10(raw));
  const factor = [1, 2, 5].find((candidate) => candidate * power >= raw * 0.999) ?? 10;
  return factor * power;
}

/** A number with as many decimals as its step needs. */
export function numberText(value, step) {
  const decimals = Math.max(0, -Math.floor(Math.log10(step) + 1e-9));
  return decimals > 20 ? value.toExponential(3) : value.toFixed(decimals);
}
