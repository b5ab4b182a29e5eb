#include "inspection/contour.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <map>
#include <utility>

namespace {

/** An edge of the grid, numbered: from each node one edge goes right (even) and one down (odd). */
using Edge = std::size_t;

/** For each edge that the contour crosses, the crossed edges before and after it. */
using Chain = std::map<Edge, std::vector<Edge>>;

Edge edgeAt(const NodeValues& nodes, int row, int col, bool down) {
    return 2 * (static_cast<std::size_t>(row) * static_cast<std::size_t>(nodes.cols) +
                static_cast<std::size_t>(col)) +
           (down ? 1 : 0);
}

void connect(Chain& chain, Edge a, Edge b) {
    chain[a].push_back(b);
    chain[b].push_back(a);
}

/** Adds the one or two pieces of the contour that cross a cell. */
void crossCell(const NodeValues& nodes, double level, int row, int col, Chain& chain) {
    // Corners and the edges behind them, clockwise from the top left.
    const std::array corners = {nodes.at(row, col), nodes.at(row, col + 1),
                                nodes.at(row + 1, col + 1), nodes.at(row + 1, col)};
    const std::array edges = {edgeAt(nodes, row, col, false), edgeAt(nodes, row, col + 1, true),
                              edgeAt(nodes, row + 1, col, false), edgeAt(nodes, row, col, true)};
    std::array<Edge, 4> crossed{};
    std::size_t count = 0;
    double sum = 0;
    for (std::size_t i = 0; i < corners.size(); ++i) {
        if (std::isnan(corners[i])) {
            return;
        }
        sum += corners[i];
        if ((corners[i] < level) != (corners[(i + 1) % corners.size()] < level)) {
            crossed[count++] = edges[i];
        }
    }
    if (count == 2) {
        connect(chain, crossed[0], crossed[1]);
    } else if (count == 4) {
        // A saddle: the middle decides which corners the two pieces cut off.
        const bool middleLikeFirst = (sum / 4 < level) == (corners[0] < level);
        connect(chain, crossed[0], crossed[middleLikeFirst ? 1 : 3]);
        connect(chain, crossed[2], crossed[middleLikeFirst ? 3 : 1]);
    }
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

/** Follows the contour from one edge until it ends or closes, and removes it from the chain. */
std::vector<Edge> follow(Chain& chain, Edge start) {
    std::vector<Edge> line = {start};
    for (Edge here = start;;) {
        std::vector<Edge>& neighbours = chain[here];
        if (neighbours.empty()) {
            return line;
        }
        const Edge next = neighbours.back();
        neighbours.pop_back();
        std::erase(chain[next], here);
        line.push_back(next);
        here = next;
    }
}

}  // namespace

std::vector<Polyline> contourLines(const NodeValues& nodes, double level) {
    Chain chain;
    for (int row = 0; row + 1 < nodes.rows; ++row) {
        for (int col = 0; col + 1 < nodes.cols; ++col) {
            crossCell(nodes, level, row, col, chain);
        }
    }
    std::vector<Polyline> lines;
    const auto collect = [&](Edge start) {
        Polyline line;
        for (const Edge edge : follow(chain, start)) {
            line.push_back(crossing(nodes, level, edge));
        }
        lines.push_back(std::move(line));
    };
    // Open lines have to be followed from an end; what is left afterwards is closed.
    for (const std::size_t neighbours : {std::size_t{1}, std::size_t{2}}) {
        std::vector<Edge> starts;
        for (const auto& [edge, next] : chain) {
            if (next.size() == neighbours) {
                starts.push_back(edge);
            }
        }
        for (const Edge start : starts) {
            if (chain[start].size() == neighbours) {
                collect(start);
            }
        }
    }
    return lines;
}
