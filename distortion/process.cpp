#include <stddef.h>

#include "calib/layout.h"
#include "calib/stack.h"
#include "distortion/delivery.h"
#include "distortion/main_camera.h"

static_assert(offsetof(CamDistortionLUT, y) == sizeof(void*) &&
              offsetof(CamDistortionLUT, rows) == 2 * sizeof(void*) &&
              offsetof(CamDistortionLUT, cols) == 2 * sizeof(void*) + 4 &&
              sizeof(CamDistortionLUT) == 2 * sizeof(void*) + 8);

namespace calibmap {

namespace {

constexpr Reporter reporter = {"doDistortionProcess", 0};

bool hasNoSamples(const CamDistortionLUT& points) {
    return points.rows < 1 || points.cols < 1;
}

/** What failed of a map request. */
struct Outcome {
    int32_t built;
    int32_t delivered;
};

/**
 * One map request. Everything is created and every check is made before the first element is
 * computed, straight into the caller's arrays: so they need no copy to be safe, the maps' own
 * matrices need no elements, and arrays of another shape than the map cost nothing, however large
 * an image the file claims.
 */
Outcome deliverMaps(const MapDirection& direction, const uint8_t* image,
                    const CamDistortionLUT* inputPoints, int32_t ratio,
                    const CamDistortionLUT* outputPoints) {
    // Read once: what is proved about the record must hold for what is written, whoever changes it.
    const CamDistortionLUT output = *outputPoints;
    const uint8_t* block = image + CALIBMAP_MAIN_BLOCK;
    MapBuilding building = {};
    Mat* mapX = nullptr;
    Mat* mapY = nullptr;
    const SampleRequest request = {.inputPoints = inputPoints,
                                   .imgW = loadInt(block + CALIBMAP_IMAGE_WIDTH),
                                   .imgH = loadInt(block + CALIBMAP_IMAGE_HEIGHT),
                                   .ratio = ratio};
    Outcome outcome = {prepareMaps(direction, block, request, building, {&mapX, &mapY, false}),
                       CALIBMAP_STEP_FAILED};
    if (outcome.built == CALIBMAP_SUCCESS) {
        outcome.delivered = acceptDelivery(mapX, mapY, &output);
        if (outcome.delivered == CALIBMAP_SUCCESS) {
            computeGrid(building.grid, output.x, output.y);
        }
        releaseBuilding(building);
        destroyMat(&mapX);
        destroyMat(&mapY);
    }
    return outcome;
}

int32_t processDistortion(const uint8_t* image, const CamDistortionLUT* inputPoints, int32_t ratio,
                          const CamDistortionLUT* outputPoints) {
    const Outcome outcome =
        deliverMaps(distortionDirection, image, inputPoints, ratio, outputPoints);
    if (outcome.built != CALIBMAP_SUCCESS) {
        report("%s line:%d leave. ir calcMainCameraDistortionB fail. ret:%d", reporter.function,
               624, outcome.built);
        return CALIBMAP_STEP_FAILED;
    }
    if (outcome.delivered != CALIBMAP_SUCCESS) {
        report("%s line:%d leave. ir dist extractDistData2CamDistortionLUT fail ret:%d",
               reporter.function, 635, outcome.delivered);
        return CALIBMAP_STEP_FAILED;
    }
    return CALIBMAP_SUCCESS;
}

int32_t processUndistortion(const uint8_t* image, const CamDistortionLUT* inputPoints,
                            int32_t ratio, const CamDistortionLUT* outputPoints) {
    const Outcome outcome =
        deliverMaps(undistortionDirection, image, inputPoints, ratio, outputPoints);
    if (outcome.built != CALIBMAP_SUCCESS) {
        report("%s line:%d leave. calcMainCameraUnDistortionB fail. ret:%d", reporter.function, 680,
               outcome.built);
        return CALIBMAP_STEP_FAILED;
    }
    if (outcome.delivered != CALIBMAP_SUCCESS) {
        report("%s ir undist extractDistData2CamDistortionLUT fail", reporter.function);
        return CALIBMAP_STEP_FAILED;
    }
    return CALIBMAP_SUCCESS;
}

/** There is no model of the RGB camera: it has no maps, and the delivery refuses them. */
int32_t processRgb(const CamDistortionLUT* outputPoints) {
    report("%s line:%d leave. rgb dist extractDistData2CamDistortionLUT fail ret:%d.",
           reporter.function, 664, acceptDelivery(nullptr, nullptr, outputPoints));
    return CALIBMAP_STEP_FAILED;
}

/** Reads and verifies the file; a status other than 0 after a report. */
int32_t readVerified(const char* path, uint8_t* image) {
    const int32_t read = readCalibrationDataC(path, image);
    if (read != 0) {
        report("%s line:%d leave. readCalibrationDataC fail(%d)", reporter.function, 595, read);
        return CALIBMAP_FILE_UNREADABLE;
    }
    if (checksumTest(image) != CALIBMAP_SUCCESS) {
        refuse(reporter, 602, " leave. calibration file checksum fail");
        return CALIBMAP_CHECKSUM_WRONG;
    }
    if (!calibrationPassed(image)) {
        refuse(reporter, 608, " leave. calibration file pass flag is 0(fail calibration bin file)");
        return CALIBMAP_NOT_PASSED;
    }
    return CALIBMAP_SUCCESS;
}

/** The request on the file, apart because of its large frame. */
[[gnu::noinline]] int32_t processFile(const char* path, int32_t flag, int32_t ratio,
                                      const CamDistortionLUT* inputPoints,
                                      const CamDistortionLUT* outputPoints) {
    CalibrationFile image;
    const int32_t verified = readVerified(path, image);
    if (verified != CALIBMAP_SUCCESS) {
        return verified;
    }
    switch (flag) {
        case CALIBMAP_DISTORTION:
            return processDistortion(image, inputPoints, ratio, outputPoints);
        case CALIBMAP_UNDISTORTION:
            return processUndistortion(image, inputPoints, ratio, outputPoints);
        case CALIBMAP_RGB_DISTORTION:
            return processRgb(outputPoints);
        default:
            return CALIBMAP_SUCCESS;
    }
}

}  // namespace

}  // namespace calibmap

using namespace calibmap;

int32_t doDistortionProcess(const char* path, int32_t flag, int32_t ratio,
                            const CamDistortionLUT* inputPoints,
                            const CamDistortionLUT* outputPoints) {
    if (path == nullptr) {
        refuse(reporter, 578, " leave. input calibration bin is nullptr");
        return CALIBMAP_STEP_FAILED;
    }
    if (outputPoints == nullptr) {
        refuse(reporter, 583, " leave. outputPoints is all nullptr");
        return CALIBMAP_STEP_FAILED;
    }
    touchStackForImage();
    return processFile(path, flag, ratio, inputPoints, outputPoints);
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
    const CamDistortionLUT output = *outputPoints;
    if (hasNoSamples(output)) {
        report("%s line:%d leave. outputPoints rows(%d) and cols(%d) invalid", name, 133,
               output.rows, output.cols);
        return CALIBMAP_BAD_ARGUMENT;
    }
    if (inputPoints != nullptr) {
        const CamDistortionLUT input = *inputPoints;
        if (hasNoSamples(input)) {
            report("%s line:%d leave. inputPoints rows(%d) and cols(%d) invalid", name, 139,
                   input.rows, input.cols);
            return CALIBMAP_BAD_ARGUMENT;
        }
    }
    if (ratio != 1 && ratio % 2 != 0) {
        report("%s line:%d leave. input ratio(%d) invalid", name, 147, ratio);
        return CALIBMAP_BAD_ARGUMENT;
    }
    if (isFileExists(calibin) != 0) {
        report("%s line:%d leave. calib bin file not exist", name, 153);
        return CALIBMAP_FILE_MISSING;
    }
    return doDistortionProcess(calibin, flag, ratio, inputPoints, &output);
}
