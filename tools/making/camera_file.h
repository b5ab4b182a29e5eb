#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "making/model.h"

/** What four coefficients are that a file does not name. */
enum class LensChoice { plumbBob, fisheye };

/** One camera as another program's calibration describes it. */
struct CameraDescription {
    std::string path; /**< the file that it is from */
    std::optional<int32_t> width;
    std::optional<int32_t> height;
    double fx;
    double fy;
    double cx;
    double cy;
    Lens lens;
    std::size_t termCount;  /**< how many terms of the lens the file lists */
    std::string lensModel;  /**< plumb_bob, rational_polynomial, radtan or equidistant */
    bool isLensChosen;      /**< the file does not say which model, but the user does */
    std::string extrinsics; /**< where the file has the other camera's place; not read, but to be
                               mentioned */
    std::optional<double> reprojectionError; /**< pixels; how well the calibration met its views */
};

/** The lens in words: "plumb_bob, 5 terms". */
std::string lensWords(const CameraDescription& camera);

/**
 * Reads a camera from a file that OpenCV's FileStorage wrote, as YAML, XML or JSON (the names of
 * its calibration and of its stereo sample, and other common ones), a ROS camera_info file or
 * message, or a Kalibr camera chain. Where a file holds several cameras, `name` is FILE#CAMERA.
 * `lens` says what four coefficients are that the file does not name; without it they are refused.
 *
 * Throws a `Failure` that names the line of what is missing, doubled, of the wrong length, not
 * finite, out of range or not known, and of a second document.
 */
CameraDescription readCameraFile(const std::string& name, std::optional<LensChoice> lens);

/** The same from a text; `path` is what messages call it. */
CameraDescription cameraFrom(const std::string& text, const std::string& path,
                             const std::string& camera, std::optional<LensChoice> lens);
