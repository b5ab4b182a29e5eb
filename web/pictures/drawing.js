/** Draws a figure on a canvas, from its layout and the shapes that were computed for it. */
import { heat, themes } from './colour.js';
import { numberText, onPlot, roundStep } from './geometry.js';
import { bestPlace, lengthOf } from './labels.js';

const darkInk = themes.light.ink;
const white = '#ffffff';

/** `texts` is {title, subtitle, legend}; `theme` one of `themes`. */
export function drawFigure(canvas, layout, shapes, texts, theme) {
  canvas.width = layout.width;
  canvas.height = layout.height;
  const context = canvas.getContext('2d');
  context.fillStyle = theme.paper;
  context.fillRect(0, 0, layout.width, layout.height);
  context.save();
  context.translate(layout.plot.left, layout.plot.top);
  context.beginPath();
  context.rect(0, 0, layout.plot.width, layout.plot.height);
  context.clip();
  drawHeatMap(context, layout, shapes);
  drawGrid(context, layout, shapes);
  drawContours(context, layout, shapes);
  context.restore();
  drawAxes(context, layout, theme);
  drawLegend(context, layout, shapes, texts.legend, theme);
  if (!layout.isCompact) {
    drawTitle(context, layout, texts, theme);
  }
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

function drawGrid(context, layout, shapes) {
  context.beginPath();
  shapes.grid.forEach((line) => addPath(context, line));
  context.lineJoin = 'round';
  context.lineWidth = 0.9 * layout.scale;
  context.strokeStyle = 'rgb(255 255 255 / 60%)';
  context.stroke();
}

function drawContours(context, layout, shapes) {
  context.lineWidth = 1.3 * layout.scale;
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
  const xStep = Math.max(1, roundStep(camera.width, plot.width / (90 * scale)));
  for (let i = 0; i * xStep < camera.width; ++i) {
    const x = plot.left + onPlot(layout, { x: i * xStep, y: 0 }).x;
    strokeLine(context, { x, y: bottom }, { x, y: bottom + tick });
    write(context, numberText(i * xStep, 1), { x, y: bottom + 2 * tick }, { x: 0.5, y: 0 });
  }
  const yStep = Math.max(1, roundStep(camera.height, plot.height / (60 * scale)));
  for (let i = 0; i * yStep < camera.height; ++i) {
    const y = plot.top + onPlot(layout, { x: 0, y: i * yStep }).y;
    strokeLine(context, { x: plot.left - tick, y }, { x: plot.left, y });
    write(context, numberText(i * yStep, 1), { x: plot.left - 1.8 * tick, y }, { x: 1, y: 0.5 });
  }
  if (!layout.isCompact) {
    const below = { x: plot.left + plot.width / 2, y: bottom + 32 * scale };
    write(context, 'column (pixels)', below, { x: 0.5, y: 0 });
    const beside = { x: plot.left - 54 * scale, y: plot.top + plot.height / 2 };
    write(context, 'row (pixels)', beside, { x: 0.5, y: 0.5 }, -Math.PI / 2);
  }
}

function drawLegend(context, layout, shapes, words, theme) {
  const { plot, scale } = layout;
  const gap = layout.isCompact ? 10 : 24;
  const bar = { left: plot.left + plot.width + gap * scale, top: plot.top, width: 18 * scale, height: plot.height };
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
  let widest = 0;
  for (let i = 0; i * shapes.step <= shapes.largest * 1.0001; ++i) {
    const y = bottom - (bar.height * i * shapes.step) / shapes.largest;
    const text = numberText(i * shapes.step, shapes.step);
    strokeLine(context, { x: right, y }, { x: right + 5 * scale, y });
    write(context, text, { x: right + 9 * scale, y }, { x: 0, y: 0.5 });
    widest = Math.max(widest, context.measureText(text).width);
  }
  if (!layout.isCompact) {
    const beside = { x: right + widest + 26 * scale, y: bar.top + bar.height / 2 };
    write(context, words, beside, { x: 0.5, y: 0.5 }, -Math.PI / 2);
  }
}

function drawTitle(context, layout, texts, theme) {
  const { plot, scale, width } = layout;
  const line = (text, size, isBold, y) => {
    setType(context, size * scale, isBold);
    const room = width - plot.left - 20 * scale;
    setType(context, size * scale * Math.min(1, room / context.measureText(text).width), isBold);
    write(context, text, { x: plot.left, y: y * scale }, { x: 0, y: 0 });
  };
  context.fillStyle = theme.ink;
  line(texts.title, 17, true, 22);
  context.fillStyle = theme.faintInk;
  line(texts.subtitle, 12.5, false, 50);
}
