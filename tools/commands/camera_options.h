#pragma once

#include <cstdint>
#include <optional>

#include "command_line.h"
#include "inspection/image.h"

/** What a command line may say of the main camera. */
struct CameraOptions {
    std::optional<int32_t> width;
    std::optional<int32_t> height;
    std::optional<double> fx;
    std::optional<double> fy;
    std::optional<double> cx;
    std::optional<double> cy;
};

/** --width, --height, --fx, --fy, --cx and --cy, for images of at least `leastSize` each way. */
void addCameraOptions(Command& command, CameraOptions& options, int32_t leastSize);

/** The camera, what was given in the place of its own. */
Camera withGiven(const Camera& camera, const CameraOptions& options);
