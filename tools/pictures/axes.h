#pragma once

#include <string>

#include "pictures/canvas.h"
#include "pictures/geometry.h"

/** The frame of the plot with the columns and rows of the image. */
void drawAxes(const Figure& figure, const Canvas& canvas);

/** What the colours mean, with ticks at the multiples of `step`. */
void drawLegend(const Figure& figure, const Canvas& canvas, double step);

/** Which map of which file is shown. */
void drawTitle(const Figure& figure, const Canvas& canvas, const std::string& file,
               Direction direction);
