/**
 * The evaluation of a spline model over the sample grid, in two halves. First everything that the
 * steps create is created, in their order, and every check that can refuse is made; from there on
 * nothing fails. Then, if anybody still wants the maps, they are computed, into the matrices that
 * the first half has handed out or straight into a caller's arrays.
 */
#ifndef CALIBMAP_DISTORTION_GRID_H
#define CALIBMAP_DISTORTION_GRID_H

#include "arithmetic/maps.h"
#include "container/diagnostics.h"
#include "container/live_counts.h"
#include "spline/basis.h"

namespace calibmap {

/** One axis of the sample grid. */
struct Axis {
    int32_t count;         /**< samples */
    double focalLength;    /**< pixels */
    double principalPoint; /**< pixels */
    double ratio;          /**< pixels between two samples */
    double firstSample;    /**< position of sample 0, pixels */
    double shift;          /**< from a pixel position to one in the sample grid, before division */
};

/**
 * What the second half of an evaluation needs, in the order of creation. The names are those of the
 * reports: `colMatrix` is a collocation matrix, `mul` times and `T` transposed, so
 *
 *     colMatrixYmulCorrectMatrixX (rows x Nx) = colMatrixY (rows x Ny) * correction of x (Ny x Nx)
 *     map of x before its scaling (rows x cols) = colMatrixYmulCorrectMatrixX * colMatrixXT
 *
 * with Nx and Ny B-splines along the axes; colMatrixYmulCorrectMatrixY is the same for y.
 */
struct GridEvaluation {
    Mat* normYT;     /**< normalised sample positions along y */
    Mat* normXT;     /**< and along x */
    Mat* colMatrixX; /**< collocation matrices of these positions */
    Mat* colMatrixY;
    Mat* colMatrixYmulCorrectMatrixX; /**< left factors of the maps */
    Mat* colMatrixXT;                 /**< their right factor, as panels */
    Mat* colMatrixYmulCorrectMatrixY;

    Axis xAxis;
    Axis yAxis;
    SplineBasis xBasis;
    SplineBasis yBasis;
    const Mat* xcorrectMatrix;
    const Mat* ycorrectMatrix;
};

/** Matrices of an evaluation that are still to be released. */
inline constexpr int32_t gridMatrices = 7;

/** The samples that two maps are asked for. */
struct SampleRequest {
    const CamDistortionLUT* inputPoints; /**< null: the grid; of other points there are no maps */
    int32_t imgW;
    int32_t imgH;
    int32_t ratio;
};

/** Where two maps are handed out, and whether as matrices with elements or as shapes alone. */
struct MapHandles {
    Mat** x;
    Mat** y;
    bool haveElements;
};

/**
 * The first half of `undisortionBspline`: its checks, its reports and its status. With status 0 the
 * handles hold two maps, with elements that have not been touched or without, and `grid` holds
 * `gridMatrices` matrices, for `computeGrid` and then `releaseGrid`; otherwise nothing is left.
 * `grid` starts as all null. The knots and the correction matrices of the model must outlive the
 * computation.
 */
int32_t prepareGrid(const Mat* cameraMatrix, const BsplineModel* model,
                    const SampleRequest& request, GridEvaluation& grid, const MapHandles& maps);

/**
 * The second half, from the sample positions to the maps, as doubles or as floats. The float maps
 * are a caller's arrays and may overlap each other: they are then as if they had been written
 * element by element, x before y, so of two elements at one place the later one stays.
 */
void computeGrid(GridEvaluation& grid, double* mapX, double* mapY);
void computeGrid(GridEvaluation& grid, float* mapX, float* mapY);

void releaseGrid(GridEvaluation& grid);

/** The containers that a function still holds when it compares the counts. */
struct Held {
    int32_t vectors;
    int32_t matrices;
};

/**
 * The comparison of the counts that ends the making of two maps: 0; or 11 or 12, with the maps
 * released, after a report under one of the two numbers (both, when both counts are wrong).
 */
int32_t settleCounts(const LiveCounts& enter, const Held& held, const Reporter& builder,
                     int32_t vectorLine, int32_t matrixLine, const MapHandles& maps);

}  // namespace calibmap

#endif
