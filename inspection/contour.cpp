#include "inspection/contour.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>

namespace {

/** An edge of the grid, numbered: from each node one edge goes right (even) and one down (odd). */
using Edge = std::size_t;

/** The contour goes from one edge to another through a cell; each piece is there in both ways. */
struct Piece {
    Edge from;
    Edge to;
    std::size_t cell;
};

constexpr Edge taken = std::numeric_limits<Edge>::max();

/** The pieces of all cells, sorted, so that those from one edge are found: at most two. */
using Pieces = std::vector<Piece>;

/** Adds the one or two pieces of the contour that cross the cell below and right of a node. */
void crossCell(const NodeValues& nodes, double level, std::size_t node, Pieces& pieces) {
    const auto cols = static_cast<std::size_t>(nodes.cols);
    const std::vector<double>& values = nodes.values;
    // Most cells are passed by: looking at one has to cost next to nothing.
    const bool isBelow = values[node] < level;
    if ((values[node + 1] < level) == isBelow && (values[node + cols] < level) == isBelow &&
        (values[node + cols + 1] < level) == isBelow) {
        return;
    }
    // Corners and the edges behind them, clockwise from the top left.
    const std::array corners = {values[node], values[node + 1], values[node + cols + 1],
                                values[node + cols]};
    const std::array edges = {2 * node, 2 * (node + 1) + 1, 2 * (node + cols), 2 * node + 1};
    std::array<Edge, 4> crossed{};
    std::size_t count = 0;
    double sum = 0;
    for (std::size_t i = 0; i < corners.size(); ++i) {
        if (!std::isfinite(corners[i])) {
            return;
        }
        sum += corners[i];
        if ((corners[i] < level) != (corners[(i + 1) % corners.size()] < level)) {
            crossed[count++] = edges[i];
        }
    }
    const auto connect = [&](Edge a, Edge b) {
        pieces.push_back({a, b, node});
        pieces.push_back({b, a, node});
    };
    if (count == 2) {
        connect(crossed[0], crossed[1]);
        return;
    }
    // A saddle: the middle decides which corners the two pieces cut off.
    const bool middleLikeFirst = (sum / 4 < level) == (corners[0] < level);
    connect(crossed[0], crossed[middleLikeFirst ? 1 : 3]);
    connect(crossed[2], crossed[middleLikeFirst ? 3 : 1]);
}

/** Where the contour crosses an edge, by linear interpolation. */
Point crossing(const NodeValues& nodes, double level, Edge edge) {
    const bool down = edge % 2 == 1;
    const auto cols = static_cast<std::size_t>(nodes.cols);
    const auto row = static_cast<int>(edge / 2 / cols);
    const auto col = static_cast<int>(edge / 2 % cols);
    const double a = nodes.at(row, col);
    const double b = down ? nodes.at(row + 1, col) : nodes.at(row, col + 1);
    const double t = (level - a) / (b - a);
    return {col + (down ? 0 : t), row + (down ? t : 0)};
}

/** Where the pieces from an edge begin. */
Pieces::iterator piecesFrom(Pieces& pieces, Edge edge) {
    return std::lower_bound(pieces.begin(), pieces.end(), edge,
                            [](const Piece& piece, Edge from) { return piece.from < from; });
}

/** How many pieces from an edge no line has been through yet. */
int countFree(Pieces& pieces, Edge edge) {
    int count = 0;
    for (auto piece = piecesFrom(pieces, edge); piece != pieces.end() && piece->from == edge;
         ++piece) {
        count += piece->to != taken ? 1 : 0;
    }
    return count;
}

/** Takes the last free piece from an edge, or the one to an edge, and says where it leads. */
std::optional<Edge> take(Pieces& pieces, Edge from, std::optional<Edge> to) {
    Piece* found = nullptr;
    for (auto piece = piecesFrom(pieces, from); piece != pieces.end() && piece->from == from;
         ++piece) {
        if (piece->to != taken && (!to || piece->to == *to)) {
            found = &*piece;
        }
    }
    if (found == nullptr) {
        return std::nullopt;
    }
    const Edge end = found->to;
    found->to = taken;
    return end;
}

/** Follows the contour from one edge until it ends or closes, and takes its pieces. */
Polyline follow(const NodeValues& nodes, double level, Pieces& pieces, Edge start) {
    Polyline line = {crossing(nodes, level, start)};
    Edge here = start;
    while (const std::optional<Edge> next = take(pieces, here, std::nullopt)) {
        take(pieces, *next, here);
        here = *next;
        line.push_back(crossing(nodes, level, here));
    }
    return line;
}

}  // namespace

std::vector<Polyline> contourLines(const NodeValues& nodes, double level) {
    Pieces pieces;
    for (int row = 0; row + 1 < nodes.rows; ++row) {
        std::size_t node = static_cast<std::size_t>(row) * static_cast<std::size_t>(nodes.cols);
        for (int col = 0; col + 1 < nodes.cols; ++col) {
            crossCell(nodes, level, node++, pieces);
        }
    }
    std::sort(pieces.begin(), pieces.end(), [](const Piece& a, const Piece& b) {
        return a.from != b.from ? a.from < b.from : a.cell < b.cell;
    });
    std::vector<Polyline> lines;
    // Open lines have to be followed from an end; what is left afterwards is closed.
    for (const int ends : {1, 2}) {
        for (const Piece& piece : pieces) {
            if (countFree(pieces, piece.from) == ends) {
                lines.push_back(follow(nodes, level, pieces, piece.from));
            }
        }
    }
    return lines;
}
