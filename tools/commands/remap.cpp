#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "calibration_file.h"
#include "commands/commands.h"
#include "drawing/picture.h"
#include "failure.h"
#include "inspection/interpolation.h"
#include "maps.h"
#include "progress.h"

namespace {

/** What a picture shows where the map leads outside its source. */
enum class Border { black, white, grey, edge };

struct RemapOptions {
    std::string file;
    std::string input;
    std::string output;
    Direction direction = Direction::undistort;
    Border border = Border::black;
};

Picture applied(const CoordinateMap& map, const Picture& source, Border border) {
    Picture result = makePicture(source.width, source.height, source.channels, source.bits);
    const Progress progress("applying the map");
    const int white = (1 << source.bits) - 1;
    const int outside = border == Border::black ? 0 : border == Border::white ? white : white / 2;
    for (int32_t row = 0; row < map.rows; ++row) {
        progress.reached(static_cast<double>(row) / map.rows);
        for (int32_t col = 0; col < map.cols; ++col) {
            const std::size_t i = map.index(row, col);
            const bool recorded = isInside(map, map.x[i], map.y[i]) ||
                                  (border == Border::edge && !std::isnan(map.x[i] + map.y[i]));
            for (std::size_t channel = 0; channel < static_cast<std::size_t>(source.channels);
                 ++channel) {
                const auto sample = [&source, channel](int32_t r, int32_t c) {
                    return static_cast<double>(source.samples[source.index(r, c) + channel]);
                };
                const double value =
                    recorded ? interpolated(map.rows, map.cols, map.x[i], map.y[i], sample)
                             : outside;
                result.samples[result.index(row, col) + channel] =
                    static_cast<uint16_t>(std::lround(value));
            }
        }
    }
    return result;
}

int run(const RemapOptions& options) {
    const Image image = loadCalibration(options.file);
    const CoordinateMap map = computeMap(options.file, image, options.direction, 1);
    const Picture source = readPng(options.input, map.cols, map.rows);
    writePng(options.output, applied(map, source, options.border));
    return exitGood;
}

}  // namespace

void addRemap(Program& program) {
    auto [command, options] =
        program.add("remap", run, "Straighten a picture, or distort one as the lens does");
    command.file("FILE", options->file, "The calibration file, - for standard input");
    command.file("PICTURE", options->input,
                 "The PNG picture to apply the map to, - for standard input");
    command.pictureOutput(options->output);
    command.direction(options->direction);
    command.choice<Border>("--border", options->border,
                           {{"black", Border::black},
                            {"white", Border::white},
                            {"grey", Border::grey},
                            {"edge", Border::edge}},
                           "What places outside the picture show");
    command.explain(
        "Reads and writes 8- or 16-bit grey or RGB PNG pictures of the camera's size and\n"
        "interpolates bilinearly.\n\n"
        "Example:\n  calibmap remap stereoParams.bin recorded.png -o straight.png");
}
