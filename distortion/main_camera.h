/**
 * The builders of the main camera's maps behind `calcMainCameraDistortionB` and
 * `calcMainCameraUnDistortionB`, which differ only in the model they read and in what their reports
 * say.
 */
#ifndef CALIBMAP_DISTORTION_MAIN_CAMERA_H
#define CALIBMAP_DISTORTION_MAIN_CAMERA_H

#include "distortion/grid.h"

/** One direction: its model in the main-camera block and how its reports are told apart. */
struct MapDirection {
    const char* name;
    int32_t model;
    int32_t lineOffset; /**< added to the line numbers of the distortion builder */
};

inline constexpr MapDirection distortionDirection = {"calcMainCameraDistortionB",
                                                     CALIBMAP_DISTORTION_MODEL, 0};
inline constexpr MapDirection undistortionDirection = {"calcMainCameraUnDistortionB",
                                                       CALIBMAP_UNDISTORTION_MODEL, 246};

/** The builder of one direction, with a choice of what the maps hold. */
int32_t buildMaps(const MapDirection& direction, const uint8_t* block,
                  const CamDistortionLUT* inputPoints, int32_t ratio, int32_t imgW, int32_t imgH,
                  MapContent content, Mat** mapX, Mat** mapY);

#endif
