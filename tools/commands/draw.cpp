#include <filesystem>
#include <string>

#include "calibration_file.h"
#include "commands/commands.h"
#include "drawing/axes.h"
#include "drawing/canvas.h"
#include "drawing/displacement.h"
#include "drawing/picture.h"
#include "failure.h"
#include "input.h"
#include "inspection/geometry.h"
#include "inspection/text.h"
#include "maps.h"
#include "progress.h"

namespace {

struct DrawOptions {
    std::string file;
    std::string output;
    Direction direction = Direction::undistort;
    int32_t ratio = 1;
    int32_t width = 900;
};

/** The texts that say of which image and of which way the picture speaks. */
struct Wording {
    const char* title;
    const char* colours;
    const char* regularGrid;
    const char* mappedGrid;
};

Wording wordingOf(Direction direction) {
    return direction == Direction::undistort
               ? Wording{"Undistortion map of ",
                         "Colour at a pixel of the straight image: how far from it the camera "
                         "records what belongs there",
                         "a regular grid of the straight image", "as the camera records it"}
               : Wording{"Distortion map of ",
                         "Colour at a pixel of the recorded image: how far from it that place lies "
                         "in the straight image",
                         "a regular grid of the recorded image", "where it lies when straightened"};
}

int run(const DrawOptions& options) {
    const Image image = loadCalibration(options.file);
    const CoordinateMap map = computeMap(options.file, image, options.direction, options.ratio);
    const Camera camera = mainCameraOf(image);
    const Progress progress("drawing");
    const Figure figure = layOut(displacementsOf(map), camera, options.width);
    const Wording wording = wordingOf(options.direction);

    Canvas canvas(figure.width, figure.height);
    drawField(figure, canvas, &map);
    drawAxes(figure, canvas);
    drawLegend(figure, canvas, "displacement");
    drawKey(figure, canvas, wording.regularGrid, wording.mappedGrid);
    const std::string name = std::filesystem::path(inputName(options.file)).filename().string();
    drawTitle(figure, canvas, fittedTitle(figure, canvas, wording.title, shown(name)),
              wording.colours,
              factsOf(figure, "displacement",
                      format("%d \u00d7 %d pixels \u00b7 ratio %d: %d \u00d7 %d samples",
                             camera.width, camera.height, map.ratio, map.cols, map.rows)));
    if (figure.largest <= 0) {
        // One sample, often the middle of the image, says nothing of the lens around it.
        const bool isOne = map.x.size() == 1;
        writeNone(figure, canvas, isOne ? "the one sample does not move" : "no distortion");
    }
    writePng(options.output, canvas.picture());
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
    command.explain(
        "Writes a PNG picture: how far the map moves each pixel, in colour and contour lines, and\n"
        "a regular grid with the same grid where the map takes it. The lines above it name the\n"
        "file, the size, the ratio and the largest displacement, whose place a ring marks.\n\n"
        "Example:\n  calibmap draw stereoParams.bin --direction distort -o lens.png");
}
