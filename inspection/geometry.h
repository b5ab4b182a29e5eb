#pragma once

#include <string>

#include "inspection/contour.h"
#include "inspection/image.h"
#include "inspection/map.h"
#include "inspection/point.h"

/** An area of a canvas. */
struct Rectangle {
    double left;
    double top;
    double width;
    double height;
};

/** Values at evenly spaced pixels of an image: column i and row i stand at `first + step * i`. */
struct PixelValues {
    NodeValues nodes;
    double first;
    double step;
    Point covered;  /**< columns and rows of the image that they speak for, from its first on */
    double largest; /**< of all that are finite */
    Point place;    /**< where it is, in pixels */
};

/** How far a map moves each of its samples, in pixels. It speaks for whole blocks of pixels. */
PixelValues displacementsOf(const CoordinateMap& map);

/** The value at any pixel, interpolated, and continued to the border of what is covered. */
double valueAt(const PixelValues& values, Point pixel);

/** What is drawn, and where. Lengths on paper are for a figure 900 wide, times `scale`. */
struct Figure {
    int32_t imageWidth;
    int32_t imageHeight;
    PixelValues values;
    double largest; /**< of the values; 0 when it is no more than rounding leaves over */
    double scale;
    double stretch; /**< how many times as high as wide a pixel is drawn */
    int width;      /**< of the canvas */
    int height;
    Rectangle plot; /**< the image's area, from -0.5 to width - 0.5, on the canvas */

    /** From pixels of the image to the canvas. */
    [[nodiscard]] Point onCanvas(Point pixel) const {
        return {plot.left + (pixel.x + 0.5) / imageWidth * plot.width,
                plot.top + (pixel.y + 0.5) / imageHeight * plot.height};
    }
};

/**
 * A figure of this width. The image keeps its proportions as far as a side of the plot does not
 * become a line; `Figure::stretch` tells when it does.
 */
Figure layOut(PixelValues values, const Camera& camera, int32_t width);

/** The round number (1, 2 or 5 times a power of ten) that divides a range into about `parts`. */
double roundStep(double range, double parts);

/** The distance between two contour lines of a figure: about ten of them up to the largest value.
 */
double contourStep(const Figure& figure);

/** A number with as many decimals as its step needs. */
std::string numberText(double value, double step);
