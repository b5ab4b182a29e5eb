/** Where things stand in a figure, in pixels of its canvas. */

/**
 * The layout of a figure that shows an image of `camera.width` x `camera.height` pixels. Lengths are for a figure
 * 900 wide, times `scale`. A narrow screen leaves no room for the words beside the axes, and its `scale` is the
 * one at which the numbers can be read.
 */
export function layOut(camera, width, pixelRatio) {
  const isCompact = width < 560 * pixelRatio;
  const scale = isCompact ? pixelRatio : Math.max(width / 900, 0.8 * pixelRatio);
  const margin = isCompact
    ? { left: 40, top: 12, right: 62, bottom: 28 }
    : { left: 74, top: 78, right: 122, bottom: 62 };
  const left = Math.round(margin.left * scale);
  const top = Math.round(margin.top * scale);
  // The plot covers whole pixels of the canvas, which makes its edges sharp.
  const plotWidth = Math.round(width - left - margin.right * scale);
  // Very long or high images are not shown in proportion, so that the texts have room.
  const proportion = Math.min(Math.max(camera.height / camera.width, 0.25), 1.6);
  const plot = { left, top, width: plotWidth, height: Math.round(plotWidth * proportion) };
  const height = Math.ceil(plot.top + plot.height + margin.bottom * scale);
  return { camera, width, height, scale, plot, isCompact };
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
