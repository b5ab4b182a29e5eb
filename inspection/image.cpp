#include "inspection/image.h"

#include <bit>

namespace {

template <class Floats>
void loadFloats(const Image& image, std::size_t offset, Floats& values) {
    for (float& value : values) {
        value = floatAt(image, offset);
        offset += sizeof value;
    }
}

}  // namespace

std::string nameOf(Direction direction) {
    return direction == Direction::undistort ? "undistort" : "distort";
}

std::string imageOf(Direction direction) {
    return direction == Direction::undistort ? "straight" : "recorded";
}

std::size_t modelOffset(Direction direction) {
    return std::size_t{CALIBMAP_MAIN_BLOCK} + (direction == Direction::undistort
                                                   ? CALIBMAP_UNDISTORTION_MODEL
                                                   : CALIBMAP_DISTORTION_MODEL);
}

Camera mainCameraOf(const Image& image) {
    const CameraIntrinsics camera = extractMainCameraIntrn(image.data());
    return {camera.imageWidth, camera.imageHeight, camera.fx, camera.fy, camera.cx, camera.cy};
}

ModelShape modelShapeOf(const Image& image) {
    constexpr std::size_t block = CALIBMAP_MAIN_BLOCK;
    return {image[block + CALIBMAP_X_ORDER], image[block + CALIBMAP_Y_ORDER],
            image[block + CALIBMAP_X_PIECES], image[block + CALIBMAP_Y_PIECES]};
}

CorrectionModel modelOf(const Image& image, Direction direction) {
    const std::size_t base = modelOffset(direction);
    CorrectionModel model{};
    loadFloats(image, base + CALIBMAP_X_BREAKS, model.xBreaks);
    loadFloats(image, base + CALIBMAP_Y_BREAKS, model.yBreaks);
    loadFloats(image, base + CALIBMAP_X_CORRECTION, model.xCorrection);
    loadFloats(image, base + CALIBMAP_Y_CORRECTION, model.yCorrection);
    return model;
}

uint32_t wordAt(const Image& image, std::size_t offset) {
    uint32_t value = 0;
    for (std::size_t i = 0; i < sizeof value; ++i) {
        value |= static_cast<uint32_t>(image[offset + i]) << (8 * i);
    }
    return value;
}

float floatAt(const Image& image, std::size_t offset) {
    return std::bit_cast<float>(wordAt(image, offset));
}
