/**
 * How a product is blocked:
 *
 *                              panel
 *                            +--------+--------+--
 *                            | range  | range  |
 *                       term |........|........|      right factor, packed panel by panel
 *                            |        |        |
 *                            +--------+--------+--
 *                terms
 *            +-----------+   +--------+--------+--
 *            |           |   |        |        |
 *       band | row ......|   | micro- |        |      product
 *            | row ......|   | tile   |        |
 *            |           |   |        |        |
 *            +-----------+   +--------+--------+--
 *             left factor
 *
 * A panel is `panelWidth` neighbouring columns of the right factor, the terms of the sums one after
 * the other, with zeros for columns beyond the last one. A band of rows of the left factor is taken
 * through one panel after the other. A micro-tile is the product of a few rows and a panel: its
 * sums stay in registers from their first term to their last; vectors run along the columns and
 * never along a sum, so every element is
 *
 *     0.0 + left[0] right[0] + left[1] right[1] + ...
 *
 * in ascending order, each product and each sum rounded once.
 */
#ifndef CALIBMAP_ARITHMETIC_TILE_H
#define CALIBMAP_ARITHMETIC_TILE_H

#include <algorithm>

#include "arithmetic/lanes.h"

namespace calibmap {

/** Columns of a panel: one cache line of doubles. */
inline constexpr int32_t panelWidth = 8;

/** Terms of a sum from `first` to before `end`. */
struct TermRange {
    int32_t first;
    int32_t end;
};

/** Doubles of a panel with `terms` terms: a cache line that holds its range, then the terms. */
constexpr int64_t panelSize(int32_t terms) {
    return (int64_t{terms} + 1) * panelWidth;
}

/** The range of a panel: from the first to the last term that is not zero in some column. */
inline TermRange nonZeroTerms(const double* panel) {
    TermRange range;
    memcpy(&range, panel, sizeof range);
    return range;
}

/**
 * Packs `width` columns, 1 to `panelWidth`, of a right factor whose element of term i and column c
 * is source[i * termStride + c * colStride].
 */
void packPanel(const double* source, int64_t termStride, int64_t colStride, int32_t terms,
               int32_t width, double* panel);

/**
 * The terms of a panel that have to be summed. Where every left factor is finite, leading and
 * trailing terms whose right factors are all zero are left out: they add +0.0 or -0.0 to a sum that
 * is never -0.0 (it starts at +0.0, and rounding to nearest gives -0.0 only to a sum of two
 * negative zeros), which changes no bit. An infinite or NaN left factor makes NaN of a zero, so
 * there all terms are summed.
 */
inline TermRange termsToSum(bool leftIsFinite, const double* panel, int32_t terms) {
    return leftIsFinite ? nonZeroTerms(panel) : TermRange{0, terms};
}

/** The sums of a micro-tile: some rows of the left factor, one panel. */
template <int Rows, int Count>
using Sums = Vector<Count>[Rows][panelWidth / Count];

/** Adds the terms of `range` to the sums of `Rows` rows of the left factor. */
template <int Rows, int Count>
CALIBMAP_KERNEL inline void addTerms(const double* left, int64_t leftStride, const double* panel,
                                     TermRange range, Sums<Rows, Count>& sums) {
    constexpr int vectors = panelWidth / Count;
    for (int32_t i = range.first; i < range.end; ++i) {
        Vector<Count> right[vectors];
        for (int v = 0; v < vectors; ++v) {
            load<Count>(panel + panelSize(i) + int64_t{v} * Count, right[v]);
        }
        for (int r = 0; r < Rows; ++r) {
            for (int v = 0; v < vectors; ++v) {
                sums[r][v] += left[r * leftStride + i] * right[v];
            }
        }
    }
}

/** Applies `operation` to each vector of sums; unrolled, or GCC keeps the sums in memory. */
template <int Rows, int Count, typename Sum, typename Operation>
CALIBMAP_KERNEL inline void forSums(Sum& sums, Operation operation) {
#pragma GCC unroll 8
    for (int r = 0; r < Rows; ++r) {
#pragma GCC unroll 8
        for (int v = 0; v < panelWidth / Count; ++v) {
            operation(sums[r][v], r, v * Count);
        }
    }
}

/** Sums that begin at +0.0. */
template <int Rows, int Count>
CALIBMAP_KERNEL inline void clearSums(Sums<Rows, Count>& sums) {
    forSums<Rows, Count>(sums, [](auto& s, int, int) CALIBMAP_KERNEL { s = Vector<Count>{}; });
}

/** Takes up sums that have been stored: a double that is stored and loaded is the same double. */
template <int Rows, int Count>
CALIBMAP_KERNEL inline void loadSums(const double* from, int64_t stride, int32_t width,
                                     Sums<Rows, Count>& sums) {
    double edge[Rows * panelWidth];
    if (width < panelWidth) {
        for (int r = 0; r < Rows; ++r) {
            double* rest = std::copy_n(from + r * stride, width, edge + int64_t{r} * panelWidth);
            std::fill_n(rest, panelWidth - width, 0.0);
        }
        from = edge;
        stride = panelWidth;
    }
    forSums<Rows, Count>(sums, [&](auto& s, int r, int column)
                                   CALIBMAP_KERNEL { load<Count>(from + r * stride + column, s); });
}

/** Stores the first `width` columns of the sums as rows that are `stride` elements apart. */
template <int Rows, int Count, typename Element>
CALIBMAP_KERNEL inline void storeSums(const Sums<Rows, Count>& sums, Element* to, int64_t stride,
                                      int32_t width) {
    if (width >= panelWidth) {
        forSums<Rows, Count>(sums, [&](const auto& s, int r, int column) CALIBMAP_KERNEL {
            store<Count>(s, to + r * stride + column);
        });
        return;
    }
    Element edge[Rows * panelWidth];
    forSums<Rows, Count>(sums, [&](const auto& s, int r, int column) CALIBMAP_KERNEL {
        store<Count>(s, edge + int64_t{r} * panelWidth + column);
    });
    for (int r = 0; r < Rows; ++r) {
        std::copy_n(edge + int64_t{r} * panelWidth, width, to + r * stride);
    }
}

/**
 * Goes over a product of rows x cols elements: band after band of `bandRows` rows, panel after
 * panel within each. `step` gets the first row and the number of rows of the band, and the first
 * column.
 */
template <typename Step>
CALIBMAP_KERNEL inline void forPanels(int32_t rows, int32_t cols, int32_t bandRows, Step step) {
    for (int32_t band = 0; band < rows; band += bandRows) {
        for (int32_t col = 0; col < cols; col += panelWidth) {
            step(band, std::min(bandRows, rows - band), col);
        }
    }
}

/**
 * Sums that are under way at once: as many as fit the registers beside a term's factors, to hide
 * the latency of a product and a sum. An arm64 processor has 32 registers of two doubles, an x86-64
 * one without AVX-512 has 16; with AVX-512, where eight sums are 64 numbers, more cost a fifth of
 * the speed.
 */
#ifdef __aarch64__
inline constexpr int sumsInFlight = 16;
#else
inline constexpr int sumsInFlight = 8;
#endif

/**
 * Takes `rows` rows through one panel, a micro-tile at a time. `step` gets the number of its rows
 * as a type, and the first row.
 */
template <int Count, typename Step>
CALIBMAP_KERNEL inline void forMicroTiles(Lanes<Count> /*lanes*/, int32_t rows, Step step) {
    constexpr int tileRows = sumsInFlight * Count / panelWidth;
    int32_t row = 0;
    for (; row + tileRows <= rows; row += tileRows) {
        step(std::integral_constant<int, tileRows>{}, row);
    }
    for (; row < rows; ++row) {
        step(std::integral_constant<int, 1>{}, row);
    }
}

}  // namespace calibmap

#endif
