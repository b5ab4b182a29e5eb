#include "distortion/main_camera.h"

#include <stddef.h>

#include "calib/layout.h"

static_assert(offsetof(BsplineModel, xpieces) == 2 &&
              offsetof(BsplineModel, xknotsVec) == sizeof(void*) &&
              offsetof(BsplineModel, xcorrectMatrix) == 3 * sizeof(void*) &&
              sizeof(BsplineModel) == 5 * sizeof(void*));

namespace calibmap {

namespace {

/** What a finished building still holds: the four vectors and three matrices of its own. */
constexpr Held heldByBuilding = {4, 3 + gridMatrices};

/** Widens `count` float32 values of the file. */
void widen(const uint8_t* field, int32_t count, double* values) {
    for (int32_t i = 0; i < count; ++i) {
        values[i] = loadFloat(field + int64_t{wordSize} * i);
    }
}

Mat* createCameraMatrix(const uint8_t* block) {
    const double fx = loadFloat(block + CALIBMAP_FX);
    const double fy = loadFloat(block + CALIBMAP_FY);
    const double cx = loadFloat(block + CALIBMAP_CX);
    const double cy = loadFloat(block + CALIBMAP_CY);
    const double elements[] = {fx, 0, cx, 0, fy, cy, 0, 0, 1};
    return createMatFromArray(3, 3, elements);
}

VectorDouble* createBreaks(const uint8_t* field, int32_t count) {
    auto* breaks = createVectorDouble(count);
    if (breaks != nullptr) {
        widen(field, count, breaks->data);
    }
    return breaks;
}

Mat* createCorrection(const uint8_t* field) {
    double elements[CALIBMAP_CORRECTION_ROWS * CALIBMAP_CORRECTION_COLS];
    widen(field, CALIBMAP_CORRECTION_ROWS * CALIBMAP_CORRECTION_COLS, elements);
    return createMatFromArray(CALIBMAP_CORRECTION_ROWS, CALIBMAP_CORRECTION_COLS, elements);
}

/** Builds what the evaluation takes from the block. */
bool createModel(const MapDirection& direction, const uint8_t* block, MapBuilding& b) {
    const uint8_t* model = block + direction.model;
    b.model.kx = block[CALIBMAP_X_ORDER];
    b.model.ky = block[CALIBMAP_Y_ORDER];
    b.model.xpieces = block[CALIBMAP_X_PIECES];
    b.model.ypieces = block[CALIBMAP_Y_PIECES];
    const auto part = [&](auto& handle, auto* made, int32_t line, const char* text) {
        return keep(handle, made, direction.reporter, line, text);
    };
    return part(b.cameraMatrix, createCameraMatrix(block), 71,
                " leave. cameraMatrix create fail") &&
           part(b.linspaceXVec, createBreaks(model + CALIBMAP_X_BREAKS, CALIBMAP_X_BREAK_COUNT), 93,
                " leave. linspaceXVec augknt fail") &&
           part(b.linspaceYVec, createBreaks(model + CALIBMAP_Y_BREAKS, CALIBMAP_Y_BREAK_COUNT),
                107, " leave. linspaceYVec augknt fail") &&
           part(b.model.xknotsVec, augknt_init(b.linspaceXVec, b.model.kx), 122,
                " leave. xknotsVec augknt fail") &&
           part(b.model.yknotsVec, augknt_init(b.linspaceYVec, b.model.ky), 133,
                " leave. yknotsVec augknt fail") &&
           part(b.model.xcorrectMatrix, createCorrection(model + CALIBMAP_X_CORRECTION), 171,
                " leave. xcorrectMatrix augknt fail") &&
           part(b.model.ycorrectMatrix, createCorrection(model + CALIBMAP_Y_CORRECTION), 206,
                " leave. ycorrectMatrix augknt fail");
}

/** The builder of one direction. */
int32_t buildMaps(const MapDirection& direction, const uint8_t* block, const SampleRequest& request,
                  Mat** mapX, Mat** mapY) {
    MapBuilding building = {};
    const int32_t status = prepareMaps(direction, block, request, building, {mapX, mapY, true});
    if (status == CALIBMAP_SUCCESS) {
        computeGrid(building.grid, (*mapX)->data, (*mapY)->data);
        releaseBuilding(building);
    }
    return status;
}

}  // namespace

int32_t prepareMaps(const MapDirection& direction, const uint8_t* block,
                    const SampleRequest& request, MapBuilding& building, const MapHandles& maps) {
    const LiveCounts enter = enterCounts();
    MapBuilding& b = building;
    if (!createModel(direction, block, b)) {
        releaseBuilding(b);
        return CALIBMAP_STEP_FAILED;
    }
    const int32_t evaluated = prepareGrid(b.cameraMatrix, &b.model, request, b.grid, maps);
    if (evaluated != CALIBMAP_SUCCESS) {
        releaseBuilding(b);
        destroyMat(maps.x);
        destroyMat(maps.y);
        report("%s line:%d gridUndisortion fail(%d)", direction.reporter.function,
               233 + direction.reporter.lineOffset, evaluated);
        return evaluated;
    }
    const int32_t status = settleCounts(enter, heldByBuilding, direction.reporter, 243, 251, maps);
    if (status != CALIBMAP_SUCCESS) {
        releaseBuilding(b);
    }
    return status;
}

void releaseBuilding(MapBuilding& building) {
    MapBuilding& b = building;
    destroyMat(&b.cameraMatrix);
    destroyVectorDouble(&b.linspaceXVec);
    destroyVectorDouble(&b.linspaceYVec);
    destroyVectorDouble(&b.model.xknotsVec);
    destroyVectorDouble(&b.model.yknotsVec);
    destroyMat(&b.model.xcorrectMatrix);
    destroyMat(&b.model.ycorrectMatrix);
    releaseGrid(b.grid);
}

}  // namespace calibmap

using namespace calibmap;

int32_t calcMainCameraDistortionB(const uint8_t* mainCameraBlock,
                                  const CamDistortionLUT* inputPoints, int32_t ratio, int32_t imgW,
                                  int32_t imgH, Mat** mapX, Mat** mapY) {
    const SampleRequest request = {
        .inputPoints = inputPoints, .imgW = imgW, .imgH = imgH, .ratio = ratio};
    return buildMaps(distortionDirection, mainCameraBlock, request, mapX, mapY);
}

int32_t calcMainCameraUnDistortionB(const uint8_t* mainCameraBlock,
                                    const CamDistortionLUT* inputPoints, int32_t ratio,
                                    int32_t imgW, int32_t imgH, Mat** mapX, Mat** mapY) {
    const SampleRequest request = {
        .inputPoints = inputPoints, .imgW = imgW, .imgH = imgH, .ratio = ratio};
    return buildMaps(undistortionDirection, mainCameraBlock, request, mapX, mapY);
}

int32_t calcSubCameraDistortionB() {
    return 0;
}
