#include "spline/spcol.h"

#include <string.h>

#include <algorithm>

#include "container/live_counts.h"
#include "container/protocol.h"
#include "diagnostics.h"

namespace {

bool refuse(SiteEvaluation& evaluation, const char* format, int32_t line) {
    report(format, "spcol", line);
    releaseSites(evaluation);
    return false;
}

/** Sizes, positions and indices: doubles that are whole in use and truncated where they are not. */
int32_t toInt(double value) {
    return static_cast<int32_t>(value);
}

void fillAscending(MatInt& row, int32_t first) {
    for (int32_t c = 0; c < row.cols; ++c) {
        row.data[c] = first + c;
    }
}

/** The interval of a site; a site before the first interval gets the first. */
double intervalOf(const SiteEvaluation& e, double sortidx) {
    return std::max(sortidx, e.order);
}

/** One double for each site of a group. */
using Sites = double __attribute__((vector_size(siteGroup * sizeof(double))));

/**
 * Values of the B-splines B(interval - k + 1) ... B(interval) of order k at x, for x from
 * t(interval) to t(interval + 1) (de Boor, A Practical Guide to Splines, chapter X, BSPLVB): from
 * the values of order j follow those of order j + 1,
 *
 *     b(r) = saved + (t(interval + r) - x) term
 *     saved = (x - t(interval + r - j)) term
 *     term = b(r) / (t(interval + r) - t(interval + r - j))
 *
 * for r = 1 ... j, with saved = 0 at the start and b(j + 1) = saved at the end. The difference of
 * two knots is taken as the sum of their distances from x. `next` points at t(interval + 1).
 *
 * `Real` is a double, or one double for each of several sites: the operations of each are the same.
 */
template <typename Real>
[[gnu::always_inline]] inline void evaluateBsplines(const Real* next, const Real& x, int32_t k,
                                                    Real* b) {
    b[0] = Real{} + 1.0;
    for (int32_t j = 1; j < k; ++j) {
        Real saved = {};
        for (int32_t r = 0; r < j; ++r) {
            const Real right = next[r] - x;
            const Real left = x - next[r - j];
            const Real term = b[r] / (right + left);
            b[r] = saved + right * term;
            saved = left * term;
        }
        b[j] = saved;
    }
}

}  // namespace

bool prepareSites(const VectorDouble* knots, double k, SiteEvaluation& evaluation) {
    SiteEvaluation& e = evaluation;
    e.diffKnots = diff(knots);
    if (e.diffKnots == nullptr) {
        return refuse(e, "%s line:%d leave. create diffKnots fail", 16);
    }
    const int32_t decreasingSteps = findSmallerBaseIdx(e.diffKnots, 0.0);
    destroyVectorDouble(&e.diffKnots);
    if (decreasingSteps > 0) {
        return refuse(e, "%s line:%d leave. SPCOL:knots Decreasing", 23);
    }
    const double m = knots->size;
    const double n = m - k;
    if (n < 0) {
        return refuse(e, "%s line:%d leave. SPCOL:noBsplines", 30);
    }
    const bool isOrder = k >= 1.0;  // false for a NaN too
    if (!isOrder) {
        return refuse(e, "%s line:%d leave. SPCOL:multtoohigh", 52);
    }
    if (augknt(knots, &e.augLeft, k) != CALIBMAP_SUCCESS) {
        return refuse(e, "%s line:%d. augknot fail.", 66);
    }

    // From here on k lies in [1, m]. Two conditions keep every site inside the knots and the
    // scratch column. With m >= 2k the intervals end at n >= k, so the recurrence reads
    // t(interval - k + 2) ... t(interval + k - 1), all in t(2) ... t(m - 1); of a fractional k and
    // n only the whole parts count there. And the last position that is scattered to or gathered
    // from must not pass the end of the column; for whole k it does where the first knot occurs
    // more than 3k - 2 times.
    const int32_t order = toInt(k);
    const int32_t cols = toInt(n);
    const int32_t width = toInt((k - 1) + ((k - 1) + n));
    const int32_t lastScattered =
        toInt(std::max(static_cast<double>(cols), k) + std::max(-e.augLeft, 0.0));
    const int32_t firstGathered = toInt(std::max(e.augLeft, 0.0) + 1);
    if (m < 2 * k) {
        return refuse(e, "%s line:%d leave. SPCOL:noBsplines", 30);
    }
    if (std::max(lastScattered, firstGathered + cols - 1) > width) {
        return refuse(e, "%s line:%d leave. SPCOL:multtoohigh", 52);
    }
    e.order = k;

    e.augknot = copyFromVector(knots, knots->size);
    if (e.augknot == nullptr) {
        return refuse(e, "%s line:%d. augknot copyFromVector fail.", 74);
    }
    e.augknotfrom1toNaug = createVectorDouble(cols);
    if (e.augknotfrom1toNaug == nullptr) {
        return refuse(e, "%s line:%d leave. augknotfrom1toNaug creat fail", 82);
    }
    std::copy_n(e.augknot->data, cols, e.augknotfrom1toNaug->data);
    e.b = createMat(1, order);
    if (e.b == nullptr) {
        return refuse(e, "%s line:%d leave. create b fail", 110);
    }

    e.cc = createMat(width, 1);
    if (e.cc == nullptr) {
        return refuse(e, "%s line:%d leave. create cc fail", 195);
    }
    e.mat1 = createMatInt(1, 1);
    if (e.mat1 == nullptr) {
        return refuse(e, "%s line:%d leave. create mat1 fail", 205);
    }
    e.repMat1 = repmatInt(e.mat1, 1, order);
    if (e.repMat1 == nullptr) {
        return refuse(e, "%s line:%d leave. create repMat1 fail", 225);
    }
    e.mat2 = createMatInt(1, 1);
    if (e.mat2 == nullptr) {
        return refuse(e, "%s line:%d leave. create mat2 fail", 237);
    }
    e.mat2->data[0] = toInt(k + std::max(-e.augLeft, 0.0));
    e.repMat2 = repmatInt(e.mat2, 1, order);
    if (e.repMat2 == nullptr) {
        return refuse(e, "%s line:%d leave. create repMat2 fail", 252);
    }
    e.mat3 = createMatInt(1, order);
    if (e.mat3 == nullptr) {
        return refuse(e, "%s line:%d leave. create mat3 fail", 267);
    }
    fillAscending(*e.mat3, 1 - order);
    e.repMat3 = repmatInt(e.mat3, 1, 1);
    if (e.repMat3 == nullptr) {
        return refuse(e, "%s line:%d leave. create repMat3 fail", 289);
    }
    // The tables agree in shape by construction. Their checks stand guard before they are used as
    // positions to write to.
    if (e.repMat3->cols != e.repMat2->cols || e.repMat3->cols != e.repMat1->cols ||
        e.repMat3->rows != e.repMat2->rows || e.repMat3->rows != e.repMat1->rows) {
        return refuse(e, "%s line:%d leave. check repmatmat col row fail", 305);
    }
    e.repMat1AndMat2 = matIntAdd(e.repMat1, e.repMat2);
    if (e.repMat1AndMat2 == nullptr) {
        return refuse(e, "%s line:%d leave. create repMat1AndMat2 fail", 321);
    }
    e.ccColIdx0 = matIntAdd(e.repMat1AndMat2, e.repMat3);
    if (e.ccColIdx0 == nullptr) {
        return refuse(e, "%s line:%d leave. create ccColIdx0 fail", 338);
    }
    if (e.ccColIdx0->cols != e.b->cols || e.ccColIdx0->rows != e.b->rows) {
        report("%s line:%d leave. repmat(%d,%d) != b(%d, %d)", "spcol", 355, e.ccColIdx0->rows,
               e.ccColIdx0->cols, e.b->rows, e.b->cols);
        releaseSites(e);
        return false;
    }
    e.ccmat1 = createMatInt(1, 1);
    if (e.ccmat1 == nullptr) {
        return refuse(e, "%s line:%d leave. create ccmat1 fail", 382);
    }
    e.ccrepmat1 = repmatInt(e.ccmat1, 1, cols);
    if (e.ccrepmat1 == nullptr) {
        return refuse(e, "%s line:%d leave. create ccrepmat1 fail", 410);
    }
    e.ccmat2 = createMatInt(1, cols);
    if (e.ccmat2 == nullptr) {
        return refuse(e, "%s line:%d leave. create ccmat2 fail", 431);
    }
    fillAscending(*e.ccmat2, firstGathered);
    e.ccrepmat2 = repmatInt(e.ccmat2, 1, 1);
    if (e.ccrepmat2 == nullptr) {
        return refuse(e, "%s line:%d leave. create ccrepmat2 fail", 461);
    }
    if (e.ccrepmat2->cols != e.ccrepmat1->cols) {
        report("%s line:%d leave. repmat(%d) ccrepmat1(%d,%d) != ccrepmat2(%d, %d)", "spcol", 483,
               0, e.ccrepmat1->rows, e.ccrepmat1->cols, e.ccrepmat2->rows, e.ccrepmat2->cols);
        releaseSites(e);
        return false;
    }
    e.ccPartRowIdx = matIntAdd(e.ccrepmat2, e.ccrepmat1);
    if (e.ccPartRowIdx == nullptr) {
        return refuse(e, "%s line:%d leave. create ccPartRowIdx fail", 508);
    }
    e.ccPart = createMat(e.ccPartRowIdx->cols, 1);
    if (e.ccPart == nullptr) {
        return refuse(e, "%s line:%d leave. create ccPart fail", 532);
    }
    return true;
}

void evaluateSites(SiteEvaluation& evaluation, const double* x, int32_t count) {
    const SiteEvaluation& e = evaluation;
    SiteGroup& group = evaluation.group;
    const int32_t order = e.b->cols;
    // Site by site the recurrence is a chain of divisions, each waiting for the one before. Side by
    // side they keep the divider busy. An incomplete group repeats its last site.
    Sites sites;
    Sites knots[2 * groupOrder];
    for (int32_t i = 0; i < siteGroup; ++i) {
        const double site = x[std::min(i, count - 1)];
        group.x[i] = site;
        group.sortidx[i] = sorted(e.augknotfrom1toNaug, site);
        sites[i] = site;
        if (order <= groupOrder) {
            const int32_t interval = toInt(intervalOf(e, group.sortidx[i]));
            const double* first = e.augknot->data + interval - (order - 1);
            for (int32_t r = 0; r < 2 * (order - 1); ++r) {
                knots[r][i] = first[r];
            }
        }
    }
    if (order <= groupOrder) {
        Sites values[groupOrder];
        evaluateBsplines(knots + order - 1, sites, order, values);
        memcpy(group.values, values, static_cast<size_t>(order) * sizeof(Sites));
    }
}

Mat* createSiteRow(SiteEvaluation& evaluation, int32_t site) {
    const SiteEvaluation& e = evaluation;
    const VectorDouble& t = *e.augknot;
    const int32_t order = e.b->cols;
    const double x = e.group.x[site];
    if (e.group.sortidx[site] < 0) {
        report("%s line:%d leave. sorted fail:sortidx < 0", "spcol", 94);
        return nullptr;
    }
    const double intervalIdx = intervalOf(e, e.group.sortidx[site]);
    if (t.data[0] > x || t.data[t.size - 1] < x) {
        std::fill_n(e.b->data, order, 0.0);
    } else if (order <= groupOrder) {
        for (int32_t r = 0; r < order; ++r) {
            e.b->data[r] = e.group.values[r][site];
        }
    } else {
        evaluateBsplines(t.data + toInt(intervalIdx), x, order, e.b->data);
    }

    const int32_t lastPosition = toInt(intervalIdx + std::max(-e.augLeft, 0.0));
    const int32_t beyondFirst = lastPosition - e.mat2->data[0];
    double* column = e.cc->data - 1;  // positions count from 1
    for (int32_t r = 0; r < e.ccColIdx0->cols; ++r) {
        column[e.ccColIdx0->data[r] + beyondFirst] = e.b->data[r];
    }
    for (int32_t c = 0; c < e.ccPart->rows; ++c) {
        e.ccPart->data[c] = column[e.ccPartRowIdx->data[c]];
    }
    for (int32_t r = 0; r < e.ccColIdx0->cols; ++r) {
        column[e.ccColIdx0->data[r] + beyondFirst] = 0.0;
    }

    auto* colloc = allocateMatrix<Mat>(e.ccPart->cols, e.ccPart->rows);
    if (colloc == nullptr) {
        report("%s line:%d leave. create colloc fail", "spcol", 580);
        return nullptr;
    }
    std::copy_n(e.ccPart->data, e.ccPart->rows, colloc->data);
    return colloc;
}

void releaseSites(SiteEvaluation& evaluation) {
    SiteEvaluation& e = evaluation;
    destroyVectorDouble(&e.diffKnots);
    destroyVectorDouble(&e.augknot);
    destroyVectorDouble(&e.augknotfrom1toNaug);
    destroyMat(&e.b);
    destroyMat(&e.cc);
    destroyMatInt(&e.mat1);
    destroyMatInt(&e.repMat1);
    destroyMatInt(&e.mat2);
    destroyMatInt(&e.repMat2);
    destroyMatInt(&e.mat3);
    destroyMatInt(&e.repMat1AndMat2);
    destroyMatInt(&e.repMat3);
    destroyMatInt(&e.ccColIdx0);
    destroyMatInt(&e.ccmat1);
    destroyMatInt(&e.ccrepmat1);
    destroyMatInt(&e.ccmat2);
    destroyMatInt(&e.ccrepmat2);
    destroyMatInt(&e.ccPartRowIdx);
    destroyMat(&e.ccPart);
}

Mat* spcol(const VectorDouble* knots, double k, double x) {
    const LiveCounts enter = liveCounts();
    SiteEvaluation evaluation = {};
    if (!prepareSites(knots, k, evaluation)) {
        return nullptr;
    }
    evaluateSites(evaluation, &x, 1);
    auto* colloc = createSiteRow(evaluation, 0);
    releaseSites(evaluation);
    if (colloc == nullptr) {
        return nullptr;
    }
    const LiveCounts leave = liveCounts();
    if (leave.vectors != enter.vectors) {
        report("%s line:%d some vectors not free. enter:%d leave:%d", "spcol", 634, enter.vectors,
               leave.vectors);
    }
    if (leave.matrices != enter.matrices + 1) {
        report("%s line:%d some mats not free. enter:%d leave:%d", "spcol", 640, enter.matrices,
               leave.matrices);
    }
    return colloc;
}
