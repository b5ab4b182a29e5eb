#pragma once

#include <cstdint>
#include <string>

#include "inspection/image.h"
#include "inspection/point.h"

// Where the parts of a picture stand. All places are in pixels of the paper, from its top left
// corner.

/** An area of the paper. */
struct Rectangle {
    double left;
    double top;
    double width;
    double height;
};

/** A part of an image in its proportions: the first column and row, and the size, of 1 for the
 * whole. */
struct Part {
    double left = 0;
    double top = 0;
    double size = 1;
};

/** Where things stand. Lengths are for a picture 900 wide, times `scale`. */
struct Layout {
    int32_t imageWidth;
    int32_t imageHeight;
    int width; /**< of the paper */
    int height;
    double scale;
    double stretch; /**< how many times as high as wide a pixel is drawn */
    bool isCompact; /**< no room for words around the plot */
    Rectangle
        shown; /**< the part of the image in the plot, which begins half a pixel before the first */
    Rectangle plot;
    Rectangle bar; /**< the colour scale */
};

/**
 * A layout of this width. The image keeps its proportions as far as a side of the plot does not
 * become a line; `stretch` tells when it does. On a screen with `dotsPerPixel` dots for each of its
 * pixels, narrow paper leaves out the words around the plot and keeps its numbers readable; 0 is
 * paper that is never narrow. The plot has the same place whatever part of the image it shows.
 */
Layout layOut(const Camera& camera, int32_t width, double dotsPerPixel, const Part& part = {});

/** From pixels of the image to the paper, and back. */
Point onPaper(const Layout& layout, Point pixel);
Point pixelAt(const Layout& layout, Point place);

/** Sizes of type, for a picture 900 wide. */
inline constexpr double textSize = 12.5;
inline constexpr double titleSize = 17;
inline constexpr double labelSize = 11.5;
inline constexpr double noneSize = 22;

/**
 * About how wide a text is in a common sans-serif type of this size. Places are found before it is
 * known which type there is to write with.
 */
double widthOf(const std::string& text, double size, bool isBold);

/** How much room there is for a line above the plot. */
double roomForTitle(const Layout& layout);

/** The round number (1, 2 or 5 times a power of ten) that divides a range into about `parts`. */
double roundStep(double range, double parts);

/** A number with as many decimals as its step needs. */
std::string numberText(double value, double step);
