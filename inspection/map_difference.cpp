#include "inspection/map_difference.h"

#include <algorithm>
#include <cmath>

#include "inspection/evaluation.h"

namespace {

/** Rows to compute at once: what a cache has room for, and at least a few that share their columns.
 */
int32_t rowsAtOnce(const Camera& camera) {
    return std::min(std::max(100'000 / camera.width, 4), camera.height);
}

/** Takes all rows of an image, some at once: `take(first, count)`, until one is false. */
template <class Take>
bool takeRows(const Camera& camera, const Reached& reached, const Take& take) {
    const int32_t band = rowsAtOnce(camera);
    for (int32_t first = 0, count = 0; first < camera.height; first += count) {
        if (reached) {
            reached(static_cast<double>(first) / camera.height);
        }
        count = std::min(band, camera.height - first);
        if (!take(first, count)) {
            return false;
        }
    }
    return true;
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
    const auto take = [&](int32_t start, int32_t count) {
        if (!firstModel.rows(start, count, firstX, firstY) ||
            !secondModel.rows(start, count, secondX, secondY)) {
            return false;
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
        return true;
    };
    if (!takeRows(camera, reached, take)) {
        return std::nullopt;
    }
    return statisticsOf(all);
}

std::optional<Statistics> displacementOf(const Image& image, Direction direction,
                                         const VisitRow& visit, const Reached& reached) {
    const Camera camera = mainCameraOf(image);
    const Evaluation model(image, direction);
    CoordinateMap rows{0, camera.width, 1, {}, {}};
    std::vector<float> distances(static_cast<std::size_t>(camera.width));
    Distances all;
    const auto take = [&](int32_t start, int32_t count) {
        if (!model.rows(start, count, rows.x, rows.y)) {
            return false;
        }
        for (int32_t row = 0; row < count; ++row) {
            for (int32_t col = 0; col < camera.width; ++col) {
                const std::size_t i = rows.index(row, col);
                const double distance = std::hypot(static_cast<double>(rows.x[i]) - col,
                                                   static_cast<double>(rows.y[i]) - (start + row));
                distances[static_cast<std::size_t>(col)] = static_cast<float>(distance);
                add(all, distance, {static_cast<double>(col), static_cast<double>(start + row)});
            }
            visit(start + row, distances);
        }
        return true;
    };
    return takeRows(camera, reached, take) ? std::optional(statisticsOf(all)) : std::nullopt;
}
