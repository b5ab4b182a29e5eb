#include "drawing/axes.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "drawing/displacement.h"
#include "inspection/colour.h"
#include "inspection/text.h"

namespace {

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

}  // namespace

void drawAxes(const Figure& figure, const Canvas& canvas) {
    const double s = figure.scale;
    const Rectangle& plot = figure.plot;
    const double bottom = plot.top + plot.height;
    const double tick = 5 * s;
    strokeFrame(figure, canvas, plot);
    canvas.setType(12.5 * s);
    const double xStep =
        std::max(1.0, roundStep(figure.imageWidth, std::max(2.0, plot.width / (90 * s))));
    for (int i = 0; i * xStep < figure.imageWidth; ++i) {
        const double place = figure.onCanvas({i * xStep, 0}).x;
        strokeLine(canvas, {place, bottom}, {place, bottom + tick});
        canvas.write(numberText(i * xStep, 1), {place, bottom + 2 * tick}, {0.5, 0});
    }
    const double yStep =
        std::max(1.0, roundStep(figure.imageHeight, std::max(2.0, plot.height / (60 * s))));
    for (int i = 0; i * yStep < figure.imageHeight; ++i) {
        const double place = figure.onCanvas({0, i * yStep}).y;
        strokeLine(canvas, {plot.left - tick, place}, {plot.left, place});
        canvas.write(numberText(i * yStep, 1), {plot.left - 1.8 * tick, place}, {1, 0.5});
    }
    canvas.write("column (pixels)", {plot.left + plot.width / 2, bottom + 32 * s}, {0.5, 0});
    const bool isLow = plot.height < 90 * s;
    canvas.write(isLow ? "row" : "row (pixels)", {plot.left - 54 * s, plot.top + plot.height / 2},
                 {0.5, 0.5}, -std::numbers::pi / 2);
}

void drawLegend(const Figure& figure, const Canvas& canvas, const std::string& quantity) {
    if (figure.largest <= 0) {
        return;
    }
    const double s = figure.scale;
    const Rectangle bar = {figure.plot.left + figure.plot.width + 24 * s, figure.plot.top, 18 * s,
                           std::max(figure.plot.height, 160 * s)};
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
    // The steps of the contour lines, as far as there is room for their numbers.
    const double step = roundStep(figure.largest, std::min(10.0, bar.height / (24 * s)));
    double widest = 0;
    for (int i = 0; i * step <= figure.largest * 1.0001; ++i) {
        const double place = bottom - bar.height * i * step / figure.largest;
        const double right = bar.left + bar.width;
        const std::string text = numberText(i * step, step);
        strokeLine(canvas, {right, place}, {right + 5 * s, place});
        canvas.write(text, {right + 9 * s, place}, {0, 0.5});
        widest = std::max(widest, canvas.widthOf(text));
    }
    canvas.write(quantity + " (pixels)",
                 {bar.left + bar.width + widest + 26 * s, bar.top + bar.height / 2}, {0.5, 0.5},
                 -std::numbers::pi / 2);
}

void drawKey(const Figure& figure, const Canvas& canvas, const std::string& regular,
             const std::string& taken) {
    const double s = figure.scale;
    const double middle = figure.plot.top + figure.plot.height + 72 * s;
    double left = figure.plot.left;
    canvas.setType(12.5 * s);
    for (const bool isRegular : {true, false}) {
        const Rectangle sample = {left, middle - 9 * s, 40 * s, 18 * s};
        canvas.setColour(heat(0.25));
        cairo_rectangle(canvas.context(), sample.left, sample.top, sample.width, sample.height);
        cairo_fill(canvas.context());
        isRegular ? setRegularLine(figure, canvas) : setMappedLine(figure, canvas);
        strokeLine(canvas, {sample.left, middle}, {sample.left + sample.width, middle});
        cairo_set_dash(canvas.context(), nullptr, 0, 0);
        canvas.setColour(ink);
        const std::string& text = isRegular ? regular : taken;
        canvas.write(text, {sample.left + sample.width + 8 * s, middle}, {0, 0.5});
        left += sample.width + canvas.widthOf(text) + 32 * s;
    }
}

void drawTitle(const Figure& figure, const Canvas& canvas, const std::string& title,
               const std::string& colours, const std::vector<std::string>& facts) {
    const double s = figure.scale;
    canvas.setColour(ink);
    canvas.setType(17 * s, true);
    canvas.write(title, {figure.plot.left, 20 * s}, {0, 0});
    canvas.setType(12.5 * s);
    canvas.setColour(faintInk);
    double top = 47 * s;
    canvas.write(colours, {figure.plot.left, top}, {0, 0});
    for (const std::string& line : facts) {
        top += 19 * s;
        canvas.write(line, {figure.plot.left, top}, {0, 0});
    }
}

std::string fittedTitle(const Figure& figure, const Canvas& canvas, const std::string& before,
                        const std::string& name, const std::string& behind) {
    canvas.setType(17 * figure.scale, true);
    const double room = figure.width - figure.plot.left - 20 * figure.scale;
    std::size_t length = lengthOf(name);
    std::string title = before + name + behind;
    while (length > 1 && canvas.widthOf(title) > room) {
        title = before;
        title += shortened(name, --length);
        title += behind;
    }
    return title;
}

void writeNone(const Figure& figure, const Canvas& canvas, const std::string& text) {
    const double s = figure.scale;
    const Point centre = {figure.plot.left + figure.plot.width / 2,
                          figure.plot.top + figure.plot.height / 2};
    canvas.setType(22 * s, true);
    const double width = canvas.widthOf(text) + 36 * s;
    canvas.setColour(white);
    cairo_rectangle(canvas.context(), centre.x - width / 2, centre.y - 24 * s, width, 48 * s);
    cairo_fill(canvas.context());
    canvas.setColour(ink);
    canvas.write(text, centre, {0.5, 0.5});
}

std::vector<std::string> factsOf(const Figure& figure, const std::string& quantity,
                                 const std::string& size) {
    const PixelValues& values = figure.values;
    std::vector<std::string> lines = {
        size + (figure.largest > 0
                    ? format(" \u00b7 largest %s %s pixels at (%g, %g)", quantity.c_str(),
                             decimal(values.largest, 3).c_str(), values.place.x, values.place.y)
                    : format(" \u00b7 %s: none (at most %.1g pixels, by rounding)",
                             quantity.c_str(), values.largest))};
    const bool isHigher = figure.stretch > 1;
    if (figure.stretch != 1) {
        lines.push_back(format("Not in proportion: drawn %.3g times as %s as it is",
                               isHigher ? figure.stretch : 1 / figure.stretch,
                               isHigher ? "high" : "wide"));
    }
    return lines;
}
