#pragma once

#include <string>

#include "inspection/image.h"
#include "inspection/verdict.h"

/**
 * Reads a calibration file, or standard input for "-", and does not look at it: success, or why it
 * cannot be read.
 */
Verdict readCalibration(const std::string& path, Image& image);

/**
 * Reads one in the same way and verifies it in the order of the library.
 * `image` holds what was read.
 */
Verdict examine(const std::string& path, Image& image);

/** Reads a file that a device may refuse; throws a `Failure` when it is missing or too short. */
Verdict loadAnyFile(const std::string& path, Image& image);

/** Reads a file that a device would accept; throws a `Failure` otherwise. */
Image loadCalibration(const std::string& path);
