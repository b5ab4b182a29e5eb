#include "making/model.h"

#include <cmath>
#include <numbers>

#include "making/newton.h"

namespace {

// Steps along a ray. Lens polynomials of these degrees have few turns; between two steps of a
// hundredth of the image none can hide that matters to a pixel.
constexpr int raySteps = 100;

/** A lens's value with its derivatives, and whether its formula is on its sensible branch. */
struct LensImage {
    DualPoint at;
    bool isSensible;

    [[nodiscard]] bool isRegular() const { return isSensible && at.determinant() > 0; }
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
    const double r13 = -sinY * cosX;
    const double r23 = sinX;
    const double r33 = cosY * cosX;
    const auto& [x, y] = flat.at;
    const Dual a = cosY * x + (sinY * sinX) * y + r13;
    const Dual b = cosX * y + r23;
    const Dual c = sinY * x - (cosY * sinX) * y + r33;
    return {{(r33 * a - r13 * c) / c, (r33 * b - r23 * c) / c},
            flat.isSensible && c.value() > 0 && r33 > 0};
}

LensImage radialTangential(const Lens& lens, const DualPoint& p) {
    const auto& t = lens.terms;
    const auto& [x, y] = p;
    const Dual r2 = x * x + y * y;
    const Dual above = 1 + r2 * (t[termK1] + r2 * (t[termK2] + t[termK3] * r2));
    const Dual below = 1 + r2 * (t[termK4] + r2 * (t[termK5] + t[termK6] * r2));
    const Dual scale = above / below;
    const Dual xy = 2 * (x * y);
    const Dual bentX = x * scale + t[termP1] * xy + t[termP2] * (r2 + 2 * (x * x)) +
                       r2 * (t[termS1] + t[termS2] * r2);
    const Dual bentY = y * scale + t[termP2] * xy + t[termP1] * (r2 + 2 * (y * y)) +
                       r2 * (t[termS3] + t[termS4] * r2);
    return tilted(lens, {{bentX, bentY}, above.value() > 0 && below.value() > 0});
}

/** The angle polynomial of an equidistant lens: the recorded radius of a ray at angle `t`. */
template <class Number>
Number bentAngle(const Lens& lens, const Number& t) {
    const Number t2 = t * t;
    const auto& k = lens.terms;
    return t * (1 + t2 * (k[0] + t2 * (k[1] + t2 * (k[2] + k[3] * t2))));
}

LensImage equidistant(const Lens& lens, const DualPoint& p) {
    const auto& [x, y] = p;
    const Dual r2 = x * x + y * y;
    if (r2.value() < 1e-20) {
        return {p, true};
    }
    const Dual r = sqrt(r2);
    const Dual angle(std::atan(r.value()), r.derivatives() / (1 + r2.value()));
    const Dual scale = bentAngle(lens, angle) / r;
    return {{x * scale, y * scale}, scale.value() > 0};
}

LensImage imageOf(const Lens& lens, const DualPoint& p) {
    return lens.kind == LensKind::equidistant ? equidistant(lens, p) : radialTangential(lens, p);
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
    return imageOf(lens, variableAt(straight)).at.point();
}

bool isRegularAt(const Lens& lens, Point straight) {
    return imageOf(lens, variableAt(straight)).isRegular();
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
    const auto image = [&lens](const DualPoint& p) {
        const LensImage reached = imageOf(lens, p);
        return reached.isRegular() ? std::optional(reached.at) : std::nullopt;
    };
    return solved(image, recorded, start);
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
