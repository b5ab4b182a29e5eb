#include "arithmetic/tile.h"

#include <bit>

namespace calibmap {

void packPanel(const double* source, int64_t termStride, int64_t colStride, int32_t terms,
               int32_t width, double* panel) {
    TermRange range = {0, 0};
    for (int32_t i = 0; i < terms; ++i) {
        const double* term = source + i * termStride;
        double* packed = panel + panelSize(i);
        uint64_t bits = 0;
        for (int32_t c = 0; c < panelWidth; ++c) {
            packed[c] = c < width ? term[c * colStride] : 0.0;
            bits |= std::bit_cast<uint64_t>(packed[c]) << 1U;  // all but the sign
        }
        if (bits != 0) {
            range.first = range.end == 0 ? i : range.first;
            range.end = i + 1;
        }
    }
    memcpy(panel, &range, sizeof range);
}

}  // namespace calibmap
