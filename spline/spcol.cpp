#include "spline/spcol.h"

#include <algorithm>
#include <cmath>

#include "container/diagnostics.h"
#include "container/steps.h"
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
bool acceptKnots(const VectorDouble* knots, double k, double& augLeft) {
    VectorDouble* diffKnots = nullptr;
    if (!keep(diffKnots, diff(knots), reporter, 16, " leave. create diffKnots fail")) {
        return false;
    }
    const int32_t decreasingSteps = findSmallerBaseIdx(diffKnots, 0.0);
    destroyVectorDouble(&diffKnots);
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

/** A step of `spcol`: the count that it is in, its size and the report of its refusal. */
struct Step {
    int32_t& liveCount;
    int64_t bytes;
    const char* text;
    int32_t line;
    bool isTiled = false; /**< made by `repmatInt`, which reports first */
};

/**
 * Creates what stands for the steps of a site, in their order. Here n is the number of B-splines;
 * a table of positions has a row of k or n integers.
 */
bool addSteps(const VectorDouble& knots, double k, StandIns& made) {
    constexpr int64_t real = sizeof(double);
    constexpr int64_t whole = sizeof(int32_t);
    const int32_t order = toInt(k);
    const int32_t n = toInt(knots.size - k);
    const Step steps[] = {
        {gTotalVecCnt, knots.size * real, ". augknot copyFromVector fail.", 74},
        {gTotalVecCnt, n * real, " leave. augknotfrom1toNaug creat fail", 82},
        {gMatCnt, order * real, nullptr, 0},  // the values: the one step without a report
        {gMatCnt, scatteredWidth(knots, k) * real, " leave. create cc fail", 195},
        {gMatCnt, whole, " leave. create mat1 fail", 205},
        {gMatCnt, order * whole, " leave. create repMat1 fail", 225, true},
        {gMatCnt, whole, " leave. create mat2 fail", 237},
        {gMatCnt, order * whole, " leave. create repMat2 fail", 252, true},
        {gMatCnt, order * whole, " leave. create mat3 fail", 267},
        {gMatCnt, order * whole, " leave. create repMat3 fail", 289, true},
        {gMatCnt, order * whole, " leave. create repMat1AndMat2 fail", 321},
        {gMatCnt, order * whole, " leave. create ccColIdx0 fail", 338},
        {gMatCnt, whole, " leave. create ccmat1 fail", 382},
        {gMatCnt, n * whole, " leave. create ccrepmat1 fail", 410, true},
        {gMatCnt, n * whole, " leave. create ccmat2 fail", 431},
        {gMatCnt, n * whole, " leave. create ccrepmat2 fail", 461, true},
        {gMatCnt, n * whole, " leave. create ccPartRowIdx fail", 508},
        {gMatCnt, n * real, " leave. create ccPart fail", 532},
    };
    static_assert(sizeof steps / sizeof *steps <= sizeof made.made / sizeof *made.made);
    for (const Step& step : steps) {
        if (!add(made, step.liveCount, step.bytes)) {
            if (step.isTiled) {
                reportNotTiled();
            }
            return step.text != nullptr && refuse(reporter, step.line, step.text);
        }
    }
    return true;
}

/** Warns of live counts that have moved, but for the row; the row is good all the same. */
void compareCounts(const LiveCounts& enter) {
    const CountCheck leave = leaveCounts(enter, 0, 1);
    if (leave.vectorsMoved) {
        report("%s line:%d some vectors not free. enter:%d leave:%d", reporter.function, 634,
               enter.vectors, leave.vectors);
    }
    if (leave.matricesMoved) {
        report("%s line:%d some mats not free. enter:%d leave:%d", reporter.function, 640,
               enter.matrices, leave.matrices);
    }
}

}  // namespace

Mat* createRow(const VectorDouble* knots, double k, SplineBasis& basis) {
    const LiveCounts enter = enterCounts();
    double augLeft = 0.0;
    StandIns steps = {};
    Mat* colloc = nullptr;
    const bool isMade = acceptKnots(knots, k, augLeft) && acceptExtent(*knots, k, augLeft) &&
                        addSteps(*knots, k, steps) &&
                        keep(colloc, allocateMatrix<Mat>(1, toInt(knots->size - k)), reporter, 580,
                             " leave. create colloc fail");
    release(steps);
    if (isMade) {
        basis = makeBasis(*knots, k, augLeft);
        compareCounts(enter);
    }
    return colloc;
}

}  // namespace calibmap

using namespace calibmap;

Mat* spcol(const VectorDouble* knots, double k, double x) {
    SplineBasis basis;
    auto* colloc = createRow(knots, k, basis);
    if (colloc != nullptr) {
        evaluateSites(basis, &x, 1, colloc->data);
    }
    return colloc;
}
