#include "lens/model.h"

#include <cmath>

namespace {

// Steps along a ray. Lens polynomials of this degree have few turns; between two steps of a
// hundredth of the image none can hide that matters to a pixel.
constexpr int raySteps = 100;

/** The partial derivatives of the lens: a = dx'/dx, b = dx'/dy = dy'/dx, d = dy'/dy. */
struct Jacobian {
    double a;
    double b;
    double d;
    [[nodiscard]] double determinant() const { return a * d - b * b; }
};

Jacobian jacobianOf(const Lens& lens, Point p) {
    const double r2 = p.x * p.x + p.y * p.y;
    const double scale = 1 + r2 * (lens.k1 + r2 * (lens.k2 + r2 * lens.k3));
    // ds/dx = x growth, ds/dy = y growth
    const double growth = 2 * (lens.k1 + r2 * (2 * lens.k2 + r2 * 3 * lens.k3));
    return {scale + p.x * p.x * growth + 2 * lens.p1 * p.y + 6 * lens.p2 * p.x,
            p.x * p.y * growth + 2 * lens.p1 * p.x + 2 * lens.p2 * p.y,
            scale + p.y * p.y * growth + 6 * lens.p1 * p.y + 2 * lens.p2 * p.x};
}

}  // namespace

Point distorted(const Lens& lens, Point straight) {
    const auto [x, y] = straight;
    const double r2 = x * x + y * y;
    const double scale = 1 + r2 * (lens.k1 + r2 * (lens.k2 + r2 * lens.k3));
    return {x * scale + 2 * lens.p1 * x * y + lens.p2 * (r2 + 2 * x * x),
            y * scale + lens.p1 * (r2 + 2 * y * y) + 2 * lens.p2 * x * y};
}

double localArea(const Lens& lens, Point straight) {
    return jacobianOf(lens, straight).determinant();
}

std::optional<Point> straightenedFrom(const Lens& lens, Point recorded, Point start) {
    constexpr int maxSteps = 20;
    constexpr double tolerance = 1e-13;
    Point p = start;
    for (int step = 0; step < maxSteps; ++step) {
        const Point reached = distorted(lens, p);
        const Jacobian slope = jacobianOf(lens, p);
        const double area = slope.determinant();
        if (!(area > 0)) {
            return std::nullopt;
        }
        const Point error = {reached.x - recorded.x, reached.y - recorded.y};
        const Point move = {(slope.d * error.x - slope.b * error.y) / area,
                            (slope.a * error.y - slope.b * error.x) / area};
        p = {p.x - move.x, p.y - move.y};
        if (std::hypot(move.x, move.y) <= tolerance * (1 + std::hypot(p.x, p.y))) {
            return localArea(lens, p) > 0 ? std::optional<Point>(p) : std::nullopt;
        }
    }
    return std::nullopt;
}

std::optional<Point> straightened(const Lens& lens, Point recorded) {
    std::optional<Point> p = Point{0, 0};
    for (int step = 1; step <= raySteps && p; ++step) {
        const double t = static_cast<double>(step) / raySteps;
        p = straightenedFrom(lens, {t * recorded.x, t * recorded.y}, *p);
    }
    // Newton's method may have leapt over a fold to the image beyond it.
    return p && isUnfoldedUpTo(lens, *p) ? p : std::nullopt;
}

bool isUnfoldedUpTo(const Lens& lens, Point straight) {
    for (int step = 0; step <= raySteps; ++step) {
        const double t = static_cast<double>(step) / raySteps;
        if (!(localArea(lens, {t * straight.x, t * straight.y}) > 0)) {
            return false;
        }
    }
    return true;
}
