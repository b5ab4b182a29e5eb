#include "spline/collocation_matrix.h"

#include <string.h>

#include <algorithm>

#include "container/live_counts.h"
#include "container/protocol.h"
#include "diagnostics.h"
#include "spline/spcol.h"

namespace {

constexpr const char* name = "collocationMatrix";

/** What one call holds: the result and what its rows are evaluated on. */
struct Collocation {
    Mat* colMatrixX;
    SiteEvaluation sites;
};

Mat* fail(Collocation& collocation) {
    releaseSites(collocation.sites);
    destroyMat(&collocation.colMatrixX);
    return nullptr;
}

/** Differences and sums of counts wrap around at 32 bits; whatever wraps is refused below. */
int32_t wrap(int64_t count) {
    return static_cast<int32_t>(static_cast<uint32_t>(count));
}

}  // namespace

Mat* collocateLeadingSites(const VectorDouble* knots, int32_t k, const Mat* samplePoints,
                           int32_t evaluatedSites) {
    const int32_t knotCount = knots == nullptr ? 0 : knots->size;
    const int32_t sampleSize = matSize(samplePoints);
    if (k < 1 || knotCount == 0 || sampleSize == 0 || samplePoints->cols != 1) {
        report("%s line:%d leave. error input para. knots sz(%d) k(%d) samplePoints sz(%d)", name,
               13, knotCount, k, sampleSize);
        return nullptr;
    }
    const int32_t spareKnots = wrap(int64_t{knotCount} - 2 * int64_t{k});
    if (spareKnots < 0) {
        report("%s line:%d leave. error pieces(%d)", name, 20, spareKnots + 1);
        return nullptr;
    }
    const int32_t colMatrixCols = wrap(int64_t{spareKnots} + k);
    if (colMatrixCols < 1) {
        report("%s line:%d leave. error colMatrixCols(%d)", name, 26, colMatrixCols);
        return nullptr;
    }

    const LiveCounts enter = liveCounts();
    Collocation c = {};
    c.colMatrixX = allocateMatrix<Mat>(samplePoints->rows, colMatrixCols);
    if (c.colMatrixX == nullptr) {
        report("%s line:%d leave. create colMatrixX  fail", name, 34);
        return nullptr;
    }
    bool prepared = false;
    for (int32_t row = 0; row < evaluatedSites; ++row) {
        const int32_t inGroup = row % siteGroup;
        prepared = prepared || prepareSites(knots, k, c.sites);
        if (prepared && inGroup == 0) {
            evaluateSites(c.sites, samplePoints->data + row,
                          std::min(siteGroup, evaluatedSites - row));
        }
        auto* values = prepared ? createSiteRow(c.sites, inGroup) : nullptr;
        if (values == nullptr) {
            report("%s line:%d, spcol fail(%d) row:%d", name, 42, 0, row);
            return fail(c);
        }
        if (values->rows != 1 || values->cols != colMatrixCols) {
            destroyMat(&values);
            report("%s line:%d, leave. calc spcol size wrong", name, 50);
            return fail(c);
        }
        memcpy(c.colMatrixX->data + int64_t{row} * colMatrixCols, values->data,
               static_cast<size_t>(matSize(values)));
        destroyMat(&values);
    }
    releaseSites(c.sites);

    const LiveCounts leave = liveCounts();
    if (leave.vectors != enter.vectors) {
        report("%s line:%d some vectors not free.", name, 67);
        return fail(c);
    }
    if (leave.matrices != enter.matrices + 1) {
        report("%s line:%d some mats not free.", name, 74);
        return fail(c);
    }
    return c.colMatrixX;
}

Mat* collocationMatrix(const VectorDouble* knots, int32_t k, const Mat* samplePoints) {
    return collocateLeadingSites(knots, k, samplePoints, getMatRows(samplePoints));
}
