#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>
#include <numbers>
#include <string>
#include <vector>

#include "canvas.h"
#include "colour.h"
#include "commands.h"
#include "contour.h"
#include "failure.h"
#include "interpolation.h"
#include "maps.h"
#include "picture.h"
#include "text.h"

namespace {

constexpr Colour ink = {0.13, 0.13, 0.15};
constexpr Colour faintInk = {0.42, 0.42, 0.45};
constexpr Colour white = {1, 1, 1};

struct Rectangle {
    double left;
    double top;
    double width;
    double height;
};

/** What is drawn, and where. Lengths on paper are for a figure 900 wide, times `scale`. */
struct Figure {
    const CoordinateMap* map;
    Camera camera;
    NodeValues displacement; /**< pixels, one value per sample */
    double largest;          /**< of them */
    double scale;
    Rectangle plot; /**< the image's area, from -0.5 to width - 0.5, on the canvas */

    /** From pixels of the image to the canvas. */
    [[nodiscard]] Point onCanvas(Point pixel) const {
        return {plot.left + (pixel.x + 0.5) / camera.width * plot.width,
                plot.top + (pixel.y + 0.5) / camera.height * plot.height};
    }
    /** From pixels of the image to samples of the map and back. */
    [[nodiscard]] double toSample(double pixel) const {
        return (pixel - (map->ratio - 1) * 0.5) / map->ratio;
    }
    [[nodiscard]] double toPixel(double sample) const {
        return sample * map->ratio + (map->ratio - 1) * 0.5;
    }
};

double displacementAtPixel(const Figure& figure, Point pixel) {
    const NodeValues& nodes = figure.displacement;
    return interpolated(nodes.rows, nodes.cols, figure.toSample(pixel.x), figure.toSample(pixel.y),
                        [&](int row, int col) { return nodes.at(row, col); });
}

/** Where the map takes a pixel, in pixels. */
Point mapped(const Figure& figure, Point pixel) {
    const CoordinateMap& map = *figure.map;
    const auto coordinate = [&](const std::vector<float>& values) {
        return figure.toPixel(interpolated(
            map.rows, map.cols, figure.toSample(pixel.x), figure.toSample(pixel.y),
            [&](int row, int col) { return static_cast<double>(values[map.index(row, col)]); }));
    };
    return {coordinate(map.x), coordinate(map.y)};
}

/** The round number (1, 2 or 5 times a power of ten) that divides a range into about `parts`. */
double roundStep(double range, double parts) {
    const double raw = range / parts;
    const double power = std::pow(10, std::floor(std::log10(raw)));
    for (const double factor : {1.0, 2.0, 5.0}) {
        if (factor * power >= raw * 0.999) {
            return factor * power;
        }
    }
    return 10 * power;
}

/** A number with as many decimals as its step needs. */
std::string numberText(double value, double step) {
    const int decimals = std::max(0, static_cast<int>(-std::floor(std::log10(step) + 1e-9)));
    return format("%.*f", decimals, value);
}

Figure layOut(const DrawOptions& options, const CoordinateMap& map, const Camera& camera) {
    Figure figure{};
    figure.map = &map;
    figure.camera = camera;
    figure.displacement = {map.rows, map.cols, {}};
    for (int32_t row = 0; row < map.rows; ++row) {
        for (int32_t col = 0; col < map.cols; ++col) {
            figure.displacement.values.push_back(displacementAt(map, row, col));
            const double value = figure.displacement.values.back();
            figure.largest = value > figure.largest ? value : figure.largest;
        }
    }
    figure.scale = options.width / 900.0;
    const double s = figure.scale;
    // The plot covers whole pixels of the canvas, which makes its edges sharp.
    figure.plot.left = std::round(74 * s);
    figure.plot.top = std::round(78 * s);
    figure.plot.width = std::round(options.width - figure.plot.left - 122 * s);
    // Very long or high images are not shown in proportion, so that the texts have room.
    const double proportion =
        std::clamp(static_cast<double>(camera.height) / camera.width, 0.25, 1.6);
    figure.plot.height = std::round(figure.plot.width * proportion);
    return figure;
}

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

void addPath(cairo_t* cr, const std::vector<Point>& points) {
    cairo_new_sub_path(cr);
    for (const Point& point : points) {
        cairo_line_to(cr, point.x, point.y);
    }
}

/** The regular grid of one image, drawn where the map takes it. */
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

void strokeLine(const Canvas& canvas, Point from, Point to) {
    cairo_move_to(canvas.context(), from.x, from.y);
    cairo_line_to(canvas.context(), to.x, to.y);
    cairo_stroke(canvas.context());
}

void strokeFrame(const Figure& figure, const Canvas& canvas, const Rectangle& area) {
    cairo_set_line_width(canvas.context(), figure.scale);
    canvas.setColour(ink);
    cairo_rectangle(canvas.context(), area.left, area.top, area.width, area.height);
    cairo_stroke(canvas.context());
}

void drawAxes(const Figure& figure, const Canvas& canvas) {
    const double s = figure.scale;
    const Rectangle& plot = figure.plot;
    const double bottom = plot.top + plot.height;
    const double tick = 5 * s;
    strokeFrame(figure, canvas, plot);
    canvas.setType(12.5 * s);
    const double xStep = std::max(1.0, roundStep(figure.camera.width, plot.width / (90 * s)));
    for (int i = 0; i * xStep < figure.camera.width; ++i) {
        const double place = figure.onCanvas({i * xStep, 0}).x;
        strokeLine(canvas, {place, bottom}, {place, bottom + tick});
        canvas.write(numberText(i * xStep, 1), {place, bottom + 2 * tick}, {0.5, 0});
    }
    const double yStep = std::max(1.0, roundStep(figure.camera.height, plot.height / (60 * s)));
    for (int i = 0; i * yStep < figure.camera.height; ++i) {
        const double place = figure.onCanvas({0, i * yStep}).y;
        strokeLine(canvas, {plot.left - tick, place}, {plot.left, place});
        canvas.write(numberText(i * yStep, 1), {plot.left - 1.8 * tick, place}, {1, 0.5});
    }
    canvas.write("column (pixels)", {plot.left + plot.width / 2, bottom + 32 * s}, {0.5, 0});
    canvas.write("row (pixels)", {plot.left - 54 * s, plot.top + plot.height / 2}, {0.5, 0.5},
                 -std::numbers::pi / 2);
}

void drawLegend(const Figure& figure, const Canvas& canvas, double step) {
    const double s = figure.scale;
    const Rectangle bar = {figure.plot.left + figure.plot.width + 24 * s, figure.plot.top, 18 * s,
                           figure.plot.height};
    const double bottom = bar.top + bar.height;
    cairo_pattern_t* const colours = cairo_pattern_create_linear(0, bottom, 0, bar.top);
    constexpr int stops = 64;
    for (int i = 0; i <= stops; ++i) {
        const double t = static_cast<double>(i) / stops;
        const Colour colour = heat(t);
        cairo_pattern_add_color_stop_rgb(colours, t, colour.red, colour.green, colour.blue);
    }
    cairo_set_source(canvas.context(), colours);
    cairo_rectangle(canvas.context(), bar.left, bar.top, bar.width, bar.height);
    cairo_fill(canvas.context());
    cairo_pattern_destroy(colours);
    strokeFrame(figure, canvas, bar);
    canvas.setType(12.5 * s);
    double widest = 0;
    for (int i = 0; i * step <= figure.largest * 1.0001; ++i) {
        const double place = bottom - bar.height * i * step / figure.largest;
        const double right = bar.left + bar.width;
        const std::string text = numberText(i * step, step);
        strokeLine(canvas, {right, place}, {right + 5 * s, place});
        canvas.write(text, {right + 9 * s, place}, {0, 0.5});
        widest = std::max(widest, canvas.widthOf(text));
    }
    canvas.write("displacement (pixels)",
                 {bar.left + bar.width + widest + 26 * s, bar.top + bar.height / 2}, {0.5, 0.5},
                 -std::numbers::pi / 2);
}

void drawTitle(const Figure& figure, const Canvas& canvas, const DrawOptions& options) {
    const double s = figure.scale;
    const bool undistort = options.direction == Direction::undistort;
    const std::string name = std::filesystem::path(options.file).filename().string();
    const std::string title = (undistort ? "Undistortion map of " : "Distortion map of ") + name;
    canvas.setColour(ink);
    canvas.setType(17 * s, true);
    const double room = canvas.width() - figure.plot.left - 20 * s;
    canvas.setType(17 * s * std::min(1.0, room / canvas.widthOf(title)), true);
    canvas.write(title, {figure.plot.left, 22 * s}, {0, 0});
    canvas.setType(12.5 * s);
    canvas.setColour(faintInk);
    canvas.write(undistort ? "How far from each pixel of the straightened image its place in the "
                             "recorded image lies; the grid of straight lines, as recorded"
                           : "How far from each pixel of the recorded image its place in the "
                             "straightened image lies; the recorded grid, straightened",
                 {figure.plot.left, 50 * s}, {0, 0});
}

}  // namespace

int runDraw(const DrawOptions& options) {
    const Image image = loadCalibration(options.file);
    const CoordinateMap map = computeMap(options.file, image, options.direction, options.ratio);
    Figure figure = layOut(options, map, mainCameraOf(image));
    // A map that moves nothing has a legend all the same.
    figure.largest = figure.largest > 0 && std::isfinite(figure.largest) ? figure.largest : 1;
    const double step = roundStep(figure.largest, 10);

    Canvas canvas(options.width, static_cast<int>(std::ceil(figure.plot.top + figure.plot.height +
                                                            62 * figure.scale)));
    cairo_save(canvas.context());
    cairo_rectangle(canvas.context(), figure.plot.left, figure.plot.top, figure.plot.width,
                    figure.plot.height);
    cairo_clip(canvas.context());
    drawHeatMap(figure, canvas);
    drawMappedGrid(figure, canvas);
    drawContours(figure, canvas, step);
    cairo_restore(canvas.context());
    drawAxes(figure, canvas);
    drawLegend(figure, canvas, step);
    drawTitle(figure, canvas, options);
    writePng(options.output, canvas.picture());
    return exitGood;
}
