#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "calibration/image.h"

/** Result of the verification of a file, in the library's own status codes. */
struct Verdict {
    int32_t status;     /**< `CALIBMAP_SUCCESS` or the first reason to refuse */
    std::string reason; /**< what is wrong; empty when accepted */
    std::string remedy; /**< what to do about it */
};

/** One checksummed range of the file. */
struct CheckedRange {
    std::string name;
    std::size_t first;
    std::size_t size;
    uint8_t stored;   /**< the byte behind the range */
    uint8_t computed; /**< what it has to be */
};

/**
 * Reads the file, or standard input for "-", and verifies it in the order of the library. `image`
 * holds what was read.
 */
Verdict examine(const std::string& path, Image& image);

/** True when the file is long enough to be looked at, accepted or not. */
bool hasBeenRead(const Verdict& verdict);

/** Reads a file that a device may refuse; throws a `Failure` when it is missing or too short. */
Verdict loadAnyFile(const std::string& path, Image& image);

/** Reads a file that a device would accept; throws a `Failure` otherwise. */
Image loadCalibration(const std::string& path);

/** The four checksummed ranges; the one over the whole file comes last. */
std::vector<CheckedRange> checkedRanges(const Image& image);
