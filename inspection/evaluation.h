#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "inspection/image.h"
#include "inspection/mat_handle.h"
#include "inspection/point.h"

/** Pixels spread over an image, so many steps along each side, its corners among them. */
std::vector<Point> pixelsOver(const Camera& camera, int steps);

/**
 * A correction model, evaluated by the library at any position or some rows at a time. The library
 * evaluates images from their pixel (0, 0) on; with the principal point moved by whole rows, an
 * image begins at another row and every sample still stands at the same normalised position.
 */
class Evaluation {
  public:
    Evaluation(const Image& image, Direction direction);
    Evaluation(const Evaluation&) = delete;
    Evaluation& operator=(const Evaluation&) = delete;
    ~Evaluation();

    /** Where the model takes a position, in pixels; nothing when the library refuses the model. */
    [[nodiscard]] std::optional<Point> at(Point pixel) const;

    /**
     * Where the model takes each of many positions, in pixels, to within rounding; nothing when the
     * library refuses the model.
     */
    [[nodiscard]] std::vector<Point> at(const std::vector<Point>& pixels) const;

    /** Rows of the map of ratio 1, row-major; false when the library refuses the model. */
    bool rows(int32_t first, int32_t count, std::vector<float>& x, std::vector<float>& y) const;

    /** True when the break points enclose a position; outside them the model is zero. */
    [[nodiscard]] bool covers(Point pixel) const;

  private:
    /** Evaluates an image of this size whose first pixel is the one at `origin`. */
    bool evaluate(Point origin, int32_t width, int32_t height, MatHandle& x, MatHandle& y) const;

    Camera camera_;
    CorrectionModel model_;
    std::array<double, CorrectionModel::coefficientCount> xValues_{};
    std::array<double, CorrectionModel::coefficientCount> yValues_{};
    Mat xCorrection_;
    Mat yCorrection_;
    BsplineModel spline_;
};
