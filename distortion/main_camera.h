/**
 * The builders of the main camera's maps behind `calcMainCameraDistortionB` and
 * `calcMainCameraUnDistortionB`, which differ only in the model they read and in what their reports
 * say.
 */
#ifndef CALIBMAP_DISTORTION_MAIN_CAMERA_H
#define CALIBMAP_DISTORTION_MAIN_CAMERA_H

#include "distortion/grid.h"

namespace calibmap {

/** One direction: its model in the main-camera block and how its reports are told apart. */
struct MapDirection {
    int32_t model;
    Reporter reporter;
};

inline constexpr MapDirection distortionDirection = {CALIBMAP_DISTORTION_MODEL,
                                                     {"calcMainCameraDistortionB", 0}};
inline constexpr MapDirection undistortionDirection = {CALIBMAP_UNDISTORTION_MODEL,
                                                       {"calcMainCameraUnDistortionB", 246}};

/** Everything that one call holds apart from the maps, in the order of creation. */
struct MapBuilding {
    Mat* cameraMatrix;
    VectorDouble* linspaceXVec;
    VectorDouble* linspaceYVec;
    BsplineModel model;
    GridEvaluation grid;
};

/**
 * The first half of a builder: its checks, its reports and its status. With status 0 the handles
 * hold two maps as `prepareGrid` leaves them, and `building.grid` can be computed, before
 * `releaseBuilding`; otherwise nothing is left. `building` starts as all null.
 */
int32_t prepareMaps(const MapDirection& direction, const uint8_t* block,
                    const SampleRequest& request, MapBuilding& building, const MapHandles& maps);

void releaseBuilding(MapBuilding& building);

}  // namespace calibmap

#endif
