#include "making/producer.h"

#include <algorithm>
#include <bit>

namespace {

void storeWord(Image& image, std::size_t offset, uint32_t value) {
    for (std::size_t i = 0; i < sizeof value; ++i) {
        image[offset + i] = static_cast<uint8_t>(value >> (8 * i));
    }
}

template <class Floats>
void storeFloats(Image& image, std::size_t offset, const Floats& values) {
    for (const float value : values) {
        storeWord(image, offset, std::bit_cast<uint32_t>(value));
        offset += sizeof value;
    }
}

}  // namespace

Image emptyImage() {
    Image image{};
    image[CALIBMAP_PASS_FLAG] = 1;
    uint8_t* const mainBlock = image.data() + CALIBMAP_MAIN_BLOCK;
    mainBlock[CALIBMAP_X_ORDER] = static_cast<uint8_t>(fittingShape.xOrder);
    mainBlock[CALIBMAP_Y_ORDER] = static_cast<uint8_t>(fittingShape.yOrder);
    mainBlock[CALIBMAP_X_PIECES] = static_cast<uint8_t>(fittingShape.xPieces);
    mainBlock[CALIBMAP_Y_PIECES] = static_cast<uint8_t>(fittingShape.yPieces);
    return image;
}

CameraIntrinsics intrinsicsFrom(const Camera& camera, const Words& coeff) {
    CameraIntrinsics stored = {camera.width,
                               camera.height,
                               static_cast<float>(camera.cx),
                               static_cast<float>(camera.cy),
                               static_cast<float>(camera.fx),
                               static_cast<float>(camera.fy),
                               {}};
    std::copy(coeff.begin(), coeff.end(), stored.coeff);
    return stored;
}

Words coefficientsFrom(const Lens& lens) {
    Words words{};
    for (std::size_t i = 0; i < 5; ++i) {
        words[i] = std::bit_cast<uint32_t>(static_cast<float>(lens.terms[i]));
    }
    return words;
}

void storeCamera(Image& image, std::size_t block, const CameraIntrinsics& camera) {
    storeWord(image, block + CALIBMAP_IMAGE_HEIGHT, static_cast<uint32_t>(camera.imageHeight));
    storeWord(image, block + CALIBMAP_IMAGE_WIDTH, static_cast<uint32_t>(camera.imageWidth));
    storeFloats(image, block + CALIBMAP_FX, std::array{camera.fx});
    storeFloats(image, block + CALIBMAP_FY, std::array{camera.fy});
    storeFloats(image, block + CALIBMAP_CX, std::array{camera.cx});
    storeFloats(image, block + CALIBMAP_CY, std::array{camera.cy});
    for (std::size_t i = 0; i < CALIBMAP_COEFF_COUNT; ++i) {
        storeWord(image, block + CALIBMAP_COEFF + sizeof(uint32_t) * i, camera.coeff[i]);
    }
}

void storeModel(Image& image, Direction direction, const CorrectionModel& model) {
    const std::size_t base = modelOffset(direction);
    storeFloats(image, base + CALIBMAP_X_BREAKS, model.xBreaks);
    storeFloats(image, base + CALIBMAP_Y_BREAKS, model.yBreaks);
    storeFloats(image, base + CALIBMAP_X_CORRECTION, model.xCorrection);
    storeFloats(image, base + CALIBMAP_Y_CORRECTION, model.yCorrection);
}

void seal(Image& image) {
    MainCameraIntervalCalibrationChecksum(image.data() + CALIBMAP_MAIN_BLOCK);
    SubCameraIntervalCalibrationChecksum(image.data() + CALIBMAP_SUB_BLOCK);
    CameraExtervalCalibrationChecksum(image.data() + CALIBMAP_EXTRINSIC_BLOCK);
    TotalCalibrationChecksum(image.data());
}
