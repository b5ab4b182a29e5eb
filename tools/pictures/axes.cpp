#include "pictures/axes.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <numbers>

#include "pictures/colour.h"

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

void drawTitle(const Figure& figure, const Canvas& canvas, const std::string& file,
               Direction direction) {
    const double s = figure.scale;
    const bool undistort = direction == Direction::undistort;
    const std::string name = std::filesystem::path(file).filename().string();
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
