#include "inspection/difference.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "inspection/fields.h"
#include "inspection/map_difference.h"
#include "inspection/pixel_values.h"
#include "inspection/soundness.h"
#include "inspection/text.h"

namespace {

uint32_t valueOf(const Image& image, const Field& field, std::size_t index) {
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
            return format("%.9g (%s)", number, hexText(value, 8).c_str());
        case FieldType::byte:
            break;
    }
    return std::to_string(value);
}

/** What differs in one field: a phrase for each of a few values, or one for many. */
void compareField(const Image& first, const Image& second, const Field& field,
                  std::vector<FieldDifference>& found) {
    std::vector<std::size_t> differing;
    std::size_t most = 0;
    double largest = -1;
    for (std::size_t i = 0; i < field.count; ++i) {
        const uint32_t a = valueOf(first, field, i);
        const uint32_t b = valueOf(second, field, i);
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
    const bool isParameter = !belongsToModel(field);
    if (field.count > few && differing.size() > 1) {
        found.push_back({field.name,
                         format("%zu of %zu values, by up to %.3g at [%zu]", differing.size(),
                                field.count, largest, most),
                         isParameter});
        return;
    }
    for (const std::size_t i : differing) {
        found.push_back({field.name + (field.count == 1 ? "" : format("[%zu]", i)),
                         textOf(valueOf(first, field, i), field.type) + " and " +
                             textOf(valueOf(second, field, i), field.type),
                         isParameter});
    }
}

/** The differing bytes that belong to no field: how many, and where the first of them stand. */
void compareReserved(const Image& first, const Image& second, const std::vector<bool>& named,
                     std::vector<FieldDifference>& found) {
    constexpr std::size_t most = 8;
    std::size_t count = 0;
    std::string places;
    for (std::size_t i = 0; i < named.size(); ++i) {
        if (!named[i] && first[i] != second[i] && count++ < most) {
            places += format("%s%zu", places.empty() ? "" : ", ", i);
        }
    }
    if (count > 0) {
        found.push_back(
            {"reserved bytes",
             format("%zu, at %s%s", count, places.c_str(), count > most ? " and further on" : ""),
             false});
    }
}

/** Why an image is not compared: it takes more than a row at a time, or as many as fit a map. */
std::string sizeFaultOfComparison(const Camera& camera) {
    // A row is held as two maps of floats, one of doubles and 22 B-splines a column: 150 MB.
    constexpr int32_t longestRow = 1 << 20;
    if (std::string fault = sizeFault(camera, 1); !fault.empty()) {
        return fault;
    }
    return camera.width <= longestRow
               ? ""
               : format("the image of %d x %d pixels is too wide to be compared", camera.width,
                        camera.height);
}

/** Why the maps of the direction cannot be compared at each pixel. */
std::string whyNotCompared(const Image& first, const Image& second, const std::string& firstName,
                           const std::string& secondName, Direction direction) {
    for (const Image* image : {&first, &second}) {
        const std::vector<std::string> faults = modelFaults(*image, direction);
        const std::string fault =
            faults.empty() ? sizeFaultOfComparison(mainCameraOf(*image)) : faults.front();
        if (!fault.empty()) {
            return "cannot be compared: " + (image == &first ? firstName : secondName) + ": " +
                   fault;
        }
    }
    const Camera a = mainCameraOf(first);
    const Camera b = mainCameraOf(second);
    return a.width == b.width && a.height == b.height
               ? ""
               : format("differ in size: %d x %d and %d x %d pixels", a.width, a.height, b.width,
                        b.height);
}

std::string sentenceOf(const Statistics& apart, bool agree) {
    if (apart.count == 0) {
        return "maps differ: every pixel is taken to no place at all";
    }
    const auto pixels = [](double value) { return decimal(value, 6); };
    return format(
               "maps %s: largest difference %s at (%g, %g), root mean square %s, half of the "
               "pixels within %s, 95 %% within %s, 99 %% within %s pixels",
               agree ? "agree" : "differ", pixels(apart.largest).c_str(), apart.place.x,
               apart.place.y, pixels(apart.rootMeanSquare).c_str(), pixels(apart.median).c_str(),
               pixels(apart.percentile95).c_str(), pixels(apart.percentile99).c_str()) +
           (apart.lost > 0 ? format(", %zu pixels taken to no place at all", apart.lost) : "");
}

}  // namespace

std::vector<FieldDifference> fieldDifferencesOf(const Image& first, const Image& second) {
    std::vector<FieldDifference> found;
    std::vector<bool> named(first.size());
    for (const Field& field : namedFields()) {
        std::fill_n(named.begin() + static_cast<std::ptrdiff_t>(field.offset),
                    field.count * sizeOf(field.type), true);
        compareField(first, second, field, found);
    }
    for (const CheckedRange& range : checkedRanges(first)) {
        const std::size_t place = range.first + range.size;
        named[place] = true;
        if (first[place] != second[place]) {
            found.push_back({"checksum of the " + range.name,
                             hexText(first[place], 2) + " and " + hexText(second[place], 2),
                             false});
        }
    }
    compareReserved(first, second, named, found);
    return found;
}

std::optional<DirectionDifference> directionDifferenceOf(const Image& first, const Image& second,
                                                         const std::string& firstName,
                                                         const std::string& secondName,
                                                         Direction direction, double tolerance,
                                                         PixelValues* values, int32_t width,
                                                         const Reached& reached) {
    DirectionDifference result{direction, "", {}, false, ""};
    result.whyNot = whyNotCompared(first, second, firstName, secondName, direction);
    if (!result.whyNot.empty()) {
        result.sentence = "maps " + result.whyNot;
        return result;
    }
    VisitRow visit;
    if (values != nullptr) {
        *values = valuesForDifference(mainCameraOf(first), width);
        visit = [values](int32_t row, const std::vector<float>& distances) {
            addRow(*values, row, distances);
        };
    }
    result.apart = mapDifferenceOf(first, second, direction, visit, reached);
    if (!result.apart) {
        return std::nullopt;  // models without a fault are refused for nothing else
    }
    if (values != nullptr) {
        setLargest(*values, *result.apart);
        // Of a few that are far apart, all others would be too dark to be told from nothing.
        const double most = result.apart->percentile99;
        values->top = 2 * most < result.apart->largest ? most : 0;
    }
    result.agree = result.apart->lost == 0 && result.apart->largest <= tolerance;
    result.sentence = sentenceOf(*result.apart, result.agree);
    return result;
}

std::string sentenceOf(const Difference& difference) {
    std::vector<std::string> parts;
    if (difference.verdicts[1].status != CALIBMAP_SUCCESS) {
        parts.push_back(sentenceOf(difference.verdicts[1]));
    }
    for (const DirectionDifference& maps : difference.maps) {
        parts.push_back(nameOf(maps.direction) + " " + maps.sentence);
    }
    std::vector<std::string> fields;
    for (const FieldDifference& field : difference.fields) {
        fields.push_back(field.name);
    }
    if (!fields.empty()) {
        parts.push_back("fields that differ: " + joined(fields, ", "));
    }
    return difference.names[1] + ": " + joined(parts, "; ");
}

bool mapsAgree(const Difference& difference) {
    return difference.verdicts[0].status == difference.verdicts[1].status &&
           std::all_of(difference.maps.begin(), difference.maps.end(),
                       [](const DirectionDifference& maps) { return maps.agree; });
}

bool parametersAgree(const Difference& difference) {
    return std::none_of(difference.fields.begin(), difference.fields.end(),
                        [](const FieldDifference& field) { return field.isParameter; });
}
