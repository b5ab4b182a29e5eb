#include "inspection/fields.h"

#include "inspection/image.h"

namespace {

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
    fields.insert(fields.end(), {{"extrinsics", extrinsics, word,
                                  CALIBMAP_EXTRINSIC_BLOCK_SIZE / sizeof(uint32_t)}});
    return fields;
}

}  // namespace

std::size_t sizeOf(FieldType type) {
    return type == FieldType::byte ? 1 : sizeof(uint32_t);
}

bool belongsToModel(const Field& field) {
    const auto isIn = [&field](Direction direction) {
        const std::size_t model = modelOffset(direction);
        return field.offset >= model && field.offset < model + modelSize;
    };
    return isIn(Direction::undistort) || isIn(Direction::distort);
}

const std::vector<Field>& namedFields() {
    static const std::vector<Field> fields = listFields();
    return fields;
}
