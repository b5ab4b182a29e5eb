#pragma once

#include <string>
#include <vector>

#include "drawing/canvas.h"
#include "inspection/geometry.h"

/** The frame of the plot with the columns and rows of the image. */
void drawAxes(const Figure& figure, const Canvas& canvas);

/** What the colours mean. A figure without any value has none. */
void drawLegend(const Figure& figure, const Canvas& canvas, const std::string& quantity);

/** What the two kinds of grid lines are, below the axes. */
void drawKey(const Figure& figure, const Canvas& canvas, const std::string& regular,
             const std::string& taken);

/** What is shown, what the colours say, and the facts. */
void drawTitle(const Figure& figure, const Canvas& canvas, const std::string& title,
               const std::string& colours, const std::vector<std::string>& facts);

/** A title with a name in it, which is shortened until there is room for it. */
std::string fittedTitle(const Figure& figure, const Canvas& canvas, const std::string& before,
                        const std::string& name, const std::string& behind = "");

/** Says in the middle of the plot that there is nothing to be seen. */
void writeNone(const Figure& figure, const Canvas& canvas, const std::string& text);

/** The size, the largest value with its place, and how the proportions differ if they do. */
std::vector<std::string> factsOf(const Figure& figure, const std::string& quantity,
                                 const std::string& size);
