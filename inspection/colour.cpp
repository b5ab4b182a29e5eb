#include "inspection/colour.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

/** The transfer function of sRGB. */
double encoded(double linear) {
    const double value = std::clamp(linear, 0.0, 1.0);
    return value <= 0.0031308 ? 12.92 * value : 1.055 * std::pow(value, 1 / 2.4) - 0.055;
}

Colour fromOklab(double lightness, double a, double b) {
    const double l = std::pow(lightness + 0.3963377774 * a + 0.2158037573 * b, 3);
    const double m = std::pow(lightness - 0.1055613458 * a - 0.0638541728 * b, 3);
    const double s = std::pow(lightness - 0.0894841775 * a - 1.2914855480 * b, 3);
    return {encoded(4.0767416621 * l - 3.3077115913 * m + 0.2309699292 * s),
            encoded(-1.2684380046 * l + 2.6097574011 * m - 0.3413193965 * s),
            encoded(-0.0041960863 * l - 0.7034186147 * m + 1.7076147010 * s)};
}

}  // namespace

Dot dotOf(const Colour& colour) {
    const auto byte = [](double component) {
        return static_cast<uint8_t>(std::lround(component * 255));
    };
    return {byte(colour.red), byte(colour.green), byte(colour.blue), 255};
}

double heatLightness(double t) {
    return std::lerp(0.30, 0.93, t);
}

Colour heat(double t) {
    const double hue = std::lerp(300.0, 105.0, t) * std::numbers::pi / 180;
    // As colourful as sRGB allows at this hue and lightness, with some reserve.
    const double chroma = 0.125 - 0.14 * t + 0.165 * t * t;
    return fromOklab(heatLightness(t), chroma * std::cos(hue), chroma * std::sin(hue));
}
