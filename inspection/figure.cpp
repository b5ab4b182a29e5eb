#include "inspection/figure.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <limits>
#include <numbers>
#include <utility>

#include "inspection/colour.h"
#include "inspection/text.h"

namespace {

/** How much of the work the heat map is. */
constexpr double shareOfHeatMap = 0.6;

/** How far computing in single precision may move a pixel that no lens moves. */
double roundingOf(const Camera& camera) {
    const double reach =
        std::max({static_cast<double>(camera.width), static_cast<double>(camera.height),
                  std::abs(camera.cx), std::abs(camera.cy)});
    return std::ldexp(reach, -21);
}

/** True where a model only continues what it was fitted to. */
bool isExtrapolated(const Camera& camera, const PixelValues& values, const Mapping& mapping,
                    Point pixel) {
    if (!mapping || !values.fitted) {
        return false;
    }
    const Point straight =
        values.fitted->direction == Direction::undistort ? pixel : mapping(pixel);
    const double slope =
        std::hypot((straight.x - camera.cx) / camera.fx, (straight.y - camera.cy) / camera.fy);
    return !(std::atan(slope) <= values.fitted->angle * std::numbers::pi / 180);
}

std::vector<uint8_t> heatMapOf(const Layout& layout, const PixelValues& values, double top,
                               const std::function<bool(Point)>& isHatched,
                               const Reached& reached) {
    // The colours are many; a table of them is as good as any number of them.
    constexpr int count = 1024;
    std::vector<Dot> colours;
    colours.reserve(count);
    for (int i = 0; i < count; ++i) {
        colours.push_back(dotOf(heat(i / (count - 1.0))));
    }
    const Dot uncovered = dotOf(paper);
    const Dot lost = dotOf(faintInk);
    const auto dotAt = [&](Point pixel) {
        if (pixel.x > values.covered.x - 0.5 || pixel.y > values.covered.y - 0.5) {
            return uncovered;
        }
        const double value = valueAt(values, pixel);
        const double t = top > 0 ? std::min(value / top, 1.0) : 0;
        return std::isfinite(value) ? colours[static_cast<std::size_t>(t * (count - 1))] : lost;
    };
    const Rectangle& plot = layout.plot;
    std::vector<uint8_t> dots(static_cast<std::size_t>(plot.width * plot.height) * sizeof(Dot));
    auto next = dots.begin();
    for (int row = 0; row < plot.height; ++row) {
        for (int col = 0; col < plot.width; ++col) {
            const Point pixel = pixelAt(layout, {plot.left + col + 0.5, plot.top + row + 0.5});
            const bool isOnStripe = (col + row) % static_cast<int>(8 * layout.scale) == 0;
            const Dot dot = isOnStripe && isHatched(pixel) ? uncovered : dotAt(pixel);
            next = std::copy(dot.begin(), dot.end(), next);
        }
        if (reached) {
            reached(shareOfHeatMap * row / plot.height);
        }
    }
    return dots;
}

/** The covered part of what is shown and of what is no farther from it than `reach`. */
Rectangle coveredPart(const Layout& layout, Point covered, double reach) {
    const Rectangle& shown = layout.shown;
    const double left = std::max(0.0, shown.left - reach);
    const double top = std::max(0.0, shown.top - reach);
    return {left, top, std::min(covered.x, shown.left + shown.width + reach) - left,
            std::min(covered.y, shown.top + shown.height + reach) - top};
}

/** Dots; those who stroke lines cannot count to any number. */
constexpr double farthest = 1e5;

/**
 * The lines of a regular grid over what is covered, or with a map those to which it takes them: 17
 * lines along the longer side, from the first pixel to the last, and as many along the other as
 * keep the cells about square, at least five. Of a part as many are to be seen, and beside it those
 * that a map takes no farther than `reach` into it.
 */
std::vector<Polyline> gridOf(const Layout& layout, Point covered, double reach,
                             const Mapping& mapping) {
    const int steps = mapping ? 400 : 1;
    constexpr int cellsAlongLonger = 16;
    const auto cells = [](double side, double other) {
        return std::max(
            4, static_cast<int>(std::lround(cellsAlongLonger * std::min(1.0, side / other))));
    };
    std::vector<Polyline> lines;
    const auto addLine = [&](Point from, Point to) {
        Polyline line;
        for (int i = 0; i <= steps; ++i) {
            const double t = static_cast<double>(i) / steps;
            const Point pixel = {std::lerp(from.x, to.x, t), std::lerp(from.y, to.y, t)};
            const Point place = onPaper(layout, mapping ? mapping(pixel) : pixel);
            if (std::abs(place.x) < farthest && std::abs(place.y) < farthest) {
                line.push_back(place);
            } else if (!line.empty()) {
                lines.push_back(std::exchange(line, {}));
            }
        }
        lines.push_back(std::move(line));
    };
    const Rectangle area = coveredPart(layout, covered, reach);
    const auto enlarged = [](int count, double length, double seen) {
        return static_cast<int>(std::lround(count * std::min(length / seen, 32.0)));
    };
    const Rectangle& shown = layout.shown;
    const int columns = enlarged(cells(layout.plot.width, layout.plot.height), area.width,
                                 std::min(shown.width, covered.x));
    const Point last = {area.left + area.width - 1, area.top + area.height - 1};
    for (int i = 0; i <= columns; ++i) {
        const double x = area.left + (area.width - 1) * i / columns;
        addLine({x, area.top}, {x, last.y});
    }
    const int rows = enlarged(cells(layout.plot.height, layout.plot.width), area.height,
                              std::min(shown.height, covered.y));
    for (int i = 0; i <= rows; ++i) {
        const double y = area.top + (area.height - 1) * i / rows;
        addLine({area.left, y}, {last.x, y});
    }
    return lines;
}

double extentOf(const Polyline& line) {
    double length = 0;
    for (std::size_t i = 1; i < line.size(); ++i) {
        length += std::hypot(line[i].x - line[i - 1].x, line[i].y - line[i - 1].y);
    }
    return length;
}

/** Finds a place for a label that reads well, away from the frame and from other labels. */
std::optional<ContourLabel> labelFor(const Layout& layout, const Polyline& line,
                                     const std::vector<ContourLine>& others) {
    const Rectangle& plot = layout.plot;
    const double margin = 24 * layout.scale;
    const double apart = 60 * layout.scale;
    constexpr std::size_t reach = 6;
    std::optional<ContourLabel> best;
    double least = std::numeric_limits<double>::infinity();
    for (std::size_t i = reach; i + reach < line.size(); ++i) {
        const Point p = line[i];
        const bool nearFrame = p.x < plot.left + margin || p.y < plot.top + margin ||
                               p.x > plot.left + plot.width - margin ||
                               p.y > plot.top + plot.height - margin;
        const bool nearLabel =
            std::any_of(others.begin(), others.end(), [&](const ContourLine& other) {
                return other.label &&
                       std::hypot(other.label->centre.x - p.x, other.label->centre.y - p.y) < apart;
            });
        if (nearFrame || nearLabel) {
            continue;
        }
        double angle = std::atan2(line[i + reach].y - line[i - reach].y,
                                  line[i + reach].x - line[i - reach].x);
        if (std::abs(angle) > std::numbers::pi / 2) {
            angle -= std::copysign(std::numbers::pi, angle);
        }
        // At a slant, and to the upper right where there is a choice, labels line up.
        const double cost = std::abs(std::abs(angle) - 0.45) +
                            (p.x < plot.left + plot.width / 2 ? 0.3 : 0) +
                            (p.y > plot.top + plot.height / 2 ? 0.3 : 0);
        if (cost < least) {
            least = cost;
            best = ContourLabel{"", p, angle};
        }
    }
    return best;
}

/** Puts a label on a line and interrupts the line for it, if there is room for one. */
void addLabel(const Layout& layout, const std::vector<ContourLine>& others, ContourLine& contour) {
    const std::string text = format("%.6g", contour.level);
    const double gap = widthOf(text, labelSize * layout.scale, true) / 2 + 4 * layout.scale;
    const Polyline whole = contour.pieces.front();
    if (extentOf(whole) > 8 * gap) {
        contour.label = labelFor(layout, whole, others);
    }
    if (!contour.label) {
        return;
    }
    contour.label->text = text;
    contour.pieces = {{}};
    const Point centre = contour.label->centre;
    for (const Point& point : whole) {
        if (std::hypot(point.x - centre.x, point.y - centre.y) > gap) {
            contour.pieces.back().push_back(point);
        } else if (!contour.pieces.back().empty()) {
            contour.pieces.emplace_back();
        }
    }
}

Point pixelOfNode(const Rectangle& area, const NodeValues& nodes, Point node) {
    return {area.width * node.x / (nodes.cols - 1) - 0.5 + area.left,
            area.height * node.y / (nodes.rows - 1) - 0.5 + area.top};
}

/** The values at nodes a few hairlines apart, over the area that they speak for. */
NodeValues contourNodes(const Layout& layout, const PixelValues& values, const Rectangle& area) {
    const auto count = [&](double length) {
        return std::max(2, static_cast<int>(std::lround(length / (2.2 * layout.scale))) + 1);
    };
    NodeValues nodes = {count(layout.plot.height * area.height / layout.shown.height),
                        count(layout.plot.width * area.width / layout.shown.width),
                        {}};
    for (int row = 0; row < nodes.rows; ++row) {
        for (int col = 0; col < nodes.cols; ++col) {
            const Point node = {static_cast<double>(col), static_cast<double>(row)};
            nodes.values.push_back(valueAt(values, pixelOfNode(area, nodes, node)));
        }
    }
    return nodes;
}

std::vector<double> levelsOf(double top) {
    // Displacement grows steeply towards the corners; two more levels tell of the middle.
    const double step = roundStep(top, 10);
    std::vector<double> levels = {step / 10, step / 2};
    for (int i = 1; i * step < top; ++i) {
        levels.push_back(i * step);
    }
    return levels;
}

std::vector<ContourLine> contoursOf(const Layout& layout, const PixelValues& values, double top,
                                    const Reached& reached) {
    const Rectangle area = coveredPart(layout, values.covered, 0);
    const NodeValues nodes = contourNodes(layout, values, area);
    const std::vector<double> levels = levelsOf(top);
    std::vector<ContourLine> contours;
    for (std::size_t i = 0; i < levels.size(); ++i) {
        for (Polyline& line : contourLines(nodes, levels[i])) {
            for (Point& point : line) {
                point = onPaper(layout, pixelOfNode(area, nodes, point));
            }
            ContourLine contour = {
                levels[i], heatLightness(levels[i] / top) > 0.6, {}, std::nullopt};
            contour.pieces.push_back(std::move(line));
            addLabel(layout, contours, contour);
            contours.push_back(std::move(contour));
        }
        if (reached) {
            const double part = static_cast<double>(i + 1) / static_cast<double>(levels.size());
            reached(std::lerp(shareOfHeatMap, 1.0, part));
        }
    }
    return contours;
}

/**
 * The steps of the contour lines, as far as there is room for their numbers. Where values lie above
 * the scale, its end says so.
 */
std::vector<Tick> scaleOf(const Layout& layout, double top, double largest) {
    std::vector<Tick> ticks;
    if (top <= 0) {
        return ticks;
    }
    const Rectangle& bar = layout.bar;
    const double step = roundStep(top, std::min(10.0, bar.height / (24 * layout.scale)));
    for (int i = 0; i * step <= top * 1.0001; ++i) {
        ticks.push_back(
            {i * step, bar.top + bar.height * (1 - i * step / top), numberText(i * step, step)});
    }
    if (top < largest) {
        while (ticks.back().place < bar.top + 20 * layout.scale) {
            ticks.pop_back();
        }
        ticks.push_back({top, bar.top, "\u2265 " + numberText(top, step / 10)});
    }
    return ticks;
}

/** The title, its name shortened until there is room for it. */
std::string titleOf(const Layout& layout, const Wording& wording) {
    std::size_t length = lengthOf(wording.name);
    std::string title = wording.title + wording.name;
    while (length > 1 && widthOf(title, titleSize * layout.scale, true) > roomForTitle(layout)) {
        title = wording.title + shortened(wording.name, --length);
    }
    return title;
}

std::vector<std::string> titlesOf(const Figure& figure, const PixelValues& values) {
    const Wording& wording = figure.wording;
    const std::string& quantity = wording.quantity;
    std::string fact;
    if (figure.largest > 0) {
        fact = format("largest %s %s pixels at (%g, %g)", quantity.c_str(),
                      decimal(values.largest, 3).c_str(), values.place.x, values.place.y);
    } else if (std::isnan(values.largest)) {
        fact = quantity + ": not a number anywhere";
    } else {
        fact =
            format("%s: none (at most %.1g pixels, by rounding)", quantity.c_str(), values.largest);
    }
    std::vector<std::string> titles = {titleOf(figure.layout, wording), wording.colours,
                                       wording.size + " \u00b7 " + fact};
    if (values.fitted) {
        titles.push_back(
            format("Hatched: more than %g\u00b0 off the axis, where nothing was fitted",
                   values.fitted->angle));
    }
    const double stretch = figure.layout.stretch;
    if (stretch != 1) {
        titles.push_back(format("Not in proportion: drawn %.3g times as %s as it is",
                                stretch > 1 ? stretch : 1 / stretch,
                                stretch > 1 ? "high" : "wide"));
    }
    return titles;
}

}  // namespace

std::vector<Tick> ticksOf(double first, double pixels, double begin, double length, double apart) {
    const double step = std::max(1.0, roundStep(pixels, std::max(2.0, length / apart)));
    std::vector<Tick> ticks;
    const auto before = static_cast<int>(std::ceil((first - 0.5) / step));
    for (int i = before; i * step + 0.5 <= first + pixels; ++i) {
        ticks.push_back({i * step, begin + (i * step + 0.5 - first) / pixels * length,
                         numberText(i * step, step)});
    }
    return ticks;
}

Wording wordingOf(const CoordinateMap& map, const Camera& camera, Direction direction,
                  const std::string& name) {
    const bool undistorts = direction == Direction::undistort;
    const std::string image = imageOf(direction) + " image";
    return {
        .title = undistorts ? "Undistortion map of " : "Distortion map of ",
        .name = shown(name),
        .colours = "Colour at a pixel of the " + image +
                   (undistorts ? ": how far from it the camera records what belongs there"
                               : ": how far from it that place lies in the straight image"),
        .size = format("%d \u00d7 %d pixels \u00b7 ratio %d: %d \u00d7 %d samples", camera.width,
                       camera.height, map.ratio, map.cols, map.rows),
        .quantity = "displacement",
        // One sample, often the middle of the image, says nothing of the lens around it.
        .none = map.rows == 1 && map.cols == 1 ? "the one sample does not move" : "no distortion",
        .regularGrid = "a regular grid of the " + image,
        .mappedGrid = undistorts ? "as the camera records it" : "where it lies when straightened",
    };
}

Wording wordingOfDifference(const Camera& camera, Direction direction, const std::string& first,
                            const std::string& second) {
    constexpr std::size_t most = 36;
    return {
        .title =
            direction == Direction::undistort ? "Undistortion maps of " : "Distortion maps of ",
        .name = shortened(shown(first), most) + " and " + shortened(shown(second), most),
        .colours = "Colour at a pixel of the " + imageOf(direction) +
                   " image: how far apart the two maps take it",
        .size = format("%d \u00d7 %d pixels", camera.width, camera.height),
        .quantity = "difference",
        .none = "no difference",
        .regularGrid = "",
        .mappedGrid = "",
    };
}

Figure figureOf(const Layout& layout, const Camera& camera, const PixelValues& values,
                const Mapping& mapping, const Wording& wording, const Reached& reached) {
    Figure figure{};
    figure.layout = layout;
    figure.wording = wording;
    figure.largest = values.largest > roundingOf(camera) ? values.largest : 0;
    if (std::isnan(values.largest)) {
        figure.wording.none = "no numbers";
    }
    figure.top = figure.largest > 0 && values.top > 0 ? values.top : figure.largest;
    figure.place = onPaper(layout, values.place);
    figure.heatMap = heatMapOf(
        layout, values, figure.top,
        [&](Point pixel) { return isExtrapolated(camera, values, mapping, pixel); }, reached);
    if (mapping) {
        const double reach = layout.shown.width < camera.width ? figure.largest : 0;
        figure.regularGrid = gridOf(layout, values.covered, reach, nullptr);
        figure.mappedGrid = gridOf(layout, values.covered, reach, mapping);
    }
    if (figure.largest > 0) {
        figure.contours = contoursOf(layout, values, figure.top, reached);
    }
    const Rectangle& plot = layout.plot;
    figure.columns =
        ticksOf(layout.shown.left, layout.shown.width, plot.left, plot.width, 90 * layout.scale);
    figure.rows =
        ticksOf(layout.shown.top, layout.shown.height, plot.top, plot.height, 60 * layout.scale);
    figure.scale = scaleOf(layout, figure.top, figure.largest);
    figure.title = titlesOf(figure, values);
    return figure;
}
