/**
 * The parts of a figure that take time: what a worker computes and the page then draws. All places are on the
 * plot, in pixels from its top left corner.
 */
import { interpolated, mapped, toSample } from '../maps/coordinate_map.js';
import { heatLightness, heatTable } from './colour.js';
import { contourLines } from './contour.js';
import { onPlot, pixelAt, roundStep } from './geometry.js';

const outsideColour = [107, 107, 115];

/**
 * The shapes that show `nodes`, values in pixels at the samples of `map`: the heat map as RGBA bytes, contour
 * lines by level, and the map's grid if `withGrid`. `step` is called every now and then and may pause the work.
 */
export async function makeShapes(layout, map, nodes, withGrid, step) {
  const field = { ratio: map.ratio, ...nodes, largest: largestOf(nodes.values) };
  return {
    largest: field.largest,
    step: roundStep(field.largest, 10),
    heatMap: await heatMap(layout, field, step),
    grid: withGrid ? mappedGrid(layout, map) : [],
    contours: await contours(layout, field, step),
  };
}

/** The largest value; 1 where there is none, because a map that moves nothing has a legend all the same. */
function largestOf(values) {
  let largest = 0;
  for (const value of values) {
    largest = value > largest ? value : largest;
  }
  return largest > 0 && Number.isFinite(largest) ? largest : 1;
}

function valueAt(field, pixel) {
  return interpolated(field, field.values, toSample(field, pixel.x), toSample(field, pixel.y));
}

async function heatMap(layout, field, step) {
  const { width, height } = layout.plot;
  const pixels = new Uint8ClampedArray(4 * width * height);
  const { size, table } = heatTable();
  for (let row = 0, i = 0; row < height; ++row) {
    for (let col = 0; col < width; ++col, i += 4) {
      const value = valueAt(field, pixelAt(layout, { x: col + 0.5, y: row + 0.5 }));
      if (Number.isFinite(value)) {
        const entry = 3 * Math.round(Math.min(value / field.largest, 1) * size);
        pixels.set(table.subarray(entry, entry + 3), i);
      } else {
        pixels.set(outsideColour, i);
      }
      pixels[i + 3] = 255;
    }
    await step(row / height);
  }
  return pixels;
}

/** The regular grid of one image, where the map takes it. */
function mappedGrid(layout, map) {
  const linesAlongWidth = 16;
  const stepsPerLine = 400;
  const right = layout.camera.width - 1;
  const bottom = layout.camera.height - 1;
  const proportion = layout.plot.height / layout.plot.width;
  const linesAlongHeight = Math.max(4, Math.round(linesAlongWidth * proportion));
  const lines = [];
  const addLine = (from, to) => {
    const line = [];
    for (let i = 0; i <= stepsPerLine; ++i) {
      const t = i / stepsPerLine;
      const place = mapped(map, { x: from.x + (to.x - from.x) * t, y: from.y + (to.y - from.y) * t });
      if (Number.isFinite(place.x) && Number.isFinite(place.y)) {
        line.push(onPlot(layout, place));
      }
    }
    lines.push(line);
  };
  for (let i = 0; i <= linesAlongWidth; ++i) {
    const x = (right * i) / linesAlongWidth;
    addLine({ x, y: 0 }, { x, y: bottom });
  }
  for (let i = 0; i <= linesAlongHeight; ++i) {
    const y = (bottom * i) / linesAlongHeight;
    addLine({ x: 0, y }, { x: right, y });
  }
  return lines;
}

/** Contour lines at the multiples of a round step, and at two levels below it that tell of the middle. */
async function contours(layout, field, step) {
  // Nodes fine enough for smooth lines, over the whole area of the image.
  const cols = 321;
  const rows = Math.max(2, Math.trunc((cols * layout.plot.height) / layout.plot.width));
  const place = (node) => ({
    x: (node.x / (cols - 1)) * layout.plot.width,
    y: (node.y / (rows - 1)) * layout.plot.height,
  });
  const values = new Float64Array(rows * cols);
  for (let i = 0; i < values.length; ++i) {
    values[i] = valueAt(field, pixelAt(layout, place({ x: i % cols, y: Math.trunc(i / cols) })));
  }
  const between = roundStep(field.largest, 10);
  const levels = [between / 10, between / 2];
  for (let i = 1; i * between < field.largest; ++i) {
    levels.push(i * between);
  }
  const result = [];
  for (const [i, level] of levels.entries()) {
    result.push({
      level,
      isOnLight: heatLightness(level / field.largest) > 0.6,
      lines: contourLines({ rows, cols, values }, level).map((line) => line.map(place)),
    });
    await step(i / levels.length);
  }
  return result;
}
