// A hostile file of measured points.
#include "making/point_pairs.h"

#include <cmath>
#include <cstdint>
#include <string_view>

#include "fuzz/tool_harness.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    answers([&] {
        const std::vector<PointPair> pairs = pointPairsFrom(text, "input");
        hold(!pairs.empty() && pairs.size() <= size / 7 + 1, "each pair has a line of its own");
        for (const auto& [straight, recorded] : pairs) {
            hold(std::isfinite(straight.x + straight.y + recorded.x + recorded.y),
                 "places are finite");
        }
    });
    return 0;
}
