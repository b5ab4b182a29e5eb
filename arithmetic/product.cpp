#include "arithmetic/product.h"

#include <algorithm>

#include "arithmetic/elementwise.h"
#include "arithmetic/tile.h"

namespace calibmap {

namespace {

/** Terms that are packed at a time: 1 KiB, for the smallest stack. */
constexpr int32_t pieceTerms = 15;

/** Rows that are worth packing a piece for; the pages that they write to stay in the TLB. */
constexpr int32_t bandRows = 64;

/**
 * Adds one piece of the sums of a full tile for some rows. A later piece goes on from the sums that
 * the one before has stored: a double that is stored and loaded is the same double.
 */
template <int Rows, int Count>
CALIBMAP_KERNEL inline void addPiece(const double* left, int64_t leftStride, const double* piece,
                                     TermRange range, bool isFirst, double* product,
                                     int64_t stride) {
    Sums<Rows, Count> sums;
#pragma GCC unroll 8
    for (int r = 0; r < Rows; ++r) {
#pragma GCC unroll 8
        for (int v = 0; v < tileWidth / Count; ++v) {
            sums[r][v] = Vector<Count>{};
            if (!isFirst) {
                load<Count>(product + r * stride + int64_t{v} * Count, sums[r][v]);
            }
        }
    }
    addTerms<Rows, Count>(left, leftStride, piece, range, sums);
#pragma GCC unroll 8
    for (int r = 0; r < Rows; ++r) {
#pragma GCC unroll 8
        for (int v = 0; v < tileWidth / Count; ++v) {
            store<Count>(sums[r][v], product + r * stride + int64_t{v} * Count);
        }
    }
}

/** The same for a tile of `width` columns of the product; the others are computed and left behind.
 */
template <int Rows, int Count>
CALIBMAP_KERNEL inline void addEdge(const double* left, int64_t leftStride, const double* piece,
                                    TermRange range, bool isFirst, int32_t width, double* product,
                                    int64_t stride) {
    double edge[Rows * tileWidth];
    for (int r = 0; r < Rows && !isFirst; ++r) {
        std::fill_n(std::copy_n(product + r * stride, width, edge + int64_t{r} * tileWidth),
                    tileWidth - width, 0.0);
    }
    addPiece<Rows, Count>(left, leftStride, piece, range, isFirst, edge, tileWidth);
    for (int r = 0; r < Rows; ++r) {
        std::copy_n(edge + int64_t{r} * tileWidth, width, product + r * stride);
    }
}

}  // namespace

void multiply(const double* left, const double* right, int32_t rows, int32_t terms, int32_t cols,
              double* product) {
    const bool isFinite = allFinite(left, int64_t{rows} * terms);
    run([=](auto lanes) CALIBMAP_KERNEL {
        constexpr int count = decltype(lanes)::value;
        double piece[tileSize(pieceTerms)];
        for (int32_t band = 0; band < rows; band += bandRows) {
            for (int32_t col = 0; col < cols; col += tileWidth) {
                const int32_t width = std::min(tileWidth, cols - col);
                for (int32_t term = 0; term < terms; term += pieceTerms) {
                    const int32_t pieceSize = std::min(pieceTerms, terms - term);
                    packTile(right + int64_t{term} * cols + col, cols, 1, pieceSize, width, piece);
                    const TermRange range = termsToSum(isFinite, piece, pieceSize);
                    forRowGroups(lanes, std::min(bandRows, rows - band),
                                 [&](auto group, int32_t row) CALIBMAP_KERNEL {
                                     constexpr int groupRows = decltype(group)::value;
                                     const double* from = left + int64_t{band + row} * terms + term;
                                     double* to = product + int64_t{band + row} * cols + col;
                                     if (width == tileWidth) {
                                         addPiece<groupRows, count>(from, terms, piece, range,
                                                                    term == 0, to, cols);
                                     } else {
                                         addEdge<groupRows, count>(from, terms, piece, range,
                                                                   term == 0, width, to, cols);
                                     }
                                 });
                }
            }
        }
    });
}

}  // namespace calibmap
