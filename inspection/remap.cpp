#include "inspection/remap.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "inspection/interpolation.h"

namespace {

template <class Sample>
void remap(const RemapJob<Sample>& job, int32_t first, int32_t end) {
    const CoordinateMap& map = *job.map;
    const auto channels = static_cast<std::size_t>(job.channels);
    const std::size_t colours = channels - (channels % 2 == 0 ? 1 : 0);
    const int white = (1 << job.bits) - 1;
    const auto outside = static_cast<Sample>(job.border == Border::black   ? 0
                                             : job.border == Border::white ? white
                                                                           : white / 2);
    for (std::size_t i = map.index(first, 0); i < map.index(end, 0); ++i) {
        const double x = map.x[i];
        const double y = map.y[i];
        Sample* const result = job.result + i * channels;
        for (std::size_t channel = colours; channel < channels; ++channel) {
            result[channel] = static_cast<Sample>(white);
        }
        if (!isInside(map, x, y) && (job.border != Border::edge || std::isnan(x + y))) {
            std::fill_n(result, colours, outside);
            continue;
        }
        const Cell cell = cellAt(map.rows, map.cols, x, y);
        const Sample* const corners[] = {
            job.source + map.index(cell.row, cell.col) * channels,
            job.source + map.index(cell.row, cell.nextCol) * channels,
            job.source + map.index(cell.nextRow, cell.col) * channels,
            job.source + map.index(cell.nextRow, cell.nextCol) * channels};
        for (std::size_t channel = 0; channel < colours; ++channel) {
            const double value = between(cell, corners[0][channel], corners[1][channel],
                                         corners[2][channel], corners[3][channel]);
            // What `lround` gives for what is not negative, without a call: the difference is
            // exact.
            const auto whole = static_cast<int32_t>(value);
            result[channel] = static_cast<Sample>(whole + (value - whole >= 0.5 ? 1 : 0));
        }
    }
}

}  // namespace

void remapRows(const RemapJob<uint8_t>& job, int32_t first, int32_t end) {
    remap(job, first, end);
}

void remapRows(const RemapJob<uint16_t>& job, int32_t first, int32_t end) {
    remap(job, first, end);
}
