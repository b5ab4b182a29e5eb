/**
 * The evaluation behind `undisortionBspline`, for a caller that may know beforehand that nobody
 * will read the elements of the maps.
 */
#ifndef CALIBMAP_DISTORTION_GRID_H
#define CALIBMAP_DISTORTION_GRID_H

#include "calibmap.h"

/** What a caller needs of a map. */
enum class MapContent {
    complete,
    /** Only whether the map can be made, and its shape: elements are neither computed nor touched.
     */
    shapeOnly
};

/** `undisortionBspline` with a choice of what the maps hold. */
int32_t evaluateGrid(const Mat* cameraMatrix, const BsplineModel* model,
                     const CamDistortionLUT* inputPoints, int32_t imgW, int32_t imgH, int32_t ratio,
                     MapContent content, Mat** undistX, Mat** undistY);

#endif
