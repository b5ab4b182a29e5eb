#include "spline/collocation_matrix.h"

#include <algorithm>

#include "container/diagnostics.h"
#include "container/live_counts.h"
#include "container/protocol.h"
#include "spline/spcol.h"

namespace calibmap {

namespace {

constexpr Reporter reporter = {"collocationMatrix", 0};

/** Differences and sums of counts wrap around at 32 bits; whatever wraps is refused below. */
int32_t wrap(int64_t count) {
    return static_cast<int32_t>(static_cast<uint32_t>(count));
}

/** Columns of the matrix; 0 after a report where the arguments are refused. */
int32_t acceptArguments(const VectorDouble* knots, int32_t k, const Mat* samplePoints) {
    const int32_t knotCount = knots == nullptr ? 0 : knots->size;
    const int32_t sampleSize = matSize(samplePoints);
    if (k < 1 || knotCount == 0 || sampleSize == 0 || samplePoints->cols != 1) {
        report("%s line:%d leave. error input para. knots sz(%d) k(%d) samplePoints sz(%d)",
               reporter.function, 13, knotCount, k, sampleSize);
        return 0;
    }
    const int32_t spareKnots = wrap(int64_t{knotCount} - 2 * int64_t{k});
    if (spareKnots < 0) {
        report("%s line:%d leave. error pieces(%d)", reporter.function, 20, spareKnots + 1);
        return 0;
    }
    const int32_t colMatrixCols = wrap(int64_t{spareKnots} + k);
    if (colMatrixCols < 1) {
        report("%s line:%d leave. error colMatrixCols(%d)", reporter.function, 26, colMatrixCols);
        return 0;
    }
    return colMatrixCols;
}

/**
 * `spcol` for the first site, which asks for all that the others need too: so a request that is
 * refused, or a count that moves, is always that of row 0. The row is made again with the rest.
 */
bool proveRows(const VectorDouble* knots, int32_t k, SplineBasis& basis) {
    Mat* row = createRow(knots, k, basis);
    if (row == nullptr) {
        report("%s line:%d, spcol fail(%d) row:%d", reporter.function, 42, 0, 0);
        return false;
    }
    destroyMat(&row);
    return true;
}

}  // namespace

Mat* createCollocation(const VectorDouble* knots, int32_t k, const Mat* samplePoints,
                       int32_t heldRows, SplineBasis& basis) {
    const int32_t cols = acceptArguments(knots, k, samplePoints);
    if (cols == 0) {
        return nullptr;
    }
    const LiveCounts enter = enterCounts();
    const int32_t sites = samplePoints->rows;
    const int64_t held = int64_t{std::min(sites, heldRows)} * cols;
    Mat* colMatrixX = nullptr;
    bool isSound = keep(colMatrixX, allocatePart<Mat>(sites, cols, held), reporter, 34,
                        " leave. create colMatrixX  fail") &&
                   proveRows(knots, k, basis);
    if (isSound) {
        const CountCheck leave = leaveCounts(enter, 0, 1);
        isSound = (!leave.vectorsMoved || refuse(reporter, 67, " some vectors not free.")) &&
                  (!leave.matricesMoved || refuse(reporter, 74, " some mats not free."));
    }
    if (!isSound) {
        destroyMat(&colMatrixX);
    }
    return colMatrixX;
}

}  // namespace calibmap

using namespace calibmap;

Mat* collocationMatrix(const VectorDouble* knots, int32_t k, const Mat* samplePoints) {
    SplineBasis basis;
    auto* colMatrixX = createCollocation(knots, k, samplePoints, INT32_MAX, basis);
    if (colMatrixX != nullptr) {
        evaluateSites(basis, samplePoints->data, samplePoints->rows, colMatrixX->data);
    }
    return colMatrixX;
}
