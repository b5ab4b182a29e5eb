#pragma once

#include <string>
#include <vector>

#include "pictures/canvas.h"
#include "pictures/geometry.h"

/** The frame of the plot with the columns and rows of the image. */
void drawAxes(const Figure& figure, const Canvas& canvas);

/** What the colours mean. A figure without any value has none. */
void drawLegend(const Figure& figure, const Canvas& canvas, const std::string& quantity);

/** What the two kinds of grid lines are, below the axes. */
void drawKey(const Figure& figure, const Canvas& canvas, const std::string& regular,
             const std::string& taken);

/** What is shown, and up to two lines about it. */
void drawTitle(const Figure& figure, const Canvas& canvas, const std::string& title,
               const std::vector<std::string>& lines);

/** A title with a name in it, which is shortened until there is room for it. */
std::string fittedTitle(const Figure& figure, const Canvas& canvas, const std::string& before,
                        const std::string& name, const std::string& behind = "");

/** Says in the middle of the plot that there is nothing to be seen. */
void writeNone(const Figure& figure, const Canvas& canvas, const std::string& text);

/** The largest value and its place, and whether the proportions are those of the image. */
std::string factsOf(const Figure& figure, const std::string& quantity);
