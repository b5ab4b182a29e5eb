#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "commands/camera_options.h"
#include "making/camera_file.h"
#include "making/proof.h"

/** What the command line of `make` asks for; a text that was not given is empty. */
struct MakeOptions {
    std::string output;
    std::string main;
    std::string sub;
    std::string points;
    std::string from;
    CameraOptions camera;
    std::optional<int32_t> subWidth;
    std::optional<int32_t> subHeight;
    std::optional<LensChoice> lens;
    std::vector<std::string> set;
    std::optional<double> maxAngle; /**< degrees; 90, the whole view, unless given */
    double tolerance = usualLargestError;
    std::string residuals;
    bool isJson = false;
    bool isUnproved = false;
};
