#include "distortion/grid.h"

#include <algorithm>

#include "container/kernels.h"
#include "container/live_counts.h"
#include "container/mat.h"
#include "container/protocol.h"
#include "diagnostics.h"
#include "spline/collocation_matrix.h"

namespace {

constexpr const char* name = "undisortionBspline";

/**
 * The maps are computed patch by patch: the intermediate results that are as large as a map exist
 * for one patch only, which stays in the first-level cache through all steps.
 */
constexpr int32_t patchRows = 8;
constexpr int32_t patchCols = packedWidth;

/** One axis of the sample grid. */
struct Axis {
    int32_t count;         /**< samples */
    double focalLength;    /**< pixels */
    double principalPoint; /**< pixels */
    double ratio;          /**< pixels between two samples */
    double firstSample;    /**< position of sample 0, pixels */
};

/** Everything that one evaluation holds apart from the maps, in the order of creation. */
struct Evaluation {
    Mat* normYT;
    Mat* normXT;
    Mat* colMatrixX;
    Mat* colMatrixY;
    Mat* colMatrixYmulCorrectMatrixX;
    Mat* colMatrixXT;
    Mat* outputX;
    Mat* colMatrixYmulCorrectMatrixY;
    Mat* outputY;
    Mat* outputXmulFx;
    Mat* outputXmulFxaddCx;
    Mat* imgXRatio;
    Mat* outputYmulFy;
    Mat* outputYmulFyaddCy;
    Mat* imgYRatio;
};

void release(Evaluation& e) {
    for (Mat** handle :
         {&e.normYT, &e.normXT, &e.colMatrixX, &e.colMatrixY, &e.colMatrixYmulCorrectMatrixX,
          &e.colMatrixXT, &e.outputX, &e.colMatrixYmulCorrectMatrixY, &e.outputY, &e.outputXmulFx,
          &e.outputXmulFxaddCx, &e.imgXRatio, &e.outputYmulFy, &e.outputYmulFyaddCy,
          &e.imgYRatio}) {
        destroyMat(handle);
    }
}

int32_t fail(Evaluation& evaluation, const char* format, int32_t line) {
    report(format, name, line);
    release(evaluation);
    return CALIBMAP_STEP_FAILED;
}

/**
 * The normalised sample positions of an axis as a column; only the first `filled` are written. Null
 * for no samples, a zero focal length or an exhausted heap.
 */
Mat* createNormalisedSamples(const Axis& axis, int32_t filled) {
    if (axis.count == 0 || axis.focalLength == 0.0) {
        return nullptr;
    }
    auto* samples = allocateMatrix<Mat>(axis.count, 1);
    if (samples != nullptr) {
        for (int32_t i = 0; i < filled; ++i) {
            const double position = axis.firstSample + axis.ratio * i;
            samples->data[i] = (position - axis.principalPoint) / axis.focalLength;
        }
    }
    return samples;
}

/** A patch of the product a x b; null wherever the whole product could not be made. */
Mat* createProductPatch(const Mat* a, const Mat* b) {
    if (!isMultipliable(a, b) || !withinLimit(int64_t{a->rows} * b->cols, sizeof(double))) {
        return nullptr;
    }
    return allocateMatrix<Mat>(std::min(a->rows, patchRows), std::min(b->cols, patchCols));
}

/**
 * The result of an element-wise step on `operand`; null where there is no operand. The elements of
 * these steps only ever stand in registers, on their way from the product to the map. The matrices
 * are made all the same: where the heap ends is reported under the name of the step.
 */
Mat* createStep(const Mat* operand) {
    return operand == nullptr ? nullptr : allocateMatrix<Mat>(operand->rows, operand->cols);
}

/** A map, made by the last step from `imgRatio`; null where that is missing. */
Mat* createMap(const Mat* imgRatio, int32_t rows, int32_t cols) {
    return imgRatio == nullptr ? nullptr : allocateMatrix<Mat>(rows, cols);
}

bool hasShape(const Mat* m, int64_t rows, int64_t cols) {
    return matSize(m) != 0 && m->rows == rows && m->cols == cols;
}

/**
 * False where the shapes alone already decide that no map can be made: exactly where one of the
 * results below is refused for its shape or its size.
 */
bool canBeEvaluated(const BsplineModel& model, int32_t mapRows, int32_t mapCols) {
    if (model.xknotsVec == nullptr || model.yknotsVec == nullptr) {
        return false;
    }
    const int64_t xSplines = int64_t{model.xknotsVec->size} - model.kx;
    const int64_t ySplines = int64_t{model.yknotsVec->size} - model.ky;
    return hasShape(model.xcorrectMatrix, ySplines, xSplines) &&
           hasShape(model.ycorrectMatrix, ySplines, xSplines) &&
           withinLimit(int64_t{mapRows} * mapCols, sizeof(double)) &&
           withinLimit(mapCols * xSplines, sizeof(double)) &&
           withinLimit(mapRows * std::max(xSplines, ySplines), sizeof(double));
}

/** One map in the making. */
struct MapSteps {
    const Mat& colMatrixYmulCorrectMatrix; /**< left factor of the product */
    bool isFinite;                         /**< the left factor holds no infinity and no NaN */
    Mat& output;                           /**< a patch of the product */
    Scaling scaling;                       /**< from the product back to sample coordinates */
    Mat& map;
};

/** One patch of a map, from (row, col) on. */
void computePatch(const MapSteps& steps, int32_t row, int32_t rows, const PackedColumns& columns,
                  int32_t col) {
    const Mat& left = steps.colMatrixYmulCorrectMatrix;
    multiplyColumns(left.data + int64_t{row} * left.cols, left.cols, steps.isFinite, rows, columns,
                    steps.output.data, columns.width);
    scaleRows(steps.output.data, steps.scaling, rows, columns.width,
              steps.map.data + int64_t{row} * steps.map.cols + col, steps.map.cols);
}

/** Computes both maps, strip of patches after strip of patches within each band of rows. */
void computeMaps(const MapSteps& x, const MapSteps& y, const Mat& colMatrixXT) {
    const int32_t mapRows = x.map.rows;
    const int32_t mapCols = x.map.cols;
    PackedColumns columns;
    for (int32_t band = 0; band < mapRows; band += packedRows) {
        const int32_t bandEnd = std::min(band + packedRows, mapRows);
        for (int32_t col = 0; col < mapCols; col += patchCols) {
            packColumns(colMatrixXT.data + col, colMatrixXT.rows, mapCols,
                        std::min(patchCols, mapCols - col), columns);
            for (int32_t row = band; row < bandEnd; row += patchRows) {
                const int32_t rows = std::min(patchRows, bandEnd - row);
                computePatch(x, row, rows, columns, col);
                computePatch(y, row, rows, columns, col);
            }
        }
    }
}

}  // namespace

int32_t evaluateGrid(const Mat* cameraMatrix, const BsplineModel* model,
                     const CamDistortionLUT* inputPoints, int32_t imgW, int32_t imgH, int32_t ratio,
                     MapContent content, Mat** undistX, Mat** undistY) {
    const LiveCounts enter = liveCounts();
    if (model->kx == 0 || model->ky == 0 || model->xpieces == 0 || model->ypieces == 0) {
        report("%s line:%d leave. error input data. kx(%d) ky(%d) xpieces(%d), ypieces(%d)", name,
               28, model->kx, model->ky, model->xpieces, model->ypieces);
        return CALIBMAP_STEP_FAILED;
    }
    if (imgW < 1 || imgH < 1 || ratio < 1) {
        report("%s line:%d leave. error input data. imgW(%d) imgH(%d) ratio(%d)", name, 34, imgW,
               imgH, ratio);
        return CALIBMAP_STEP_FAILED;
    }
    const double* firstRow = cameraMatrix->data;
    const double* secondRow = cameraMatrix->data + cameraMatrix->cols;
    const double pixels = ratio;
    const double firstSample = static_cast<double>(ratio - 1) * 0.5;
    const Axis xAxis = {imgW / ratio, firstRow[0], firstRow[2], pixels, firstSample};
    const Axis yAxis = {imgH / ratio, secondRow[1], secondRow[2], pixels, firstSample};
    const double shift = 0.5 - pixels * 0.5;

    // First every matrix is created, in the order of the steps, so that whatever cannot be made is
    // known before anything as large as a map is computed. Where no element will be read, one site
    // for each axis still tells whether the knots can be evaluated.
    const bool computed = inputPoints == nullptr && content == MapContent::complete &&
                          canBeEvaluated(*model, yAxis.count, xAxis.count);
    const int32_t xSites = computed ? xAxis.count : 1;
    const int32_t ySites = computed ? yAxis.count : 1;

    // Taken now: nothing keeps a caller from storing the maps into the model's own handles.
    const Mat* xcorrectMatrix = model->xcorrectMatrix;
    const Mat* ycorrectMatrix = model->ycorrectMatrix;
    Evaluation e = {};
    if (inputPoints == nullptr) {
        e.normYT = createNormalisedSamples(yAxis, ySites);
        e.normXT = createNormalisedSamples(xAxis, xSites);
        e.colMatrixX = collocateLeadingSites(model->xknotsVec, model->kx, e.normXT, xSites);
        if (e.colMatrixX == nullptr) {
            return fail(e, "%s line:%d leave. calc colMatrixX fail", 107);
        }
        e.colMatrixY = collocateLeadingSites(model->yknotsVec, model->ky, e.normYT, ySites);
        if (e.colMatrixY == nullptr) {
            return fail(e, "%s line:%d leave. calc colMatrixY fail", 118);
        }
        e.colMatrixYmulCorrectMatrixX = createProduct(e.colMatrixY, xcorrectMatrix);
        if (e.colMatrixYmulCorrectMatrixX == nullptr) {
            return fail(e, "%s line:%d leave. calc colMatrixYmulCorrectMatrixX fail", 132);
        }
        e.colMatrixXT = allocateMatrix<Mat>(e.colMatrixX->cols, e.colMatrixX->rows);
        if (e.colMatrixXT == nullptr) {
            return fail(e, "%s line:%d leave. calc colMatrixXT fail", 143);
        }
        e.outputX = createProductPatch(e.colMatrixYmulCorrectMatrixX, e.colMatrixXT);
        e.colMatrixYmulCorrectMatrixY = createProduct(e.colMatrixY, ycorrectMatrix);
        e.outputY = createProductPatch(e.colMatrixYmulCorrectMatrixY, e.colMatrixXT);
        if (e.outputY == nullptr) {
            return fail(e, "%s line:%d leave. calc outputY fail", 176);
        }
    }

    e.outputXmulFx = createStep(e.outputX);
    if (e.outputXmulFx == nullptr) {
        return fail(e, "%s line:%d leave. create outputXmulFx fail", 197);
    }
    e.outputXmulFxaddCx = createStep(e.outputXmulFx);
    if (e.outputXmulFxaddCx == nullptr) {
        return fail(e, "%s line:%d leave. create outputXmulFxaddCx fail", 209);
    }
    e.imgXRatio = createStep(e.outputXmulFxaddCx);
    if (e.imgXRatio == nullptr) {
        return fail(e, "%s line:%d leave. create imgXRatio fail", 222);
    }
    *undistX = createMap(e.imgXRatio, yAxis.count, xAxis.count);
    if (*undistX == nullptr) {
        return fail(e, "%s line:%d leave. create undistX fail", 236);
    }
    e.outputYmulFy = createStep(e.outputY);
    if (e.outputYmulFy == nullptr) {
        destroyMat(undistX);
        return fail(e, "%s line:%d leave. create outputYmulFy fail", 257);
    }
    e.outputYmulFyaddCy = createStep(e.outputYmulFy);
    if (e.outputYmulFyaddCy == nullptr) {
        destroyMat(undistX);
        return fail(e, "%s line:%d leave. create outputYmulFyaddCy fail", 273);
    }
    e.imgYRatio = createStep(e.outputYmulFyaddCy);
    *undistY = createMap(e.imgYRatio, yAxis.count, xAxis.count);
    if (*undistY == nullptr) {
        destroyMat(undistX);
        return fail(e, "%s line:%d leave. create imgYRatio fail", 308);
    }

    if (computed) {
        computeProduct(*e.colMatrixY, *xcorrectMatrix, *e.colMatrixYmulCorrectMatrixX);
        computeProduct(*e.colMatrixY, *ycorrectMatrix, *e.colMatrixYmulCorrectMatrixY);
        transpose(e.colMatrixX->data, e.colMatrixX->rows, e.colMatrixX->cols, e.colMatrixXT->data);
        const Mat& xLeft = *e.colMatrixYmulCorrectMatrixX;
        const Mat& yLeft = *e.colMatrixYmulCorrectMatrixY;
        const MapSteps x = {xLeft,
                            allFinite(xLeft.data, elementCount(xLeft)),
                            *e.outputX,
                            {xAxis.focalLength, xAxis.principalPoint, shift, pixels},
                            **undistX};
        const MapSteps y = {yLeft,
                            allFinite(yLeft.data, elementCount(yLeft)),
                            *e.outputY,
                            {yAxis.focalLength, yAxis.principalPoint, shift, pixels},
                            **undistY};
        computeMaps(x, y, *e.colMatrixXT);
    }
    release(e);

    const LiveCounts leave = liveCounts();
    int32_t status = CALIBMAP_SUCCESS;
    if (leave.vectors != enter.vectors) {
        destroyMat(undistX);
        destroyMat(undistY);
        report("%s line:%d some vectors not free.", name, 358);
        status = CALIBMAP_VECTOR_LEAK;
    }
    if (leave.matrices != enter.matrices + 2) {
        destroyMat(undistX);
        destroyMat(undistY);
        report("%s line:%d some mats not free.", name, 366);
        return CALIBMAP_MATRIX_LEAK;
    }
    return status;
}

int32_t undisortionBspline(const Mat* cameraMatrix, const BsplineModel* model,
                           const CamDistortionLUT* inputPoints, int32_t imgW, int32_t imgH,
                           int32_t ratio, Mat** undistX, Mat** undistY) {
    return evaluateGrid(cameraMatrix, model, inputPoints, imgW, imgH, ratio, MapContent::complete,
                        undistX, undistY);
}
