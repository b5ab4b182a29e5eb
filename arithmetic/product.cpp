#include "arithmetic/product.h"

#include "arithmetic/elementwise.h"
#include "arithmetic/tile.h"

namespace calibmap {

namespace {

/** Terms that are packed at a time: 1 KiB, for the smallest stack. */
constexpr int32_t pieceTerms = 15;

/** Rows that are worth packing a piece for; the pages that they write to stay in the TLB. */
constexpr int32_t bandRows = 64;

/** A product and its factors, all row-major. */
struct Product {
    const double* left;
    bool leftIsFinite;
    const double* right;
    int32_t terms;
    int32_t cols;
    double* elements;
};

/** Adds the terms of one piece, from `term` on, to the sums of a panel. */
template <int Count>
CALIBMAP_KERNEL inline void addPiece(Lanes<Count> lanes, const Product& p, int32_t term,
                                     int32_t band, int32_t rows, int32_t col) {
    double piece[panelSize(pieceTerms)];
    const int32_t count = std::min(pieceTerms, p.terms - term);
    const int32_t width = std::min(panelWidth, p.cols - col);
    packPanel(p.right + int64_t{term} * p.cols + col, p.cols, 1, count, width, piece);
    const TermRange range = termsToSum(p.leftIsFinite, piece, count);
    forMicroTiles(lanes, rows, [&](auto tileRows, int32_t row) CALIBMAP_KERNEL {
        constexpr int height = decltype(tileRows)::value;
        double* to = p.elements + int64_t{band + row} * p.cols + col;
        Sums<height, Count> sums;
        if (term == 0) {
            clearSums<height, Count>(sums);
        } else {
            loadSums<height, Count>(to, p.cols, width, sums);
        }
        addTerms<height, Count>(p.left + int64_t{band + row} * p.terms + term, p.terms, piece,
                                range, sums);
        storeSums<height, Count>(sums, to, p.cols, width);
    });
}

}  // namespace

void multiply(const double* left, const double* right, int32_t rows, int32_t terms, int32_t cols,
              double* product) {
    if (terms < 1) {
        std::fill_n(product, int64_t{rows} * cols, 0.0);
        return;
    }
    const Product p = {left, allFinite(left, int64_t{rows} * terms), right, terms, cols, product};
    run([&](auto lanes) CALIBMAP_KERNEL {
        forPanels(rows, cols, bandRows,
                  [&](int32_t band, int32_t bandSize, int32_t col) CALIBMAP_KERNEL {
                      for (int32_t term = 0; term < terms; term += pieceTerms) {
                          addPiece(lanes, p, term, band, bandSize, col);
                      }
                  });
    });
}

}  // namespace calibmap
