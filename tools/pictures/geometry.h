#pragma once

#include <string>

#include "calibration/image.h"
#include "calibration/maps.h"
#include "lens/point.h"
#include "pictures/contour.h"

/** An area of a canvas. */
struct Rectangle {
    double left;
    double top;
    double width;
    double height;
};

/** What is drawn, and where. Lengths on paper are for a figure 900 wide, times `scale`. */
struct Figure {
    const CoordinateMap* map;
    Camera camera;
    NodeValues displacement; /**< pixels, one value per sample */
    double largest;          /**< of them */
    double scale;
    Rectangle plot; /**< the image's area, from -0.5 to width - 0.5, on the canvas */

    /** From pixels of the image to the canvas. */
    [[nodiscard]] Point onCanvas(Point pixel) const {
        return {plot.left + (pixel.x + 0.5) / camera.width * plot.width,
                plot.top + (pixel.y + 0.5) / camera.height * plot.height};
    }
    /** From pixels of the image to samples of the map and back. */
    [[nodiscard]] double toSample(double pixel) const {
        return (pixel - (map->ratio - 1) * 0.5) / map->ratio;
    }
    [[nodiscard]] double toPixel(double sample) const {
        return sample * map->ratio + (map->ratio - 1) * 0.5;
    }
};

/** A figure of this width that shows the map. The camera is the one that the map belongs to. */
Figure layOut(const CoordinateMap& map, const Camera& camera, int32_t width);

/** How far, in pixels, the map moves a pixel. */
double displacementAtPixel(const Figure& figure, Point pixel);

/** Where the map takes a pixel, in pixels. */
Point mapped(const Figure& figure, Point pixel);

/** The round number (1, 2 or 5 times a power of ten) that divides a range into about `parts`. */
double roundStep(double range, double parts);

/** A number with as many decimals as its step needs. */
std::string numberText(double value, double step);
