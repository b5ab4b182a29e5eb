#pragma once

#include <calibmap.h>

#include <algorithm>
#include <array>
#include <tuple>

/** The library's knots over break points: the first and the last one `order` times. */
template <class Breaks>
VectorDouble* knotsOver(const Breaks& breaks, int order) {
    std::array<double, std::tuple_size_v<Breaks>> widened{};
    std::copy(breaks.begin(), breaks.end(), widened.begin());
    const VectorDouble vector = {widened.data(), static_cast<int32_t>(widened.size())};
    return augknt_init(&vector, order);
}
