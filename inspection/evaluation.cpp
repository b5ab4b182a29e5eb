#include "inspection/evaluation.h"

#include <algorithm>

#include "inspection/knots.h"

std::vector<Point> pixelsOver(const Camera& camera, int steps) {
    std::vector<Point> pixels;
    for (int row = 0; row <= steps; ++row) {
        for (int col = 0; col <= steps; ++col) {
            pixels.push_back({static_cast<double>(camera.width - 1) * col / steps,
                              static_cast<double>(camera.height - 1) * row / steps});
        }
    }
    return pixels;
}

Evaluation::Evaluation(const Image& image, Direction direction)
    : camera_(mainCameraOf(image)),
      model_(modelOf(image, direction)),
      xCorrection_{CALIBMAP_CORRECTION_ROWS, CALIBMAP_CORRECTION_COLS, xValues_.data()},
      yCorrection_{CALIBMAP_CORRECTION_ROWS, CALIBMAP_CORRECTION_COLS, yValues_.data()},
      spline_{} {
    std::copy(model_.xCorrection.begin(), model_.xCorrection.end(), xValues_.begin());
    std::copy(model_.yCorrection.begin(), model_.yCorrection.end(), yValues_.begin());
    const ModelShape shape = modelShapeOf(image);
    spline_ = {static_cast<uint8_t>(shape.xOrder),
               static_cast<uint8_t>(shape.yOrder),
               static_cast<uint8_t>(shape.xPieces),
               static_cast<uint8_t>(shape.yPieces),
               knotsOver(model_.xBreaks, shape.xOrder),
               knotsOver(model_.yBreaks, shape.yOrder),
               &xCorrection_,
               &yCorrection_};
}

Evaluation::~Evaluation() {
    destroyVectorDouble(&spline_.xknotsVec);
    destroyVectorDouble(&spline_.yknotsVec);
}

std::optional<Point> Evaluation::at(Point pixel) const {
    MatHandle x;
    MatHandle y;
    if (!evaluate(pixel, 1, 1, x, y)) {
        return std::nullopt;
    }
    return Point{x->data[0] + pixel.x, y->data[0] + pixel.y};
}

std::vector<Point> Evaluation::at(const std::vector<Point>& pixels) const {
    if (pixels.empty()) {
        return {};
    }
    const auto count = static_cast<int32_t>(pixels.size());
    std::vector<double> u;
    std::vector<double> v;
    for (const Point& pixel : pixels) {
        u.push_back((pixel.x - camera_.cx) / camera_.fx);
        v.push_back((pixel.y - camera_.cy) / camera_.fy);
    }
    const Mat uSites = {count, 1, u.data()};
    const Mat vSites = {count, 1, v.data()};
    const MatHandle alongX(collocationMatrix(spline_.xknotsVec, spline_.kx, &uSites));
    const MatHandle alongY(collocationMatrix(spline_.yknotsVec, spline_.ky, &vSites));
    std::vector<Point> places;
    if (alongX.get() == nullptr || alongY.get() == nullptr ||
        alongX->cols != CALIBMAP_CORRECTION_COLS || alongY->cols != CALIBMAP_CORRECTION_ROWS) {
        return places;
    }
    places.reserve(pixels.size());
    const double* alongRow = alongX->data;
    const double* alongColumn = alongY->data;
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        Point sum{};
        for (std::size_t a = 0; a < CALIBMAP_CORRECTION_ROWS; ++a) {
            for (std::size_t b = 0; b < CALIBMAP_CORRECTION_COLS; ++b) {
                const double weight = alongColumn[a] * alongRow[b];
                sum.x += weight * xValues_[a * CALIBMAP_CORRECTION_COLS + b];
                sum.y += weight * yValues_[a * CALIBMAP_CORRECTION_COLS + b];
            }
        }
        alongRow += CALIBMAP_CORRECTION_COLS;
        alongColumn += CALIBMAP_CORRECTION_ROWS;
        places.push_back({sum.x * camera_.fx + camera_.cx, sum.y * camera_.fy + camera_.cy});
    }
    return places;
}

bool Evaluation::rows(int32_t first, int32_t count, std::vector<float>& x,
                      std::vector<float>& y) const {
    MatHandle xRows;
    MatHandle yRows;
    if (!evaluate({0, static_cast<double>(first)}, camera_.width, count, xRows, yRows)) {
        return false;
    }
    const std::ptrdiff_t size = static_cast<std::ptrdiff_t>(count) * camera_.width;
    x.resize(static_cast<std::size_t>(size));
    y.resize(static_cast<std::size_t>(size));
    std::transform(xRows->data, xRows->data + size, x.begin(),
                   [](double value) { return static_cast<float>(value); });
    std::transform(yRows->data, yRows->data + size, y.begin(),
                   [first](double value) { return static_cast<float>(value + first); });
    return true;
}

bool Evaluation::covers(Point pixel) const {
    const double u = (pixel.x - camera_.cx) / camera_.fx;
    const double v = (pixel.y - camera_.cy) / camera_.fy;
    return u >= model_.xBreaks.front() && u <= model_.xBreaks.back() &&
           v >= model_.yBreaks.front() && v <= model_.yBreaks.back();
}

bool Evaluation::evaluate(Point origin, int32_t width, int32_t height, MatHandle& x,
                          MatHandle& y) const {
    if (spline_.xknotsVec == nullptr || spline_.yknotsVec == nullptr) {
        return false;
    }
    std::array<double, 9> elements = {
        camera_.fx, 0, camera_.cx - origin.x, 0, camera_.fy, camera_.cy - origin.y, 0, 0, 1};
    const Mat cameraMatrix = {3, 3, elements.data()};
    return undisortionBspline(&cameraMatrix, &spline_, nullptr, width, height, 1, x.address(),
                              y.address()) == CALIBMAP_SUCCESS;
}
