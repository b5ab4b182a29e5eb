// A calibration file built in memory, field by field, and a caller's map: what the tests, the fuzz
// targets and the golden reference start from. Nothing but `seal` calls the library.
#ifndef CALIBMAP_TESTS_CALIBRATION_IMAGE_H
#define CALIBMAP_TESTS_CALIBRATION_IMAGE_H

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "calibmap.h"

/** The bytes of a calibration file as a value. */
using Image = std::array<uint8_t, CALIBMAP_FILE_SIZE>;

/** A field that the library reads: values of one type, from byte `offset` of the file on. */
struct ImageField {
    std::string_view name;
    char type;  ///< 'b' for bytes, 'i' for int32, 'f' for float32
    size_t offset;
    size_t count = 1;
};

constexpr size_t mainAt = CALIBMAP_MAIN_BLOCK;
constexpr size_t distortionAt = mainAt + CALIBMAP_DISTORTION_MODEL;
constexpr size_t undistortionAt = mainAt + CALIBMAP_UNDISTORTION_MODEL;
constexpr size_t gridCells = size_t{CALIBMAP_CORRECTION_ROWS} * CALIBMAP_CORRECTION_COLS;

inline constexpr ImageField fields[] = {
    {"pass", 'b', CALIBMAP_PASS_FLAG},
    {"height", 'i', mainAt + CALIBMAP_IMAGE_HEIGHT},
    {"width", 'i', mainAt + CALIBMAP_IMAGE_WIDTH},
    {"fx", 'f', mainAt + CALIBMAP_FX},
    {"fy", 'f', mainAt + CALIBMAP_FY},
    {"cx", 'f', mainAt + CALIBMAP_CX},
    {"cy", 'f', mainAt + CALIBMAP_CY},
    {"kx", 'b', mainAt + CALIBMAP_X_ORDER},
    {"ky", 'b', mainAt + CALIBMAP_Y_ORDER},
    {"xpieces", 'b', mainAt + CALIBMAP_X_PIECES},
    {"ypieces", 'b', mainAt + CALIBMAP_Y_PIECES},
    {"distortion.xbreaks", 'f', distortionAt + CALIBMAP_X_BREAKS, CALIBMAP_X_BREAK_COUNT},
    {"distortion.ybreaks", 'f', distortionAt + CALIBMAP_Y_BREAKS, CALIBMAP_Y_BREAK_COUNT},
    {"distortion.x", 'f', distortionAt + CALIBMAP_X_CORRECTION, gridCells},
    {"distortion.y", 'f', distortionAt + CALIBMAP_Y_CORRECTION, gridCells},
    {"undistortion.xbreaks", 'f', undistortionAt + CALIBMAP_X_BREAKS, CALIBMAP_X_BREAK_COUNT},
    {"undistortion.ybreaks", 'f', undistortionAt + CALIBMAP_Y_BREAKS, CALIBMAP_Y_BREAK_COUNT},
    {"undistortion.x", 'f', undistortionAt + CALIBMAP_X_CORRECTION, gridCells},
    {"undistortion.y", 'f', undistortionAt + CALIBMAP_Y_CORRECTION, gridCells}};

/** The field of a name that exists. */
inline const ImageField& field(std::string_view name) {
    const auto* found = std::find_if(std::begin(fields), std::end(fields),
                                     [&](const ImageField& each) { return each.name == name; });
    return found != std::end(fields) ? *found : throw std::invalid_argument("no such field");
}

/** Value `i` of a field, which has to be of its type. */
template <typename Value>
Value get(const uint8_t* image, std::string_view name, size_t i = 0) {
    Value value;
    std::memcpy(&value, image + field(name).offset + i * sizeof value, sizeof value);
    return value;
}

/** Stores values in a field, which have to be of its type, from value `i` on. */
template <typename Value>
void put(uint8_t* image, std::string_view name, const std::vector<Value>& values, size_t i = 0) {
    std::memcpy(image + field(name).offset + i * sizeof(Value), values.data(),
                values.size() * sizeof(Value));
}

/** Stores numbers in a field as what it holds. */
inline void set(uint8_t* image, std::string_view name, const std::vector<double>& numbers) {
    const char type = field(name).type;
    if (type == 'b') {
        put(image, name, std::vector<uint8_t>(numbers.begin(), numbers.end()));
    } else if (type == 'i') {
        put(image, name, std::vector<int32_t>(numbers.begin(), numbers.end()));
    } else {
        put(image, name, std::vector<float>(numbers.begin(), numbers.end()));
    }
}

/** What an image describes: by default a camera so small that a map takes microseconds. */
struct Recipe {
    int32_t width = 32;
    int32_t height = 24;
    std::array<float, 4> camera = {30.0F, 28.0F, 15.25F, 11.5F};  ///< fx, fy, cx, cy
    double distortionWarp = 0.0;  ///< strength of a model's radial bend; 0 is the identity
    double undistortionWarp = 0.0;
    uint8_t filler = 37;  ///< makes the pattern of the bytes that nothing interprets
    /** Break points of x and y; none are even ones from one pixel before the image to one after. */
    std::array<std::vector<double>, 2> breaks = {};
};

/** Even break points in normalised coordinates, as floats: a file holds no others. */
inline std::vector<double> evenBreaks(size_t count, int32_t pixels, float focal, float centre) {
    std::vector<double> breaks(count);
    for (size_t i = 0; i < count; ++i) {
        const float pixel =
            static_cast<float>(static_cast<size_t>(pixels + 1) * i) / static_cast<float>(count - 1);
        breaks[i] = (pixel - 1.0F - centre) / focal;
    }
    return breaks;
}

/**
 * Coefficients of the spline of order 7 that is the identity: each is the mean of the six knots
 * inside its B-spline's support.
 */
inline std::vector<double> greville(std::vector<double> knots) {
    knots.insert(knots.begin(), 6, knots.front());
    knots.insert(knots.end(), 6, knots.back());
    std::vector<double> means;
    for (auto t = knots.begin() + 1; t + 6 != knots.end(); ++t) {
        means.push_back((t[0] + t[1] + t[2] + t[3] + t[4] + t[5]) / 6);
    }
    return means;
}

/** An image whose checksums do not hold yet. */
inline Image unsealedImage(const Recipe& recipe = {}) {
    Image image;
    for (size_t i = 0; i < image.size(); ++i) {
        image[i] = static_cast<uint8_t>(i * recipe.filler + 11);
    }
    std::memset(&image[mainAt + CALIBMAP_COEFF], 0x11, sizeof(CameraIntrinsics::coeff));
    std::memset(&image[CALIBMAP_SUB_BLOCK + CALIBMAP_IMAGE_HEIGHT], 0x22, sizeof(CameraIntrinsics));
    std::memset(&image[CALIBMAP_EXTRINSIC_BLOCK], 0x33, CALIBMAP_EXTRINSIC_BLOCK_SIZE);
    const auto [fx, fy, cx, cy] = recipe.camera;
    const auto& [xGiven, yGiven] = recipe.breaks;
    const auto xBreaks = xGiven.empty() ? evenBreaks(7, recipe.width, fx, cx) : xGiven;
    const auto yBreaks = yGiven.empty() ? evenBreaks(5, recipe.height, fy, cy) : yGiven;
    const std::vector<double> us = greville(xBreaks);
    const std::vector<double> vs = greville(yBreaks);
    put<uint8_t>(image.data(), "pass", {1});
    put<int32_t>(image.data(), "height", {recipe.height, recipe.width});
    put<float>(image.data(), "fx", {fx, fy, cx, cy});
    put<uint8_t>(image.data(), "kx", {7, 7, 6, 4});  // orders, pieces
    for (const std::string model : {"distortion", "undistortion"}) {
        const double warp = model[0] == 'd' ? recipe.distortionWarp : recipe.undistortionWarp;
        std::vector<double> x;
        std::vector<double> y;
        for (size_t i = 0; i < us.size() * vs.size(); ++i) {
            const double u = us[i % us.size()];
            const double v = vs[i / us.size()];
            const double bend = 1.0 + warp * (u * u + v * v);
            x.push_back(u * bend);
            y.push_back(v * bend);
        }
        set(image.data(), model + ".xbreaks", xBreaks);
        set(image.data(), model + ".ybreaks", yBreaks);
        set(image.data(), model + ".x", x);
        set(image.data(), model + ".y", y);
    }
    return image;
}

/** Makes the four checksums of an image hold. */
inline void seal(uint8_t* image) {
    MainCameraIntervalCalibrationChecksum(image + CALIBMAP_MAIN_BLOCK);
    SubCameraIntervalCalibrationChecksum(image + CALIBMAP_SUB_BLOCK);
    CameraExtervalCalibrationChecksum(image + CALIBMAP_EXTRINSIC_BLOCK);
    TotalCalibrationChecksum(image);
}

/** A sealed image. */
inline Image calibrationImage(const Recipe& recipe = {}) {
    Image image = unsealedImage(recipe);
    seal(image.data());
    return image;
}

/** A caller's map: arrays of exactly the announced size, full of a mark until they are written. */
struct CallerMap {
    float mark;
    std::vector<float> x, y;
    CamDistortionLUT lut;

    CallerMap(int32_t rows, int32_t cols, float untouched = 7e7F)
        : mark(untouched),
          x(rows > 0 && cols > 0 ? static_cast<size_t>(rows) * static_cast<size_t>(cols) : 0, mark),
          y(x),
          lut{x.data(), y.data(), rows, cols} {}
    CallerMap(const CallerMap&) = delete;
    CallerMap& operator=(const CallerMap&) = delete;

    /** Both arrays, x first; nothing as long as no element has been written. */
    [[nodiscard]] std::vector<double> written() const {
        std::vector<double> both(x.begin(), x.end());
        both.insert(both.end(), y.begin(), y.end());
        const bool untouched =
            std::all_of(both.begin(), both.end(), [this](double value) { return value == mark; });
        return untouched ? std::vector<double>() : both;
    }
};

#endif  // CALIBMAP_TESTS_CALIBRATION_IMAGE_H
