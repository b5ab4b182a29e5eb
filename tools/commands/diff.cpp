#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

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
#include "inspection/table.h"
#include "inspection/text.h"
#include "json.h"
#include "maps.h"
#include "progress.h"

namespace {

struct DiffOptions {
    std::string reference;
    std::vector<std::string> files;
    std::string output;
    Direction direction = Direction::undistort;
    double tolerance = 0;
    std::optional<double> top;
    bool isStrict = false;
    bool json = false;
    bool csv = false;
};

constexpr int32_t pictureWidth = 900;
constexpr Direction directions[] = {Direction::undistort, Direction::distort};

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

/** Compares the maps of one direction, and draws the difference where that is asked for. */
DirectionDifference compared(const DiffOptions& options, const Pair& files, Direction direction) {
    const bool isDrawn = !options.output.empty() && direction == options.direction;
    const std::array<std::string, 2>& names = files.difference.names;
    mentionUncovered(names[1], files.images[1], direction);
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
        values.top = options.top.value_or(values.top);
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

void tell(const DiffOptions& options, const Difference& difference) {
    std::FILE* const report = options.output == "-" ? stderr : stdout;
    if (options.json || options.csv) {
        std::fprintf(report, "%s\n",
                     (options.json ? jsonOf(difference) : csvLine(rowOf(difference))).c_str());
    } else if (options.files.size() > 1) {
        std::fprintf(report, "%s\n", sentenceOf(difference).c_str());
    } else {
        print(report, difference);
    }
}

/** Compares the reference with one file, and returns the exit status for that. */
int compareWith(const DiffOptions& options, const std::string& file, Pair& files) {
    Difference& difference = files.difference;
    difference.maps.clear();
    difference.fields.clear();
    difference.names[1] = shown(inputName(file));
    const Verdict& verdict = difference.verdicts[1] = examine(file, files.images[1]);
    if (!hasBeenRead(verdict)) {
        if (options.csv) {
            tell(options, difference);
        }
        throw Failure(inputName(file), verdict.reason, verdict.remedy);
    }
    for (const Direction direction : directions) {
        difference.maps.push_back(compared(options, files, direction));
    }
    difference.fields = fieldDifferencesOf(files.images[0], files.images[1]);
    tell(options, difference);
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

int run(const DiffOptions& options) {
    if (!options.output.empty() && options.files.size() > 1) {
        throw Failure("--output", "draws the difference of one file", "name one FILE");
    }
    Pair files;
    files.difference.names[0] = shown(inputName(options.reference));
    files.difference.verdicts[0] = loadAnyFile(options.reference, files.images[0]);
    for (const Direction direction : directions) {
        mentionUncovered(files.difference.names[0], files.images[0], direction);
    }
    if (options.csv) {
        std::puts(csvLine(columnsOfDifferences()).c_str());
    }
    int status = exitGood;
    std::optional<Progress> progress;
    if (options.files.size() > 1) {
        progress.emplace("comparing");
    }
    for (const std::string& file : options.files) {
        try {
            status = std::max(status, compareWith(options, file, files));
        } catch (const Failure& failure) {
            // One that cannot be read is no reason to say nothing of the others.
            status = complain(failure.what(), exitTrouble);
        }
        if (progress) {
            progress->reached(static_cast<double>(&file - options.files.data() + 1) /
                              static_cast<double>(options.files.size()));
        }
    }
    return status;
}

}  // namespace

void addDiff(Program& program) {
    auto [command, options] = program.add(
        "diff", run, "Say whether calibration files give the same maps as another", exitTrouble);
    command.file("REFERENCE", options->reference, "A calibration file, accepted or not");
    command.files("FILE", options->files, "Others; one of all may be - for standard input");
    command.number("--tolerance", options->tolerance, 0.0, 1e6,
                   "Largest difference in pixels between maps that still agree");
    command.flag("--strict", options->isStrict,
                 "Count the parameters of both cameras and the extrinsics as well");
    command.flag("--json", options->json, "Print one JSON object a line for programs");
    command.flag("--csv", options->csv, "Print a table for spreadsheets, one line a file");
    command.excludes("--csv", "--json");
    command.pictureOutput(options->output, false);
    command.number("--max", options->top, 1e-6, 1e6,
                   "The difference in pixels at the end of the picture's colours; without it the\n"
                   "largest, or where a few are far above all others the 99th percentile");
    command.needs("--max", "--output");
    command.direction(options->direction);
    command.explain(
        "Compares the maps of both directions at every pixel with those of REFERENCE, then names\n"
        "the fields that differ; of several files in one line each. Files that the library "
        "refuses\n"
        "are compared all the same. -o draws where the maps of --direction differ. The exit "
        "status\n"
        "is 0 when the library says the same of all files and the maps agree within the "
        "tolerance,\n"
        "1 when not, and 2 for trouble. Other fields, such as the second camera's, change it only\n"
        "with --strict.\n\n"
        "Example:\n"
        "  calibmap diff --tolerance 0.1 factory.bin today.bin -o drift.png\n"
        "  calibmap diff --csv factory.bin units/*.bin >drift.csv");
}
