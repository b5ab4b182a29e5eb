#include <cmath>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>

#include "calibration_file.h"
#include "commands/commands.h"
#include "diagnostics.h"
#include "drawing/picture.h"
#include "drawing/strokes.h"
#include "failure.h"
#include "input.h"
#include "inspection/drawing.h"
#include "inspection/evaluation.h"
#include "inspection/figure.h"
#include "inspection/map_difference.h"
#include "inspection/soundness.h"
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

/** All that is drawn of a map whose samples are pixels, without holding it. */
PixelValues streamed(const DrawOptions& options, const Image& image) {
    const Camera camera = mainCameraOf(image);
    refuseImpossibleMap(options.file, image, options.direction, 1);
    PixelValues values = valuesForDifference(camera, options.width);
    const Progress progress("computing the " + nameOf(options.direction) + " map");
    std::optional<Statistics> moved;
    if (sizeFault(camera, 1).empty()) {
        const DiagnosticCapture capture;
        moved = displacementOf(
            image, options.direction,
            [&](int32_t row, const std::vector<float>& distances) {
                addRow(values, row, distances);
            },
            [&](double part) { progress.reached(part); });
    }
    if (!moved) {
        refuseMap(options.file, image, options.direction, 1, CALIBMAP_STEP_FAILED);
    }
    setLargest(values, *moved);
    warnOfMap(options.file, image, options.direction);
    return values;
}

int run(const DrawOptions& options) {
    const Image image = loadCalibration(options.file);
    const Camera camera = mainCameraOf(image);
    CoordinateMap map = {camera.height, camera.width, 1, {}, {}};
    PixelValues values;
    if (options.ratio == 1) {
        values = streamed(options, image);
    } else {
        map = computeMap(options.file, image, options.direction, options.ratio);
        values = displacementsOf(map, displacementOf(map).moved, options.width);
    }
    if (options.maxAngle) {
        values.fitted = {options.direction, *options.maxAngle};
    }
    const Progress progress("drawing");
    const std::string name = std::filesystem::path(inputName(options.file)).filename().string();
    Figure figure;
    {
        const DiagnosticCapture capture;
        const Evaluation model(image, options.direction);
        const Mapping byModel = [&](Point pixel) {
            return model.at(pixel).value_or(Point{NAN, NAN});
        };
        figure = figureOf(layOut(camera, options.width, 0), camera, values,
                          options.ratio == 1 ? byModel : mappingOf(map),
                          wordingOf(map, camera, options.direction, name),
                          [&](double part) { progress.reached(part); });
    }
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
