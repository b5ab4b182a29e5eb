#pragma once

#include "calibration/image.h"

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
