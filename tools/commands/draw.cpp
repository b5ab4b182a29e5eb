#include <filesystem>
#include <optional>
#include <string>
#include <utility>

#include "calibration_file.h"
#include "commands/commands.h"
#include "drawing/picture.h"
#include "drawing/strokes.h"
#include "failure.h"
#include "input.h"
#include "inspection/drawing.h"
#include "inspection/figure.h"
#include "maps.h"
#include "progress.h"

namespace {

struct DrawOptions {
    std::string file;
    std::string output;
    Direction direction = Direction::undistort;
    int32_t ratio = 1;
    int32_t width = 900;
    std::optional<double> maxAngle;
};

int run(const DrawOptions& options) {
    const Image image = loadCalibration(options.file);
    const CoordinateMap map = computeMap(options.file, image, options.direction, options.ratio);
    const Camera camera = mainCameraOf(image);
    const Progress progress("drawing");
    PixelValues values = displacementsOf(map, displacementOf(map).moved, options.width);
    if (options.maxAngle) {
        values.fitted = {options.direction, *options.maxAngle};
    }
    const std::string name = std::filesystem::path(inputName(options.file)).filename().string();
    Figure figure = figureOf(layOut(camera, options.width, 0), camera, values, &map,
                             wordingOf(map, camera, options.direction, name),
                             [&](double part) { progress.reached(part); });
    writePng(options.output, stroked(drawingOf(std::move(figure))));
    return exitGood;
}

}  // namespace

void addDraw(Program& program) {
    auto [command, options] = program.add("draw", run, "Draw what the lens does");
    command.file("FILE", options->file, "The calibration file, - for standard input");
    command.pictureOutput(options->output);
    command.direction(options->direction);
    command.ratio(options->ratio);
    command.number("--width", options->width, 400, 8000, "Width of the picture in pixels");
    command.number("--max-angle", options->maxAngle, 1.0, 90.0,
                   "Hatch what lies further from the axis than the file was fitted, in degrees");
    command.explain(
        "Writes a PNG picture: how far the map moves each pixel, in colour and contour lines, and\n"
        "a regular grid with the same grid where the map takes it. The lines above it name the\n"
        "file, the size, the ratio and the largest displacement, whose place a ring marks.\n\n"
        "Example:\n  calibmap draw stereoParams.bin --direction distort -o lens.png");
}
