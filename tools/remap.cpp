#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "commands.h"
#include "failure.h"
#include "maps.h"
#include "output.h"
#include "picture.h"

namespace {

enum class Border { black, white, grey, edge };

const std::vector<std::pair<std::string, Border>> borders = {{"black", Border::black},
                                                             {"white", Border::white},
                                                             {"grey", Border::grey},
                                                             {"edge", Border::edge}};

struct Options {
    std::string file;
    std::string input;
    std::string output;
    Direction direction = Direction::undistort;
    std::string border = "black";
};

/** The value of one channel at a place between the pixels; places outside take the nearest. */
double bilinear(const Picture& picture, double x, double y, std::size_t channel) {
    x = std::clamp(x, 0.0, picture.width - 1.0);
    y = std::clamp(y, 0.0, picture.height - 1.0);
    const auto col = static_cast<int32_t>(x);
    const auto row = static_cast<int32_t>(y);
    const int32_t nextCol = std::min(col + 1, picture.width - 1);
    const int32_t nextRow = std::min(row + 1, picture.height - 1);
    const auto at = [&](int32_t r, int32_t c) {
        return static_cast<double>(picture.samples[picture.index(r, c) + channel]);
    };
    const double upper = std::lerp(at(row, col), at(row, nextCol), x - col);
    const double lower = std::lerp(at(nextRow, col), at(nextRow, nextCol), x - col);
    return std::lerp(upper, lower, y - row);
}

Picture applied(const CoordinateMap& map, const Picture& source, Border border) {
    Picture result = makePicture(source.width, source.height, source.channels, source.bits);
    const int white = (1 << source.bits) - 1;
    const int outside = border == Border::black ? 0 : border == Border::white ? white : white / 2;
    for (int32_t row = 0; row < map.rows; ++row) {
        for (int32_t col = 0; col < map.cols; ++col) {
            const std::size_t i = map.index(row, col);
            const bool recorded = isInside(map, map.x[i], map.y[i]) ||
                                  (border == Border::edge && !std::isnan(map.x[i] + map.y[i]));
            for (std::size_t channel = 0; channel < static_cast<std::size_t>(source.channels);
                 ++channel) {
                const double value =
                    recorded ? bilinear(source, map.x[i], map.y[i], channel) : outside;
                result.samples[result.index(row, col) + channel] =
                    static_cast<uint16_t>(std::lround(value));
            }
        }
    }
    return result;
}

int remap(const Options& options) {
    const Image image = loadCalibration(options.file);
    const CoordinateMap map = computeMap(options.file, image, options.direction, 1);
    const Picture source = readPng(options.input, map.cols, map.rows);
    const auto border = std::find_if(borders.begin(), borders.end(), [&](const auto& entry) {
        return entry.first == options.border;
    });
    writePng(options.output, applied(map, source, border->second));
    return exitGood;
}

}  // namespace

void addRemapCommand(CLI::App& program, Run& run) {
    const auto options = std::make_shared<Options>();
    CLI::App& command =
        *program.add_subcommand("remap", "Straighten a picture, or distort one as the lens does");
    command.footer(
        "Reads and writes 8- or 16-bit grey or RGB PNG pictures of the camera's size and\n"
        "interpolates bilinearly.\n\n"
        "Example:\n  calibmap remap stereoParams.bin recorded.png -o straight.png");
    addCalibrationFile(command, options->file);
    command.add_option("PICTURE", options->input, "The PNG picture")
        ->required()
        ->option_text("REQUIRED");
    addOutput(command, options->output, "The PNG picture to write, or - for standard output");
    addDirection(command, options->direction);
    std::string names;
    for (const auto& [name, border] : borders) {
        names += (names.empty() ? "" : "|") + name;
    }
    command.add_option("--border", options->border, "What places outside the picture show")
        ->check(CLI::Validator(
            [names](const std::string& text) {
                const bool known =
                    std::any_of(borders.begin(), borders.end(),
                                [&](const auto& entry) { return entry.first == text; });
                return known ? std::string() : "'" + text + "' is none of " + names;
            },
            ""))
        ->type_name(names)
        ->capture_default_str();
    command.callback([options, &run] { run = [options] { return remap(*options); }; });
}
