#include "distortion/grid.h"

#include <algorithm>
#include <initializer_list>
#include <type_traits>

#include "arithmetic/product.h"
#include "arithmetic/tile.h"
#include "container/mat.h"
#include "container/protocol.h"
#include "spline/collocation_matrix.h"

namespace calibmap {

namespace {

constexpr Reporter reporter = {"undisortionBspline", 0};

/**
 * Samples that go through the steps together. Of the matrices between them and the maps only the
 * tiles ever hold all their elements; of the others the rows of one chunk serve all, so that a map
 * takes little memory beside itself.
 */
constexpr int32_t chunk = 64;
static_assert(chunk % tileWidth == 0, "a tile belongs to one chunk");

/**
 * The steps between the products and the maps. Their elements only ever stand in registers, so
 * these matrices have none: they exist so that an exhausted heap is reported under the name of the
 * step that it strikes.
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

/** A step's matrix; null where there is no operand. */
Mat* createStep(const Mat* operand) {
    return operand == nullptr ? nullptr : allocateMatrixStep<Mat>(operand->rows, operand->cols);
}

/** The step's matrix for the product a x b; null where that could not be made. */
Mat* createProductStep(const Mat* a, const Mat* b) {
    return isMultipliable(a, b) ? allocateMatrixStep<Mat>(a->rows, b->cols) : nullptr;
}

/** A left factor, the product a x b, for the rows of one chunk. */
Mat* createLeft(const Mat* a, const Mat* b) {
    return isMultipliable(a, b)
               ? allocatePart<Mat>(a->rows, b->cols, int64_t{std::min(a->rows, chunk)} * b->cols)
               : nullptr;
}

/** A map, made by the last step from `operand`; null where that is missing. */
Mat* createMap(const Mat* operand, const GridEvaluation& grid, MapElements elements) {
    Mat* map =
        operand == nullptr ? nullptr : allocateMatrix<Mat>(grid.yAxis.count, grid.xAxis.count);
    if (map != nullptr && elements == MapElements::givenBack) {
        releaseElements(*map);
    }
    return map;
}

/** A column for the sample positions of an axis; null for no samples or a zero focal length. */
Mat* createSamples(const Axis& axis) {
    const bool isPossible = axis.count > 0 && axis.focalLength != 0.0;
    return isPossible ? allocatePart<Mat>(axis.count, 1, std::min(axis.count, chunk)) : nullptr;
}

/** Fills `count` positions, from sample `first` on. */
void fillSamples(const Axis& axis, int32_t first, int32_t count, double* samples) {
    for (int32_t i = 0; i < count; ++i) {
        const double position = axis.firstSample + axis.ratio * (first + i);
        samples[i] = (position - axis.principalPoint) / axis.focalLength;
    }
}

/** The transpose of the collocation matrix, in the layout that the maps are made from. */
Mat* createTiles(const Mat* colMatrix) {
    return allocatePart<Mat>(colMatrix->cols, colMatrix->rows,
                             tilesSize(colMatrix->cols, colMatrix->rows));
}

/** Creates the factors of both maps; a missing sample column makes its collocation matrix fail. */
bool createFactors(const BsplineModel& model, GridEvaluation& g, Steps& s) {
    const auto factor = [](Mat*& handle, Mat* made, int32_t line, const char* text) {
        return keep(handle, made, reporter, line, text);
    };
    return keepUntested(g.normYT, createSamples(g.yAxis)) &&
           keepUntested(g.normXT, createSamples(g.xAxis)) &&
           factor(g.colMatrixX,
                  createCollocation(model.xknotsVec, model.kx, g.normXT, chunk, g.xBasis), 107,
                  " leave. calc colMatrixX fail") &&
           factor(g.colMatrixY,
                  createCollocation(model.yknotsVec, model.ky, g.normYT, chunk, g.yBasis), 118,
                  " leave. calc colMatrixY fail") &&
           factor(g.colMatrixYmulCorrectMatrixX, createLeft(g.colMatrixY, g.xcorrectMatrix), 132,
                  " leave. calc colMatrixYmulCorrectMatrixX fail") &&
           factor(g.colMatrixXT, createTiles(g.colMatrixX), 143, " leave. calc colMatrixXT fail") &&
           keepUntested(s.outputX,
                        createProductStep(g.colMatrixYmulCorrectMatrixX, g.colMatrixXT)) &&
           keepUntested(g.colMatrixYmulCorrectMatrixY,
                        createLeft(g.colMatrixY, g.ycorrectMatrix)) &&
           factor(s.outputY, createProductStep(g.colMatrixYmulCorrectMatrixY, g.colMatrixXT), 176,
                  " leave. calc outputY fail");
}

/** Creates the steps of one map and the map, which is kept in its handle even where it is missing.
 */
bool createMapX(const GridEvaluation& g, Steps& s, MapElements elements, Mat** undistX) {
    return keep(s.outputXmulFx, createStep(s.outputX), reporter, 197,
                " leave. create outputXmulFx fail") &&
           keep(s.outputXmulFxaddCx, createStep(s.outputXmulFx), reporter, 209,
                " leave. create outputXmulFxaddCx fail") &&
           keep(s.imgXRatio, createStep(s.outputXmulFxaddCx), reporter, 222,
                " leave. create imgXRatio fail") &&
           keep(*undistX, createMap(s.imgXRatio, g, elements), reporter, 236,
                " leave. create undistX fail");
}

bool createMapY(const GridEvaluation& g, Steps& s, MapElements elements, Mat** undistY) {
    return keep(s.outputYmulFy, createStep(s.outputY), reporter, 257,
                " leave. create outputYmulFy fail") &&
           keep(s.outputYmulFyaddCy, createStep(s.outputYmulFy), reporter, 273,
                " leave. create outputYmulFyaddCy fail") &&
           keepUntested(s.imgYRatio, createStep(s.outputYmulFyaddCy)) &&
           keep(*undistY, createMap(s.imgYRatio, g, elements), reporter, 308,
                " leave. create imgYRatio fail");
}

bool acceptArguments(const BsplineModel& model, const SampleRequest& request) {
    if (model.kx == 0 || model.ky == 0 || model.xpieces == 0 || model.ypieces == 0) {
        report("%s line:%d leave. error input data. kx(%d) ky(%d) xpieces(%d), ypieces(%d)",
               reporter.function, 28, model.kx, model.ky, model.xpieces, model.ypieces);
        return false;
    }
    if (request.imgW < 1 || request.imgH < 1 || request.ratio < 1) {
        report("%s line:%d leave. error input data. imgW(%d) imgH(%d) ratio(%d)", reporter.function,
               34, request.imgW, request.imgH, request.ratio);
        return false;
    }
    return true;
}

/** Takes over what the evaluation reads: a caller may store the maps into the model's own handles.
 */
void takeOver(const Mat& cameraMatrix, const BsplineModel& model, const SampleRequest& request,
              GridEvaluation& grid) {
    const double* firstRow = cameraMatrix.data;
    const double* secondRow = cameraMatrix.data + cameraMatrix.cols;
    const double pixels = request.ratio;
    const double firstSample = static_cast<double>(request.ratio - 1) * 0.5;
    const double shift = 0.5 - pixels * 0.5;
    grid.xAxis = {
        request.imgW / request.ratio, firstRow[0], firstRow[2], pixels, firstSample, shift};
    grid.yAxis = {
        request.imgH / request.ratio, secondRow[1], secondRow[2], pixels, firstSample, shift};
    grid.xcorrectMatrix = model.xcorrectMatrix;
    grid.ycorrectMatrix = model.ycorrectMatrix;
}

template <typename Element>
Map<Element> mapOf(const double* left, const Axis& axis, Element* elements) {
    return {left, {axis.focalLength, axis.principalPoint, axis.shift, axis.ratio}, elements};
}

/** The right factor of both maps: a row of values for each column of the map, packed as tiles. */
void computeTiles(GridEvaluation& g) {
    const int32_t terms = g.colMatrixX->cols;
    for (int32_t col = 0; col < g.xAxis.count; col += chunk) {
        const int32_t cols = std::min(chunk, g.xAxis.count - col);
        fillSamples(g.xAxis, col, cols, g.normXT->data);
        evaluateSites(g.xBasis, g.normXT->data, cols, g.colMatrixX->data);
        packTransposed(g.colMatrixX->data, terms, cols,
                       g.colMatrixXT->data + tilesSize(terms, col));
    }
}

/** Which maps are computed in one go. */
enum class Wanted { both, onlyX, onlyY };

/** The maps, chunk after chunk of rows. */
template <typename Element>
void computeRows(GridEvaluation& g, Wanted wanted, Element* mapX, Element* mapY) {
    const int32_t cols = g.xAxis.count;
    const int32_t terms = g.colMatrixXT->rows;
    double* leftX = g.colMatrixYmulCorrectMatrixX->data;
    double* leftY = g.colMatrixYmulCorrectMatrixY->data;
    for (int32_t row = 0; row < g.yAxis.count; row += chunk) {
        const int32_t rows = std::min(chunk, g.yAxis.count - row);
        fillSamples(g.yAxis, row, rows, g.normYT->data);
        evaluateSites(g.yBasis, g.normYT->data, rows, g.colMatrixY->data);
        if (wanted != Wanted::onlyY) {
            multiply(g.colMatrixY->data, g.xcorrectMatrix->data, rows, g.colMatrixY->cols, terms,
                     leftX);
        }
        if (wanted != Wanted::onlyX) {
            multiply(g.colMatrixY->data, g.ycorrectMatrix->data, rows, g.colMatrixY->cols, terms,
                     leftY);
        }
        const MapShape shape = {rows, cols, terms, g.colMatrixXT->data};
        const auto x = mapOf(leftX, g.xAxis, mapX + int64_t{row} * cols);
        const auto y = mapOf(leftY, g.yAxis, mapY + int64_t{row} * cols);
        if constexpr (std::is_same_v<Element, float>) {
            if (wanted != Wanted::both) {
                computeMap(shape, wanted == Wanted::onlyX ? x : y);
                continue;
            }
        }
        computeMaps(shape, x, y);
    }
}

}  // namespace

int32_t prepareGrid(const Mat* cameraMatrix, const BsplineModel* model,
                    const SampleRequest& request, GridEvaluation& grid, const MapHandles& maps,
                    MapElements elements) {
    const LiveCounts enter = enterCounts();
    if (!acceptArguments(*model, request)) {
        return CALIBMAP_STEP_FAILED;
    }
    takeOver(*cameraMatrix, *model, request, grid);
    // Without the sample grid there are no factors, and the first step has nothing to start from.
    Steps steps = {};
    const bool madeX = (request.inputPoints != nullptr || createFactors(*model, grid, steps)) &&
                       createMapX(grid, steps, elements, maps.x);
    const bool made = madeX && createMapY(grid, steps, elements, maps.y);
    releaseSteps(steps);
    if (madeX && !made) {
        destroyMat(maps.x);
    }
    const int32_t status = made ? settleCounts(enter, {0, gridMatrices}, reporter, 358, 366, maps)
                                : CALIBMAP_STEP_FAILED;
    if (status != CALIBMAP_SUCCESS) {
        releaseGrid(grid);
    }
    return status;
}

void computeGrid(GridEvaluation& grid, double* mapX, double* mapY) {
    computeTiles(grid);
    computeRows(grid, Wanted::both, mapX, mapY);
}

void computeGrid(GridEvaluation& grid, float* mapX, float* mapY) {
    const int64_t size = int64_t{grid.yAxis.count} * grid.xAxis.count;
    const auto distance =
        static_cast<int64_t>(reinterpret_cast<intptr_t>(mapY) - reinterpret_cast<intptr_t>(mapX)) /
        int64_t{sizeof(float)};
    computeTiles(grid);
    if (distance >= size || distance <= -size) {
        computeRows(grid, Wanted::both, mapX, mapY);
    } else if (distance > 0) {
        computeRows(grid, Wanted::onlyY, mapX, mapY);
        computeRows(grid, Wanted::onlyX, mapX, mapY);
    } else {
        computeRows(grid, Wanted::onlyX, mapX, mapY);
        computeRows(grid, Wanted::onlyY, mapX, mapY);
    }
}

void releaseGrid(GridEvaluation& grid) {
    for (Mat** handle : {&grid.normYT, &grid.normXT, &grid.colMatrixX, &grid.colMatrixY,
                         &grid.colMatrixYmulCorrectMatrixX, &grid.colMatrixXT,
                         &grid.colMatrixYmulCorrectMatrixY}) {
        destroyMat(handle);
    }
}

int32_t settleCounts(const LiveCounts& enter, const Held& held, const Reporter& builder,
                     int32_t vectorLine, int32_t matrixLine, const MapHandles& maps) {
    constexpr int32_t heldMaps = 2;
    const CountCheck leave = leaveCounts(enter, held.vectors, held.matrices + heldMaps);
    if (leave.vectorsMoved || leave.matricesMoved) {
        destroyMat(maps.x);
        destroyMat(maps.y);
    }
    int32_t status = CALIBMAP_SUCCESS;
    if (leave.vectorsMoved) {
        refuse(builder, vectorLine, " some vectors not free.");
        status = CALIBMAP_VECTOR_LEAK;
    }
    if (leave.matricesMoved) {
        refuse(builder, matrixLine, " some mats not free.");
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
    const SampleRequest request = {
        .inputPoints = inputPoints, .imgW = imgW, .imgH = imgH, .ratio = ratio};
    const int32_t status =
        prepareGrid(cameraMatrix, model, request, grid, {undistX, undistY}, MapElements::kept);
    if (status == CALIBMAP_SUCCESS) {
        computeGrid(grid, (*undistX)->data, (*undistY)->data);
        releaseGrid(grid);
    }
    return status;
}
