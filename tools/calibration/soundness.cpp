#include "calibration/soundness.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "calibration/fields.h"
#include "failure.h"
#include "input.h"
#include "text.h"

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
            "%d",
            shape.xOrder, shape.yOrder, CALIBMAP_CORRECTION_ROWS, CALIBMAP_CORRECTION_COLS,
            fittingShape.xOrder, fittingShape.yOrder));
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

/** The pixels along one axis that lie before the first break point or behind the last one. */
template <class Breaks>
void appendUncovered(Texts& found, const char* pixels, const Breaks& breaks, int32_t count,
                     double principal, double focal) {
    if (count < 1 || !(focal > 0) || !std::isfinite(principal) || !isRising(breaks)) {
        return;  // named as something else
    }
    const auto site = [&](int32_t pixel) { return (pixel - principal) / focal; };
    const int32_t firstInside =
        firstNot(count, [&](int32_t pixel) { return site(pixel) < breaks.front(); });
    const int32_t firstBehind =
        firstNot(count, [&](int32_t pixel) { return site(pixel) <= breaks.back(); });
    const auto tell = [&](int32_t first, int32_t end) {
        if (first < end) {
            found.push_back(format("%s %d to %d", pixels, first, end - 1));
        }
    };
    tell(0, firstInside);
    tell(std::max(firstInside, firstBehind), count);
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
    Texts parts;
    const Camera camera = mainCameraOf(image);
    const CorrectionModel model = modelOf(image, direction);
    appendUncovered(parts, "columns", model.xBreaks, camera.width, camera.cx, camera.fx);
    appendUncovered(parts, "rows", model.yBreaks, camera.height, camera.cy, camera.fy);
    if (parts.empty()) {
        return "";
    }
    const std::string list =
        std::accumulate(std::next(parts.begin()), parts.end(), parts.front(),
                        [](const std::string& a, const std::string& b) { return a + ", " + b; });
    return list + " of the image lie outside the break points of the " + nameOf(direction) +
           " model";
}

Texts faultsOf(const Image& image) {
    Texts found;
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

void mentionUncovered(const std::string& path, const Image& image, Direction direction) {
    if (const std::string parts = uncoveredParts(image, direction); !parts.empty()) {
        warn(inputName(path), parts + "; the library puts what lies there on the principal point");
    }
}
