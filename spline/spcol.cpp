#include "spline/spcol.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>

#include "container/diagnostics.h"
#include "container/live_counts.h"
#include "container/protocol.h"
#include "spline/knots.h"

namespace calibmap {

namespace {

constexpr Reporter reporter = {"spcol", 0};

/** Sizes and positions: doubles that are whole in use and truncated where they are not. */
int32_t toInt(double value) {
    return static_cast<int32_t>(value);
}

/**
 * Length of the column that the values of a site are scattered into: the values of a row, with room
 * for k - 1 others on either side.
 */
int32_t scatteredWidth(const VectorDouble& knots, double k) {
    return toInt((k - 1) + ((k - 1) + (knots.size - k)));
}

/** False after a report where the knots and the order describe no B-splines. */
bool acceptKnots(const VectorDouble* knots, double k, SiteTables& t, double& augLeft) {
    if (!keep(t.diffKnots, diff(knots), reporter, 16, " leave. create diffKnots fail")) {
        return false;
    }
    const int32_t decreasingSteps = findSmallerBaseIdx(t.diffKnots, 0.0);
    destroyVectorDouble(&t.diffKnots);
    const double m = knots->size;
    return (decreasingSteps == 0 || refuse(reporter, 23, " leave. SPCOL:knots Decreasing")) &&
           (!(m - k < 0) || refuse(reporter, 30, " leave. SPCOL:noBsplines")) &&
           (!(k < 1.0) || refuse(reporter, 52, " leave. SPCOL:multtoohigh")) &&
           (augknt(knots, &augLeft, k) == CALIBMAP_SUCCESS ||
            refuse(reporter, 66, ". augknot fail.")) &&
           (!std::isnan(k) || refuse(reporter, 52, " leave. SPCOL:multtoohigh"));
}

/**
 * False after a report where a site could reach beyond the knots or the scattered column. For k in
 * [1, m], two conditions rule that out. With m >= 2k the intervals end at n >= k, so the recurrence
 * reads t(interval - k + 2) ... t(interval + k - 1), all in t(2) ... t(m - 1); of a fractional k
 * and n only the whole parts count there. And the last position that is scattered to or gathered
 * from must not pass the end of the column; for whole k it does where the first knot occurs more
 * than 3k - 2 times.
 */
bool acceptExtent(const VectorDouble& knots, double k, double augLeft) {
    const double m = knots.size;
    const double n = m - k;
    const int32_t lastScattered =
        toInt(std::max(static_cast<double>(toInt(n)), k) + std::max(-augLeft, 0.0));
    const int32_t lastGathered = toInt(std::max(augLeft, 0.0) + 1) + toInt(n) - 1;
    return (m >= 2 * k || refuse(reporter, 30, " leave. SPCOL:noBsplines")) &&
           (std::max(lastScattered, lastGathered) <= scatteredWidth(knots, k) ||
            refuse(reporter, 52, " leave. SPCOL:multtoohigh"));
}

/** A vector that stands for a step. */
VectorDouble* standIn(int32_t size) {
    auto* vector = allocateStep<VectorDouble>(size, gTotalVecCnt);
    if (vector != nullptr) {
        vector->size = size;
    }
    return vector;
}

/** A matrix that stands for a step. */
template <typename Matrix>
Matrix* standIn(int32_t rows, int32_t cols) {
    return allocateMatrixStep<Matrix>(rows, cols);
}

/** A row that stands for what `repmatInt` makes. */
MatInt* repeated(int32_t cols) {
    return reportTiled(standIn<MatInt>(1, cols));
}

/**
 * Creates the tables, which stand for the steps of the evaluation: an exhausted heap is reported
 * under the name of the step that it strikes. The rows are computed without them, see
 * `evaluateSites`.
 */
bool createSteps(const VectorDouble& knots, double k, SiteTables& t) {
    const int32_t order = toInt(k);
    const int32_t cols = toInt(knots.size - k);
    const auto made = [](auto& handle, auto* part, int32_t line, const char* text) {
        return keep(handle, part, reporter, line, text);
    };
    return made(t.augknot, standIn(knots.size), 74, ". augknot copyFromVector fail.") &&
           made(t.augknotfrom1toNaug, standIn(cols), 82, " leave. augknotfrom1toNaug creat fail") &&
           (t.b = standIn<Mat>(1, order)) != nullptr &&  // the one step without a report
           made(t.cc, standIn<Mat>(scatteredWidth(knots, k), 1), 195, " leave. create cc fail") &&
           made(t.mat1, standIn<MatInt>(1, 1), 205, " leave. create mat1 fail") &&
           made(t.repMat1, repeated(order), 225, " leave. create repMat1 fail") &&
           made(t.mat2, standIn<MatInt>(1, 1), 237, " leave. create mat2 fail") &&
           made(t.repMat2, repeated(order), 252, " leave. create repMat2 fail") &&
           made(t.mat3, standIn<MatInt>(1, order), 267, " leave. create mat3 fail") &&
           made(t.repMat3, repeated(order), 289, " leave. create repMat3 fail") &&
           made(t.repMat1AndMat2, standIn<MatInt>(1, order), 321,
                " leave. create repMat1AndMat2 fail") &&
           made(t.ccColIdx0, standIn<MatInt>(1, order), 338, " leave. create ccColIdx0 fail") &&
           made(t.ccmat1, standIn<MatInt>(1, 1), 382, " leave. create ccmat1 fail") &&
           made(t.ccrepmat1, repeated(cols), 410, " leave. create ccrepmat1 fail") &&
           made(t.ccmat2, standIn<MatInt>(1, cols), 431, " leave. create ccmat2 fail") &&
           made(t.ccrepmat2, repeated(cols), 461, " leave. create ccrepmat2 fail") &&
           made(t.ccPartRowIdx, standIn<MatInt>(1, cols), 508,
                " leave. create ccPartRowIdx fail") &&
           made(t.ccPart, standIn<Mat>(cols, 1), 532, " leave. create ccPart fail");
}

}  // namespace

bool createTables(const VectorDouble* knots, double k, SiteTables& tables, SplineBasis& basis) {
    double augLeft = 0.0;
    if (acceptKnots(knots, k, tables, augLeft) && acceptExtent(*knots, k, augLeft) &&
        createSteps(*knots, k, tables)) {
        basis = makeBasis(*knots, k, augLeft);
        return true;
    }
    releaseTables(tables);
    return false;
}

Mat* createRow(const SplineBasis& basis) {
    auto* colloc = allocateMatrix<Mat>(1, basis.splines);
    if (colloc == nullptr) {
        refuse(reporter, 580, " leave. create colloc fail");
    }
    return colloc;
}

void releaseTables(SiteTables& tables) {
    SiteTables& t = tables;
    destroyVectorDouble(&t.diffKnots);
    destroyVectorDouble(&t.augknot);
    destroyVectorDouble(&t.augknotfrom1toNaug);
    destroyMat(&t.b);
    destroyMat(&t.cc);
    for (MatInt** handle :
         {&t.mat1, &t.repMat1, &t.mat2, &t.repMat2, &t.mat3, &t.repMat1AndMat2, &t.repMat3,
          &t.ccColIdx0, &t.ccmat1, &t.ccrepmat1, &t.ccmat2, &t.ccrepmat2, &t.ccPartRowIdx}) {
        destroyMatInt(handle);
    }
    destroyMat(&t.ccPart);
}

}  // namespace calibmap

using namespace calibmap;

Mat* spcol(const VectorDouble* knots, double k, double x) {
    const LiveCounts enter = enterCounts();
    SiteTables tables = {};
    SplineBasis basis;
    if (!createTables(knots, k, tables, basis)) {
        return nullptr;
    }
    auto* colloc = createRow(basis);
    if (colloc != nullptr) {
        evaluateSites(basis, &x, 1, colloc->data);
    }
    releaseTables(tables);
    if (colloc == nullptr) {
        return nullptr;
    }
    const CountCheck leave = leaveCounts(enter, 0, 1);
    if (leave.vectorsMoved) {
        report("%s line:%d some vectors not free. enter:%d leave:%d", reporter.function, 634,
               enter.vectors, leave.vectors);
    }
    if (leave.matricesMoved) {
        report("%s line:%d some mats not free. enter:%d leave:%d", reporter.function, 640,
               enter.matrices, leave.matrices);
    }
    return colloc;
}
