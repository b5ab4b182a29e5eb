#pragma once

#include "inspection/image.h"
#include "making/model.h"

/** What a producer of calibration files fills in; the rest of the file is zero. */
struct CalibrationContent {
    CameraIntrinsics mainCamera;
    CameraIntrinsics subCamera;
    std::array<float, CALIBMAP_EXTRINSIC_BLOCK_SIZE / sizeof(float)> extrinsics;
    ModelShape shape;
    CorrectionModel undistortion;
    CorrectionModel distortion;
};

/** A file image with this content, the pass flag set and all four checksums in place. */
Image sealedImage(const CalibrationContent& content);

/** Six 32-bit words, as each camera's further parameters and the extrinsics are. */
using Words = std::array<uint32_t, CALIBMAP_COEFF_COUNT>;

/** A camera as a file holds it, in single precision. */
CameraIntrinsics intrinsicsFrom(const Camera& camera, const Words& coeff);

/** k1, k2, p1, p2, k3 and 0, as floats: what our files have in a camera's further parameters. */
Words coefficientsFrom(const Lens& lens);

/** Each of these changes one part of a file image and leaves the checksums to `seal`. */
void storeCamera(Image& image, std::size_t block, const CameraIntrinsics& camera);
void storeModel(Image& image, Direction direction, const CorrectionModel& model);
void storeShape(Image& image, const ModelShape& shape);
void storeWords(Image& image, std::size_t offset, const Words& words);

/** Puts all four checksums in place. */
void seal(Image& image);
