// A sealed calibration file, through all that the program and the page say and draw of it. Header
// bytes that nothing interprets say of which map and against which other file.
#include <cairo.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <variant>

#include "drawing/strokes.h"
#include "fuzz/file_input.h"
#include "fuzz/tool_harness.h"
#include "inspection/drawing.h"
#include "inspection/figure.h"
#include "inspection/look_up.h"
#include "inspection/mat_handle.h"
#include "json.h"
#include "tests/calibration_image.h"

namespace {

constexpr int64_t mostSamples = 1 << 13;
constexpr int32_t narrow = 150;  // of paper, as on a telephone

/** Too large for many inputs a second, not for the program. */
bool isLong(const Camera& camera, int32_t ratio) {
    return int64_t{camera.width} / ratio * (camera.height / ratio) > mostSamples;
}

template <class Record>
void holdJson(const Record& record) {
    const nlohmann::json read = nlohmann::json::parse(jsonOf(record));
    hold(read.is_object() && !read.empty(), "what programs read can be read");
}

void holdOnPaper(const Point& place) {
    hold(std::isfinite(place.x) && std::isfinite(place.y), "what is drawn has a place");
}

void holdStrokes(const Drawing& drawing) {
    for (const Mark& mark : drawing.marks) {
        if (const auto* const lines = std::get_if<LineMark>(&mark)) {
            for (const Polyline& line : lines->lines) {
                std::for_each(line.begin(), line.end(), holdOnPaper);
            }
        } else if (const auto* const text = std::get_if<TextMark>(&mark)) {
            holdOnPaper(text->place);
            hold(std::isfinite(text->angle) && text->size > 0, "a text can be written");
        } else if (const auto* const dots = std::get_if<ImageMark>(&mark)) {
            hold(dots->dots.size() == size_t{4} * static_cast<size_t>(dots->width * dots->height),
                 "a heat map has all its dots");
        }
    }
    const Picture picture = stroked(drawing);
    hold(picture.width == drawing.width && picture.height == drawing.height, "a picture is whole");
}

void holdStatistics(const Statistics& numbers) {
    hold(numbers.largest * (1 + 1e-9) >= numbers.rootMeanSquare && numbers.rootMeanSquare >= 0,
         "the largest is no less than the mean of the squares, but for rounding");
    hold(numbers.median <= numbers.percentile95 && numbers.percentile95 <= numbers.percentile99 &&
             numbers.percentile99 <= numbers.largest,
         "percentiles are in order");
}

/** Draws a map, if there is one; a file that `check` calls usable has all its maps. */
void draw(const Image& image, Direction direction, int32_t ratio, bool isUsable) {
    const Camera camera = mainCameraOf(image);
    if (obstacleToMap(image, direction, ratio)) {
        hold(!isUsable || ratio > 1, "a usable file has maps");
        return;
    }
    if (isLong(camera, ratio)) {
        return;
    }
    const auto build =
        direction == Direction::undistort ? calcMainCameraUnDistortionB : calcMainCameraDistortionB;
    MatHandle x;
    MatHandle y;
    if (const int32_t status = build(&image[CALIBMAP_MAIN_BLOCK], nullptr, ratio, camera.width,
                                     camera.height, x.address(), y.address());
        status != CALIBMAP_SUCCESS) {
        hold(!isUsable && !refusalOfMap(image, direction, ratio, status).reason.empty(),
             "a usable file has maps, another one a reason");
        return;
    }
    CoordinateMap map{x->rows, x->cols, ratio, {}, {}};
    map.x.resize(map.index(map.rows, 0));
    map.y.resize(map.x.size());
    const CamDistortionLUT lut = {map.x.data(), map.y.data(), map.rows, map.cols};
    hold(extractDistData2CamDistortionLUT(x.get(), y.get(), &lut) == 0, "a map can be taken over");
    const Displacement displacement = displacementOf(map);
    holdStatistics(displacement.moved);
    hold(displacement.moved.count + displacement.moved.lost == map.x.size(), "all samples count");
    const int32_t width = image[flagControl] % 16 == 15 ? 900 : narrow;
    holdStrokes(drawingOf(figureOf(layOut(camera, width, image[flagControl] % 3), camera,
                                   displacementsOf(map, displacement.moved, width), mappingOf(map),
                                   wordingOf(map, camera, direction, "input"))));
    hold(sentenceOf(map, displacement).size() < 2000, "a sentence is short");
}

/** Compares with a lens that bends the other way, and with the file itself. */
void compare(const Image& image, Direction direction) {
    const Camera camera = mainCameraOf(image);
    Image other = unsealedImage({.distortionWarp = 0.1, .undistortionWarp = -0.1});
    put<int32_t>(other.data(), "height", {camera.height, camera.width});
    seal(other.data());
    holdJson(Difference{
        {"input", "other"}, {judge(image), judge(other)}, {}, fieldDifferencesOf(image, other)});
    hold(fieldDifferencesOf(image, image).empty(), "a file has the fields of itself");
    if (camera.width > 0 && camera.height > 0 && isLong(camera, 1)) {
        return;
    }
    PixelValues values{};
    const auto found =
        directionDifferenceOf(image, other, "input", "other", direction, 0.5, &values, narrow);
    hold(found && !found->sentence.empty(), "two files can be compared");
    if (found->apart) {
        holdStatistics(*found->apart);
        holdStrokes(drawingOf(figureOf(layOut(camera, narrow, 0), camera, values, nullptr,
                                       wordingOfDifference(camera, direction, "input", "other"))));
    }
    const auto same =
        directionDifferenceOf(image, image, "input", "input", direction, 0, nullptr, 0);
    hold(same && (!same->apart || same->apart->largest == 0), "a file is as far as itself");
}

}  // namespace

/** The names of fonts, which Cairo keeps. */
// NOLINTNEXTLINE(bugprone-reserved-identifier): the sanitizer asks for it by this name
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libfontconfig";
}

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    // The library's diagnostics.
    return std::freopen("/dev/null", "w", stdout) == nullptr ? 1 : 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Image image{};
    std::copy_n(data, std::min(size, image.size()), image.begin());
    if (image[sealControl] % 2 == 0) {
        seal(image.data());
    }
    const Check check = checkOf("input", image, usualAgreement);
    hold(check.isUsable == (check.verdict.status == 0 && check.usability.faults.empty()),
         "usable is what has no fault");
    hold(!sentenceOf(check).empty() && !inWords(check).headline.empty(),
         "every file has a verdict");
    holdJson(check);
    holdJson(Info{"input", check.verdict, &image, size % 2 == 0});
    for (const ParameterSection& section : parametersOf(image, true)) {
        hold(!section.rows.empty(), "a heading has rows");
    }
    const Direction direction =
        image[shapeControl] % 2 == 0 ? Direction::undistort : Direction::distort;
    draw(image, direction, 1 + image[ratioControl] % 16, check.isUsable);
    compare(image, direction);
    return 0;
}
