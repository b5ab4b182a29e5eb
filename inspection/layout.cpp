#include "inspection/layout.h"

#include <algorithm>
#include <cmath>
#include <string_view>

#include "inspection/text.h"

namespace {

/** What stands around the plot needs so much room, and the colour scale is so far from it. */
struct Margins {
    double left;
    double top;
    double right;
    double bottom;
    double bar;
};
constexpr Margins wide = {74, 100, 122, 92, 24};
constexpr Margins compact = {40, 12, 62, 28, 10};

/** Below the others stands the line which says that the picture is not in proportion. */
constexpr double lineForStretch = 19;

/** Width of a character by its first byte in UTF-8, as a part of the size of the type. */
double widthOf(char first) {
    constexpr std::string_view narrow = " !'(),-./:;I[]fijlrt|";
    constexpr std::string_view broad = "%@MWmw";
    const auto byte = static_cast<unsigned char>(first);
    if ((byte & 0xC0) == 0x80) {
        return 0;
    }
    if (byte >= 0xE0 || broad.find(first) != std::string_view::npos) {
        return 0.94;
    }
    if (narrow.find(first) != std::string_view::npos) {
        return 0.34;
    }
    return first >= 'A' && first <= 'Z' ? 0.69 : 0.61;
}

}  // namespace

Layout layOut(const Camera& camera, int32_t width, double dotsPerPixel, const Part& part) {
    constexpr double narrow = 560;
    constexpr double mostSlender = 12;
    Layout layout{};
    layout.imageWidth = camera.width;
    layout.imageHeight = camera.height;
    layout.shown = {part.left * camera.width, part.top * camera.height, part.size * camera.width,
                    part.size * camera.height};
    layout.isCompact = width < narrow * dotsPerPixel;
    layout.scale = layout.isCompact ? dotsPerPixel : width / 900.0;
    const double s = layout.scale;
    const Margins& margins = layout.isCompact ? compact : wide;
    const double proportion = static_cast<double>(camera.height) / camera.width;
    const double drawn = std::clamp(proportion, 1 / mostSlender, mostSlender);
    layout.stretch = drawn / proportion;
    const bool saysStretch = proportion != drawn && !layout.isCompact;
    // Plot and scale cover whole pixels of the paper, which makes their edges sharp.
    Rectangle& plot = layout.plot;
    plot.left = std::round(margins.left * s);
    plot.top = std::round((margins.top + (saysStretch ? lineForStretch : 0)) * s);
    const double mostWidth = width - plot.left - margins.right * s;
    const double mostHeight = 900 * s;
    plot.width = std::max(1.0, std::round(std::min(mostWidth, mostHeight / drawn)));
    plot.height = std::max(1.0, std::round(plot.width * drawn));
    const double beside = std::max(plot.height, 160 * s);
    layout.bar = {std::round(plot.left + plot.width + margins.bar * s), plot.top,
                  std::round(18 * s), std::round(beside)};
    layout.width = width;
    layout.height = static_cast<int>(std::ceil(plot.top + beside + margins.bottom * s));
    return layout;
}

Point onPaper(const Layout& layout, Point pixel) {
    const Rectangle& plot = layout.plot;
    const Rectangle& shown = layout.shown;
    return {plot.left + (pixel.x + 0.5 - shown.left) / shown.width * plot.width,
            plot.top + (pixel.y + 0.5 - shown.top) / shown.height * plot.height};
}

Point pixelAt(const Layout& layout, Point place) {
    const Rectangle& plot = layout.plot;
    const Rectangle& shown = layout.shown;
    return {(place.x - plot.left) / plot.width * shown.width - 0.5 + shown.left,
            (place.y - plot.top) / plot.height * shown.height - 0.5 + shown.top};
}

double widthOf(const std::string& text, double size, bool isBold) {
    double width = 0;
    for (const char byte : text) {
        width += widthOf(byte);
    }
    return width * size * (isBold ? 1.1 : 1);
}

double roomForTitle(const Layout& layout) {
    return layout.width - layout.plot.left - 20 * layout.scale;
}

double roundStep(double range, double parts) {
    const double raw = range / parts;
    const double power = std::pow(10, std::floor(std::log10(raw)));
    for (const double factor : {1.0, 2.0, 5.0}) {
        if (factor * power >= raw * 0.999) {
            return factor * power;
        }
    }
    return 10 * power;
}

std::string numberText(double value, double step) {
    // Nobody counts more digits, nor is there the room for them.
    if (step >= 1e6) {
        return format("%.3g", value);
    }
    const int decimals = std::max(0, static_cast<int>(-std::floor(std::log10(step) + 1e-9)));
    return format("%.*f", decimals, value);
}
