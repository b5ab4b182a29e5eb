// A calibration image built in memory: valid, sealed, and of a camera whose maps are known.
#ifndef CALIBMAP_TESTS_CALIBRATION_IMAGE_H
#define CALIBMAP_TESTS_CALIBRATION_IMAGE_H

#include <array>
#include <cstdint>
#include <cstring>
#include <vector>

#include "calibmap.h"

/** The bytes of a calibration file as a value. */
using Image = std::array<uint8_t, CALIBMAP_FILE_SIZE>;

/** What an image describes: by default a camera so small that a map takes microseconds. */
struct Recipe {
    int32_t width = 32;
    int32_t height = 24;
    std::array<float, 4> camera = {30.0F, 28.0F, 15.25F, 11.5F};  ///< fx, fy, cx, cy
    double distortionWarp = 0.0;  ///< strength of a model's radial bend; 0 is the identity
    double undistortionWarp = 0.0;
    uint8_t filler = 37;  ///< makes the pattern of the bytes that nothing interprets
};

/** Stores a value at a byte offset, however unaligned. */
template <typename Value>
void put(uint8_t* bytes, size_t offset, const Value& value) {
    std::memcpy(bytes + offset, &value, sizeof value);
}

/** Makes the four checksums of an image hold. */
inline void seal(uint8_t* image) {
    MainCameraIntervalCalibrationChecksum(image + CALIBMAP_MAIN_BLOCK);
    SubCameraIntervalCalibrationChecksum(image + CALIBMAP_SUB_BLOCK);
    CameraExtervalCalibrationChecksum(image + CALIBMAP_EXTRINSIC_BLOCK);
    TotalCalibrationChecksum(image);
}

/**
 * Coefficients of the spline of order k that is the identity: each is the mean of the k - 1 knots
 * inside its B-spline's support.
 */
inline std::vector<double> greville(const VectorDouble* knots, int32_t k) {
    std::vector<double> means(static_cast<size_t>(knots->size - k));
    for (size_t i = 0; i < means.size(); ++i) {
        for (size_t j = 1; j < static_cast<size_t>(k); ++j) {
            means[i] += knots->data[i + j] / (k - 1);
        }
    }
    return means;
}

/**
 * Writes one axis of a model: break points from one pixel before the image to one behind it, in
 * normalised coordinates. Returns the identity's coefficients.
 */
inline std::vector<double> putBreaks(uint8_t* field, int32_t count, int32_t pixels, float focal,
                                     float centre) {
    VectorDouble* breaks = createVectorDouble(count);
    for (int32_t i = 0; i < count; ++i) {
        const auto pixel = static_cast<float>((pixels + 1) * i) / static_cast<float>(count - 1);
        const float value = (pixel - 1.0F - centre) / focal;
        put(field, 4 * static_cast<size_t>(i), value);
        breaks->data[i] = value;
    }
    VectorDouble* knots = augknt_init(breaks, 7);
    auto means = greville(knots, 7);
    destroyVectorDouble(&knots);
    destroyVectorDouble(&breaks);
    return means;
}

/** Writes one model, of orders 7 and 7. */
inline void putModel(uint8_t* model, const Recipe& recipe, double warp) {
    const auto [fx, fy, cx, cy] = recipe.camera;
    const auto us =
        putBreaks(model + CALIBMAP_X_BREAKS, CALIBMAP_X_BREAK_COUNT, recipe.width, fx, cx);
    const auto vs =
        putBreaks(model + CALIBMAP_Y_BREAKS, CALIBMAP_Y_BREAK_COUNT, recipe.height, fy, cy);
    for (size_t i = 0; i < us.size() * vs.size(); ++i) {
        const double u = us[i % us.size()];
        const double v = vs[i / us.size()];
        const double bend = 1.0 + warp * (u * u + v * v);
        put(model, CALIBMAP_X_CORRECTION + 4 * i, static_cast<float>(u * bend));
        put(model, CALIBMAP_Y_CORRECTION + 4 * i, static_cast<float>(v * bend));
    }
}

/** A sealed image. */
inline Image calibrationImage(const Recipe& recipe = {}) {
    Image image;
    for (size_t i = 0; i < image.size(); ++i) {
        image[i] = static_cast<uint8_t>(i * recipe.filler + 11);
    }
    image[CALIBMAP_PASS_FLAG] = 1;
    uint8_t* block = image.data() + CALIBMAP_MAIN_BLOCK;
    std::memset(block + CALIBMAP_COEFF, 0x11, sizeof(uint32_t) * CALIBMAP_COEFF_COUNT);
    std::memset(&image[CALIBMAP_SUB_BLOCK + CALIBMAP_IMAGE_HEIGHT], 0x22, sizeof(CameraIntrinsics));
    std::memset(&image[CALIBMAP_EXTRINSIC_BLOCK], 0x33, CALIBMAP_EXTRINSIC_BLOCK_SIZE);
    put(block, CALIBMAP_IMAGE_HEIGHT, recipe.height);
    put(block, CALIBMAP_IMAGE_WIDTH, recipe.width);
    put(block, CALIBMAP_FX, recipe.camera);
    put(block, CALIBMAP_X_ORDER, std::array<uint8_t, 4>{7, 7, 6, 4});  // orders, pieces
    putModel(block + CALIBMAP_DISTORTION_MODEL, recipe, recipe.distortionWarp);
    putModel(block + CALIBMAP_UNDISTORTION_MODEL, recipe, recipe.undistortionWarp);
    seal(image.data());
    return image;
}

#endif  // CALIBMAP_TESTS_CALIBRATION_IMAGE_H
