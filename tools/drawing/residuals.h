#pragma once

#include <string>
#include <vector>

#include "drawing/picture.h"
#include "inspection/image.h"
#include "inspection/point.h"

/** What is left between a map and the truth at one place, in pixels. */
struct Residual {
    Point place; /**< where in the image that the map is for */
    Point error; /**< from the truth to the map's value */
    bool isUsed; /**< false for a point that the fit has left out */
};

/** The residuals of one map, under a title. */
struct ResidualPanel {
    std::string title;
    std::string numbers; /**< as the report has them */
    std::vector<Residual> residuals;
};

/** Residuals, and of what. */
struct ResidualPicture {
    std::string title;
    std::string subtitle;
    std::string truth; /**< what an arrow begins at: "the lens", "the measured place" */
    Camera camera;
    std::vector<ResidualPanel> panels;
};

/**
 * Draws each panel's residuals as arrows, all magnified alike and so that they can be seen; a
 * measure tells by how much. Points that were left out are crosses.
 */
Picture drawResiduals(const ResidualPicture& picture);
