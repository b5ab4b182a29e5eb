#include "inspection/info.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <limits>
#include <numbers>
#include <utility>

#include "inspection/text.h"

namespace {

using Words = std::vector<uint32_t>;

std::string textOf(const Words& words) {
    std::string text;
    for (const float value : asFloats(words)) {
        text += format(text.empty() ? "%.9g" : " %.9g", static_cast<double>(value));
    }
    return text;
}

std::string twoNumbers(const char* first, double a, const char* second, double b) {
    return format("%s %s, %s %s pixels", first, decimal(a, 3).c_str(), second,
                  decimal(b, 3).c_str());
}

/** Puts sections and rows one behind the other. */
class Listing {
  public:
    Listing(const Image& image, const Image* other) : image_(&image), other_(other) {}

    void section(const std::string& name) { sections_.push_back({name, {}}); }

    /** A row that speaks of these bytes of the file. */
    void row(const std::string& name, const std::string& text, std::size_t first,
             std::size_t count) {
        const auto from = static_cast<std::ptrdiff_t>(first);
        const auto behind = static_cast<std::ptrdiff_t>(first + count);
        const bool differs =
            other_ != nullptr &&
            !std::equal(image_->begin() + from, image_->begin() + behind, other_->begin() + from);
        sections_.back().rows.push_back({name, text, differs});
    }

    /** Words in both ways of reading them. */
    void words(const char* name, const Words& words, std::size_t first) {
        const std::size_t size = words.size() * sizeof(uint32_t);
        row(name, textOf(words), first, size);
        row("as words", joined(hexTexts(words), " "), first, size);
    }

    /** Floats of this many decimals, `perRow` to a row. */
    template <class Floats>
    void floats(const std::string& name, const Floats& values, int decimals, std::size_t perRow,
                std::size_t first) {
        for (std::size_t i = 0; i < values.size(); i += perRow) {
            std::string text;
            for (std::size_t j = i; j < i + perRow; ++j) {
                text += format(j == i ? "%*s" : " %*s", decimals + 3,
                               decimal(static_cast<double>(values[j]), decimals).c_str());
            }
            row(perRow < values.size() ? format("%s[%zu]", name.c_str(), i) : name, text,
                first + i * sizeof(float), perRow * sizeof(float));
        }
    }

    std::vector<ParameterSection> sections() && { return std::move(sections_); }

  private:
    const Image* image_;
    const Image* other_;
    std::vector<ParameterSection> sections_;
};

void listCamera(Listing& list, const char* name, const CameraIntrinsics& camera,
                std::size_t block) {
    constexpr std::size_t two = 2 * sizeof(float);
    const FieldOfView view = fieldOfView(camera);
    const std::size_t place = block + CALIBMAP_IMAGE_HEIGHT;
    list.section(name);
    list.row("image", format("%d x %d pixels", camera.imageWidth, camera.imageHeight), place, two);
    list.row("focal lengths", twoNumbers("fx", camera.fx, "fy", camera.fy), block + CALIBMAP_FX,
             two);
    list.row("principal point", twoNumbers("cx", camera.cx, "cy", camera.cy), block + CALIBMAP_CX,
             two);
    list.row("field of view",
             format("%.1f x %.1f degrees, %.1f across the diagonal", view.horizontal, view.vertical,
                    view.diagonal),
             place, 3 * two);
    list.words("coeff", coefficientsOf(camera), block + CALIBMAP_COEFF);
}

void listModel(Listing& list, const Image& image, Direction direction, bool withCoefficients) {
    const CorrectionModel model = modelOf(image, direction);
    const std::size_t base = modelOffset(direction);
    const char* const name = direction == Direction::distort ? "distortion" : "undistortion";
    list.section(format("%s model, break points in normalised image coordinates", name));
    list.floats("along x", model.xBreaks, 5, model.xBreaks.size(), base + CALIBMAP_X_BREAKS);
    list.floats("along y", model.yBreaks, 5, model.yBreaks.size(), base + CALIBMAP_Y_BREAKS);
    if (withCoefficients) {
        list.section(format("%s model, a line for each of the %d B-splines along y", name,
                            CALIBMAP_CORRECTION_ROWS));
        list.floats("xcorrect", model.xCorrection, 8, CALIBMAP_CORRECTION_COLS,
                    base + CALIBMAP_X_CORRECTION);
        list.floats("ycorrect", model.yCorrection, 8, CALIBMAP_CORRECTION_COLS,
                    base + CALIBMAP_Y_CORRECTION);
    }
}

}  // namespace

FieldOfView fieldOfView(const CameraIntrinsics& camera) {
    // From the principal point to the edges, which lie half a pixel outside the pixel centres.
    const double left = (camera.cx + 0.5) / camera.fx;
    const double right = (camera.imageWidth - 0.5 - camera.cx) / camera.fx;
    const double top = (camera.cy + 0.5) / camera.fy;
    const double bottom = (camera.imageHeight - 0.5 - camera.cy) / camera.fy;
    // By the tangent: the cosine of a small angle has lost it.
    const auto angle = [](double sine, double cosine) {
        return std::isfinite(sine + cosine) ? std::atan2(sine, cosine) * 180 / std::numbers::pi
                                            : std::numeric_limits<double>::quiet_NaN();
    };
    const double wide = left + right;
    const double high = top + bottom;
    return {angle(std::abs(wide), 1 - left * right), angle(std::abs(high), 1 - top * bottom),
            angle(std::hypot(high, wide, left * bottom - right * top),
                  1 - left * right - top * bottom)};
}

std::vector<ParameterSection> parametersOf(const Image& image, bool withCoefficients,
                                           const Image* other) {
    Listing list(image, other);
    listCamera(list, "main camera (IR)", extractMainCameraIntrn(image.data()), CALIBMAP_MAIN_BLOCK);
    listCamera(list, "sub camera (RGB)", extractSubCameraIntrn(image.data()), CALIBMAP_SUB_BLOCK);
    list.section("extrinsics");
    list.words("as floats", extrinsicsOf(image), CALIBMAP_EXTRINSIC_BLOCK);
    const ModelShape shape = modelShapeOf(image);
    constexpr std::size_t block = CALIBMAP_MAIN_BLOCK;
    list.section("correction models of the main camera");
    list.row("orders", format("%d along x, %d along y", shape.xOrder, shape.yOrder),
             block + CALIBMAP_X_ORDER, 2);
    list.row("pieces", format("%d along x, %d along y", shape.xPieces, shape.yPieces),
             block + CALIBMAP_X_PIECES, 2);
    for (const Direction direction : {Direction::distort, Direction::undistort}) {
        listModel(list, image, direction, withCoefficients);
    }
    return std::move(list).sections();
}

std::vector<float> asFloats(const Words& words) {
    std::vector<float> floats(words.size());
    std::transform(words.begin(), words.end(), floats.begin(),
                   [](uint32_t word) { return std::bit_cast<float>(word); });
    return floats;
}

std::vector<std::string> hexTexts(const Words& words) {
    std::vector<std::string> texts;
    for (const uint32_t word : words) {
        texts.push_back(hexText(word, 8));
    }
    return texts;
}

Words coefficientsOf(const CameraIntrinsics& camera) {
    return {std::begin(camera.coeff), std::end(camera.coeff)};
}

Words extrinsicsOf(const Image& image) {
    Words words;
    for (std::size_t i = 0; i < CALIBMAP_EXTRINSIC_BLOCK_SIZE; i += sizeof(uint32_t)) {
        words.push_back(wordAt(image, CALIBMAP_EXTRINSIC_BLOCK + i));
    }
    return words;
}

std::string extrinsicBytes(const Image& image) {
    std::string text;
    for (std::size_t i = 0; i < CALIBMAP_EXTRINSIC_BLOCK_SIZE; ++i) {
        text += format("%02x", image[CALIBMAP_EXTRINSIC_BLOCK + i]);
    }
    return text;
}
