#pragma once

#include "drawing/canvas.h"
#include "inspection/geometry.h"
#include "maps.h"

/**
 * Fills the plot. The colour is `heat` of the value divided by the largest one; what the values do
 * not speak for is left as paper, and what is no number is grey. Contour lines stand at the
 * multiples of `contourStep` below the largest value, and at a tenth and a half of it. A ring marks
 * the largest value. With a map there is a regular grid of the image, dashed, and the same grid
 * where the map takes it.
 */
void drawField(const Figure& figure, Canvas& canvas, const CoordinateMap* map = nullptr);

/** How the lines of the two grids are drawn. */
void setRegularLine(const Figure& figure, const Canvas& canvas);
void setMappedLine(const Figure& figure, const Canvas& canvas);
