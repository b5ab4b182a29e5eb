#include "inspection/map_difference.h"

#include <algorithm>
#include <cmath>

#include "inspection/evaluation.h"

namespace {

/** Rows to compute at once: about a million samples, and at least a few that share their columns.
 */
int32_t rowsAtOnce(const Camera& camera) {
    return std::min(std::max(1'000'000 / camera.width, 4), camera.height);
}

}  // namespace

std::optional<Statistics> mapDifferenceOf(const Image& first, const Image& second,
                                          Direction direction, const VisitRow& visit,
                                          const Reached& reached) {
    const Camera camera = mainCameraOf(first);
    const Evaluation firstModel(first, direction);
    const Evaluation secondModel(second, direction);
    const auto width = static_cast<std::size_t>(camera.width);
    std::vector<float> firstX;
    std::vector<float> firstY;
    std::vector<float> secondX;
    std::vector<float> secondY;
    std::vector<float> distances(width);
    Distances all;
    const int32_t band = rowsAtOnce(camera);
    for (int32_t start = 0, count = 0; start < camera.height; start += count) {
        if (reached) {
            reached(static_cast<double>(start) / camera.height);
        }
        count = std::min(band, camera.height - start);
        if (!firstModel.rows(start, count, firstX, firstY) ||
            !secondModel.rows(start, count, secondX, secondY)) {
            return std::nullopt;
        }
        for (int32_t row = 0; row < count; ++row) {
            for (std::size_t col = 0; col < width; ++col) {
                const std::size_t i = static_cast<std::size_t>(row) * width + col;
                const double x = static_cast<double>(firstX[i]) - static_cast<double>(secondX[i]);
                const double y = static_cast<double>(firstY[i]) - static_cast<double>(secondY[i]);
                const double distance = std::sqrt(x * x + y * y);
                distances[col] = static_cast<float>(distance);
                add(all, distance, {static_cast<double>(col), static_cast<double>(start + row)});
            }
            if (visit) {
                visit(start + row, distances);
            }
        }
    }
    return statisticsOf(all);
}
