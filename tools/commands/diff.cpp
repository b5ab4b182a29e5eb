#include <array>
#include <cstdio>
#include <filesystem>
#include <new>
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
#include "inspection/difference.h"
#include "inspection/drawing.h"
#include "inspection/figure.h"
#include "inspection/text.h"
#include "json.h"
#include "maps.h"
#include "progress.h"

namespace {

struct DiffOptions {
    std::string first;
    std::string second;
    std::string output;
    Direction direction = Direction::undistort;
    double tolerance = 0;
    bool isStrict = false;
    bool json = false;
};

constexpr int32_t pictureWidth = 900;

/** The two files, and what is said of them. */
struct Pair {
    std::array<Image, 2> images{};
    Difference difference;
};

void drawDifference(const DiffOptions& options, const Pair& files, const PixelValues& values) {
    const Camera camera = mainCameraOf(files.images[0]);
    const auto nameOfFile = [&](std::size_t i) {
        return std::filesystem::path(files.difference.names[i]).filename().string();
    };
    Figure figure =
        figureOf(layOut(camera, pictureWidth, 0), camera, values, nullptr,
                 wordingOfDifference(camera, options.direction, nameOfFile(0), nameOfFile(1)));
    writePng(options.output, stroked(drawingOf(std::move(figure))));
}

Pair load(const DiffOptions& options) {
    Pair files;
    const std::array paths = {&options.first, &options.second};
    for (std::size_t i = 0; i < paths.size(); ++i) {
        files.difference.names[i] = shown(inputName(*paths[i]));
        files.difference.verdicts[i] = loadAnyFile(*paths[i], files.images[i]);
    }
    return files;
}

/** Compares the maps of one direction, and draws the difference where that is asked for. */
DirectionDifference compared(const DiffOptions& options, const Pair& files, Direction direction) {
    const bool isDrawn = !options.output.empty() && direction == options.direction;
    const std::array<std::string, 2>& names = files.difference.names;
    for (std::size_t i = 0; i < names.size(); ++i) {
        mentionUncovered(names[i], files.images[i], direction);
    }
    PixelValues values{};
    std::optional<DirectionDifference> maps;
    {
        const Progress progress("comparing the " + nameOf(direction) + " maps");
        const DiagnosticCapture capture;
        maps = directionDifferenceOf(files.images[0], files.images[1], names[0], names[1],
                                     direction, options.tolerance, isDrawn ? &values : nullptr,
                                     pictureWidth, [&](double part) { progress.reached(part); });
    }
    if (!maps) {
        throw std::bad_alloc();
    }
    if (isDrawn && maps->apart) {
        drawDifference(options, files, values);
    }
    return *maps;
}

void print(std::FILE* report, const Difference& difference) {
    for (std::size_t i = 0; i < difference.names.size(); ++i) {
        if (difference.verdicts[i].status != CALIBMAP_SUCCESS) {
            std::fprintf(report, "%s: %s\n", difference.names[i].c_str(),
                         sentenceOf(difference.verdicts[i]).c_str());
        }
    }
    for (const DirectionDifference& maps : difference.maps) {
        std::fprintf(report, "%-9s %s\n", nameOf(maps.direction).c_str(), maps.sentence.c_str());
    }
    std::fprintf(report,
                 difference.fields.empty() ? "fields: all equal\n" : "fields that differ:\n");
    for (const FieldDifference& field : difference.fields) {
        std::fprintf(report, "  %s: %s\n", field.name.c_str(), field.text.c_str());
    }
    std::fflush(report);  // before a failure, where both go to one log
}

int run(const DiffOptions& options) {
    Pair files = load(options);
    Difference& difference = files.difference;
    for (const Direction direction : {Direction::undistort, Direction::distort}) {
        difference.maps.push_back(compared(options, files, direction));
    }
    difference.fields = fieldDifferencesOf(files.images[0], files.images[1]);
    std::FILE* const report = options.output == "-" ? stderr : stdout;
    if (options.json) {
        std::fprintf(report, "%s\n", jsonOf(difference).c_str());
    } else {
        print(report, difference);
    }
    for (const DirectionDifference& maps : difference.maps) {
        if (!options.output.empty() && maps.direction == options.direction && !maps.apart) {
            throw Failure(
                options.output,
                "is not drawn because the " + nameOf(maps.direction) + " " + maps.sentence,
                "leave out -o");
        }
    }
    return mapsAgree(difference) && (!options.isStrict || parametersAgree(difference))
               ? exitGood
               : exitRefused;
}

}  // namespace

void addDiff(Program& program) {
    auto [command, options] = program.add(
        "diff", run, "Say whether two calibration files give the same maps", exitTrouble);
    command.file("A", options->first, "A calibration file, accepted or not");
    command.file("B", options->second, "Another; one of them may be - for standard input");
    command.number("--tolerance", options->tolerance, 0.0, 1e6,
                   "Largest difference in pixels between maps that still agree");
    command.flag("--strict", options->isStrict,
                 "Count the parameters of both cameras and the extrinsics as well");
    command.flag("--json", options->json, "Print one JSON object for programs");
    command.pictureOutput(options->output, false);
    command.direction(options->direction);
    command.explain(
        "Compares the maps of both directions at every pixel, then names the fields that differ.\n"
        "Files that the library refuses are compared all the same. -o draws where the maps of\n"
        "--direction differ. The exit status is 0 when the library says the same of both files "
        "and\n"
        "the maps agree within the tolerance, 1 when not, and 2 for trouble. Other fields, such "
        "as\n"
        "the second camera's, change it only with --strict.\n\n"
        "Example:\n  calibmap diff --tolerance 0.1 factory.bin today.bin -o drift.png");
}
