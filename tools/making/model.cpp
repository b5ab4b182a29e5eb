#include "making/model.h"

#include <cmath>
#include <numbers>

#include "making/dual.h"

namespace {

// Steps along a ray. Lens polynomials of these degrees have few turns; between two steps of a
// hundredth of the image none can hide that matters to a pixel.
constexpr int raySteps = 100;

/** A lens's value with its derivatives, and whether its formula is on its sensible branch. */
struct LensImage {
    Dual x;
    Dual y;
    bool sensible;

    [[nodiscard]] Point point() const { return {x.value, y.value}; }
    [[nodiscard]] double determinant() const { return x.dx * y.dy - x.dy * y.dx; }
    [[nodiscard]] bool regular() const { return sensible && determinant() > 0; }
};

/** What a sensor sees that is tilted against the lens. */
LensImage tilted(const Lens& lens, const LensImage& flat) {
    const double aboutX = lens.terms[termTauX];
    const double aboutY = lens.terms[termTauY];
    if (aboutX == 0 && aboutY == 0) {
        return flat;
    }
    const double cosX = std::cos(aboutX);
    const double sinX = std::sin(aboutX);
    const double cosY = std::cos(aboutY);
    const double sinY = std::sin(aboutY);
    // The rows of R applied to (x, y, 1), and R's last column.
    const Dual a = cosY * flat.x + (sinY * sinX) * flat.y + Dual{-sinY * cosX};
    const Dual b = cosX * flat.y + Dual{sinX};
    const Dual c = sinY * flat.x + (-cosY * sinX) * flat.y + Dual{cosY * cosX};
    const double r13 = -sinY * cosX;
    const double r23 = sinX;
    const double r33 = cosY * cosX;
    return {(r33 * a + (-r13) * c) / c, (r33 * b + (-r23) * c) / c,
            flat.sensible && c.value > 0 && r33 > 0};
}

LensImage radialTangential(const Lens& lens, Dual x, Dual y) {
    const auto& t = lens.terms;
    const Dual r2 = x * x + y * y;
    const Dual above = 1 + r2 * (t[termK1] + r2 * (t[termK2] + t[termK3] * r2));
    const Dual below = 1 + r2 * (t[termK4] + r2 * (t[termK5] + t[termK6] * r2));
    const Dual scale = above / below;
    const Dual xy = 2 * (x * y);
    const LensImage flat = {x * scale + t[termP1] * xy + t[termP2] * (r2 + 2 * (x * x)) +
                                r2 * (t[termS1] + t[termS2] * r2),
                            y * scale + t[termP2] * xy + t[termP1] * (r2 + 2 * (y * y)) +
                                r2 * (t[termS3] + t[termS4] * r2),
                            above.value > 0 && below.value > 0};
    return tilted(lens, flat);
}

/** The angle polynomial of an equidistant lens: the recorded radius of a ray at angle `t`. */
template <class Number>
Number bentAngle(const Lens& lens, Number t) {
    const Number t2 = t * t;
    const auto& k = lens.terms;
    return t * (1 + t2 * (k[0] + t2 * (k[1] + t2 * (k[2] + k[3] * t2))));
}

LensImage equidistant(const Lens& lens, Dual x, Dual y) {
    const Dual r2 = x * x + y * y;
    if (r2.value < 1e-20) {
        return {x, y, true};
    }
    const Dual r = sqrt(r2);
    const Dual scale = bentAngle(lens, atan(r)) / r;
    return {x * scale, y * scale, scale.value > 0};
}

LensImage imageOf(const Lens& lens, Point p) {
    const Dual x = {p.x, 1, 0};
    const Dual y = {p.y, 0, 1};
    return lens.kind == LensKind::equidistant ? equidistant(lens, x, y)
                                              : radialTangential(lens, x, y);
}

/** The angle up to which the angle polynomial rises, at most a half turn. */
double risingUpTo(const Lens& lens) {
    constexpr int steps = 720;
    double last = 0;
    for (int step = 1; step <= steps; ++step) {
        const double angle = std::numbers::pi * step / steps;
        const double bent = bentAngle(lens, angle);
        if (!(bent > last)) {
            return std::numbers::pi * (step - 1) / steps;
        }
        last = bent;
    }
    return std::numbers::pi;
}

}  // namespace

Point distorted(const Lens& lens, Point straight) {
    return imageOf(lens, straight).point();
}

bool isRegularAt(const Lens& lens, Point straight) {
    return imageOf(lens, straight).regular();
}

bool isUnfoldedUpTo(const Lens& lens, Point straight) {
    for (int step = 0; step <= raySteps; ++step) {
        const double t = static_cast<double>(step) / raySteps;
        if (!isRegularAt(lens, {t * straight.x, t * straight.y})) {
            return false;
        }
    }
    return true;
}

std::optional<Point> straightenedFrom(const Lens& lens, Point recorded, Point start) {
    constexpr int maxSteps = 20;
    constexpr double tolerance = 1e-13;
    Point p = start;
    for (int step = 0; step < maxSteps; ++step) {
        const LensImage reached = imageOf(lens, p);
        if (!reached.regular()) {
            return std::nullopt;
        }
        const double area = reached.determinant();
        const Point error = {reached.x.value - recorded.x, reached.y.value - recorded.y};
        const Point move = {(reached.y.dy * error.x - reached.x.dy * error.y) / area,
                            (reached.x.dx * error.y - reached.y.dx * error.x) / area};
        p = {p.x - move.x, p.y - move.y};
        if (std::hypot(move.x, move.y) <= tolerance * (1 + std::hypot(p.x, p.y))) {
            return isRegularAt(lens, p) ? std::optional<Point>(p) : std::nullopt;
        }
    }
    return std::nullopt;
}

std::optional<Point> straightened(const Lens& lens, Point recorded) {
    if (lens.kind == LensKind::equidistant) {
        const std::optional<double> angle = recordedAngle(lens, recorded);
        if (!angle || *angle >= std::numbers::pi / 2) {
            return std::nullopt;
        }
        const double radius = std::hypot(recorded.x, recorded.y);
        const double scale = radius > 0 ? std::tan(*angle) / radius : 1;
        return Point{recorded.x * scale, recorded.y * scale};
    }
    // Along the ray from the principal point, so that the point lies on this side of a fold.
    std::optional<Point> p = Point{0, 0};
    for (int step = 1; step <= raySteps && p; ++step) {
        const double t = static_cast<double>(step) / raySteps;
        p = straightenedFrom(lens, {t * recorded.x, t * recorded.y}, *p);
    }
    // Newton's method may have leapt over a fold to the image beyond it.
    return p && isUnfoldedUpTo(lens, *p) ? p : std::nullopt;
}

double angleOf(Point straight) {
    return std::atan(std::hypot(straight.x, straight.y));
}

std::optional<double> recordedAngle(const Lens& lens, Point recorded) {
    if (lens.kind != LensKind::equidistant) {
        const std::optional<Point> straight = straightened(lens, recorded);
        return straight ? std::optional<double>(angleOf(*straight)) : std::nullopt;
    }
    const double radius = std::hypot(recorded.x, recorded.y);
    double low = 0;
    double high = risingUpTo(lens);
    if (!(bentAngle(lens, high) >= radius)) {
        return std::nullopt;
    }
    // Bisection down to neighbouring numbers: the polynomial rises, but may do so in steps.
    for (double middle = (low + high) / 2; low < middle && middle < high;
         middle = (low + high) / 2) {
        (bentAngle(lens, middle) < radius ? low : high) = middle;
    }
    return high;
}
