#include <stddef.h>

#include "calib/layout.h"
#include "calibmap.h"
#include "diagnostics.h"
#include "distortion/main_camera.h"

static_assert(sizeof(CamDistortionLUT) == 24 && offsetof(CamDistortionLUT, y) == 8 &&
              offsetof(CamDistortionLUT, rows) == 16 && offsetof(CamDistortionLUT, cols) == 20);

namespace {

bool hasNoSamples(const CamDistortionLUT& points) {
    return points.rows < 1 || points.cols < 1;
}

/**
 * Builds the maps of one direction for the caller's arrays. When the arrays have another shape than
 * the maps, the delivery will refuse them whatever the maps hold, so nothing is computed: a crafted
 * image size costs no more time, and touches no more memory, than the caller's own arrays ask for.
 */
int32_t buildMapsFor(const MapDirection& direction, const uint8_t* image,
                     const CamDistortionLUT* inputPoints, int32_t ratio,
                     const CamDistortionLUT& outputPoints, Mat** mapX, Mat** mapY) {
    const uint8_t* block = image + CALIBMAP_MAIN_BLOCK;
    const int32_t imageWidth = loadInt(block + CALIBMAP_IMAGE_WIDTH);
    const int32_t imageHeight = loadInt(block + CALIBMAP_IMAGE_HEIGHT);
    const bool deliverable = ratio > 0 && outputPoints.rows == imageHeight / ratio &&
                             outputPoints.cols == imageWidth / ratio;
    return buildMaps(direction, block, inputPoints, ratio, imageWidth, imageHeight,
                     deliverable ? MapContent::complete : MapContent::shapeOnly, mapX, mapY);
}

}  // namespace

int32_t doDistortionProcess(const char* path, int32_t flag, int32_t ratio,
                            const CamDistortionLUT* inputPoints,
                            const CamDistortionLUT* outputPoints) {
    constexpr const char* name = "doDistortionProcess";
    if (path == nullptr) {
        report("%s line:%d leave. input calibration bin is nullptr", name, 578);
        return CALIBMAP_STEP_FAILED;
    }
    if (outputPoints == nullptr) {
        report("%s line:%d leave. outputPoints is all nullptr", name, 583);
        return CALIBMAP_STEP_FAILED;
    }
    CalibrationFile image;
    const int32_t read = readCalibrationDataC(path, image);
    if (read != 0) {
        report("%s line:%d leave. readCalibrationDataC fail(%d)", name, 595, read);
        return CALIBMAP_FILE_UNREADABLE;
    }
    if (checksumTest(image) != CALIBMAP_SUCCESS) {
        report("%s line:%d leave. calibration file checksum fail", name, 602);
        return CALIBMAP_CHECKSUM_WRONG;
    }
    if (!calibrationPassed(image)) {
        report("%s line:%d leave. calibration file pass flag is 0(fail calibration bin file)", name,
               608);
        return CALIBMAP_NOT_PASSED;
    }

    Mat* mapX = nullptr;
    Mat* mapY = nullptr;
    if (flag == CALIBMAP_DISTORTION) {
        const int32_t built = buildMapsFor(distortionDirection, image, inputPoints, ratio,
                                           *outputPoints, &mapX, &mapY);
        if (built != CALIBMAP_SUCCESS) {
            report("%s line:%d leave. ir calcMainCameraDistortionB fail. ret:%d", name, 624, built);
            return CALIBMAP_STEP_FAILED;
        }
    } else if (flag == CALIBMAP_UNDISTORTION) {
        const int32_t built = buildMapsFor(undistortionDirection, image, inputPoints, ratio,
                                           *outputPoints, &mapX, &mapY);
        if (built != CALIBMAP_SUCCESS) {
            report("%s line:%d leave. calcMainCameraUnDistortionB fail. ret:%d", name, 680, built);
            return CALIBMAP_STEP_FAILED;
        }
    } else if (flag != CALIBMAP_RGB_DISTORTION) {
        return CALIBMAP_SUCCESS;
    }

    // There is no model of the RGB camera: its maps stay null, and the delivery refuses them.
    const int32_t delivered = extractDistData2CamDistortionLUT(mapX, mapY, outputPoints);
    destroyMat(&mapX);
    destroyMat(&mapY);
    if (delivered == CALIBMAP_SUCCESS) {
        return CALIBMAP_SUCCESS;
    }
    if (flag == CALIBMAP_DISTORTION) {
        report("%s line:%d leave. ir dist extractDistData2CamDistortionLUT fail ret:%d", name, 635,
               delivered);
    } else if (flag == CALIBMAP_UNDISTORTION) {
        report("%s ir undist extractDistData2CamDistortionLUT fail", name);
    } else {
        report("%s line:%d leave. rgb dist extractDistData2CamDistortionLUT fail ret:%d.", name,
               664, delivered);
    }
    return CALIBMAP_STEP_FAILED;
}

int32_t DistortionProcess(int32_t flag, int32_t ratio, const CamDistortionLUT* inputPoints,
                          const CamDistortionLUT* outputPoints) {
    constexpr const char* name = "DistortionProcess";
    if (flag < CALIBMAP_RGB_DISTORTION || flag > CALIBMAP_FILE_CHECK) {
        report("%s line:%d leave. input flag(%d) dose't not support.", name, 116, flag);
        return CALIBMAP_UNSUPPORTED;
    }
    if (ratio < 0) {
        report("%s line:%d leave. input ratio(%d) dose't not support.", name, 122, ratio);
        return CALIBMAP_UNSUPPORTED;
    }
    if (outputPoints == nullptr) {
        report("%s line:%d leave. outputPoints ptr is empty", name, 127);
        return CALIBMAP_BAD_ARGUMENT;
    }
    if (hasNoSamples(*outputPoints)) {
        report("%s line:%d leave. outputPoints rows(%d) and cols(%d) invalid", name, 133,
               outputPoints->rows, outputPoints->cols);
        return CALIBMAP_BAD_ARGUMENT;
    }
    if (inputPoints != nullptr && hasNoSamples(*inputPoints)) {
        report("%s line:%d leave. inputPoints rows(%d) and cols(%d) invalid", name, 139,
               inputPoints->rows, inputPoints->cols);
        return CALIBMAP_BAD_ARGUMENT;
    }
    if (ratio != 1 && ratio % 2 != 0) {
        report("%s line:%d leave. input ratio(%d) invalid", name, 147, ratio);
        return CALIBMAP_BAD_ARGUMENT;
    }
    if (isFileExists(calibin) != 0) {
        report("%s line:%d leave. calib bin file not exist", name, 153);
        return CALIBMAP_FILE_MISSING;
    }
    return doDistortionProcess(calibin, flag, ratio, inputPoints, outputPoints);
}
