#include "distortion/main_camera.h"

#include <stddef.h>

#include "calib/layout.h"
#include "container/live_counts.h"
#include "diagnostics.h"

static_assert(offsetof(BsplineModel, xpieces) == 2 && offsetof(BsplineModel, xknotsVec) == 8 &&
              offsetof(BsplineModel, xcorrectMatrix) == 24 && sizeof(BsplineModel) == 40);

namespace {

/** Everything that one call holds apart from the maps, in the order of creation. */
struct Building {
    Mat* cameraMatrix;
    VectorDouble* linspaceXVec;
    VectorDouble* linspaceYVec;
    BsplineModel model;
};

void release(Building& b) {
    destroyMat(&b.cameraMatrix);
    destroyVectorDouble(&b.linspaceXVec);
    destroyVectorDouble(&b.linspaceYVec);
    destroyVectorDouble(&b.model.xknotsVec);
    destroyVectorDouble(&b.model.yknotsVec);
    destroyMat(&b.model.xcorrectMatrix);
    destroyMat(&b.model.ycorrectMatrix);
}

int32_t fail(Building& building, const MapDirection& direction, const char* format, int32_t line) {
    report(format, direction.name, line + direction.lineOffset);
    release(building);
    return CALIBMAP_STEP_FAILED;
}

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

}  // namespace

int32_t buildMaps(const MapDirection& direction, const uint8_t* block,
                  const CamDistortionLUT* inputPoints, int32_t ratio, int32_t imgW, int32_t imgH,
                  MapContent content, Mat** mapX, Mat** mapY) {
    const LiveCounts enter = liveCounts();
    const uint8_t* model = block + direction.model;
    Building b = {};
    b.cameraMatrix = createCameraMatrix(block);
    if (b.cameraMatrix == nullptr) {
        return fail(b, direction, "%s line:%d leave. cameraMatrix create fail", 71);
    }
    b.model.kx = block[CALIBMAP_X_ORDER];
    b.model.ky = block[CALIBMAP_Y_ORDER];
    b.model.xpieces = block[CALIBMAP_X_PIECES];
    b.model.ypieces = block[CALIBMAP_Y_PIECES];
    b.linspaceXVec = createBreaks(model + CALIBMAP_X_BREAKS, CALIBMAP_X_BREAK_COUNT);
    if (b.linspaceXVec == nullptr) {
        return fail(b, direction, "%s line:%d leave. linspaceXVec augknt fail", 93);
    }
    b.linspaceYVec = createBreaks(model + CALIBMAP_Y_BREAKS, CALIBMAP_Y_BREAK_COUNT);
    if (b.linspaceYVec == nullptr) {
        return fail(b, direction, "%s line:%d leave. linspaceYVec augknt fail", 107);
    }
    b.model.xknotsVec = augknt_init(b.linspaceXVec, b.model.kx);
    if (b.model.xknotsVec == nullptr) {
        return fail(b, direction, "%s line:%d leave. xknotsVec augknt fail", 122);
    }
    b.model.yknotsVec = augknt_init(b.linspaceYVec, b.model.ky);
    if (b.model.yknotsVec == nullptr) {
        return fail(b, direction, "%s line:%d leave. yknotsVec augknt fail", 133);
    }
    b.model.xcorrectMatrix = createCorrection(model + CALIBMAP_X_CORRECTION);
    if (b.model.xcorrectMatrix == nullptr) {
        return fail(b, direction, "%s line:%d leave. xcorrectMatrix augknt fail", 171);
    }
    b.model.ycorrectMatrix = createCorrection(model + CALIBMAP_Y_CORRECTION);
    if (b.model.ycorrectMatrix == nullptr) {
        return fail(b, direction, "%s line:%d leave. ycorrectMatrix augknt fail", 206);
    }

    const int32_t evaluated =
        evaluateGrid(b.cameraMatrix, &b.model, inputPoints, imgW, imgH, ratio, content, mapX, mapY);
    release(b);
    if (evaluated != CALIBMAP_SUCCESS) {
        destroyMat(mapX);
        destroyMat(mapY);
        report("%s line:%d gridUndisortion fail(%d)", direction.name, 233 + direction.lineOffset,
               evaluated);
        return evaluated;
    }

    const LiveCounts leave = liveCounts();
    int32_t status = CALIBMAP_SUCCESS;
    if (leave.vectors != enter.vectors) {
        destroyMat(mapX);
        destroyMat(mapY);
        report("%s line:%d some vectors not free.", direction.name, 243 + direction.lineOffset);
        status = CALIBMAP_VECTOR_LEAK;
    }
    if (leave.matrices != enter.matrices + 2) {
        destroyMat(mapX);
        destroyMat(mapY);
        report("%s line:%d some mats not free.", direction.name, 251 + direction.lineOffset);
        return CALIBMAP_MATRIX_LEAK;
    }
    return status;
}

int32_t calcMainCameraDistortionB(const uint8_t* mainCameraBlock,
                                  const CamDistortionLUT* inputPoints, int32_t ratio, int32_t imgW,
                                  int32_t imgH, Mat** mapX, Mat** mapY) {
    return buildMaps(distortionDirection, mainCameraBlock, inputPoints, ratio, imgW, imgH,
                     MapContent::complete, mapX, mapY);
}

int32_t calcMainCameraUnDistortionB(const uint8_t* mainCameraBlock,
                                    const CamDistortionLUT* inputPoints, int32_t ratio,
                                    int32_t imgW, int32_t imgH, Mat** mapX, Mat** mapY) {
    return buildMaps(undistortionDirection, mainCameraBlock, inputPoints, ratio, imgW, imgH,
                     MapContent::complete, mapX, mapY);
}

int32_t calcSubCameraDistortionB() {
    return 0;
}
