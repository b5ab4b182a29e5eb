#include "distortion/grid.h"

#include <algorithm>
#include <initializer_list>

#include "arithmetic/product.h"
#include "arithmetic/tile.h"
#include "container/mat.h"
#include "container/steps.h"
#include "spline/collocation_matrix.h"

namespace calibmap {

namespace {

constexpr Reporter reporter = {"undisortionBspline", 0};

/**
 * Samples that go through the steps together. Of the matrices between them and the maps only the
 * panels ever hold all their elements; of the others the rows of one chunk serve all, so that a map
 * takes little memory beside itself.
 */
constexpr int32_t chunk = 64;
static_assert(chunk % panelWidth == 0, "a panel belongs to one chunk");

/**
 * Adds what stands for a product or a step from there to a map, whose elements are only ever in
 * registers; false where it is refused. The size fits: with the factors both counts are below 2^28.
 */
bool addStep(const GridEvaluation& grid, StandIns& steps) {
    return add(steps, gMatCnt,
               int64_t{grid.yAxis.count} * grid.xAxis.count * int64_t{sizeof(double)});
}

/** The same for a step that reports where it is refused. */
bool addStep(const GridEvaluation& grid, StandIns& steps, int32_t line, const char* text) {
    return addStep(grid, steps) || refuse(reporter, line, text);
}

/** A left factor, the product a x b, for the rows of one chunk. */
Mat* createLeft(const Mat* a, const Mat* b) {
    return isMultipliable(a, b)
               ? allocatePart<Mat>(a->rows, b->cols, int64_t{std::min(a->rows, chunk)} * b->cols)
               : nullptr;
}

/**
 * A map. Where its elements are computed elsewhere only one question is left: has the heap this
 * block? A heap that had to keep it, too, would fetch memory from the system and return it in every
 * call.
 */
Mat* createMap(const GridEvaluation& grid, const MapHandles& maps) {
    auto* map = allocateMatrix<Mat>(grid.yAxis.count, grid.xAxis.count);
    if (map != nullptr && !maps.haveElements) {
        free(map->data);
        map->data = nullptr;
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
Mat* createPanels(const Mat* colMatrix) {
    return allocatePart<Mat>(colMatrix->cols, colMatrix->rows,
                             panelsSize(colMatrix->cols, colMatrix->rows));
}

/**
 * Creates the factors of both maps and the steps of the products; a missing sample column makes its
 * collocation matrix fail. Whether there is an X is not tested here: the step after it is missed.
 */
bool createFactors(const BsplineModel& model, GridEvaluation& g, StandIns& steps,
                   bool& hasOutputX) {
    const auto factor = [](Mat*& handle, Mat* made, int32_t line, const char* text) {
        return keep(handle, made, reporter, line, text);
    };
    g.normYT = createSamples(g.yAxis);
    g.normXT = createSamples(g.xAxis);
    if (!(factor(g.colMatrixX,
                 createCollocation(model.xknotsVec, model.kx, g.normXT, chunk, g.xBasis), 107,
                 " leave. calc colMatrixX fail") &&
          factor(g.colMatrixY,
                 createCollocation(model.yknotsVec, model.ky, g.normYT, chunk, g.yBasis), 118,
                 " leave. calc colMatrixY fail") &&
          factor(g.colMatrixYmulCorrectMatrixX, createLeft(g.colMatrixY, g.xcorrectMatrix), 132,
                 " leave. calc colMatrixYmulCorrectMatrixX fail") &&
          factor(g.colMatrixXT, createPanels(g.colMatrixX), 143,
                 " leave. calc colMatrixXT fail"))) {
        return false;
    }
    hasOutputX = isMultipliable(g.colMatrixYmulCorrectMatrixX, g.colMatrixXT) && addStep(g, steps);
    g.colMatrixYmulCorrectMatrixY = createLeft(g.colMatrixY, g.ycorrectMatrix);
    return (isMultipliable(g.colMatrixYmulCorrectMatrixY, g.colMatrixXT) && addStep(g, steps)) ||
           refuse(reporter, 176, " leave. calc outputY fail");
}

/** Creates the steps of a map, and the map, which goes to its handle even where it is missing. */
bool createMapX(const GridEvaluation& g, StandIns& steps, bool hasOutputX, const MapHandles& maps) {
    return ((hasOutputX && addStep(g, steps)) ||
            refuse(reporter, 197, " leave. create outputXmulFx fail")) &&
           addStep(g, steps, 209, " leave. create outputXmulFxaddCx fail") &&
           addStep(g, steps, 222, " leave. create imgXRatio fail") &&
           keep(*maps.x, createMap(g, maps), reporter, 236, " leave. create undistX fail");
}

bool createMapY(const GridEvaluation& g, StandIns& steps, const MapHandles& maps) {
    return addStep(g, steps, 257, " leave. create outputYmulFy fail") &&
           addStep(g, steps, 273, " leave. create outputYmulFyaddCy fail") &&
           keep(*maps.y, addStep(g, steps) ? createMap(g, maps) : nullptr, reporter, 308,
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

/** A map to be computed. */
template <typename Element>
struct Wanted {
    const Mat* corrections;
    Mat* left; /**< where its left factor goes */
    const Axis& axis;
    Element* to;
};

template <typename Element>
Wanted<Element> mapOfX(const GridEvaluation& g, Element* to) {
    return {g.xcorrectMatrix, g.colMatrixYmulCorrectMatrixX, g.xAxis, to};
}

template <typename Element>
Wanted<Element> mapOfY(const GridEvaluation& g, Element* to) {
    return {g.ycorrectMatrix, g.colMatrixYmulCorrectMatrixY, g.yAxis, to};
}

/** The right factor of both maps: a row of values for each column of the map, packed as panels. */
void computePanels(GridEvaluation& g) {
    const int32_t terms = g.colMatrixX->cols;
    for (int32_t col = 0; col < g.xAxis.count; col += chunk) {
        const int32_t cols = std::min(chunk, g.xAxis.count - col);
        fillSamples(g.xAxis, col, cols, g.normXT->data);
        evaluateSites(g.xBasis, g.normXT->data, cols, g.colMatrixX->data);
        packTransposed(g.colMatrixX->data, terms, cols,
                       g.colMatrixXT->data + panelsSize(terms, col));
    }
}

/** The wanted maps, chunk after chunk of rows. */
template <typename Element>
void computeRows(GridEvaluation& g, std::initializer_list<Wanted<Element>> wanted) {
    const int32_t cols = g.xAxis.count;
    const int32_t terms = g.colMatrixXT->rows;
    for (int32_t row = 0; row < g.yAxis.count; row += chunk) {
        const int32_t rows = std::min(chunk, g.yAxis.count - row);
        fillSamples(g.yAxis, row, rows, g.normYT->data);
        evaluateSites(g.yBasis, g.normYT->data, rows, g.colMatrixY->data);
        Map<Element> maps[mostMaps];
        int32_t count = 0;
        for (const auto& [corrections, left, axis, to] : wanted) {
            multiply(g.colMatrixY->data, corrections->data, rows, g.colMatrixY->cols, terms,
                     left->data);
            maps[count++] = {left->data,
                             {axis.focalLength, axis.principalPoint, axis.shift, axis.ratio},
                             to + int64_t{row} * cols};
        }
        computeMaps({rows, cols, terms, g.colMatrixXT->data}, maps, count);
    }
}

}  // namespace

int32_t prepareGrid(const Mat* cameraMatrix, const BsplineModel* model,
                    const SampleRequest& request, GridEvaluation& grid, const MapHandles& maps) {
    const LiveCounts enter = enterCounts();
    if (!acceptArguments(*model, request)) {
        return CALIBMAP_STEP_FAILED;
    }
    takeOver(*cameraMatrix, *model, request, grid);
    // Without the sample grid there are no factors, and the first step has nothing to start from.
    StandIns steps = {};
    bool hasOutputX = false;
    const bool madeX =
        (request.inputPoints != nullptr || createFactors(*model, grid, steps, hasOutputX)) &&
        createMapX(grid, steps, hasOutputX, maps);
    const bool made = madeX && createMapY(grid, steps, maps);
    release(steps);
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
    computePanels(grid);
    computeRows(grid, {mapOfX(grid, mapX), mapOfY(grid, mapY)});
}

void computeGrid(GridEvaluation& grid, float* mapX, float* mapY) {
    const int64_t size = int64_t{grid.yAxis.count} * grid.xAxis.count;
    const auto distance =
        static_cast<int64_t>(reinterpret_cast<intptr_t>(mapY) - reinterpret_cast<intptr_t>(mapX)) /
        int64_t{sizeof(float)};
    const auto x = mapOfX(grid, mapX);
    const auto y = mapOfY(grid, mapY);
    computePanels(grid);
    if (distance >= size || distance <= -size) {
        computeRows(grid, {x, y});
    } else if (distance > 0) {
        computeRows(grid, {y});
        computeRows(grid, {x});
    } else {
        computeRows(grid, {x});
        computeRows(grid, {y});
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
        prepareGrid(cameraMatrix, model, request, grid, {undistX, undistY, true});
    if (status == CALIBMAP_SUCCESS) {
        computeGrid(grid, (*undistX)->data, (*undistY)->data);
        releaseGrid(grid);
    }
    return status;
}
