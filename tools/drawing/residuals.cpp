#include "drawing/residuals.h"

#include <algorithm>
#include <cmath>

#include "drawing/canvas.h"
#include "inspection/colour.h"
#include "inspection/figure.h"
#include "inspection/layout.h"
#include "inspection/text.h"

namespace {

constexpr double panelWidth = 640;
constexpr double titleWidth = 360;
constexpr double margin = 56;
constexpr double titleHeight = 118;
constexpr double footHeight = 76;

constexpr Colour arrowColour = {0.13, 0.35, 0.60};
constexpr Colour crossColour = {0.80, 0.20, 0.15};

/** How many pixels of paper the arrow of a typical large residual is long. */
constexpr double longArrow = 26;

/** Pixels: below that, residuals are the rounding of the maps and do not deserve arrows. */
constexpr double smallResidual = 1e-3;

/** The residual that nine of ten do not exceed; what is left out does not count. */
double largeResidual(const std::vector<ResidualPanel>& panels) {
    std::vector<double> lengths;
    for (const ResidualPanel& panel : panels) {
        for (const Residual& residual : panel.residuals) {
            if (residual.isUsed && std::isfinite(residual.error.x + residual.error.y)) {
                lengths.push_back(std::hypot(residual.error.x, residual.error.y));
            }
        }
    }
    if (lengths.empty()) {
        return 1;
    }
    const auto at = lengths.begin() + static_cast<std::ptrdiff_t>((lengths.size() - 1) * 9 / 10);
    std::nth_element(lengths.begin(), at, lengths.end());
    return std::max(*at, smallResidual);
}

void drawArrow(cairo_t* cr, Point from, Point along) {
    const double length = std::hypot(along.x, along.y);
    cairo_new_sub_path(cr);
    cairo_arc(cr, from.x, from.y, 1.1, 0, 6.2832);
    cairo_fill(cr);
    if (!(length > 1)) {
        return;
    }
    const Point tip = {from.x + along.x, from.y + along.y};
    const double head = std::min(6.0, length / 2) / length;
    cairo_move_to(cr, from.x, from.y);
    cairo_line_to(cr, tip.x, tip.y);
    for (const double side : {0.5, -0.5}) {
        cairo_move_to(cr, tip.x, tip.y);
        cairo_line_to(cr, tip.x - head * (along.x - side * along.y),
                      tip.y - head * (along.y + side * along.x));
    }
    cairo_stroke(cr);
}

void drawCross(cairo_t* cr, Point at) {
    for (const double side : {1.0, -1.0}) {
        cairo_move_to(cr, at.x - 4, at.y - 4 * side);
        cairo_line_to(cr, at.x + 4, at.y + 4 * side);
    }
    cairo_stroke(cr);
}

/** Writes a line from its left end at `place`, smaller where it is wider than `room`. */
void writeLine(const Canvas& canvas, const std::string& text, Point place, double room, double size,
               bool isBold) {
    canvas.setType(size, isBold);
    canvas.setType(size * std::min(1.0, room / canvas.widthOf(text)), isBold);
    canvas.write(text, place, {0, 1});
}

void drawAxes(const Canvas& canvas, const Camera& camera, const Rectangle& plot) {
    cairo_t* const cr = canvas.context();
    constexpr double mark = 5;
    canvas.setType(12.5);
    canvas.setColour(darkInk);
    for (const Tick& tick : ticksOf(0, camera.width, plot.left, plot.width, 90)) {
        const double end = plot.top + plot.height + mark;
        cairo_move_to(cr, tick.place, end - mark);
        cairo_line_to(cr, tick.place, end);
        canvas.write(tick.text, {tick.place, end + 4}, {0.5, 0});
    }
    for (const Tick& tick : ticksOf(0, camera.height, plot.top, plot.height, 60)) {
        cairo_move_to(cr, plot.left, tick.place);
        cairo_line_to(cr, plot.left - mark, tick.place);
        canvas.write(tick.text, {plot.left - mark - 4, tick.place}, {1, 0.5});
    }
    cairo_rectangle(cr, plot.left - 0.5, plot.top - 0.5, plot.width + 1, plot.height + 1);
    cairo_set_line_width(cr, 1);
    cairo_stroke(cr);
}

void drawPanel(const Canvas& canvas, const Camera& camera, const ResidualPanel& panel,
               const Rectangle& plot, double magnification) {
    cairo_t* const cr = canvas.context();
    const double room = std::max(plot.width, titleWidth);
    canvas.setColour(darkInk);
    writeLine(canvas, panel.title, {plot.left, plot.top - 32}, room, 14, true);
    writeLine(canvas, panel.numbers, {plot.left, plot.top - 12}, room, 12.5, false);
    drawAxes(canvas, camera, plot);
    cairo_save(cr);
    cairo_rectangle(cr, plot.left, plot.top, plot.width, plot.height);
    cairo_clip(cr);
    for (const Residual& residual : panel.residuals) {
        if (!std::isfinite(residual.error.x + residual.error.y)) {
            continue;
        }
        const Point at = {plot.left + (residual.place.x + 0.5) / camera.width * plot.width,
                          plot.top + (residual.place.y + 0.5) / camera.height * plot.height};
        canvas.setColour(residual.isUsed ? arrowColour : crossColour);
        cairo_set_line_width(cr, residual.isUsed ? 1.1 : 1.6);
        if (residual.isUsed) {
            drawArrow(cr, at, {residual.error.x * magnification, residual.error.y * magnification});
        } else {
            drawCross(cr, at);
        }
    }
    cairo_restore(cr);
}

}  // namespace

Picture drawResiduals(const ResidualPicture& picture) {
    const Camera& camera = picture.camera;
    // In proportion, but neither a line nor a tower.
    const double plotWidth =
        std::min(panelWidth, std::max(160.0, panelWidth * 1.2 * camera.width / camera.height));
    const double plotHeight =
        std::round(std::clamp(plotWidth * camera.height / camera.width, 120.0, panelWidth * 1.2));
    const auto count = static_cast<double>(picture.panels.size());
    const double panelStep = std::max(plotWidth, titleWidth) + margin;
    const double width = margin / 2 + count * panelStep;
    Canvas canvas(static_cast<int>(std::ceil(width)),
                  static_cast<int>(titleHeight + plotHeight + footHeight));
    canvas.setColour(darkInk);
    writeLine(canvas, picture.title, {margin, 34}, width - 1.5 * margin, titleSize, true);
    canvas.setColour(faintInk);
    writeLine(canvas, picture.subtitle, {margin, 56}, width - 1.5 * margin, textSize, false);
    const double magnification = longArrow / largeResidual(picture.panels);
    double left = margin;
    bool hasCrosses = false;
    for (const ResidualPanel& panel : picture.panels) {
        drawPanel(canvas, camera, panel, {left, titleHeight, plotWidth, plotHeight}, magnification);
        left += panelStep;
        hasCrosses |= std::any_of(panel.residuals.begin(), panel.residuals.end(),
                                  [](const Residual& residual) { return !residual.isUsed; });
    }
    const double step = roundStep(60 / magnification, 1.3);
    const double foot = titleHeight + plotHeight + footHeight - 26;
    canvas.setColour(arrowColour);
    cairo_set_line_width(canvas.context(), 1.1);
    drawArrow(canvas.context(), {margin, foot}, {step * magnification, 0});
    canvas.setType(textSize);
    canvas.setColour(darkInk);
    canvas.write(format("%g pixels, from %s to the map", step, picture.truth.c_str()) +
                     (hasCrosses ? "; crosses are points that were left out" : ""),
                 {margin + step * magnification + 12, foot}, {0, 0.5});
    return canvas.picture();
}
