#pragma once

/** A position, in pixels or in normalised image coordinates. */
struct Point {
    double x;
    double y;
};
