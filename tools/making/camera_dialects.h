#pragma once

#include <string>
#include <vector>

#include "making/camera_values.h"

/** Who wrote a calibration, as far as its keys tell. */
enum class Dialect { fileStorage, ros, kalibr };

Dialect dialectOf(const Node& root);

/** True for a message of ROS, which is printed again and again. */
bool isRosMessage(const Node& root);

/** Reads the camera that the source chooses; throws a `Failure`. */
CameraDescription readDialect(Dialect dialect, const Source& source);
