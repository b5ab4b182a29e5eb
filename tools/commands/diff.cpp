#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdio>
#include <filesystem>
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
#include "inspection/drawing.h"
#include "inspection/fields.h"
#include "inspection/figure.h"
#include "inspection/map_difference.h"
#include "inspection/soundness.h"
#include "inspection/text.h"
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
};

/** The two files, what the library says of them, and where the comparison is reported. */
struct Pair {
    std::FILE* report;
    std::array<std::string, 2> names;
    std::array<Image, 2> images;
    std::array<Verdict, 2> verdicts;
};

uint32_t valueAt(const Image& image, const Field& field, std::size_t index) {
    const std::size_t offset = field.offset + index * sizeOf(field.type);
    return field.type == FieldType::byte ? image[offset] : wordAt(image, offset);
}

std::string textOf(uint32_t value, FieldType type) {
    const auto number = static_cast<double>(std::bit_cast<float>(value));
    switch (type) {
        case FieldType::float32:
            return format("%.9g", number);
        case FieldType::int32:
            return std::to_string(static_cast<int32_t>(value));
        case FieldType::word:
            return format("%.9g (0x%08x)", number, value);
        case FieldType::byte:
            break;
    }
    return std::to_string(value);
}

/** What differs in one field: a line for each of a few values, or one for many. */
void printField(const Pair& files, const Field& field) {
    const auto [first, second] = files.images;
    std::vector<std::size_t> differing;
    std::size_t most = 0;
    double largest = -1;
    for (std::size_t i = 0; i < field.count; ++i) {
        const uint32_t a = valueAt(first, field, i);
        const uint32_t b = valueAt(second, field, i);
        if (a == b) {
            continue;
        }
        differing.push_back(i);
        const double distance = std::abs(static_cast<double>(std::bit_cast<float>(a)) -
                                         static_cast<double>(std::bit_cast<float>(b)));
        if (!(distance <= largest)) {
            largest = std::isnan(distance) ? INFINITY : distance;
            most = i;
        }
    }
    constexpr std::size_t few = 6;
    if (field.count > few && differing.size() > 1) {
        std::fprintf(files.report, "  %s: %zu of %zu values, by up to %.3g at [%zu]\n",
                     field.name.c_str(), differing.size(), field.count, largest, most);
        return;
    }
    for (const std::size_t i : differing) {
        const std::string place = field.count == 1 ? "" : format("[%zu]", i);
        std::fprintf(files.report, "  %s%s: %s and %s\n", field.name.c_str(), place.c_str(),
                     textOf(valueAt(first, field, i), field.type).c_str(),
                     textOf(valueAt(second, field, i), field.type).c_str());
    }
}

bool differs(const Pair& files, std::size_t offset, std::size_t size) {
    const auto begin = [offset](const Image& image) {
        return image.begin() + static_cast<std::ptrdiff_t>(offset);
    };
    return !std::equal(begin(files.images[0]), begin(files.images[0]) + std::ptrdiff_t(size),
                       begin(files.images[1]));
}

/** The differing bytes that belong to no field: how many, and where the first of them stand. */
void printReserved(const Pair& files, const std::vector<bool>& named) {
    std::size_t count = 0;
    std::string places;
    constexpr std::size_t most = 8;
    for (std::size_t i = 0; i < named.size(); ++i) {
        if (!named[i] && differs(files, i, 1) && count++ < most) {
            places += format("%s%zu", places.empty() ? "" : ", ", i);
        }
    }
    if (count > 0) {
        std::fprintf(files.report, "  reserved bytes: %zu, at %s%s\n", count, places.c_str(),
                     count > most ? " and further on" : "");
    }
}

/**
 * Prints which fields differ, and how many bytes that belong to none. Returns true when one differs
 * that is not a part of the models: those are judged by their maps.
 */
bool printFields(const Pair& files) {
    if (files.images[0] == files.images[1]) {
        std::fprintf(files.report, "fields: all equal\n");
        return false;
    }
    std::fprintf(files.report, "fields that differ:\n");
    bool parametersDiffer = false;
    const std::array checksums = {checkedRanges(files.images[0]), checkedRanges(files.images[1])};
    std::vector<bool> named(files.images[0].size());
    for (const Field& field : namedFields()) {
        const std::size_t size = field.count * sizeOf(field.type);
        std::fill_n(named.begin() + static_cast<std::ptrdiff_t>(field.offset), size, true);
        if (differs(files, field.offset, size)) {
            printField(files, field);
            parametersDiffer = parametersDiffer || !belongsToModel(field);
        }
    }
    for (std::size_t i = 0; i < checksums[0].size(); ++i) {
        const CheckedRange& range = checksums[0][i];
        const std::size_t place = range.first + range.size;
        named[place] = true;
        if (differs(files, place, 1)) {
            std::fprintf(files.report, "  checksum of the %s: 0x%02x and 0x%02x\n",
                         range.name.c_str(), range.stored, checksums[1][i].stored);
        }
    }
    printReserved(files, named);
    return parametersDiffer;
}

/** Why the maps of the direction cannot be compared at each pixel, as the report says it. */
std::string whyNotCompared(const Pair& files, Direction direction) {
    for (std::size_t i = 0; i < files.images.size(); ++i) {
        const std::vector<std::string> faults = modelFaults(files.images[i], direction);
        if (!faults.empty()) {
            return "cannot be compared: " + shown(files.names[i]) + ": " + faults.front();
        }
        const Camera camera = mainCameraOf(files.images[i]);
        if (smallestRatioOf(camera) == 0) {
            return "cannot be compared: " + shown(files.names[i]) + ": " + sizeFault(camera, 1);
        }
        mentionUncovered(files.names[i], files.images[i], direction);
    }
    const Camera a = mainCameraOf(files.images[0]);
    const Camera b = mainCameraOf(files.images[1]);
    if (a.width != b.width || a.height != b.height) {
        return format("differ in size: %d x %d and %d x %d pixels", a.width, a.height, b.width,
                      b.height);
    }
    return "";
}

constexpr int32_t pictureWidth = 900;

void drawDifference(const DiffOptions& options, const Pair& files, const PixelValues& values) {
    const Camera camera = mainCameraOf(files.images[0]);
    const auto nameOfFile = [&](std::size_t i) {
        return std::filesystem::path(files.names[i]).filename().string();
    };
    Figure figure =
        figureOf(layOut(camera, pictureWidth, 0), camera, values, nullptr,
                 wordingOfDifference(camera, options.direction, nameOfFile(0), nameOfFile(1)));
    writePng(options.output, stroked(drawingOf(std::move(figure))));
}

/**
 * Compares the maps of one direction; true when they agree within the tolerance. `whyNotDrawn` says
 * why there is not the picture that was asked for.
 */
bool compareDirection(const DiffOptions& options, const Pair& files, Direction direction,
                      std::string& whyNotDrawn) {
    const bool isDrawn = !options.output.empty() && direction == options.direction;
    const std::string name = nameOf(direction);
    if (const std::string reason = whyNotCompared(files, direction); !reason.empty()) {
        std::fprintf(files.report, "%-9s maps %s\n", name.c_str(), reason.c_str());
        whyNotDrawn = isDrawn ? "the " + name + " maps " + reason : whyNotDrawn;
        return false;
    }
    PixelValues values = valuesForDifference(mainCameraOf(files.images[0]), pictureWidth);
    std::optional<Statistics> difference;
    {
        const Progress progress("comparing the " + name + " maps");
        const DiagnosticCapture capture;
        difference = mapDifferenceOf(
            files.images[0], files.images[1], direction,
            [&](int32_t row, const std::vector<float>& distances) {
                addRow(values, row, distances);
            },
            [&](double part) { progress.reached(part); });
    }
    if (!difference) {
        throw std::bad_alloc();  // models without a fault are refused for nothing else
    }
    const auto pixels = [](double value) { return decimal(value, 6); };
    const bool agree = difference->lost == 0 && difference->largest <= options.tolerance;
    std::fprintf(files.report,
                 "%-9s maps %s: largest difference %s at (%g, %g), root mean square %s, half "
                 "of the pixels within %s, 95 %% within %s, 99 %% within %s pixels\n",
                 name.c_str(), agree ? "agree" : "differ", pixels(difference->largest).c_str(),
                 difference->place.x, difference->place.y,
                 pixels(difference->rootMeanSquare).c_str(), pixels(difference->median).c_str(),
                 pixels(difference->percentile95).c_str(),
                 pixels(difference->percentile99).c_str());
    if (isDrawn) {
        setLargest(values, *difference);
        drawDifference(options, files, values);
    }
    return agree;
}

Pair load(const DiffOptions& options) {
    Pair files{options.output == "-" ? stderr : stdout,
               {inputName(options.first), inputName(options.second)},
               {},
               {}};
    const std::array paths = {&options.first, &options.second};
    for (std::size_t i = 0; i < paths.size(); ++i) {
        files.verdicts[i] = loadAnyFile(*paths[i], files.images[i]);
    }
    return files;
}

int run(const DiffOptions& options) {
    const Pair files = load(options);
    for (std::size_t i = 0; i < files.verdicts.size(); ++i) {
        const Verdict& verdict = files.verdicts[i];
        if (verdict.status != CALIBMAP_SUCCESS) {
            std::fprintf(files.report, "%s: refused, status %d: %s\n",
                         shown(files.names[i]).c_str(), verdict.status, verdict.reason.c_str());
        }
    }
    std::string whyNotDrawn;
    bool agree = files.verdicts[0].status == files.verdicts[1].status;
    for (const Direction direction : {Direction::undistort, Direction::distort}) {
        agree = compareDirection(options, files, direction, whyNotDrawn) && agree;
    }
    const bool parametersDiffer = printFields(files);
    if (!whyNotDrawn.empty()) {
        std::fflush(files.report);  // the fields first, where both go to one log
        throw Failure(options.output, "is not drawn because " + whyNotDrawn, "leave out -o");
    }
    return agree && !(options.isStrict && parametersDiffer) ? exitGood : exitRefused;
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
