#include <cmath>
#include <string>

#include "calibration/maps.h"
#include "calibration/verdict.h"
#include "commands/commands.h"
#include "failure.h"
#include "pictures/axes.h"
#include "pictures/canvas.h"
#include "pictures/displacement.h"
#include "pictures/geometry.h"
#include "pictures/picture.h"

namespace {

struct DrawOptions {
    std::string file;
    std::string output;
    Direction direction = Direction::undistort;
    int32_t ratio = 1;
    int32_t width = 900;
};

int run(const DrawOptions& options) {
    const Image image = loadCalibration(options.file);
    const CoordinateMap map = computeMap(options.file, image, options.direction, options.ratio);
    Figure figure = layOut(map, mainCameraOf(image), options.width);
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
    drawTitle(figure, canvas, options.file, options.direction);
    writePng(options.output, canvas.picture());
    return exitGood;
}

}  // namespace

void addDraw(Program& program) {
    auto [command, options] = program.add("draw", run, "Draw what the lens does");
    command.file("FILE", options->file, "The calibration file");
    command.output(options->output, "The PNG picture to write, or - for standard output");
    command.direction(options->direction);
    command.ratio(options->ratio);
    command.number("--width", options->width, 400, 8000, "Width of the picture in pixels");
    command.explain(
        "Writes a PNG picture: the displacement of each pixel in colour and contour lines, and a\n"
        "regular grid drawn through the map.\n\n"
        "Example:\n  calibmap draw stereoParams.bin --direction distort -o lens.png");
}
