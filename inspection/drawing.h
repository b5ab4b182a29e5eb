#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "inspection/colour.h"
#include "inspection/contour.h"
#include "inspection/figure.h"

// A figure as strokes, areas and texts in the order in which they are drawn: all that a face of the
// program has to know of it.

/** The inks of a drawing; `colourOf` tells what they are on light and on dark paper. */
enum class Ink { text, faintText, dark, light, regularLine, mappedLine, sample };

/** A colour with its opacity from 0 to 1. */
struct InkColour {
    Colour colour;
    double opacity;
};
InkColour colourOf(Ink ink, bool isDarkPaper);

/** Dots that are put on the paper as they are, RGBA, row by row. */
struct ImageMark {
    int32_t left;
    int32_t top;
    int32_t width;
    int32_t height;
    std::vector<uint8_t> dots;
};

/** A filled rectangle. */
struct AreaMark {
    Rectangle area;
    Ink ink;
};

/** Lines of one kind, stroked as one path; joins are round, also where a line ends as it begins. */
struct LineMark {
    std::vector<Polyline> lines;
    double width;
    std::vector<double> dashes; /**< lengths on and off; solid when empty */
    Ink ink;
    bool isClipped; /**< to the plot */
};

/**
 * A text. `anchor` says where in the text `place` lies: 0 left or top, 1 right or bottom, the
 * height that counts being that of digits. It is turned about that place by `angle` (radians,
 * clockwise). A text that is wider than `room` is written smaller, so that it has it; 0 is any
 * width.
 */
struct TextMark {
    std::string text;
    Point place;
    Point anchor;
    double angle;
    double size;
    bool isBold;
    Ink ink;
    double room;
};

using Mark = std::variant<ImageMark, AreaMark, LineMark, TextMark>;

/** A picture to be stroked. */
struct Drawing {
    int32_t width;
    int32_t height;
    Rectangle plot; /**< to which lines are clipped */
    std::vector<Mark> marks;
};

/** The strokes of a figure; one that is not needed any more is moved here. */
Drawing drawingOf(Figure figure);

/** What marks, in a drawing of this layout, a pixel and where it is taken: a cross, a line, a ring.
 */
Drawing markerOf(const Layout& layout, Point from, Point to);
