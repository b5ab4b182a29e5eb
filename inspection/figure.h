#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "inspection/contour.h"
#include "inspection/image.h"
#include "inspection/map.h"
#include "inspection/point.h"

// What a picture of a map, or of the difference of two, shows: computed here, stroked by the
// program with Cairo and by the page on a canvas, which decide nothing. All places are in pixels of
// the paper, from its top left corner.

/** An area of the paper. */
struct Rectangle {
    double left;
    double top;
    double width;
    double height;
};

/** Where things stand. Lengths are for a picture 900 wide, times `scale`. */
struct Layout {
    int32_t imageWidth;
    int32_t imageHeight;
    int width; /**< of the paper */
    int height;
    double scale;
    double stretch;  /**< how many times as high as wide a pixel is drawn */
    bool isCompact;  /**< no room for words around the plot */
    Rectangle plot;  /**< the image's area, from -0.5 to width - 0.5 */
    Rectangle bar;   /**< the colour scale */
};

/**
 * A layout of this width. The image keeps its proportions as far as a side of the plot does not
 * become a line; `stretch` tells when it does. On a screen with `dotsPerPixel` dots for each of its
 * pixels, narrow paper leaves out the words around the plot and keeps its numbers readable; 0 is
 * paper that is never narrow.
 */
Layout layOut(const Camera& camera, int32_t width, double dotsPerPixel);

/** From pixels of the image to the paper, and back. */
Point onPaper(const Layout& layout, Point pixel);
Point pixelAt(const Layout& layout, Point place);

/**
 * Values at evenly spaced pixels of an image, row by row: column i and row i stand at
 * `first + step * i`.
 */
struct PixelValues {
    NodeValues nodes;
    double first;
    double step;
    Point covered;  /**< columns and rows of the image that they speak for, from its first on */
    double largest; /**< of all that the picture speaks of, also of those left out here */
    Point place;    /**< where it is, in pixels */
};

/**
 * How far a map moves its samples, in pixels, `moved` being all of them in numbers. Of maps with
 * many more samples than a picture of this width has dots, every so many.
 */
PixelValues displacementsOf(const CoordinateMap& map, const Statistics& moved, int32_t width);

/** The value at any pixel, interpolated, and continued to the border of what is covered. */
double valueAt(const PixelValues& values, Point pixel);

/** What is said in words: which file, which map, which quantity. */
struct Wording {
    std::string title;       /**< without the name of the file */
    std::string name;        /**< of the file, or of both; shortened until the title has room */
    std::string colours;     /**< what a colour means */
    std::string size;        /**< of image and map */
    std::string quantity;    /**< "displacement" or "difference" */
    std::string none;        /**< what stands in the plot where there is nothing to be seen */
    std::string regularGrid; /**< names of the two grids; empty where there are none */
    std::string mappedGrid;
};

/** The words for a map of a file with this name. */
Wording wordingOf(const CoordinateMap& map, const Camera& camera, Direction direction,
                  const std::string& name);

/** The words for the difference of the maps of two files. */
Wording wordingOfDifference(const Camera& camera, Direction direction, const std::string& first,
                            const std::string& second);

/** A number beside an axis or the colour scale, at its mark. */
struct Tick {
    double value;
    double place; /**< along the axis, on the paper */
    std::string text;
};

/** A text on a contour line, which is interrupted for it. */
struct ContourLabel {
    std::string text;
    Point centre;
    double angle; /**< radians, clockwise on the paper */
};

/** One line along which the values equal `level`. */
struct ContourLine {
    double level;
    bool isOnLight;               /**< drawn dark, because the colours around it are light */
    std::vector<Polyline> pieces; /**< without what lies under the label */
    std::optional<ContourLabel> label;
};

/** The picture: what is to be seen of the values, and all that is written around it. */
struct Figure {
    Layout layout;
    double largest;                /**< 0 when it is no more than rounding leaves over */
    Point place;                   /**< of the largest, on the paper */
    std::vector<uint8_t> heatMap;  /**< RGBA, as many as `layout.plot` has dots, row by row */
    std::vector<Polyline> regularGrid;
    std::vector<Polyline> mappedGrid;
    std::vector<ContourLine> contours;
    std::vector<Tick> columns;     /**< below the plot */
    std::vector<Tick> rows;        /**< left of it */
    std::vector<Tick> scale;       /**< of the colours; none without any value */
    std::vector<std::string> title; /**< the title, what the colours mean, the facts */
    Wording wording;
};

/**
 * Makes a figure. With a map there is a regular grid of the image, and the same grid where the map
 * takes it. Contour lines stand at the multiples of a round step, and at a tenth and a half of it.
 */
Figure figureOf(const Layout& layout, const Camera& camera, const PixelValues& values,
                const CoordinateMap* map, const Wording& wording, const Reached& reached = nullptr);

/** The round number (1, 2 or 5 times a power of ten) that divides a range into about `parts`. */
double roundStep(double range, double parts);

/** A number with as many decimals as its step needs. */
std::string numberText(double value, double step);
