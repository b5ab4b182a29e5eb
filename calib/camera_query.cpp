#include <stddef.h>
#include <string.h>

#include "calib/layout.h"
#include "calib/stack.h"
#include "calibmap.h"

char calibin[33] = "/persist/camera/stereoParams.bin";

namespace calibmap {

namespace {

CameraIntrinsics extractIntrinsics(const uint8_t* block) {
    CameraIntrinsics intrinsics;
    intrinsics.imageWidth = loadInt(block + CALIBMAP_IMAGE_WIDTH);
    intrinsics.imageHeight = loadInt(block + CALIBMAP_IMAGE_HEIGHT);
    intrinsics.cx = loadFloat(block + CALIBMAP_CX);
    intrinsics.cy = loadFloat(block + CALIBMAP_CY);
    intrinsics.fx = loadFloat(block + CALIBMAP_FX);
    intrinsics.fy = loadFloat(block + CALIBMAP_FY);
    for (int i = 0; i < CALIBMAP_COEFF_COUNT; ++i) {
        intrinsics.coeff[i] = loadWord(block + CALIBMAP_COEFF + int64_t{wordSize} * i);
    }
    return intrinsics;
}

/** The query itself, apart because of its large frame. */
[[gnu::noinline]] int32_t queryFile(const char* path, CameraIntrinsics* mainCamera,
                                    CameraIntrinsics* subCamera, CameraExtrinsics* extrinsics) {
    CalibrationFile image;
    if (readCalibrationDataC(path, image) != 0 || checksumTest(image) != CALIBMAP_SUCCESS ||
        !calibrationPassed(image)) {
        return -1;
    }
    if (mainCamera != nullptr) {
        *mainCamera = extractMainCameraIntrn(image);
    }
    if (subCamera != nullptr) {
        *subCamera = extractSubCameraIntrn(image);
    }
    if (extrinsics != nullptr) {
        *extrinsics = extractCameraExteral(image);
    }
    return 0;
}

}  // namespace

}  // namespace calibmap

using namespace calibmap;

// The records cross the boundary as twelve words and as 24 bytes.
static_assert(sizeof(CameraIntrinsics) == 48 && offsetof(CameraIntrinsics, imageHeight) == 4 &&
              offsetof(CameraIntrinsics, cx) == 8 && offsetof(CameraIntrinsics, cy) == 12 &&
              offsetof(CameraIntrinsics, fx) == 16 && offsetof(CameraIntrinsics, fy) == 20 &&
              offsetof(CameraIntrinsics, coeff) == 24);
static_assert(sizeof(CameraExtrinsics) == CALIBMAP_EXTRINSIC_BLOCK_SIZE &&
              offsetof(CameraExtrinsics, second) == 16 && offsetof(CameraExtrinsics, third) == 20);

CameraIntrinsics extractMainCameraIntrn(const uint8_t* image) {
    return extractIntrinsics(image + CALIBMAP_MAIN_BLOCK);
}

CameraIntrinsics extractIRCameraIntrn(const uint8_t* image) {
    return extractMainCameraIntrn(image);
}

CameraIntrinsics extractSubCameraIntrn(const uint8_t* image) {
    return extractIntrinsics(image + CALIBMAP_SUB_BLOCK);
}

CameraIntrinsics extractRGBCameraIntrn(const uint8_t* image) {
    return extractSubCameraIntrn(image);
}

CameraExtrinsics extractCameraExteral(const uint8_t* image) {
    CameraExtrinsics extrinsics;
    memcpy(&extrinsics, image + CALIBMAP_EXTRINSIC_BLOCK, sizeof extrinsics);
    return extrinsics;
}

int32_t getCameraIntrinsicAndExtrinsic(const char* path, CameraIntrinsics* mainCamera,
                                       CameraIntrinsics* subCamera, CameraExtrinsics* extrinsics) {
    const bool nothingWanted =
        mainCamera == nullptr && subCamera == nullptr && extrinsics == nullptr;
    if (path == nullptr || nothingWanted) {
        return -1;
    }
    touchStackForImage();
    return queryFile(path, mainCamera, subCamera, extrinsics);
}

int32_t GetCameraIntrinsicAndExtrinsic(CameraIntrinsics* mainCamera, CameraIntrinsics* subCamera,
                                       CameraExtrinsics* extrinsics) {
    if (isFileExists(calibin) != 0) {
        return -1;
    }
    return getCameraIntrinsicAndExtrinsic(calibin, mainCamera, subCamera, extrinsics);
}
