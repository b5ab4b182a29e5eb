#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "inspection/image.h"

/** Result of the verification of a file, in the library's own status codes. */
struct Verdict {
    int32_t status;     /**< `CALIBMAP_SUCCESS` or the first reason to refuse */
    std::string reason; /**< what is wrong; empty when accepted */
    std::string remedy; /**< what to do about it */
};

/** What to do about a calibration that is wrong in itself. */
inline constexpr const char* calibrateAgain = "have the device calibrated again";

/** One checksummed range of the file. */
struct CheckedRange {
    std::string name;
    std::size_t first;
    std::size_t size;
    uint8_t stored;   /**< the byte behind the range */
    uint8_t computed; /**< what it has to be */
};

/** What the library says of these bytes: a checksum that does not hold first, then the pass flag.
 */
Verdict judge(const Image& image);

/** For people: "accepted, status 0" or "refused, status 9: ..." with the reason and the remedy. */
std::string sentenceOf(const Verdict& verdict);

/** What is wrong with a file of so many bytes, too few for a calibration. */
std::string sizeFaultOf(std::size_t size);

/** The verdict on a file that cannot be read as a whole. */
Verdict unreadable(const std::string& reason);

/** True when the file is long enough to be looked at, accepted or not. */
bool hasBeenRead(const Verdict& verdict);

/** The four checksummed ranges; the one over the whole file comes last. */
std::vector<CheckedRange> checkedRanges(const Image& image);
