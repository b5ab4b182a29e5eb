#include "inspection/soundness.h"

#include <algorithm>
#include <cmath>

#include "inspection/fields.h"
#include "inspection/text.h"

namespace {

using Texts = std::vector<std::string>;

/** One phrase for each field of floats in a part of the file that is not finite throughout. */
Texts fieldsNotFinite(const Image& image, std::size_t first, std::size_t end) {
    Texts found;
    for (const Field& field : namedFields()) {
        if (field.type != FieldType::float32 || field.offset < first || field.offset >= end) {
            continue;
        }
        std::size_t count = 0;
        std::string example;
        for (std::size_t i = 0; i < field.count; ++i) {
            const float value = floatAt(image, field.offset + i * sizeof(float));
            if (!std::isfinite(value) && count++ == 0) {
                example = (field.count == 1 ? "" : format("[%zu]", i)) +
                          format(" is %f", static_cast<double>(value));
            }
        }
        if (count > 0) {
            found.push_back(field.name + example +
                            (count == 1 ? "" : format(", as %zu of its values", count)));
        }
    }
    return found;
}

void append(Texts& texts, const Texts& more) {
    for (const std::string& text : more) {
        if (std::find(texts.begin(), texts.end(), text) == texts.end()) {
            texts.push_back(text);
        }
    }
}

/** What is wrong with the image size, the focal lengths, the orders and the piece counts. */
Texts cameraFaults(const Image& image) {
    Texts found;
    const ModelShape shape = modelShapeOf(image);
    const Camera camera = mainCameraOf(image);
    if (camera.width < 1 || camera.height < 1) {
        found.push_back(format("the image size is %d x %d", camera.width, camera.height));
    }
    for (const auto& [name, value] : {std::pair("fx", camera.fx), std::pair("fy", camera.fy)}) {
        if (value <= 0 && std::isfinite(value)) {
            found.push_back(format("main.%s is %g and not positive", name, value));
        }
    }
    if (shape.xOrder != fittingShape.xOrder || shape.yOrder != fittingShape.yOrder) {
        found.push_back(format(
            "the orders are %d and %d, and the %d x %d correction matrices need the orders %d and "
            "%d: order + pieces - 1 is %d with the %d pieces along x, %d with the %d along y",
            shape.xOrder, shape.yOrder, CALIBMAP_CORRECTION_ROWS, CALIBMAP_CORRECTION_COLS,
            fittingShape.xOrder, fittingShape.yOrder, CALIBMAP_CORRECTION_COLS,
            fittingShape.xPieces, CALIBMAP_CORRECTION_ROWS, fittingShape.yPieces));
    }
    if (shape.xPieces == 0 || shape.yPieces == 0) {
        found.emplace_back("a piece count is 0");
    }
    return found;
}

template <class Breaks>
bool isRising(const Breaks& breaks) {
    return std::adjacent_find(breaks.begin(), breaks.end(),
                              [](float a, float b) { return !(a < b); }) == breaks.end();
}

/** The first of 0, 1, ... that a property has no more, found by halving; `count` if all have it. */
template <class Property>
int32_t firstNot(int32_t count, const Property& has) {
    int32_t first = 0;
    for (int32_t end = count; first < end;) {
        const int32_t middle = first + (end - first) / 2;
        has(middle) ? first = middle + 1 : end = middle;
    }
    return first;
}

/** Columns or rows in one or two stretches, in words. */
struct Uncovered {
    std::string text;
    int stretches;
    int64_t count;
};

/** The pixels along one axis that lie before the first break point or behind the last one. */
template <class Breaks>
Uncovered uncoveredAlong(const std::string& name, const Breaks& breaks, int32_t count,
                         double principal, double focal) {
    Uncovered found{};
    if (count < 1 || !(focal > 0) || !std::isfinite(principal) || !isRising(breaks)) {
        return found;  // named as something else
    }
    const auto site = [&](int32_t pixel) { return (pixel - principal) / focal; };
    const int32_t firstInside =
        firstNot(count, [&](int32_t pixel) { return site(pixel) < breaks.front(); });
    const int32_t firstBehind =
        firstNot(count, [&](int32_t pixel) { return site(pixel) <= breaks.back(); });
    const auto tell = [&](int32_t first, int32_t end) {
        if (first < end) {
            found.text +=
                (found.stretches++ == 0 ? "" : " and ") +
                (first == end - 1 ? std::to_string(first) : format("%d to %d", first, end - 1));
            found.count += end - first;
        }
    };
    if (firstInside >= firstBehind) {
        tell(0, count);  // no pixel centre lies between the break points
    } else {
        tell(0, firstInside);
        tell(firstBehind, count);
    }
    if (found.count > 0) {
        found.text.insert(0, name + (found.count == 1 ? " " : "s "));
    }
    return found;
}

}  // namespace

Texts numbersNotFinite(const Image& image, Direction direction) {
    constexpr std::size_t firstModel = CALIBMAP_MAIN_BLOCK + CALIBMAP_DISTORTION_MODEL;
    const std::size_t model = modelOffset(direction);
    Texts found = fieldsNotFinite(image, CALIBMAP_MAIN_BLOCK, firstModel);
    append(found, fieldsNotFinite(image, model, model + modelSize));
    return found;
}

Texts modelFaults(const Image& image, Direction direction) {
    Texts found = cameraFaults(image);
    append(found, numbersNotFinite(image, direction));
    const CorrectionModel model = modelOf(image, direction);
    const auto check = [&](const char* axis, const auto& breaks) {
        const bool isFinite =
            std::all_of(breaks.begin(), breaks.end(), [](float f) { return std::isfinite(f); });
        if (isFinite && !isRising(breaks)) {
            found.push_back(format("the %s break points of the %s model do not increase", axis,
                                   nameOf(direction).c_str()));
        }
    };
    check("x", model.xBreaks);
    check("y", model.yBreaks);
    return found;
}

std::string uncoveredParts(const Image& image, Direction direction) {
    const Camera camera = mainCameraOf(image);
    const CorrectionModel model = modelOf(image, direction);
    const Uncovered columns =
        uncoveredAlong("column", model.xBreaks, camera.width, camera.cx, camera.fx);
    const Uncovered rows =
        uncoveredAlong("row", model.yBreaks, camera.height, camera.cy, camera.fy);
    if (columns.count + rows.count == 0) {
        return "";
    }
    const char* const between = columns.count == 0 || rows.count == 0           ? ""
                                : columns.stretches == 1 && rows.stretches == 1 ? " and "
                                                                                : ", and ";
    return columns.text + between + rows.text + " of the image " +
           (columns.count + rows.count == 1 ? "lies" : "lie") +
           " outside the break points of the " + nameOf(direction) + " model";
}

int32_t smallestRatioOf(const Camera& camera) {
    constexpr int64_t matrixLimit = int64_t{1} << 31;  // bytes, and too many already
    const auto fits = [&](int32_t ratio) {
        const int64_t samples = int64_t{camera.width / ratio} * (camera.height / ratio);
        return samples < matrixLimit / static_cast<int64_t>(sizeof(double));
    };
    if (fits(1)) {
        return 1;
    }
    const int32_t largest = std::min(camera.width, camera.height);
    int32_t ratio = 2;
    while (ratio <= largest && !fits(ratio)) {
        ratio += 2;
    }
    return ratio <= largest ? ratio : 0;
}

std::string sizeFault(const Camera& camera, int32_t ratio) {
    const int32_t smallest = smallestRatioOf(camera);
    if (smallest > 0 && smallest <= ratio) {
        return "";
    }
    return format("the image of %d x %d pixels is too large for a map", camera.width,
                  camera.height) +
           (smallest > 0 ? format(" of ratio %d", ratio) : "");
}

Texts faultsOf(const Image& image) {
    Texts found;
    const Camera camera = mainCameraOf(image);
    // Of a size below 1, modelFaults tells.
    if (const std::string fault = sizeFault(camera, 1); camera.height > 0 && !fault.empty()) {
        found.push_back(fault);
    }
    for (const Direction direction : {Direction::undistort, Direction::distort}) {
        append(found, modelFaults(image, direction));
        if (const std::string parts = uncoveredParts(image, direction); !parts.empty()) {
            found.push_back(parts);
        }
    }
    append(found, fieldsNotFinite(image, CALIBMAP_SUB_BLOCK,
                                  CALIBMAP_SUB_BLOCK + CALIBMAP_SUB_BLOCK_SIZE));
    return found;
}
