#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "making/model.h"

/** One camera as another program's calibration describes it. */
struct CameraDescription {
    std::string source; /**< the file and what in it, for messages */
    std::optional<int32_t> width;
    std::optional<int32_t> height;
    double fx;
    double fy;
    double cx;
    double cy;
    Lens lens;
    std::size_t termCount; /**< how many terms of the lens the file lists */
};

/**
 * Reads a camera from a YAML file: one that OpenCV's FileStorage wrote (the names of its
 * calibration and of its stereo sample; JSON, too), a ROS camera_info file or message, or a Kalibr
 * camera chain. Where a file holds several cameras, `name` is FILE#CAMERA. With `isFisheye`, four
 * coefficients that the file does not name are an equidistant lens.
 *
 * Throws a `Failure` that names the line of what is missing, doubled, of the wrong length, not
 * finite, out of range or not known, and of a second document.
 */
CameraDescription readCameraFile(const std::string& name, bool isFisheye);
