#include "inspection/drawing.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <numbers>
#include <utility>

namespace {

constexpr Point leftTop = {0, 0};
constexpr Point middleTop = {0.5, 0};
constexpr Point leftMiddle = {0, 0.5};
constexpr Point rightMiddle = {1, 0.5};
constexpr Point middle = {0.5, 0.5};

constexpr double upwards = -std::numbers::pi / 2;

using Marks = std::vector<Mark>;

Polyline outlineOf(const Rectangle& area) {
    const double right = area.left + area.width;
    const double bottom = area.top + area.height;
    return {{area.left, area.top},
            {right, area.top},
            {right, bottom},
            {area.left, bottom},
            {area.left, area.top}};
}

LineMark solid(std::vector<Polyline> lines, double width, Ink ink) {
    return {std::move(lines), width, {}, ink, false};
}

LineMark gridLine(std::vector<Polyline> lines, bool isRegular, double scale) {
    if (isRegular) {
        return {std::move(lines), 0.8 * scale, {2.5 * scale, 3.5 * scale}, Ink::regularLine, false};
    }
    return solid(std::move(lines), scale, Ink::mappedLine);
}

/** A text beside the plot, as most are. */
TextMark plain(std::string text, Point place, Point anchor, double scale) {
    return {std::move(text), place, anchor, 0, textSize * scale, false, Ink::text, 0};
}

ImageMark heatMapOf(Figure& figure) {
    const Rectangle& plot = figure.layout.plot;
    return {static_cast<int32_t>(plot.left), static_cast<int32_t>(plot.top),
            static_cast<int32_t>(plot.width), static_cast<int32_t>(plot.height),
            std::move(figure.heatMap)};
}

void addGrid(std::vector<Polyline>& grid, bool isRegular, double scale, Marks& marks) {
    LineMark mark = gridLine(std::move(grid), isRegular, scale);
    mark.isClipped = true;
    marks.emplace_back(std::move(mark));
}

/** Lines of different levels do not cross, so those of one ink can be one mark. */
void addContours(Figure& figure, Marks& marks) {
    const double s = figure.layout.scale;
    for (const Ink ink : {Ink::light, Ink::dark}) {
        LineMark lines = {{}, 1.5 * s, {}, ink, true};
        Marks labels;
        for (ContourLine& contour : figure.contours) {
            if (contour.isOnLight != (ink == Ink::dark)) {
                continue;
            }
            std::move(contour.pieces.begin(), contour.pieces.end(),
                      std::back_inserter(lines.lines));
            if (contour.label) {
                labels.emplace_back(TextMark{contour.label->text, contour.label->centre, middle,
                                             contour.label->angle, labelSize * s, true, ink, 0});
            }
        }
        marks.emplace_back(std::move(lines));
        std::move(labels.begin(), labels.end(), std::back_inserter(marks));
    }
}

/** How large the marks of places are, for a picture 900 wide. */
constexpr double markRadius = 5;

Polyline ringAround(Point centre, double radius) {
    constexpr int corners = 48;
    Polyline ring;
    for (int i = 0; i < corners; ++i) {
        const double angle = 2 * std::numbers::pi * i / corners;
        ring.push_back({centre.x + radius * std::cos(angle), centre.y + radius * std::sin(angle)});
    }
    ring.push_back(ring.front());
    return ring;
}

/** A ring around the largest value, to be seen on any colour. */
void addRing(const Figure& figure, Marks& marks) {
    const double s = figure.layout.scale;
    const Polyline ring = ringAround(figure.place, markRadius * s);
    marks.emplace_back(solid({ring}, 3.2 * s, Ink::dark));
    marks.emplace_back(solid({ring}, 1.4 * s, Ink::light));
}

void addAxes(const Figure& figure, Marks& marks) {
    const Layout& layout = figure.layout;
    const Rectangle& plot = layout.plot;
    const double s = layout.scale;
    const double bottom = plot.top + plot.height;
    const double tick = 5 * s;
    LineMark lines = solid({outlineOf(plot)}, s, Ink::text);
    for (const Tick& column : figure.columns) {
        lines.lines.push_back({{column.place, bottom}, {column.place, bottom + tick}});
        marks.emplace_back(plain(column.text, {column.place, bottom + 2 * tick}, middleTop, s));
    }
    for (const Tick& row : figure.rows) {
        lines.lines.push_back({{plot.left - tick, row.place}, {plot.left, row.place}});
        marks.emplace_back(plain(row.text, {plot.left - 1.8 * tick, row.place}, rightMiddle, s));
    }
    marks.emplace_back(std::move(lines));
    if (!layout.isCompact) {
        marks.emplace_back(
            plain("column (pixels)", {plot.left + plot.width / 2, bottom + 32 * s}, middleTop, s));
        const bool isLow = plot.height < 90 * s;
        TextMark rows = plain(isLow ? "row" : "row (pixels)",
                              {plot.left - 54 * s, plot.top + plot.height / 2}, middle, s);
        rows.angle = upwards;
        marks.emplace_back(std::move(rows));
    }
}

/** What the colours mean. */
void addScale(const Figure& figure, Marks& marks) {
    const Layout& layout = figure.layout;
    const Rectangle& bar = layout.bar;
    const double s = layout.scale;
    const double right = bar.left + bar.width;
    ImageMark colours = {static_cast<int32_t>(bar.left),
                         static_cast<int32_t>(bar.top),
                         static_cast<int32_t>(bar.width),
                         static_cast<int32_t>(bar.height),
                         {}};
    for (int32_t row = 0; row < colours.height; ++row) {
        const Dot dot = dotOf(heat(1 - (row + 0.5) / colours.height));
        for (int32_t col = 0; col < colours.width; ++col) {
            colours.dots.insert(colours.dots.end(), dot.begin(), dot.end());
        }
    }
    marks.emplace_back(std::move(colours));
    LineMark lines = solid({outlineOf(bar)}, s, Ink::text);
    const double room = layout.width - right - (layout.isCompact ? 9 : 34) * s;
    double widest = 0;
    for (const Tick& tick : figure.scale) {
        lines.lines.push_back({{right, tick.place}, {right + 5 * s, tick.place}});
        TextMark number = plain(tick.text, {right + 9 * s, tick.place}, leftMiddle, s);
        number.room = room;
        widest = std::max(widest, std::min(room, widthOf(tick.text, number.size, false)));
        marks.emplace_back(std::move(number));
    }
    marks.emplace_back(std::move(lines));
    if (!layout.isCompact) {
        TextMark title = plain(figure.wording.quantity + " (pixels)",
                               {right + widest + 26 * s, bar.top + bar.height / 2}, middle, s);
        title.angle = upwards;
        marks.emplace_back(std::move(title));
    }
}

/** What the two kinds of grid lines are, below the axes. */
void addKey(const Figure& figure, Marks& marks) {
    const Layout& layout = figure.layout;
    const double s = layout.scale;
    const double centre = layout.plot.top + layout.plot.height + 72 * s;
    double left = layout.plot.left;
    for (const bool isRegular : {true, false}) {
        const std::string& name =
            isRegular ? figure.wording.regularGrid : figure.wording.mappedGrid;
        marks.emplace_back(AreaMark{{left, centre - 9 * s, 40 * s, 18 * s}, Ink::sample});
        marks.emplace_back(gridLine({{{left, centre}, {left + 40 * s, centre}}}, isRegular, s));
        TextMark text = plain(name, {left + 48 * s, centre}, leftMiddle, s);
        const double width = widthOf(name, text.size, false);
        text.room = isRegular ? width + 12 * s : layout.width - text.place.x;
        marks.emplace_back(std::move(text));
        left += width + 72 * s;
    }
}

void addTitle(const Figure& figure, Marks& marks) {
    const Layout& layout = figure.layout;
    const double s = layout.scale;
    for (std::size_t i = 0; i < figure.title.size(); ++i) {
        const bool isFirst = i == 0;
        const double top = isFirst ? 20 : 28 + 19 * static_cast<double>(i);
        marks.emplace_back(TextMark{figure.title[i],
                                    {layout.plot.left, top * s},
                                    leftTop,
                                    0,
                                    (isFirst ? titleSize : textSize) * s,
                                    isFirst,
                                    isFirst ? Ink::text : Ink::faintText,
                                    roomForTitle(layout)});
    }
}

/** Says in the middle of the plot that there is nothing to be seen. */
void addNone(const Figure& figure, Marks& marks) {
    const Layout& layout = figure.layout;
    const Rectangle& plot = layout.plot;
    const double s = layout.scale;
    const double room = layout.width - plot.left;
    const double width = std::min(room, widthOf(figure.wording.none, noneSize * s, true) + 36 * s);
    // On a slender plot, which is narrower than the words, they leave the numbers beside it alone.
    const Point centre = {plot.left + std::clamp(plot.width / 2, width / 2, room - width / 2),
                          plot.top + plot.height / 2};
    marks.emplace_back(
        AreaMark{{centre.x - width / 2, centre.y - 24 * s, width, 48 * s}, Ink::light});
    marks.emplace_back(TextMark{figure.wording.none, centre, middle, 0, noneSize * s, true,
                                Ink::dark, width - 12 * s});
}

}  // namespace

InkColour colourOf(Ink ink, bool isDarkPaper) {
    constexpr Colour paleInk = {0.91, 0.91, 0.925};
    constexpr Colour faintPaleInk = {0.635, 0.635, 0.68};
    switch (ink) {
        case Ink::text:
            return {isDarkPaper ? paleInk : darkInk, 1};
        case Ink::faintText:
            return {isDarkPaper ? faintPaleInk : faintInk, 1};
        case Ink::dark:
            return {darkInk, 1};
        case Ink::light:
            return {white, 1};
        case Ink::regularLine:
            return {white, 0.4};
        case Ink::mappedLine:
            return {white, 0.65};
        case Ink::sample:
            break;
    }
    return {heat(0.25), 1};
}

Drawing drawingOf(Figure figure) {
    const Layout& layout = figure.layout;
    Drawing drawing = {layout.width, layout.height, layout.plot, {}};
    Marks& marks = drawing.marks;
    marks.emplace_back(heatMapOf(figure));
    addGrid(figure.regularGrid, true, layout.scale, marks);
    addGrid(figure.mappedGrid, false, layout.scale, marks);
    addContours(figure, marks);
    const Rectangle& plot = layout.plot;
    if (figure.largest > 0 &&
        std::abs(figure.place.x - plot.left - plot.width / 2) < plot.width / 2 &&
        std::abs(figure.place.y - plot.top - plot.height / 2) < plot.height / 2) {
        addRing(figure, marks);
    }
    addAxes(figure, marks);
    if (figure.largest > 0) {
        addScale(figure, marks);
    }
    if (!layout.isCompact) {
        if (!figure.wording.regularGrid.empty()) {
            addKey(figure, marks);
        }
        addTitle(figure, marks);
    }
    if (figure.largest <= 0) {
        addNone(figure, marks);
    }
    return drawing;
}

Drawing markerOf(const Layout& layout, Point from, Point to) {
    const double s = layout.scale;
    const double radius = markRadius * s;
    const Point start = onPaper(layout, from);
    std::vector<Polyline> lines = {{{start.x - radius, start.y}, {start.x + radius, start.y}},
                                   {{start.x, start.y - radius}, {start.x, start.y + radius}}};
    if (std::isfinite(to.x) && std::isfinite(to.y)) {
        const Point end = onPaper(layout, to);
        lines.insert(lines.end(), {{start, end}, ringAround(end, radius)});
    }
    Drawing drawing = {layout.width,
                       layout.height,
                       layout.plot,
                       {solid(lines, 4 * s, Ink::dark), solid(lines, 1.8 * s, Ink::light)}};
    for (Mark& mark : drawing.marks) {
        std::get<LineMark>(mark).isClipped = layout.shown.width < layout.imageWidth;
    }
    return drawing;
}
