#include "distortion/grid.h"

#include <initializer_list>

#include "container/mat.h"
#include "container/protocol.h"
#include "spline/collocation_matrix.h"

namespace calibmap {

namespace {

constexpr Reporter reporter = {"undisortionBspline", 0};

/**
 * The steps between the products and the maps. Their elements only ever stand in registers, so
 * these matrices are never read nor written: they exist so that an exhausted heap is reported under
 * the name of the step that it strikes.
 */
struct Steps {
    Mat* outputX;
    Mat* outputY;
    Mat* outputXmulFx;
    Mat* outputXmulFxaddCx;
    Mat* imgXRatio;
    Mat* outputYmulFy;
    Mat* outputYmulFyaddCy;
    Mat* imgYRatio;
};

void releaseSteps(Steps& s) {
    for (Mat** handle : {&s.outputX, &s.outputY, &s.outputXmulFx, &s.outputXmulFxaddCx,
                         &s.imgXRatio, &s.outputYmulFy, &s.outputYmulFyaddCy, &s.imgYRatio}) {
        destroyMat(handle);
    }
}

/** A step's matrix, of one element; null where the product a x b could not be made. */
Mat* createProductStep(const Mat* a, const Mat* b) {
    const bool isPossible =
        isMultipliable(a, b) && withinLimit(int64_t{a->rows} * b->cols, sizeof(double));
    return isPossible ? allocateMatrix<Mat>(1, 1) : nullptr;
}

/** A step's matrix; null where there is no operand. */
Mat* createStep(const Mat* operand) {
    return operand == nullptr ? nullptr : allocateMatrix<Mat>(1, 1);
}

/** A map, made by the last step from `operand`; null where that is missing. */
Mat* createMap(const Mat* operand, const GridEvaluation& grid) {
    return operand == nullptr ? nullptr : allocateMatrix<Mat>(grid.yAxis.count, grid.xAxis.count);
}

/** A column for the sample positions of an axis; null for no samples or a zero focal length. */
Mat* createSamples(const Axis& axis) {
    const bool isPossible = axis.count > 0 && axis.focalLength != 0.0;
    return isPossible ? allocateMatrix<Mat>(axis.count, 1) : nullptr;
}

void fillSamples(const Axis& axis, Mat& samples) {
    for (int32_t i = 0; i < axis.count; ++i) {
        const double position = axis.firstSample + axis.ratio * i;
        samples.data[i] = (position - axis.principalPoint) / axis.focalLength;
    }
}

/** The transpose of the collocation matrix, with room for the layout that the maps are made from.
 */
Mat* createTiles(const Mat* colMatrix) {
    const int64_t spare = tilesSize(colMatrix->cols, colMatrix->rows) - elementCount(*colMatrix);
    return allocateMatrix<Mat>(colMatrix->cols, colMatrix->rows, spare);
}

/** Creates the factors of both maps; a missing sample column makes its collocation matrix fail. */
bool createFactors(const BsplineModel& model, GridEvaluation& g, Steps& s) {
    const auto factor = [](Mat*& handle, Mat* made, int32_t line, const char* text) {
        return keep(handle, made, reporter, line, text);
    };
    return keepUntested(g.normYT, createSamples(g.yAxis)) &&
           keepUntested(g.normXT, createSamples(g.xAxis)) &&
           factor(g.colMatrixX, createCollocation(model.xknotsVec, model.kx, g.normXT, g.xBasis),
                  107, " leave. calc colMatrixX fail") &&
           factor(g.colMatrixY, createCollocation(model.yknotsVec, model.ky, g.normYT, g.yBasis),
                  118, " leave. calc colMatrixY fail") &&
           factor(g.colMatrixYmulCorrectMatrixX, createProduct(g.colMatrixY, g.xcorrectMatrix), 132,
                  " leave. calc colMatrixYmulCorrectMatrixX fail") &&
           factor(g.colMatrixXT, createTiles(g.colMatrixX), 143, " leave. calc colMatrixXT fail") &&
           keepUntested(s.outputX,
                        createProductStep(g.colMatrixYmulCorrectMatrixX, g.colMatrixXT)) &&
           keepUntested(g.colMatrixYmulCorrectMatrixY,
                        createProduct(g.colMatrixY, g.ycorrectMatrix)) &&
           factor(s.outputY, createProductStep(g.colMatrixYmulCorrectMatrixY, g.colMatrixXT), 176,
                  " leave. calc outputY fail");
}

/** Creates the steps of one map and the map, which is kept in its handle even where it is missing.
 */
bool createMapX(const GridEvaluation& g, Steps& s, Mat** undistX) {
    return keep(s.outputXmulFx, createStep(s.outputX), reporter, 197,
                " leave. create outputXmulFx fail") &&
           keep(s.outputXmulFxaddCx, createStep(s.outputXmulFx), reporter, 209,
                " leave. create outputXmulFxaddCx fail") &&
           keep(s.imgXRatio, createStep(s.outputXmulFxaddCx), reporter, 222,
                " leave. create imgXRatio fail") &&
           keep(*undistX, createMap(s.imgXRatio, g), reporter, 236, " leave. create undistX fail");
}

bool createMapY(const GridEvaluation& g, Steps& s, Mat** undistY) {
    return keep(s.outputYmulFy, createStep(s.outputY), reporter, 257,
                " leave. create outputYmulFy fail") &&
           keep(s.outputYmulFyaddCy, createStep(s.outputYmulFy), reporter, 273,
                " leave. create outputYmulFyaddCy fail") &&
           keepUntested(s.imgYRatio, createStep(s.outputYmulFyaddCy)) &&
           keep(*undistY, createMap(s.imgYRatio, g), reporter, 308,
                " leave. create imgYRatio fail");
}

bool acceptArguments(const BsplineModel& model, int32_t imgW, int32_t imgH, int32_t ratio) {
    if (model.kx == 0 || model.ky == 0 || model.xpieces == 0 || model.ypieces == 0) {
        report("%s line:%d leave. error input data. kx(%d) ky(%d) xpieces(%d), ypieces(%d)",
               reporter.function, 28, model.kx, model.ky, model.xpieces, model.ypieces);
        return false;
    }
    if (imgW < 1 || imgH < 1 || ratio < 1) {
        report("%s line:%d leave. error input data. imgW(%d) imgH(%d) ratio(%d)", reporter.function,
               34, imgW, imgH, ratio);
        return false;
    }
    return true;
}

/** Takes over what the evaluation reads: a caller may store the maps into the model's own handles.
 */
void takeOver(const Mat& cameraMatrix, const BsplineModel& model, int32_t imgW, int32_t imgH,
              int32_t ratio, GridEvaluation& grid) {
    const double* firstRow = cameraMatrix.data;
    const double* secondRow = cameraMatrix.data + cameraMatrix.cols;
    const double pixels = ratio;
    const double firstSample = static_cast<double>(ratio - 1) * 0.5;
    const double shift = 0.5 - pixels * 0.5;
    grid.xAxis = {imgW / ratio, firstRow[0], firstRow[2], pixels, firstSample, shift};
    grid.yAxis = {imgH / ratio, secondRow[1], secondRow[2], pixels, firstSample, shift};
    grid.xcorrectMatrix = model.xcorrectMatrix;
    grid.ycorrectMatrix = model.ycorrectMatrix;
}

MapFactor factorOf(const Mat& left, const Axis& axis) {
    return {left.data, {axis.focalLength, axis.principalPoint, axis.shift, axis.ratio}};
}

template <typename Element>
void compute(GridEvaluation& g, Element* mapX, Element* mapY) {
    fillSamples(g.xAxis, *g.normXT);
    fillSamples(g.yAxis, *g.normYT);
    evaluateSites(g.xBasis, g.normXT->data, g.normXT->rows, g.colMatrixX->data);
    evaluateSites(g.yBasis, g.normYT->data, g.normYT->rows, g.colMatrixY->data);
    packTransposed(g.colMatrixX->data, g.colMatrixX->cols, g.colMatrixX->rows, g.colMatrixXT->data);
    computeProduct(*g.colMatrixY, *g.xcorrectMatrix, *g.colMatrixYmulCorrectMatrixX);
    computeProduct(*g.colMatrixY, *g.ycorrectMatrix, *g.colMatrixYmulCorrectMatrixY);
    computeMaps({g.yAxis.count, g.xAxis.count, g.colMatrixXT->rows, g.colMatrixXT->data},
                factorOf(*g.colMatrixYmulCorrectMatrixX, g.xAxis),
                factorOf(*g.colMatrixYmulCorrectMatrixY, g.yAxis), mapX, mapY);
}

}  // namespace

int32_t prepareGrid(const Mat* cameraMatrix, const BsplineModel* model,
                    const CamDistortionLUT* inputPoints, int32_t imgW, int32_t imgH, int32_t ratio,
                    GridEvaluation& grid, Mat** undistX, Mat** undistY) {
    const LiveCounts enter = enterCounts();
    if (!acceptArguments(*model, imgW, imgH, ratio)) {
        return CALIBMAP_STEP_FAILED;
    }
    takeOver(*cameraMatrix, *model, imgW, imgH, ratio, grid);
    // Without the sample grid there are no factors, and the first step has nothing to start from.
    Steps steps = {};
    const bool madeX = (inputPoints != nullptr || createFactors(*model, grid, steps)) &&
                       createMapX(grid, steps, undistX);
    const bool made = madeX && createMapY(grid, steps, undistY);
    releaseSteps(steps);
    if (madeX && !made) {
        destroyMat(undistX);
    }
    const int32_t status =
        made ? settleCounts(enter, {0, gridMatrices}, reporter, 358, 366, undistX, undistY)
             : CALIBMAP_STEP_FAILED;
    if (status != CALIBMAP_SUCCESS) {
        releaseGrid(grid);
    }
    return status;
}

void computeGrid(GridEvaluation& grid, double* mapX, double* mapY) {
    compute(grid, mapX, mapY);
}

void computeGrid(GridEvaluation& grid, float* mapX, float* mapY) {
    compute(grid, mapX, mapY);
}

void releaseGrid(GridEvaluation& grid) {
    for (Mat** handle : {&grid.normYT, &grid.normXT, &grid.colMatrixX, &grid.colMatrixY,
                         &grid.colMatrixYmulCorrectMatrixX, &grid.colMatrixXT,
                         &grid.colMatrixYmulCorrectMatrixY}) {
        destroyMat(handle);
    }
}

int32_t settleCounts(const LiveCounts& enter, const Held& held, const Reporter& reporter,
                     int32_t vectorLine, int32_t matrixLine, Mat** mapX, Mat** mapY) {
    constexpr int32_t maps = 2;
    const CountCheck leave = leaveCounts(enter, held.vectors, held.matrices + maps);
    if (leave.vectorsMoved || leave.matricesMoved) {
        destroyMat(mapX);
        destroyMat(mapY);
    }
    int32_t status = CALIBMAP_SUCCESS;
    if (leave.vectorsMoved) {
        refuse(reporter, vectorLine, " some vectors not free.");
        status = CALIBMAP_VECTOR_LEAK;
    }
    if (leave.matricesMoved) {
        refuse(reporter, matrixLine, " some mats not free.");
        status = CALIBMAP_MATRIX_LEAK;
    }
    return status;
}

}  // namespace calibmap

using namespace calibmap;

int32_t undisortionBspline(const Mat* cameraMatrix, const BsplineModel* model,
                           const CamDistortionLUT* inputPoints, int32_t imgW, int32_t imgH,
                           int32_t ratio, Mat** undistX, Mat** undistY) {
    GridEvaluation grid = {};
    const int32_t status =
        prepareGrid(cameraMatrix, model, inputPoints, imgW, imgH, ratio, grid, undistX, undistY);
    if (status == CALIBMAP_SUCCESS) {
        computeGrid(grid, (*undistX)->data, (*undistY)->data);
        releaseGrid(grid);
    }
    return status;
}
