#pragma once

#include <array>
#include <cstdint>

/** A colour in sRGB, its components from 0 to 1. */
struct Colour {
    double red;
    double green;
    double blue;
};

/** A dot of a picture: red, green, blue and its opacity. */
using Dot = std::array<uint8_t, 4>;

/** The opaque dot of a colour. */
Dot dotOf(const Colour& colour);

constexpr Colour darkInk = {0.13, 0.13, 0.15};
constexpr Colour faintInk = {0.42, 0.42, 0.45};
constexpr Colour white = {1, 1, 1};
constexpr Colour paper = {0.93, 0.93, 0.94};

/**
 * A perceptually uniform colour scale for t from 0 to 1: from dark violet over teal to light
 * yellow. Lightness rises evenly, and so does the hue, in Oklab (B. Ottosson, "A perceptual color
 * space for image processing", 2020), so that equal steps of t look equally large, in grey as well.
 */
Colour heat(double t);

/** The lightness in Oklab, 0 to 1, of `heat(t)`. */
double heatLightness(double t);
