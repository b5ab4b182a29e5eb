#pragma once

#include "pictures/canvas.h"
#include "pictures/geometry.h"

/** The displacement of each pixel in colour. */
void drawHeatMap(const Figure& figure, Canvas& canvas);

/** The regular grid of one image, drawn where the map takes it. */
void drawMappedGrid(const Figure& figure, const Canvas& canvas);

/** Contour lines of the displacement, labelled, at the multiples of `step` and twice below it. */
void drawContours(const Figure& figure, const Canvas& canvas, double step);
