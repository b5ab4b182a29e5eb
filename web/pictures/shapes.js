/**
 * The slow half of a figure, which a worker computes and the page then draws. All places are on the
 * plot, in pixels from its top left corner.
 */
import { mapped, valueAt } from '../maps/coordinate_map.js';
import { colours, heatLightness, heatTable } from './colour.js';
import { contourLines } from './contour.js';
import { onPlot, pixelAt, roundStep } from './geometry.js';

/**
 * The shapes that show a field with its summary: the largest value (0 when that is no more than rounding leaves over), the heat map
 * as RGBA bytes, contour lines by level, and a regular grid with the same where `map`, if there is one, takes it.
 * `step` is called every now and then and may pause the work.
 */
export async function makeShapes(layout, field, summary, map, step) {
  const { largest: rounded, place } = summary;
  const largest = rounded > roundingOf(layout.camera) ? rounded : 0;
  const covered = { x: field.cols * field.step, y: field.rows * field.step };
  return {
    largest,
    rounded,
    place,
    heatMap: await heatMap(layout, field, covered, largest, step),
    regularGrid: map ? gridLines(layout, covered, (pixel) => pixel) : [],
    mappedGrid: map ? gridLines(layout, covered, (pixel) => mapped(map, pixel)) : [],
    contours: largest > 0 ? await contours(layout, field, covered, largest, step) : [],
  };
}

/** How far computing in single precision may move a pixel that no lens moves. */
function roundingOf({ width, height, cx, cy }) {
  return Math.max(width, height, Math.abs(cx), Math.abs(cy)) * 2 ** -21;
}

async function heatMap(layout, field, covered, largest, step) {
  const { width, height } = layout.plot;
  const pixels = new Uint8ClampedArray(4 * width * height);
  const { size, table } = heatTable();
  const colourOf = (pixel) => {
    if (pixel.x > covered.x - 0.5 || pixel.y > covered.y - 0.5) {
      return colours.uncovered;
    }
    const value = valueAt(field, pixel);
    if (!Number.isFinite(value)) {
      return colours.lost;
    }
    const entry = 3 * Math.trunc((largest > 0 ? Math.min(value / largest, 1) : 0) * (size - 1));
    return table.subarray(entry, entry + 3);
  };
  for (let row = 0, i = 0; row < height; ++row) {
    for (let col = 0; col < width; ++col, i += 4) {
      pixels.set(colourOf(pixelAt(layout, { x: col + 0.5, y: row + 0.5 })), i);
      pixels[i + 3] = 255;
    }
    await step(row / height);
  }
  return pixels;
}

/**
 * The lines of a regular grid over what is covered, at the places to which `place` takes them: 17 lines along the
 * longer side, from the first pixel to the last, and as many along the other as keep the cells about square.
 */
function gridLines(layout, covered, place) {
  const cellsAlongLonger = 16;
  const stepsPerLine = 400;
  const { plot } = layout;
  const right = covered.x - 1;
  const bottom = covered.y - 1;
  const cells = (side, other) => Math.max(4, Math.round(cellsAlongLonger * Math.min(1, side / other)));
  const lines = [];
  const addLine = (from, to) => {
    const line = [];
    for (let i = 0; i <= stepsPerLine; ++i) {
      const t = i / stepsPerLine;
      const p = place({ x: from.x + (to.x - from.x) * t, y: from.y + (to.y - from.y) * t });
      if (Number.isFinite(p.x) && Number.isFinite(p.y)) {
        line.push(onPlot(layout, p));
      }
    }
    lines.push(line);
  };
  const columns = cells(plot.width, plot.height);
  for (let i = 0; i <= columns; ++i) {
    const x = (right * i) / columns;
    addLine({ x, y: 0 }, { x, y: bottom });
  }
  const rows = cells(plot.height, plot.width);
  for (let i = 0; i <= rows; ++i) {
    const y = (bottom * i) / rows;
    addLine({ x: 0, y }, { x: right, y });
  }
  return lines;
}

/** Contour lines at the multiples of a round step, and at two levels below it that tell of the middle. */
async function contours(layout, field, covered, largest, step) {
  // Nodes a few hairlines apart, over the area for which there are values.
  const apart = 2.2 * layout.scale;
  const count = (length) => Math.max(2, Math.round(length / apart) + 1);
  const rows = count((layout.plot.height * covered.y) / layout.camera.height);
  const cols = count((layout.plot.width * covered.x) / layout.camera.width);
  const pixel = (node) => ({
    x: (covered.x * node.x) / (cols - 1) - 0.5,
    y: (covered.y * node.y) / (rows - 1) - 0.5,
  });
  const values = new Float64Array(rows * cols);
  for (let i = 0; i < values.length; ++i) {
    values[i] = valueAt(field, pixel({ x: i % cols, y: Math.trunc(i / cols) }));
  }
  const between = roundStep(largest, 10);
  const levels = [between / 10, between / 2];
  for (let i = 1; i * between < largest; ++i) {
    levels.push(i * between);
  }
  const result = [];
  for (const [i, level] of levels.entries()) {
    result.push({
      level,
      isOnLight: heatLightness(level / largest) > 0.6,
      lines: contourLines({ rows, cols, values }, level).map((line) => line.map((node) => onPlot(layout, pixel(node)))),
    });
    await step(i / levels.length);
  }
  return result;
}
