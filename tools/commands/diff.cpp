#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "calibration/fields.h"
#include "calibration/maps.h"
#include "calibration/verdict.h"
#include "commands/commands.h"
#include "failure.h"
#include "text.h"

namespace {

struct DiffOptions {
    std::string first;
    std::string second;
    double tolerance = 0;
};

uint32_t valueAt(const Image& image, const Field& field, std::size_t index) {
    const std::size_t offset = field.offset + index * sizeOf(field.type);
    return field.type == FieldType::byte ? image[offset] : wordAt(image, offset);
}

std::string textOf(uint32_t value, FieldType type) {
    switch (type) {
        case FieldType::float32:
            return format("%.9g", static_cast<double>(std::bit_cast<float>(value)));
        case FieldType::int32:
            return std::to_string(static_cast<int32_t>(value));
        case FieldType::word:
            return format("0x%08x", value);
        case FieldType::byte:
            break;
    }
    return std::to_string(value);
}

/** One line for each field that differs; `named` marks the bytes that belong to a field. */
void printFields(const Image& first, const Image& second, std::vector<bool>& named) {
    for (const Field& field : namedFields()) {
        std::vector<std::size_t> differing;
        double largest = 0;
        for (std::size_t i = 0; i < field.count; ++i) {
            const uint32_t a = valueAt(first, field, i);
            const uint32_t b = valueAt(second, field, i);
            if (a != b) {
                differing.push_back(i);
                largest = std::max(largest, static_cast<double>(std::abs(std::bit_cast<float>(a) -
                                                                         std::bit_cast<float>(b))));
            }
        }
        const auto start = named.begin() + static_cast<std::ptrdiff_t>(field.offset);
        std::fill_n(start, field.count * sizeOf(field.type), true);
        if (differing.size() == 1) {
            const std::size_t i = differing.front();
            const std::string place = field.count == 1 ? "" : format("[%zu]", i);
            std::printf("  %s%s: %s and %s\n", field.name.c_str(), place.c_str(),
                        textOf(valueAt(first, field, i), field.type).c_str(),
                        textOf(valueAt(second, field, i), field.type).c_str());
        } else if (!differing.empty()) {
            const std::string by =
                field.type == FieldType::float32 ? format(", by up to %.3g", largest) : "";
            std::printf("  %s: %zu of %zu values%s\n", field.name.c_str(), differing.size(),
                        field.count, by.c_str());
        }
    }
}

/** Which fields differ, and how many bytes that belong to none. */
void printDifferences(const Image& first, const Image& second) {
    if (first == second) {
        std::printf("fields: all equal\n");
        return;
    }
    std::printf("fields that differ:\n");
    std::vector<bool> named(first.size());
    printFields(first, second, named);
    for (const CheckedRange& range : checkedRanges(first)) {
        named[range.first + range.size] = true;
    }
    std::size_t reserved = 0;
    for (std::size_t i = 0; i < first.size(); ++i) {
        reserved += first[i] != second[i] && !named[i] ? 1 : 0;
    }
    if (reserved > 0) {
        std::printf("  reserved bytes: %zu\n", reserved);
    }
}

/** Compares the maps of one direction; true when they agree within the tolerance. */
bool compareMaps(const DiffOptions& options, const Image& first, const Image& second,
                 Direction direction) {
    const CoordinateMap a = computeMap(options.first, first, direction, 1);
    const CoordinateMap b = computeMap(options.second, second, direction, 1);
    if (a.rows != b.rows || a.cols != b.cols) {
        std::printf("%-9s maps differ: %d x %d and %d x %d pixels\n", nameOf(direction).c_str(),
                    a.cols, a.rows, b.cols, b.rows);
        return false;
    }
    double largest = 0;
    double squares = 0;
    for (std::size_t i = 0; i < a.x.size(); ++i) {
        const double distance =
            std::hypot(static_cast<double>(a.x[i]) - b.x[i], static_cast<double>(a.y[i]) - b.y[i]);
        largest = distance <= largest ? largest : distance;
        squares += distance * distance;
    }
    const bool agree = largest <= options.tolerance;
    std::printf("%-9s maps %s: largest difference %.6f, root mean square %.6f pixels\n",
                nameOf(direction).c_str(), agree ? "agree" : "differ", largest,
                std::sqrt(squares / static_cast<double>(a.x.size())));
    return agree;
}

int run(const DiffOptions& options) {
    const Image first = loadCalibration(options.first);
    const Image second = loadCalibration(options.second);
    bool agree = true;
    for (const Direction direction : {Direction::undistort, Direction::distort}) {
        agree = compareMaps(options, first, second, direction) && agree;
    }
    printDifferences(first, second);
    return agree ? exitGood : exitRefused;
}

}  // namespace

void addDiff(Program& program) {
    auto [command, options] =
        program.add("diff", run, "Say whether two calibration files give the same maps");
    command.file("A", options->first, "A calibration file");
    command.file("B", options->second, "Another calibration file");
    command.number("--tolerance", options->tolerance, 0.0, 1e6,
                   "Largest difference in pixels between maps that still agree");
    command.explain(
        "Compares the maps of both directions at every pixel, then names the fields that differ.\n"
        "The exit status is 0 when the maps agree within the tolerance and 1 when they do not:\n"
        "fields alone, such as the sub camera's, do not change it.\n\n"
        "Example:\n  calibmap diff --tolerance 0.1 factory.bin today.bin");
}
