// What is true of the values of B-splines over any knots.
#include <numeric>

#include "support.h"

namespace {

/** B-spline i (from 0) of order k at x by its recursive definition, independent of any interval. */
double bSpline(const Values& t, size_t i, size_t k, double x) {
    if (k == 1) {
        // The last knot belongs to the last interval that is not empty.
        const bool atEnd = x == t.back() && t[i] < x && t[i + 1] == x;
        return (t[i] <= x && x < t[i + 1]) || atEnd ? 1.0 : 0.0;
    }
    const double left = t[i + k - 1] - t[i];
    const double right = t[i + k] - t[i + 1];
    return (left > 0 ? (x - t[i]) / left * bSpline(t, i, k - 1, x) : 0.0) +
           (right > 0 ? (t[i + k] - x) / right * bSpline(t, i + 1, k - 1, x) : 0.0);
}

/** The row at x, compared with the definition moved by `shift` columns to the left. */
Values expectDefinition(const Values& t, size_t k, double x, size_t shift) {
    Values row = elements(own(spcol(vectorOf(t).get(), static_cast<double>(k), x)));
    EXPECT_EQ(row.size(), t.size() - k);
    for (size_t c = 0; c < row.size(); ++c) {
        const size_t from = c + shift;  // wraps around where the shift is to the right
        EXPECT_NEAR(row[c], from < row.size() ? bSpline(t, from, k, x) : 0.0, 1e-13) << c;
    }
    return row;
}

TEST(Spcol, IsABasisOverAnyKnotSequence) {
    std::mt19937_64 random(3);
    std::uniform_real_distribution<double> uniform(-2.0, 2.0);
    for (size_t round = 0; round < 480; ++round) {
        // Simple to k-fold knots inside, at wildly different distances.
        const size_t k = 1 + round % 8;
        Values t(k, -3.0);
        for (size_t i = random() % 9; i > 0; --i) {
            t.insert(t.end(), 1 + random() % k, std::pow(uniform(random), 3.0) / 3);
        }
        std::sort(t.begin(), t.end());
        t.insert(t.end(), k, 3.0);
        Values sites = t;
        sites.insert(sites.end(), {uniform(random), uniform(random), std::nextafter(3.0, 0.0)});
        for (const double x : sites) {
            const Values row = expectDefinition(t, k, x, 0);
            const auto present = [](double value) { return value != 0.0; };
            const auto first = std::find_if(row.begin(), row.end(), present);
            const auto last = std::find_if(row.rbegin(), row.rend(), present).base();
            EXPECT_LE(static_cast<size_t>(last - first), k);
            EXPECT_GE(*std::min_element(row.begin(), row.end()), 0.0);
            EXPECT_NEAR(std::accumulate(row.begin(), row.end(), 0.0), 1.0, 1e-13);
        }
    }
}

TEST(Spcol, ShiftsTheRowByTheKnotsThatTheFirstOneLacks) {
    for (size_t k = 1; k <= 5; ++k) {
        for (size_t multiplicity = 1; multiplicity <= 3 * k - 2; ++multiplicity) {
            Values t(multiplicity + 2 * k + 3, 0.0);
            std::iota(t.begin() + static_cast<ptrdiff_t>(multiplicity), t.end(), 1.0);
            for (size_t i = k - 1; i + k < t.size(); ++i) {
                expectDefinition(t, k, t[i] + 0.25, k - multiplicity);
            }
        }
    }
}

TEST(CollocationMatrix, HoldsTheRowsOfSpcolBitForBit) {
    std::mt19937_64 random(5);
    std::uniform_real_distribution<double> uniform(-4.0, 4.0);
    for (int32_t round = 0; round < 300; ++round) {
        const int32_t k = 1 + round % 11;
        Values t(static_cast<size_t>(2 * k) + random() % 20);
        std::generate(t.begin(), t.end(), [&] { return uniform(random); });
        std::sort(t.begin(), t.end());
        if (round % 3 == 0) {
            t[random() % t.size()] = notANumber;  // not decreasing either
        }
        Values sites = t;
        sites.insert(sites.end(), {notANumber, -infinity, 9.0, uniform(random), infinity, -4.5});
        std::shuffle(sites.begin(), sites.end(), random);
        const auto knots = vectorOf(t);
        const auto column = matrix(static_cast<int32_t>(sites.size()), 1, sites);
        Values rows;
        for (const double x : sites) {
            const Values row = elements(own(spcol(knots.get(), k, x)));
            rows.insert(rows.end(), row.begin(), row.end());
        }
        ASSERT_EQ(bitsOf(elements(own(collocationMatrix(knots.get(), k, column.get())))),
                  bitsOf(rows));
    }
}

}  // namespace
