#pragma once

#include <optional>

#include "inspection/image.h"
#include "making/camera_file.h"
#include "making/make_options.h"
#include "making/make_report.h"

/** What `make` starts from: the file that was named, or an empty one that passes. */
Image startingImage(const MakeOptions& options);

/**
 * Fills in both cameras and reports where they come from. Returns what a calibration says of the
 * main one. Models that stay follow a camera that is changed.
 */
std::optional<CameraDescription> storeFields(const MakeOptions& options, Image& image,
                                             MakeReport& report);
