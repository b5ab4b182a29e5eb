#include "calibmap.h"

namespace calibmap {

namespace {

constexpr uint8_t allBits = 255;

int32_t sumOfRange(const uint8_t* start, int32_t length) {
    return start == nullptr ? allBits : calibrationSum(start, length);
}

int32_t sealRange(uint8_t* start, int32_t length) {
    if (start == nullptr) {
        return -1;
    }
    start[length] = calibrationChecksum(start, length);
    return 0;
}

bool holds(uint8_t storedChecksum, int32_t sum) {
    return storedChecksum + sum == allBits;
}

}  // namespace

}  // namespace calibmap

using namespace calibmap;

uint8_t calibrationSum(const uint8_t* bytes, int32_t length) {
    uint8_t sum = 0;  // of which a vector holds many
    for (int32_t i = 0; i < length; ++i) {
        sum = static_cast<uint8_t>(sum + bytes[i]);
    }
    return sum;
}

uint8_t calibrationChecksum(const uint8_t* bytes, int32_t length) {
    return calibrationSum(bytes, length) ^ allBits;
}

int32_t MainCameraIntervalCalibrationSum(const uint8_t* block) {
    return sumOfRange(block, CALIBMAP_MAIN_BLOCK_SIZE);
}

int32_t SubCameraIntervalCalibrationSum(const uint8_t* block) {
    return sumOfRange(block, CALIBMAP_SUB_BLOCK_SIZE);
}

int32_t CameraExtervalCalibrationSum(const uint8_t* block) {
    return sumOfRange(block, CALIBMAP_EXTRINSIC_BLOCK_SIZE);
}

int32_t TotalCalibrationSum(const uint8_t* image) {
    return sumOfRange(image, CALIBMAP_CHECKED_SIZE);
}

int32_t MainCameraIntervalCalibrationChecksum(uint8_t* block) {
    return sealRange(block, CALIBMAP_MAIN_BLOCK_SIZE);
}

int32_t SubCameraIntervalCalibrationChecksum(uint8_t* block) {
    return sealRange(block, CALIBMAP_SUB_BLOCK_SIZE);
}

int32_t CameraExtervalCalibrationChecksum(uint8_t* block) {
    return sealRange(block, CALIBMAP_EXTRINSIC_BLOCK_SIZE);
}

int32_t TotalCalibrationChecksum(uint8_t* image) {
    return sealRange(image, CALIBMAP_CHECKED_SIZE);
}

int32_t checksumTest(const uint8_t* image) {
    const uint8_t* mainBlock = image + CALIBMAP_MAIN_BLOCK;
    const uint8_t* subBlock = image + CALIBMAP_SUB_BLOCK;
    const uint8_t* extrinsicBlock = image + CALIBMAP_EXTRINSIC_BLOCK;
    const bool intact =
        holds(mainBlock[CALIBMAP_MAIN_BLOCK_SIZE], MainCameraIntervalCalibrationSum(mainBlock)) &&
        holds(subBlock[CALIBMAP_SUB_BLOCK_SIZE], SubCameraIntervalCalibrationSum(subBlock)) &&
        holds(extrinsicBlock[CALIBMAP_EXTRINSIC_BLOCK_SIZE],
              CameraExtervalCalibrationSum(extrinsicBlock)) &&
        holds(image[CALIBMAP_CHECKED_SIZE], TotalCalibrationSum(image));
    return intact ? CALIBMAP_SUCCESS : CALIBMAP_CHECKSUM_WRONG;
}
