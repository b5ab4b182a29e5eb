#include "inspection/remap.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

#include "inspection/interpolation.h"

namespace {

/** What `lround` gives for what is not negative, without a call: the difference is exact. */
template <class Sample>
Sample rounded(double value) {
    const auto whole = static_cast<int32_t>(value);
    return static_cast<Sample>(whole + (value - whole >= 0.5 ? 1 : 0));
}

/** What `std::lerp` gives for values that are not negative, without its branches. */
inline double mixed(double a, double b, double t) {
    const double straight = a + t * (b - a);
    const double inside = std::clamp(straight, std::min(a, b), std::max(a, b));
    return b == 0 ? (1 - t) * a : t == 1 ? b : inside;
}

/** Between values at the corners of a cell, bilinearly. */
inline double between(const Cell& cell, double topLeft, double topRight, double bottomLeft,
                      double bottomRight) {
    return mixed(mixed(topLeft, topRight, cell.right), mixed(bottomLeft, bottomRight, cell.right),
                 cell.down);
}

template <std::size_t channels, class Sample>
void remap(const RemapJob<Sample>& job, int32_t first, int32_t end) {
    const CoordinateMap& map = *job.map;
    constexpr std::size_t colours = channels - (channels % 2 == 0 ? 1 : 0);
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
        const bool isOpaque =
            colours == channels ||
            std::all_of(std::begin(corners), std::end(corners),
                        [&](const Sample* corner) { return corner[colours] == white; });
        // Of the colours of what cannot be seen nothing may show.
        const auto weighted = [&](std::size_t channel) {
            const auto value = [&](const Sample* corner) {
                return static_cast<double>(corner[channel]) * corner[colours];
            };
            return between(cell, value(corners[0]), value(corners[1]), value(corners[2]),
                           value(corners[3]));
        };
        const auto plain = [&](std::size_t channel) {
            return between(cell, corners[0][channel], corners[1][channel], corners[2][channel],
                           corners[3][channel]);
        };
        const double opacity = isOpaque ? white : plain(colours);
        for (std::size_t channel = 0; channel < colours; ++channel) {
            result[channel] = rounded<Sample>(isOpaque      ? plain(channel)
                                              : opacity > 0 ? weighted(channel) / opacity
                                                            : 0);
        }
        if (!isOpaque) {
            result[colours] = rounded<Sample>(opacity);
        }
    }
}

template <class Sample>
void remapAny(const RemapJob<Sample>& job, int32_t first, int32_t end) {
    constexpr auto remaps =
        std::array{remap<1, Sample>, remap<2, Sample>, remap<3, Sample>, remap<4, Sample>};
    remaps[static_cast<std::size_t>(job.channels) - 1](job, first, end);
}

}  // namespace

void remapRows(const RemapJob<uint8_t>& job, int32_t first, int32_t end) {
    remapAny(job, first, end);
}

void remapRows(const RemapJob<uint16_t>& job, int32_t first, int32_t end) {
    remapAny(job, first, end);
}
