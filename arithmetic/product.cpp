#include "arithmetic/product.h"

#include <algorithm>

#include "arithmetic/elementwise.h"
#include "arithmetic/tile.h"

namespace calibmap {

namespace {

/** Terms that are packed at a time: 2 KiB, for the smallest stack. */
constexpr int32_t pieceTerms = 31;

/** Rows that are worth packing a piece for; the pages that they write to stay in the TLB. */
constexpr int32_t bandRows = 64;

/** Part of a product: `width` of its columns, rows `stride` doubles apart. */
struct ProductColumns {
    double* first;
    int64_t stride;
    int32_t width;
};

/**
 * Adds one piece of the sums of a tile for some rows. A later piece goes on from the sums that the
 * one before has stored: a double that is stored and loaded is the same double.
 */
template <int Rows, int Count>
CALIBMAP_KERNEL inline void addPiece(const LeftRows& left, const double* piece, TermRange range,
                                     bool isFirst, const ProductColumns& product, int64_t row) {
    double edge[Rows * tileWidth] = {};
    double* to = product.first + row * product.stride;
    int64_t stride = product.stride;
    if (product.width < tileWidth) {
        for (int r = 0; r < Rows && !isFirst; ++r) {
            std::copy_n(to + r * stride, product.width, edge + int64_t{r} * tileWidth);
        }
        to = edge;
        stride = tileWidth;
    }
    Sums<Rows, Count> sums = {};
    for (int r = 0; r < Rows && !isFirst; ++r) {
        for (int v = 0; v < tileWidth / Count; ++v) {
            load<Count>(to + r * stride + int64_t{v} * Count, sums[r][v]);
        }
    }
    addTerms<Rows, Count>(left.first + row * left.stride, left.stride, piece, range, sums);
    for (int r = 0; r < Rows; ++r) {
        for (int v = 0; v < tileWidth / Count; ++v) {
            store<Count>(sums[r][v], to + r * stride + int64_t{v} * Count);
        }
    }
    for (int r = 0; r < Rows && product.width < tileWidth; ++r) {
        std::copy_n(edge + int64_t{r} * tileWidth, product.width,
                    product.first + (row + r) * product.stride);
    }
}

}  // namespace

void multiply(const double* left, const double* right, int32_t rows, int32_t terms, int32_t cols,
              double* product) {
    const bool isFinite = allFinite(left, int64_t{rows} * terms);
    run([=](auto lanes) CALIBMAP_KERNEL {
        double piece[tileSize(pieceTerms)];
        for (int32_t band = 0; band < rows; band += bandRows) {
            for (int32_t col = 0; col < cols; col += tileWidth) {
                const ProductColumns columns = {product + int64_t{band} * cols + col, cols,
                                                std::min(tileWidth, cols - col)};
                for (int32_t term = 0; term < terms; term += pieceTerms) {
                    const int32_t count = std::min(pieceTerms, terms - term);
                    packTile(right + int64_t{term} * cols + col, cols, 1, count, columns.width,
                             piece);
                    const LeftRows part = {left + int64_t{band} * terms + term, terms, isFinite};
                    const TermRange range = termsToSum(part, piece, count);
                    forRowGroups(lanes, std::min(bandRows, rows - band),
                                 [&](auto group, int32_t row) CALIBMAP_KERNEL {
                                     addPiece<decltype(group)::value, decltype(lanes)::value>(
                                         part, piece, range, term == 0, columns, row);
                                 });
                }
            }
        }
    });
}

}  // namespace calibmap
