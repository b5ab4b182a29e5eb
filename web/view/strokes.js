/** Strokes a drawing, the record of inspection/drawing.h, on a canvas. */

/** `theme` has the colours of the inks by their names, and that of the paper if there is to be one. */
export function stroke(canvas, drawing, theme) {
  canvas.width = drawing.width;
  canvas.height = drawing.height;
  const context = canvas.getContext('2d');
  if (theme.paper) {
    context.fillStyle = theme.paper;
    context.fillRect(0, 0, drawing.width, drawing.height);
  }
  context.lineJoin = 'round';
  for (const mark of drawing.marks) {
    context.save();
    if (mark.ink) {
      context.fillStyle = context.strokeStyle = theme[mark.ink];
    }
    strokes[mark.kind](context, mark, drawing.plot);
    context.restore();
  }
}

const strokes = {
  image(context, { dots, left, top, width, height }) {
    context.putImageData(new ImageData(dots, width, height), left, top);
  },

  area(context, { area }) {
    context.fillRect(area.left, area.top, area.width, area.height);
  },

  line(context, { lines, width, dashes, isClipped }, plot) {
    if (isClipped) {
      context.beginPath();
      context.rect(plot.left, plot.top, plot.width, plot.height);
      context.clip();
    }
    context.lineWidth = width;
    context.setLineDash(dashes);
    context.beginPath();
    for (const line of lines) {
      const last = line.length - 2;
      for (let i = 0; i <= last; i += 2) {
        context[i === 0 ? 'moveTo' : 'lineTo'](line[i], line[i + 1]);
      }
      if (last > 0 && line[0] === line[last] && line[1] === line[last + 1]) {
        context.closePath();
      }
    }
    context.stroke();
  },

  text(context, { text, place, anchor, angle, size, isBold, room }) {
    const setSize = (points) => (context.font = `${isBold ? 'bold ' : ''}${points}px sans-serif`);
    setSize(size);
    const { width } = context.measureText(text);
    const scale = room > 0 ? Math.min(1, room / width) : 1;
    setSize(size * scale);
    const digitHeight = context.measureText('0').actualBoundingBoxAscent;
    context.translate(place.x, place.y);
    context.rotate(angle);
    context.fillText(text, -anchor.x * width * scale, (1 - anchor.y) * digitHeight);
  },
};
