#pragma once

#include "drawing/picture.h"
#include "inspection/drawing.h"

/** Strokes a drawing on white paper. */
Picture stroked(const Drawing& drawing);
