/**
 * The lines along which the values of a grid equal `level`, found by marching squares: arrays of points in node
 * coordinates. A closed line ends where it begins. Cells with a value that is not a number are left out.
 */
export function contourLines(nodes, level) {
  const chain = new Map();
  for (let row = 0; row + 1 < nodes.rows; ++row) {
    for (let col = 0; col + 1 < nodes.cols; ++col) {
      crossCell(nodes, level, row, col, chain);
    }
  }
  const lines = [];
  const edges = [...chain.keys()].sort((a, b) => a - b);
  // Open lines have to be followed from an end; what is left afterwards is closed.
  for (const neighbours of [1, 2]) {
    const starts = edges.filter((edge) => chain.get(edge).length === neighbours);
    for (const start of starts) {
      if (chain.get(start).length === neighbours) {
        lines.push(follow(chain, start).map((edge) => crossing(nodes, level, edge)));
      }
    }
  }
  return lines;
}

/** Edges are numbers: from each node one goes right (even) and one down (odd). */
const edgeAt = (nodes, row, col, down) => 2 * (row * nodes.cols + col) + (down ? 1 : 0);

/** Adds the one or two pieces of the contour that cross a cell to the chain of crossed edges. */
function crossCell(nodes, level, row, col, chain) {
  // Most cells are passed by, so looking at one must cost nothing.
  const { cols, values } = nodes;
  const first = row * cols + col;
  const isBelow = values[first] < level;
  if (
    values[first + 1] < level === isBelow &&
    values[first + cols] < level === isBelow &&
    values[first + cols + 1] < level === isBelow
  ) {
    return;
  }
  // Corners and the edges behind them, clockwise from the top left.
  const corners = [first, first + 1, first + cols + 1, first + cols].map((i) => values[i]);
  if (corners.some(Number.isNaN)) {
    return;
  }
  const below = corners.map((value) => value < level);
  const edges = [
    edgeAt(nodes, row, col, false),
    edgeAt(nodes, row, col + 1, true),
    edgeAt(nodes, row + 1, col, false),
    edgeAt(nodes, row, col, true),
  ];
  const crossed = edges.filter((_, i) => below[i] !== below[(i + 1) % 4]);
  if (crossed.length === 2) {
    connect(chain, crossed[0], crossed[1]);
  } else {
    // A saddle: the middle decides which corners the two pieces cut off.
    const mean = corners.reduce((sum, value) => sum + value) / 4;
    const middleLikeFirst = mean < level === below[0];
    connect(chain, crossed[0], crossed[middleLikeFirst ? 1 : 3]);
    connect(chain, crossed[2], crossed[middleLikeFirst ? 3 : 1]);
  }
}

function connect(chain, a, b) {
  const add = (from, to) => (chain.has(from) ? chain.get(from).push(to) : chain.set(from, [to]));
  add(a, b);
  add(b, a);
}

/** Where the contour crosses an edge, by linear interpolation. */
function crossing(nodes, level, edge) {
  const down = edge % 2 === 1;
  const node = Math.trunc(edge / 2);
  const a = nodes.values[node];
  const b = nodes.values[node + (down ? nodes.cols : 1)];
  const t = (level - a) / (b - a);
  return { x: (node % nodes.cols) + (down ? 0 : t), y: Math.trunc(node / nodes.cols) + (down ? t : 0) };
}

/** Follows the contour from one edge until it ends or closes, and removes it from the chain. */
function follow(chain, start) {
  const line = [start];
  for (let here = start; chain.get(here).length > 0;) {
    const next = chain.get(here).pop();
    const back = chain.get(next);
    back.splice(back.indexOf(here), 1);
    line.push(next);
    here = next;
  }
  return line;
}
