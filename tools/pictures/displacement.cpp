#include "pictures/displacement.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <string>
#include <vector>

#include "pictures/colour.h"
#include "pictures/contour.h"
#include "text.h"

namespace {

void addPath(cairo_t* cr, const std::vector<Point>& points) {
    cairo_new_sub_path(cr);
    for (const Point& point : points) {
        cairo_line_to(cr, point.x, point.y);
    }
}

/** A place for a label on a contour line: the vertex, and the angle of the line there. */
struct LabelPlace {
    std::size_t vertex;
    double angle;
    double cost;
};

/** Finds a place for a label that reads well, away from the frame and from other labels. */
LabelPlace bestPlace(const Figure& figure, const Polyline& line, const std::vector<Point>& taken) {
    LabelPlace best = {0, 0, std::numeric_limits<double>::infinity()};
    const Rectangle& plot = figure.plot;
    const double margin = 24 * figure.scale;
    const double apart = 60 * figure.scale;
    constexpr std::size_t reach = 6;
    for (std::size_t i = reach; i + reach < line.size(); ++i) {
        const Point p = line[i];
        const bool nearFrame = p.x < plot.left + margin || p.y < plot.top + margin ||
                               p.x > plot.left + plot.width - margin ||
                               p.y > plot.top + plot.height - margin;
        const bool nearLabel = std::any_of(taken.begin(), taken.end(), [&](Point other) {
            return std::hypot(other.x - p.x, other.y - p.y) < apart;
        });
        if (nearFrame || nearLabel) {
            continue;
        }
        const Point along = {line[i + reach].x - line[i - reach].x,
                             line[i + reach].y - line[i - reach].y};
        double angle = std::atan2(along.y, along.x);
        if (std::abs(angle) > std::numbers::pi / 2) {
            angle -= std::copysign(std::numbers::pi, angle);
        }
        // At a slant, and to the upper right where there is a choice, labels line up.
        const double cost = std::abs(std::abs(angle) - 0.45) +
                            (p.x < plot.left + plot.width / 2 ? 0.3 : 0) +
                            (p.y > plot.top + plot.height / 2 ? 0.3 : 0);
        if (cost < best.cost) {
            best = {i, angle, cost};
        }
    }
    return best;
}

double lengthOf(const Polyline& line) {
    double length = 0;
    for (std::size_t i = 1; i < line.size(); ++i) {
        length += std::hypot(line[i].x - line[i - 1].x, line[i].y - line[i - 1].y);
    }
    return length;
}

/** Draws one contour line, interrupted for its label if there is room for one. */
void drawContour(const Figure& figure, const Canvas& canvas, const Polyline& line,
                 const std::string& label, std::vector<Point>& labels) {
    cairo_t* const cr = canvas.context();
    const double gap = canvas.widthOf(label) / 2 + 4 * figure.scale;
    const LabelPlace place = lengthOf(line) > 8 * gap
                                 ? bestPlace(figure, line, labels)
                                 : LabelPlace{0, 0, std::numeric_limits<double>::infinity()};
    if (!std::isfinite(place.cost)) {
        addPath(cr, line);
        cairo_stroke(cr);
        return;
    }
    const Point centre = line[place.vertex];
    std::vector<Point> piece;
    for (const Point& point : line) {
        if (std::hypot(point.x - centre.x, point.y - centre.y) > gap) {
            piece.push_back(point);
        } else {
            addPath(cr, piece);
            piece.clear();
        }
    }
    addPath(cr, piece);
    cairo_stroke(cr);
    canvas.write(label, centre, {0.5, 0.5}, place.angle);
    labels.push_back(centre);
}

}  // namespace

void drawHeatMap(const Figure& figure, Canvas& canvas) {
    const Rectangle& plot = figure.plot;
    for (int row = 0; row < static_cast<int>(plot.height); ++row) {
        for (int col = 0; col < static_cast<int>(plot.width); ++col) {
            const double value = displacementAtPixel(
                figure, {(col + 0.5) / plot.width * figure.camera.width - 0.5,
                         (row + 0.5) / plot.height * figure.camera.height - 0.5});
            canvas.setPixel(static_cast<int>(plot.left) + col, static_cast<int>(plot.top) + row,
                            std::isfinite(value) ? heat(value / figure.largest) : faintInk);
        }
    }
}

void drawMappedGrid(const Figure& figure, const Canvas& canvas) {
    constexpr int linesAlongWidth = 16;
    constexpr int stepsPerLine = 400;
    cairo_t* const cr = canvas.context();
    const double right = figure.camera.width - 1;
    const double bottom = figure.camera.height - 1;
    const int linesAlongHeight = std::max(
        4, static_cast<int>(std::lround(linesAlongWidth * figure.plot.height / figure.plot.width)));
    const auto addLine = [&](Point from, Point to) {
        std::vector<Point> line;
        for (int i = 0; i <= stepsPerLine; ++i) {
            const double t = static_cast<double>(i) / stepsPerLine;
            const Point place =
                mapped(figure, {std::lerp(from.x, to.x, t), std::lerp(from.y, to.y, t)});
            if (std::isfinite(place.x) && std::isfinite(place.y)) {
                line.push_back(figure.onCanvas(place));
            }
        }
        addPath(cr, line);
    };
    for (int i = 0; i <= linesAlongWidth; ++i) {
        const double x = right * i / linesAlongWidth;
        addLine({x, 0}, {x, bottom});
    }
    for (int i = 0; i <= linesAlongHeight; ++i) {
        const double y = bottom * i / linesAlongHeight;
        addLine({0, y}, {right, y});
    }
    cairo_set_line_join(cr, CAIRO_LINE_JOIN_ROUND);
    cairo_set_line_width(cr, 0.9 * figure.scale);
    canvas.setColour(white, 0.6);
    cairo_stroke(cr);
}

void drawContours(const Figure& figure, const Canvas& canvas, double step) {
    // Nodes fine enough for smooth lines, over the whole area of the image.
    constexpr int cols = 321;
    const int rows = std::max(2, static_cast<int>(cols * figure.plot.height / figure.plot.width));
    NodeValues nodes = {rows, cols, {}};
    const auto pixelAt = [&](double row, double col) {
        return Point{figure.camera.width * col / (cols - 1) - 0.5,
                     figure.camera.height * row / (rows - 1) - 0.5};
    };
    for (int row = 0; row < rows; ++row) {
        for (int col = 0; col < cols; ++col) {
            nodes.values.push_back(displacementAtPixel(figure, pixelAt(row, col)));
        }
    }
    cairo_set_line_width(canvas.context(), 1.3 * figure.scale);
    canvas.setType(11.5 * figure.scale, true);
    std::vector<Point> labels;
    // Displacement grows steeply towards the corners; two more levels tell of the middle.
    std::vector<double> levels = {step / 10, step / 2};
    for (int i = 1; i * step < figure.largest; ++i) {
        levels.push_back(i * step);
    }
    for (const double level : levels) {
        canvas.setColour(heatLightness(level / figure.largest) > 0.6 ? ink : white);
        for (Polyline& line : contourLines(nodes, level)) {
            for (Point& point : line) {
                point = figure.onCanvas(pixelAt(point.y, point.x));
            }
            drawContour(figure, canvas, line, format("%.6g", level), labels);
        }
    }
}
