#include "drawing/displacement.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>
#include <string>
#include <utility>
#include <vector>

#include "inspection/colour.h"
#include "inspection/contour.h"
#include "inspection/text.h"

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

/** The values at nodes a few hairlines apart, over the area that they speak for. */
NodeValues contourNodes(const Figure& figure) {
    const double apart = 2.2 * figure.scale;
    const auto count = [apart](double length) {
        return std::max(2, static_cast<int>(std::lround(length / apart)) + 1);
    };
    const Point covered = figure.values.covered;
    NodeValues nodes = {count(figure.plot.height * covered.y / figure.imageHeight),
                        count(figure.plot.width * covered.x / figure.imageWidth),
                        {}};
    for (int row = 0; row < nodes.rows; ++row) {
        for (int col = 0; col < nodes.cols; ++col) {
            nodes.values.push_back(
                valueAt(figure.values, {covered.x * col / (nodes.cols - 1) - 0.5,
                                        covered.y * row / (nodes.rows - 1) - 0.5}));
        }
    }
    return nodes;
}

/**
 * Adds the lines of a regular grid over the image, at the places to which `place` takes them: 17
 * lines along the longer side, from the first pixel to the last, and as many along the other as
 * keep the cells about square, at least five.
 */
template <class Place>
void addGrid(const Figure& figure, const Canvas& canvas, const Place& place) {
    constexpr int cellsAlongLonger = 16;
    constexpr int stepsPerLine = 400;
    const double right = figure.values.covered.x - 1;
    const double bottom = figure.values.covered.y - 1;
    const auto cells = [](double side, double other) {
        return std::max(
            4, static_cast<int>(std::lround(cellsAlongLonger * std::min(1.0, side / other))));
    };
    const auto addLine = [&](Point from, Point to) {
        std::vector<Point> line;
        for (int i = 0; i <= stepsPerLine; ++i) {
            const double t = static_cast<double>(i) / stepsPerLine;
            const Point p = place(Point{std::lerp(from.x, to.x, t), std::lerp(from.y, to.y, t)});
            if (std::isfinite(p.x) && std::isfinite(p.y)) {
                line.push_back(figure.onCanvas(p));
            }
        }
        addPath(canvas.context(), line);
    };
    const int columns = cells(figure.plot.width, figure.plot.height);
    for (int i = 0; i <= columns; ++i) {
        const double x = right * i / columns;
        addLine({x, 0}, {x, bottom});
    }
    const int rows = cells(figure.plot.height, figure.plot.width);
    for (int i = 0; i <= rows; ++i) {
        const double y = bottom * i / rows;
        addLine({0, y}, {right, y});
    }
}

void drawHeatMap(const Figure& figure, Canvas& canvas) {
    // The colours are many; a table of them is as good as any number of them.
    std::vector<Colour> colours;
    constexpr int count = 1024;
    colours.reserve(count);
    for (int i = 0; i < count; ++i) {
        colours.push_back(heat(i / (count - 1.0)));
    }
    const Rectangle& plot = figure.plot;
    const auto colourAt = [&](int col, int row) {
        const Point pixel = {(col + 0.5) / plot.width * figure.imageWidth - 0.5,
                             (row + 0.5) / plot.height * figure.imageHeight - 0.5};
        if (pixel.x > figure.values.covered.x - 0.5 || pixel.y > figure.values.covered.y - 0.5) {
            return paper;
        }
        const double value = valueAt(figure.values, pixel);
        const double t = figure.largest > 0 ? std::min(value / figure.largest, 1.0) : 0;
        return std::isfinite(value) ? colours[static_cast<std::size_t>(t * (count - 1))] : faintInk;
    };
    canvas.paint(static_cast<int>(plot.left), static_cast<int>(plot.top),
                 static_cast<int>(plot.width), static_cast<int>(plot.height), colourAt);
}

void drawGrids(const Figure& figure, const Canvas& canvas, const CoordinateMap& map) {
    cairo_t* const cr = canvas.context();
    cairo_set_line_join(cr, CAIRO_LINE_JOIN_ROUND);
    setRegularLine(figure, canvas);
    addGrid(figure, canvas, [](Point pixel) { return pixel; });
    cairo_stroke(cr);
    setMappedLine(figure, canvas);
    addGrid(figure, canvas, [&map](Point pixel) { return mapped(map, pixel); });
    cairo_stroke(cr);
}

void drawContours(const Figure& figure, const Canvas& canvas) {
    if (figure.largest <= 0) {
        return;
    }
    const NodeValues nodes = contourNodes(figure);
    const auto pixelAt = [&](double row, double col) {
        return Point{figure.values.covered.x * col / (nodes.cols - 1) - 0.5,
                     figure.values.covered.y * row / (nodes.rows - 1) - 0.5};
    };
    cairo_set_line_width(canvas.context(), 1.5 * figure.scale);
    canvas.setType(11.5 * figure.scale, true);
    std::vector<Point> labels;
    const double step = contourStep(figure);
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

void markLargest(const Figure& figure, const Canvas& canvas) {
    if (figure.largest <= 0) {
        return;
    }
    const Point place = figure.onCanvas(figure.values.place);
    for (const auto& [colour, width] : {std::pair(ink, 3.2), std::pair(white, 1.4)}) {
        cairo_new_path(canvas.context());
        cairo_arc(canvas.context(), place.x, place.y, 5 * figure.scale, 0, 2 * std::numbers::pi);
        cairo_set_line_width(canvas.context(), width * figure.scale);
        canvas.setColour(colour);
        cairo_stroke(canvas.context());
    }
}

}  // namespace

void setRegularLine(const Figure& figure, const Canvas& canvas) {
    const std::array dashes = {2.5 * figure.scale, 3.5 * figure.scale};
    cairo_set_dash(canvas.context(), dashes.data(), dashes.size(), 0);
    cairo_set_line_width(canvas.context(), 0.8 * figure.scale);
    canvas.setColour(white, 0.4);
}

void setMappedLine(const Figure& figure, const Canvas& canvas) {
    cairo_set_dash(canvas.context(), nullptr, 0, 0);
    cairo_set_line_width(canvas.context(), figure.scale);
    canvas.setColour(white, 0.65);
}

void drawField(const Figure& figure, Canvas& canvas, const CoordinateMap* map) {
    const Rectangle& plot = figure.plot;
    drawHeatMap(figure, canvas);
    cairo_save(canvas.context());
    cairo_rectangle(canvas.context(), plot.left, plot.top, plot.width, plot.height);
    cairo_clip(canvas.context());
    if (map != nullptr) {
        drawGrids(figure, canvas, *map);
    }
    drawContours(figure, canvas);
    cairo_restore(canvas.context());
    markLargest(figure, canvas);
}
