/** Places for the labels of contour lines. */

export function lengthOf(line) {
  let length = 0;
  for (let i = 1; i < line.length; ++i) {
    length += Math.hypot(line[i].x - line[i - 1].x, line[i].y - line[i - 1].y);
  }
  return length;
}

/**
 * The place on a line for a label that reads well, away from the frame and from the labels at `taken`:
 * {centre, angle}, or null where there is none.
 */
export function bestPlace(layout, line, taken) {
  const { plot, scale } = layout;
  const margin = 24 * scale;
  const apart = 60 * scale;
  const reach = 6;
  let best = null;
  for (let i = reach; i + reach < line.length; ++i) {
    const p = line[i];
    const isNearFrame = p.x < margin || p.y < margin || p.x > plot.width - margin || p.y > plot.height - margin;
    if (isNearFrame || taken.some((other) => Math.hypot(other.x - p.x, other.y - p.y) < apart)) {
      continue;
    }
    let angle = Math.atan2(line[i + reach].y - line[i - reach].y, line[i + reach].x - line[i - reach].x);
    if (Math.abs(angle) > Math.PI / 2) {
      angle -= Math.sign(angle) * Math.PI;
    }
    // At a slant, and to the upper right where there is a choice, labels line up.
    const cost =
      Math.abs(Math.abs(angle) - 0.45) + (p.x < plot.width / 2 ? 0.3 : 0) + (p.y > plot.height / 2 ? 0.3 : 0);
    if (best === null || cost < best.cost) {
      best = { centre: p, angle, cost };
    }
  }
  return best;
}
