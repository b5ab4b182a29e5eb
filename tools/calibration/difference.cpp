#include "calibration/difference.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "calibration/evaluation.h"
#include "progress.h"

namespace {

/**
 * How often each distance occurs. A positive float's upper bits, read as a number, order it among
 * the others; eleven of its mantissa tell it from others that are a two-thousandth away.
 */
class Histogram {
  public:
    Histogram() : counts_(std::size_t{1} << 19) {}

    void add(float distance) { ++counts_[std::bit_cast<uint32_t>(distance) >> shift]; }

    /** The distance that this share of all does not exceed. */
    [[nodiscard]] double percentile(double share, std::size_t count) const {
        const auto rank = static_cast<std::size_t>(std::ceil(share * static_cast<double>(count)));
        std::size_t seen = 0;
        for (uint32_t i = 0; i < counts_.size(); ++i) {
            seen += counts_[i];
            if (seen >= rank) {
                // Nothing but zeros belongs to the first of all.
                return i == 0 ? 0 : static_cast<double>(std::bit_cast<float>(i << shift | middle));
            }
        }
        return 0;
    }

  private:
    static constexpr int shift = 12;
    static constexpr uint32_t middle = 1U << (shift - 1);
    std::vector<std::size_t> counts_;
};

/** Rows to compute at once: about a million samples, and at least enough to share their columns. */
int32_t rowsAtOnce(const Camera& camera) {
    return std::min(std::max(1'000'000 / camera.width, 16), camera.height);
}

}  // namespace

std::optional<MapDifference> compareMaps(const Image& first, const Image& second,
                                         Direction direction, const VisitRow& visit) {
    const Camera camera = mainCameraOf(first);
    const Evaluation firstModel(first, direction);
    const Evaluation secondModel(second, direction);
    const Progress progress("comparing the " + nameOf(direction) + " maps");
    const auto width = static_cast<std::size_t>(camera.width);
    std::vector<float> firstX;
    std::vector<float> firstY;
    std::vector<float> secondX;
    std::vector<float> secondY;
    std::vector<float> distances(width);
    Histogram histogram;
    MapDifference result{};
    double squares = 0;
    const int32_t band = rowsAtOnce(camera);
    for (int32_t start = 0; start < camera.height; start += band) {
        progress.reached(static_cast<double>(start) / camera.height);
        const int32_t count = std::min(band, camera.height - start);
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
                if (!std::isfinite(distances[col])) {
                    ++result.lost;
                    continue;
                }
                histogram.add(distances[col]);
                squares += distance * distance;
                if (distance > result.largest) {
                    result.largest = distance;
                    result.place = {static_cast<double>(col), static_cast<double>(start + row)};
                }
            }
            visit(start + row, distances);
        }
    }
    const std::size_t counted = width * static_cast<std::size_t>(camera.height) - result.lost;
    result.rootMeanSquare =
        std::sqrt(squares / static_cast<double>(std::max<std::size_t>(counted, 1)));
    const auto percentile = [&](double share) {
        return std::min(histogram.percentile(share, counted), result.largest);
    };
    result.median = percentile(0.5);
    result.percentile95 = percentile(0.95);
    result.percentile99 = percentile(0.99);
    return result;
}
