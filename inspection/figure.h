#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "inspection/contour.h"
#include "inspection/image.h"
#include "inspection/layout.h"
#include "inspection/map.h"
#include "inspection/pixel_values.h"
#include "inspection/point.h"

// What a picture of a map, or of the difference of two, shows: computed here, stroked by the
// program with Cairo and by the page on a canvas, which decide nothing. All places are in pixels of
// the paper, from its top left corner.

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

/**
 * The numbers along an axis of so many pixels, the first of which begins at `first`, from `begin`
 * on this long: about one `apart`.
 */
std::vector<Tick> ticksOf(double first, double pixels, double begin, double length, double apart);

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
    double largest;               /**< 0 when it is no more than rounding leaves over */
    double top;                   /**< what the end of the colour scale stands for */
    Point place;                  /**< of the largest, on the paper */
    std::vector<uint8_t> heatMap; /**< RGBA, as many as `layout.plot` has dots, row by row */
    std::vector<Polyline> regularGrid;
    std::vector<Polyline> mappedGrid;
    std::vector<ContourLine> contours;
    std::vector<Tick> columns;      /**< below the plot */
    std::vector<Tick> rows;         /**< left of it */
    std::vector<Tick> scale;        /**< of the colours; none without any value */
    std::vector<std::string> title; /**< the title, what the colours mean, the facts */
    Wording wording;
};

/**
 * Makes a figure. With a mapping there is a regular grid of the image, and the same grid where the
 * map takes it. Contour lines stand at the multiples of a round step, and at a tenth and a half of
 * it.
 */
Figure figureOf(const Layout& layout, const Camera& camera, const PixelValues& values,
                const Mapping& mapping, const Wording& wording, const Reached& reached = nullptr);
