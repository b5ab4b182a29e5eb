#include "spline/basis.h"

#include <string.h>

#include <algorithm>

#include "arithmetic/lanes.h"

namespace calibmap {

namespace {

/** Sites that are evaluated side by side, up to an order that fits the registers. */
constexpr int32_t siteGroup = 4;
constexpr int32_t groupOrder = 8;

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
CALIBMAP_KERNEL inline void evaluateBsplines(const Real* next, const Real& x, int32_t k, Real* b) {
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

/**
 * What `sorted` gives for the knots at which intervals begin. Sites come in order as a rule, so the
 * search goes on from the interval of the site before; among ascending knots the number of those
 * that are not greater than a site does not depend on where one begins to count.
 */
int32_t countKnotsUpTo(const SplineBasis& basis, double site, int32_t lastCount) {
    const VectorDouble& t = basis.intervals;
    if (!basis.isAscending || site != site) {
        return static_cast<int32_t>(sorted(&t, site));
    }
    int32_t count = lastCount;
    while (count < t.size && t.data[count] <= site) {
        ++count;
    }
    while (count > 0 && t.data[count - 1] > site) {
        --count;
    }
    return count;
}

/** Where the values of one site come from and where they go. */
struct Site {
    double x;
    const double* next;  /**< the knot at which the next interval begins */
    int32_t firstColumn; /**< of the first value; it and others may lie outside the row */
    bool isInside;       /**< not outside all knots, where every value is zero */
};

Site locate(const SplineBasis& basis, double x, int32_t count) {
    const double interval = std::max(static_cast<double>(count), basis.firstInterval);
    const auto lastPosition = static_cast<int32_t>(interval + basis.surplus);
    const double* t = basis.intervals.data;
    const bool isOutside = t[0] > x || basis.lastKnot < x;  // false for a NaN
    return {x, t + static_cast<int32_t>(interval),
            lastPosition - (basis.order - 1) - basis.firstColumn, !isOutside};
}

/** Which of the values of a site lie in its row: from `first` to before `end`. */
struct Inside {
    int32_t first;
    int32_t end;
};

Inside valuesInRow(const SplineBasis& basis, const Site& site) {
    const int32_t first = std::max(0, -site.firstColumn);
    const int32_t end = std::min(basis.order, basis.splines - site.firstColumn);
    return site.isInside && first < end ? Inside{first, end} : Inside{0, 0};
}

/**
 * Up to `siteGroup` sites. One by one the recurrence is a chain of divisions, each waiting for the
 * one before; side by side they keep the divider busy. An incomplete group repeats its last site.
 */
CALIBMAP_KERNEL inline void evaluateGroup(const SplineBasis& basis, const Site* group,
                                          int32_t count, double* rows) {
    const int32_t order = basis.order;
    Sites x = {};
    Sites knots[2 * groupOrder];
    bool isOneInterval = true;
    for (int32_t i = 0; i < siteGroup; ++i) {
        const Site& site = group[std::min(i, count - 1)];
        x[i] = site.x;
        isOneInterval = isOneInterval && site.next == group[0].next;
    }
    const int32_t others = isOneInterval ? 0 : count - 1;
    for (int32_t r = 0; r < 2 * (order - 1); ++r) {
        const int32_t knot = r - (order - 1);
        for (int32_t i = 0; i < siteGroup; ++i) {
            knots[r][i] = group[std::min(i, others)].next[knot];
        }
    }
    Sites values[groupOrder];
    evaluateBsplines(knots + order - 1, x, order, values);
    double separate[groupOrder][siteGroup];
    for (int32_t r = 0; r < order; ++r) {
        memcpy(separate[r], &values[r], sizeof values[r]);
    }
    for (int32_t i = 0; i < count; ++i, rows += basis.splines) {
        const Inside inside = valuesInRow(basis, group[i]);
        std::fill_n(rows, basis.splines, 0.0);
        for (int32_t r = inside.first; r < inside.end; ++r) {
            rows[group[i].firstColumn + r] = separate[r][i];
        }
    }
}

/** One site of any order, in its row itself, which is never shorter than the order. */
void evaluateAlone(const SplineBasis& basis, const Site& site, double* row) {
    evaluateBsplines(site.next, site.x, basis.order, row);
    const Inside inside = valuesInRow(basis, site);
    const int32_t count = inside.end - inside.first;
    double* begin = row + (count > 0 ? site.firstColumn + inside.first : 0);
    memmove(begin, row + inside.first, static_cast<size_t>(count) * sizeof(double));
    std::fill(row, begin, 0.0);
    std::fill(begin + count, row + basis.splines, 0.0);
}

}  // namespace

SplineBasis makeBasis(const VectorDouble& knots, double k, double augLeft) {
    SplineBasis basis;
    basis.order = static_cast<int32_t>(k);
    basis.splines = static_cast<int32_t>(knots.size - k);
    basis.intervals = {knots.data, basis.splines};
    basis.lastKnot = knots.data[knots.size - 1];
    basis.firstInterval = k;
    basis.surplus = std::max(-augLeft, 0.0);
    basis.firstColumn = static_cast<int32_t>(std::max(augLeft, 0.0) + 1);
    basis.isAscending = true;
    for (int32_t i = 1; i < basis.splines; ++i) {
        basis.isAscending = basis.isAscending && knots.data[i - 1] <= knots.data[i];
    }
    return basis;
}

void evaluateSites(const SplineBasis& basis, const double* sites, int32_t count, double* rows) {
    run([&](auto /*lanes*/) CALIBMAP_KERNEL {
        int32_t interval = 0;
        for (int32_t done = 0; done < count; done += siteGroup) {
            Site group[siteGroup];
            const int32_t inGroup = std::min(siteGroup, count - done);
            for (int32_t i = 0; i < inGroup; ++i) {
                interval = countKnotsUpTo(basis, sites[done + i], interval);
                group[i] = locate(basis, sites[done + i], interval);
            }
            double* row = rows + int64_t{done} * basis.splines;
            if (basis.order <= groupOrder) {
                evaluateGroup(basis, group, inGroup, row);
            } else {
                for (int32_t i = 0; i < inGroup; ++i) {
                    evaluateAlone(basis, group[i], row + int64_t{i} * basis.splines);
                }
            }
        }
    });
}

}  // namespace calibmap
