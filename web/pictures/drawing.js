/** Draws a figure on a canvas, from its layout and the shapes that were computed for it. */
import { heat, themes } from './colour.js';
import { numberText, onPlot, roundStep } from './geometry.js';
import { bestPlace, lengthOf } from './labels.js';

const darkInk = themes.light.ink;
const white = '#ffffff';

/**
 * `texts` is {title, subtitle, size, quantity, none, grids}: what is written above the plot and beside the legend,
 * what stands in it where there is nothing to show, and the names of the two grids if there are any; `theme` is one
 * of `themes`.
 */
export function drawFigure(canvas, layout, shapes, texts, theme) {
  canvas.width = layout.width;
  canvas.height = layout.height;
  const context = canvas.getContext('2d');
  context.fillStyle = theme.paper;
  context.fillRect(0, 0, layout.width, layout.height);
  context.save();
  context.translate(layout.plot.left, layout.plot.top);
  context.save();
  context.beginPath();
  context.rect(0, 0, layout.plot.width, layout.plot.height);
  context.clip();
  drawHeatMap(context, layout, shapes);
  drawGrids(context, layout, shapes);
  drawContours(context, layout, shapes);
  context.restore();
  if (shapes.largest > 0) {
    markLargest(context, layout, shapes);
  } else {
    writeNone(context, layout, texts.none);
  }
  context.restore();
  drawAxes(context, layout, theme);
  if (shapes.largest > 0) {
    drawLegend(context, layout, shapes, texts.quantity, theme);
  }
  if (!layout.isCompact) {
    drawKey(context, layout, texts.grids, theme);
    drawTitle(context, layout, shapes, texts, theme);
  }
}

/** What is to be said of a field's largest value and of the proportions, in one line. */
export function factsOf(layout, shapes, quantity) {
  const { largest, rounded, place } = shapes;
  const facts =
    largest > 0
      ? `largest ${quantity} ${largest.toFixed(3)} pixels at (${place.x}, ${place.y})`
      : `${quantity}: none (at most ${Number(rounded.toPrecision(1))} pixels, by rounding)`;
  const times = (value) => Number(value.toPrecision(3));
  if (layout.stretch > 1.01) {
    return `${facts} · drawn ${times(layout.stretch)} times too high`;
  }
  return layout.stretch < 0.99 ? `${facts} · drawn ${times(1 / layout.stretch)} times too wide` : facts;
}

function setType(context, size, isBold = false) {
  context.font = `${isBold ? 'bold ' : ''}${size}px sans-serif`;
}

/** Writes a text turned about a place; `anchor` says where in the text the place lies, from 0 to 1. */
function write(context, text, place, anchor, angle = 0) {
  const digitHeight = context.measureText('0').actualBoundingBoxAscent;
  context.save();
  context.translate(place.x, place.y);
  context.rotate(angle);
  context.fillText(text, -anchor.x * context.measureText(text).width, (1 - anchor.y) * digitHeight);
  context.restore();
}

function addPath(context, points) {
  points.forEach((point, i) => (i === 0 ? context.moveTo(point.x, point.y) : context.lineTo(point.x, point.y)));
}

function strokeLine(context, from, to) {
  context.beginPath();
  addPath(context, [from, to]);
  context.stroke();
}

function drawHeatMap(context, layout, shapes) {
  const { left, top, width, height } = layout.plot;
  context.putImageData(new ImageData(shapes.heatMap, width, height), left, top);
}

function setRegularLine(context, layout) {
  context.setLineDash([2.5 * layout.scale, 3.5 * layout.scale]);
  context.lineWidth = 0.8 * layout.scale;
  context.strokeStyle = 'rgb(255 255 255 / 40%)';
}

function setMappedLine(context, layout) {
  context.setLineDash([]);
  context.lineWidth = layout.scale;
  context.strokeStyle = 'rgb(255 255 255 / 65%)';
}

function drawGrids(context, layout, shapes) {
  context.lineJoin = 'round';
  for (const [setLine, lines] of [
    [setRegularLine, shapes.regularGrid],
    [setMappedLine, shapes.mappedGrid],
  ]) {
    setLine(context, layout);
    context.beginPath();
    lines.forEach((line) => addPath(context, line));
    context.stroke();
  }
}

/** A ring at the place of the largest value. */
function markLargest(context, layout, shapes) {
  const place = onPlot(layout, shapes.place);
  for (const [colour, width] of [
    [darkInk, 3.2],
    [white, 1.4],
  ]) {
    context.beginPath();
    context.arc(place.x, place.y, 5 * layout.scale, 0, 2 * Math.PI);
    context.lineWidth = width * layout.scale;
    context.strokeStyle = colour;
    context.stroke();
  }
}

function writeNone(context, layout, text) {
  const { plot, scale } = layout;
  const centre = { x: plot.width / 2, y: plot.height / 2 };
  setType(context, 22 * scale, true);
  const width = context.measureText(text).width + 36 * scale;
  context.fillStyle = white;
  context.fillRect(centre.x - width / 2, centre.y - 24 * scale, width, 48 * scale);
  context.fillStyle = darkInk;
  write(context, text, centre, { x: 0.5, y: 0.5 });
}

function drawContours(context, layout, shapes) {
  context.lineWidth = 1.5 * layout.scale;
  setType(context, 11.5 * layout.scale, true);
  const labels = [];
  for (const contour of shapes.contours) {
    context.strokeStyle = context.fillStyle = contour.isOnLight ? darkInk : white;
    for (const line of contour.lines) {
      drawContour(context, layout, line, String(Number(contour.level.toPrecision(6))), labels);
    }
  }
}

/** Draws one contour line, interrupted for its label if there is room for one. */
function drawContour(context, layout, line, label, labels) {
  const gap = context.measureText(label).width / 2 + 4 * layout.scale;
  const place = lengthOf(line) > 8 * gap ? bestPlace(layout, line, labels) : null;
  const centre = place?.centre;
  const isFree = (point) => !centre || Math.hypot(point.x - centre.x, point.y - centre.y) > gap;
  context.beginPath();
  let isDrawing = false;
  for (const point of line) {
    if (isFree(point)) {
      context[isDrawing ? 'lineTo' : 'moveTo'](point.x, point.y);
    }
    isDrawing = isFree(point);
  }
  context.stroke();
  if (centre) {
    write(context, label, centre, { x: 0.5, y: 0.5 }, place.angle);
    labels.push(centre);
  }
}

function strokeFrame(context, layout, area, theme) {
  context.lineWidth = layout.scale;
  context.strokeStyle = theme.ink;
  context.strokeRect(area.left, area.top, area.width, area.height);
}

function drawAxes(context, layout, theme) {
  const { plot, scale, camera } = layout;
  const bottom = plot.top + plot.height;
  const tick = 5 * scale;
  strokeFrame(context, layout, plot, theme);
  setType(context, 12.5 * scale);
  context.fillStyle = theme.ink;
  const xStep = Math.max(1, roundStep(camera.width, Math.max(2, plot.width / (90 * scale))));
  for (let i = 0; i * xStep < camera.width; ++i) {
    const x = plot.left + onPlot(layout, { x: i * xStep, y: 0 }).x;
    strokeLine(context, { x, y: bottom }, { x, y: bottom + tick });
    write(context, numberText(i * xStep, 1), { x, y: bottom + 2 * tick }, { x: 0.5, y: 0 });
  }
  const yStep = Math.max(1, roundStep(camera.height, Math.max(2, plot.height / (60 * scale))));
  for (let i = 0; i * yStep < camera.height; ++i) {
    const y = plot.top + onPlot(layout, { x: 0, y: i * yStep }).y;
    strokeLine(context, { x: plot.left - tick, y }, { x: plot.left, y });
    write(context, numberText(i * yStep, 1), { x: plot.left - 1.8 * tick, y }, { x: 1, y: 0.5 });
  }
  if (!layout.isCompact) {
    const below = { x: plot.left + plot.width / 2, y: bottom + 32 * scale };
    write(context, 'column (pixels)', below, { x: 0.5, y: 0 });
    const beside = { x: plot.left - 54 * scale, y: plot.top + plot.height / 2 };
    write(context, plot.height < 90 * scale ? 'row' : 'row (pixels)', beside, { x: 0.5, y: 0.5 }, -Math.PI / 2);
  }
}

function drawLegend(context, layout, shapes, quantity, theme) {
  const { plot, scale } = layout;
  const gap = layout.isCompact ? 10 : 24;
  const bar = {
    left: plot.left + plot.width + gap * scale,
    top: plot.top,
    width: 18 * scale,
    height: Math.max(plot.height, 160 * scale),
  };
  const bottom = bar.top + bar.height;
  const colours = context.createLinearGradient(0, bottom, 0, bar.top);
  for (let i = 0; i <= 64; ++i) {
    colours.addColorStop(i / 64, `rgb(${heat(i / 64).join(' ')})`);
  }
  context.fillStyle = colours;
  context.fillRect(bar.left, bar.top, bar.width, bar.height);
  strokeFrame(context, layout, bar, theme);
  setType(context, 12.5 * scale);
  context.fillStyle = theme.ink;
  const right = bar.left + bar.width;
  // The steps of the contour lines, as far as there is room for their numbers.
  const step = roundStep(shapes.largest, Math.min(10, bar.height / (24 * scale)));
  let widest = 0;
  for (let i = 0; i * step <= shapes.largest * 1.0001; ++i) {
    const y = bottom - (bar.height * i * step) / shapes.largest;
    const text = numberText(i * step, step);
    strokeLine(context, { x: right, y }, { x: right + 5 * scale, y });
    write(context, text, { x: right + 9 * scale, y }, { x: 0, y: 0.5 });
    widest = Math.max(widest, context.measureText(text).width);
  }
  if (!layout.isCompact) {
    const beside = { x: right + widest + 26 * scale, y: bar.top + bar.height / 2 };
    write(context, `${quantity} (pixels)`, beside, { x: 0.5, y: 0.5 }, -Math.PI / 2);
  }
}

/** Below the plot: which line is which grid. */
function drawKey(context, layout, names, theme) {
  const { plot, scale } = layout;
  const middle = plot.top + plot.height + 72 * scale;
  let { left } = plot;
  setType(context, 12.5 * scale);
  names.forEach((name, i) => {
    context.fillStyle = `rgb(${heat(0.25).join(' ')})`;
    context.fillRect(left, middle - 9 * scale, 40 * scale, 18 * scale);
    (i === 0 ? setRegularLine : setMappedLine)(context, layout);
    strokeLine(context, { x: left, y: middle }, { x: left + 40 * scale, y: middle });
    context.setLineDash([]);
    context.fillStyle = theme.ink;
    write(context, name, { x: left + 48 * scale, y: middle }, { x: 0, y: 0.5 });
    left += context.measureText(name).width + 72 * scale;
  });
}

function drawTitle(context, layout, shapes, texts, theme) {
  const { plot, scale, width } = layout;
  const room = width - plot.left - 20 * scale;
  const line = (text, size, isBold, y) => {
    setType(context, size * scale, isBold);
    setType(context, size * scale * Math.min(1, room / context.measureText(text).width), isBold);
    write(context, text, { x: plot.left, y: y * scale }, { x: 0, y: 0 });
  };
  context.fillStyle = theme.ink;
  line(texts.title, 17, true, 20);
  context.fillStyle = theme.faintInk;
  line(texts.subtitle, 12.5, false, 47);
  line(`${texts.size} · ${factsOf(layout, shapes, texts.quantity)}`, 12.5, false, 66);
}
