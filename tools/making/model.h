#pragma once

#include <array>
#include <cstddef>
#include <optional>

#include "inspection/point.h"

/** How a lens is described. */
enum class LensKind {
    radialTangential, /**< Brown-Conrady with the rational, thin prism and tilt extensions */
    equidistant       /**< fisheye: a polynomial in the angle from the optical axis */
};

/** The terms of a radial-tangential lens, in the order in which calibrations list them. */
enum LensTerm : std::size_t {
    termK1,
    termK2,
    termP1,
    termP2,
    termK3,
    termK4,
    termK5,
    termK6,
    termS1,
    termS2,
    termS3,
    termS4,
    termTauX,
    termTauY
};

/**
 * A lens in normalised image coordinates, the principal point at the origin.
 *
 * Radial-tangential: with r^2 = x^2 + y^2 and
 *
 *     s = (1 + k1 r^2 + k2 r^4 + k3 r^6) / (1 + k4 r^2 + k5 r^4 + k6 r^6)
 *
 * the lens takes (x, y) to
 *
 *     (x s + 2 p1 x y + p2 (r^2 + 2 x^2) + s1 r^2 + s2 r^4,
 *      y s + p1 (r^2 + 2 y^2) + 2 p2 x y + s3 r^2 + s4 r^4),
 *
 * and a sensor that is tilted by tauX and tauY (radians) sees that through the homography
 *
 *     [R33 0 -R13; 0 R33 -R23; 0 0 1] R,   R = rotation about y by tauY * rotation about x by tauX.
 *
 * Terms that a calibration does not list are zero. Reference: D. C. Brown, "Decentering Distortion
 * of Lenses", Photogrammetric Engineering, 1966; T. Louhichi et al., "Self-calibration of
 * Scheimpflug cameras", Measurement Science and Technology, 2007, for the tilt.
 *
 * Equidistant: with t = atan(r), the four terms k1 to k4 are those of
 *
 *     t (1 + k1 t^2 + k2 t^4 + k3 t^6 + k4 t^8) / r,
 *
 * by which the lens scales (x, y). Reference: J. Kannala and S. Brandt, "A generic camera model and
 * calibration method", IEEE Transactions on Pattern Analysis and Machine Intelligence, 2006.
 */
struct Lens {
    LensKind kind = LensKind::radialTangential;
    std::array<double, 14> terms = {};
};

/** Where the lens takes a point of the straight image. */
Point distorted(const Lens& lens, Point straight);

/**
 * True when the lens maps the neighbourhood of a straight point one to one and right side up. Where
 * it does not, it folds the image over itself, and several points share one of the recorded image.
 */
bool isRegularAt(const Lens& lens, Point straight);

/** True when the lens is regular on the whole way from the principal point to `straight`. */
bool isUnfoldedUpTo(const Lens& lens, Point straight);

/** The straight point next to `start` that the lens takes to `recorded`, if Newton's method finds
 * one. */
std::optional<Point> straightenedFrom(const Lens& lens, Point recorded, Point start);

/**
 * The straight point that the lens takes to `recorded`, on the near side of the first fold; nothing
 * if there is none, because of a fold or because the lens sees it at 90 degrees or more.
 */
std::optional<Point> straightened(const Lens& lens, Point recorded);

/** Angle in radians between the optical axis and the ray of a straight point. */
double angleOf(Point straight);

/**
 * Angle in radians between the optical axis and the ray that the lens records at `recorded`. Only
 * an equidistant lens reaches a right angle. Nothing if there is no such ray.
 */
std::optional<double> recordedAngle(const Lens& lens, Point recorded);
