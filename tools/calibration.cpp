#include "calibration.h"

#include <bit>

#include "failure.h"

namespace {

std::size_t modelOffset(Direction direction) {
    return std::size_t{CALIBMAP_MAIN_BLOCK} + (direction == Direction::undistort
                                                   ? CALIBMAP_UNDISTORTION_MODEL
                                                   : CALIBMAP_DISTORTION_MODEL);
}

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

template <class Floats>
void loadFloats(const Image& image, std::size_t offset, Floats& values) {
    for (float& value : values) {
        value = floatAt(image, offset);
        offset += sizeof value;
    }
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

void appendCameraFields(std::vector<Field>& fields, const std::string& camera, std::size_t block) {
    using enum FieldType;
    fields.insert(fields.end(),
                  {{camera + ".imageHeight", block + CALIBMAP_IMAGE_HEIGHT, int32, 1},
                   {camera + ".imageWidth", block + CALIBMAP_IMAGE_WIDTH, int32, 1},
                   {camera + ".fx", block + CALIBMAP_FX, float32, 1},
                   {camera + ".fy", block + CALIBMAP_FY, float32, 1},
                   {camera + ".cx", block + CALIBMAP_CX, float32, 1},
                   {camera + ".cy", block + CALIBMAP_CY, float32, 1},
                   {camera + ".coeff", block + CALIBMAP_COEFF, word, CALIBMAP_COEFF_COUNT}});
}

void appendModelFields(std::vector<Field>& fields, const std::string& model, Direction direction) {
    using enum FieldType;
    const std::size_t base = modelOffset(direction);
    fields.insert(fields.end(),
                  {{model + ".xbreaks", base + CALIBMAP_X_BREAKS, float32, CALIBMAP_X_BREAK_COUNT},
                   {model + ".ybreaks", base + CALIBMAP_Y_BREAKS, float32, CALIBMAP_Y_BREAK_COUNT},
                   {model + ".xcorrect", base + CALIBMAP_X_CORRECTION, float32,
                    CorrectionModel::coefficientCount},
                   {model + ".ycorrect", base + CALIBMAP_Y_CORRECTION, float32,
                    CorrectionModel::coefficientCount}});
}

std::vector<Field> listFields() {
    using enum FieldType;
    constexpr std::size_t mainBlock = CALIBMAP_MAIN_BLOCK;
    constexpr std::size_t extrinsics = CALIBMAP_EXTRINSIC_BLOCK;
    std::vector<Field> fields = {{"passFlag", CALIBMAP_PASS_FLAG, byte, 1}};
    appendCameraFields(fields, "main", CALIBMAP_MAIN_BLOCK);
    fields.insert(fields.end(), {{"main.kx", mainBlock + CALIBMAP_X_ORDER, byte, 1},
                                 {"main.ky", mainBlock + CALIBMAP_Y_ORDER, byte, 1},
                                 {"main.xpieces", mainBlock + CALIBMAP_X_PIECES, byte, 1},
                                 {"main.ypieces", mainBlock + CALIBMAP_Y_PIECES, byte, 1}});
    appendModelFields(fields, "distortion", Direction::distort);
    appendModelFields(fields, "undistortion", Direction::undistort);
    appendCameraFields(fields, "sub", CALIBMAP_SUB_BLOCK);
    fields.insert(fields.end(), {{"extrinsics", extrinsics, byte, CALIBMAP_EXTRINSIC_BLOCK_SIZE}});
    return fields;
}

}  // namespace

std::string nameOf(Direction direction) {
    return direction == Direction::undistort ? "undistort" : "distort";
}

std::size_t sizeOf(FieldType type) {
    return type == FieldType::byte ? 1 : sizeof(uint32_t);
}

Verdict examine(const std::string& path, Image& image) {
    if (isFileExists(path.c_str()) != 0) {
        return {CALIBMAP_FILE_MISSING, "there is no such file", "check the path"};
    }
    if (readCalibrationDataC(path.c_str(), image.data()) != 0) {
        return {CALIBMAP_FILE_UNREADABLE,
                "cannot be read as a calibration file of " + std::to_string(CALIBMAP_FILE_SIZE) +
                    " bytes",
                "check its size and permissions, or copy it from the device again"};
    }
    if (checksumTest(image.data()) != 0) {
        std::string wrong;
        for (const CheckedRange& range : checkedRanges(image)) {
            if (range.stored != range.computed) {
                wrong += (wrong.empty() ? "" : " and ") + range.name;
            }
        }
        return {CALIBMAP_CHECKSUM_WRONG, "the checksum does not hold (" + wrong + ")",
                "copy it from the device again or have the device calibrated again"};
    }
    if (image[CALIBMAP_PASS_FLAG] != 1) {
        return {CALIBMAP_NOT_PASSED,
                "the pass flag is " + std::to_string(image[CALIBMAP_PASS_FLAG]) +
                    ", so the calibration failed",
                "have the device calibrated again"};
    }
    return {CALIBMAP_SUCCESS, "", ""};
}

Image loadCalibration(const std::string& path) {
    Image image{};
    const Verdict verdict = examine(path, image);
    if (verdict.status != CALIBMAP_SUCCESS) {
        throw Failure(path, verdict.reason, verdict.remedy);
    }
    return image;
}

std::vector<CheckedRange> checkedRanges(const Image& image) {
    const auto range = [&image](const char* name, std::size_t first, int32_t size) {
        return CheckedRange{name, first, static_cast<std::size_t>(size),
                            image[first + static_cast<std::size_t>(size)],
                            calibrationChecksum(image.data() + first, size)};
    };
    return {range("main camera", CALIBMAP_MAIN_BLOCK, CALIBMAP_MAIN_BLOCK_SIZE),
            range("sub camera", CALIBMAP_SUB_BLOCK, CALIBMAP_SUB_BLOCK_SIZE),
            range("extrinsics", CALIBMAP_EXTRINSIC_BLOCK, CALIBMAP_EXTRINSIC_BLOCK_SIZE),
            range("whole file", 0, CALIBMAP_CHECKED_SIZE)};
}

const std::vector<Field>& namedFields() {
    static const std::vector<Field> fields = listFields();
    return fields;
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

Image sealedImage(const CalibrationContent& content) {
    Image image{};
    image[CALIBMAP_PASS_FLAG] = 1;
    uint8_t* const mainBlock = image.data() + CALIBMAP_MAIN_BLOCK;
    storeCamera(image, CALIBMAP_MAIN_BLOCK, content.mainCamera);
    storeCamera(image, CALIBMAP_SUB_BLOCK, content.subCamera);
    mainBlock[CALIBMAP_X_ORDER] = static_cast<uint8_t>(content.shape.xOrder);
    mainBlock[CALIBMAP_Y_ORDER] = static_cast<uint8_t>(content.shape.yOrder);
    mainBlock[CALIBMAP_X_PIECES] = static_cast<uint8_t>(content.shape.xPieces);
    mainBlock[CALIBMAP_Y_PIECES] = static_cast<uint8_t>(content.shape.yPieces);
    storeModel(image, Direction::undistort, content.undistortion);
    storeModel(image, Direction::distort, content.distortion);
    storeFloats(image, CALIBMAP_EXTRINSIC_BLOCK, content.extrinsics);

    MainCameraIntervalCalibrationChecksum(mainBlock);
    SubCameraIntervalCalibrationChecksum(image.data() + CALIBMAP_SUB_BLOCK);
    CameraExtervalCalibrationChecksum(image.data() + CALIBMAP_EXTRINSIC_BLOCK);
    TotalCalibrationChecksum(image.data());
    return image;
}
