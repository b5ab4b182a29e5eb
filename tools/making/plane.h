#pragma once

#include "inspection/image.h"
#include "inspection/point.h"

// Between pixels and normalised image coordinates, in which lenses and models are functions.

inline Point normalised(const Camera& camera, Point pixel) {
    return {(pixel.x - camera.cx) / camera.fx, (pixel.y - camera.cy) / camera.fy};
}

inline Point inPixels(const Camera& camera, Point p) {
    return {p.x * camera.fx + camera.cx, p.y * camera.fy + camera.cy};
}

/** A point in normalised coordinates, moved by so many pixels; and by how many it was moved. */
inline Point displaced(const Camera& camera, Point p, Point pixels) {
    return {p.x + pixels.x / camera.fx, p.y + pixels.y / camera.fy};
}
inline Point displacementOf(const Camera& camera, Point from, Point to) {
    return {(to.x - from.x) * camera.fx, (to.y - from.y) * camera.fy};
}
