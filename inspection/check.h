#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "inspection/image.h"
#include "inspection/usability.h"
#include "inspection/verdict.h"

/** All that is said of one file: would a device take it, could it use it, and if not, why. */
struct Check {
    std::string name; /**< as `shown` returns it */
    Verdict verdict;
    Usability usability;              /**< of an accepted file */
    std::vector<CheckedRange> ranges; /**< of one that could be read */
    bool isUsable;
};

/** Looks at the bytes of a file. `tolerance` is that of `usabilityOf`. */
Check checkOf(const std::string& name, const Image& image, double tolerance);

/** The same of a file that could not be read. */
Check checkOf(const std::string& name, const Verdict& verdict);

/** One line for people: "lens.bin: accepted and usable, status 0, maps undo each other within ...".
 */
std::string sentenceOf(const Check& check);

/** A checksummed range as people read it. */
struct RangeInWords {
    std::string name;
    std::string bytes;  /**< "13..4124" */
    std::string stored; /**< "0x3f" */
    std::string computed;
    std::size_t size; /**< in bytes */
    bool isWrong;
};

/** A check for somebody who has not asked for one line. */
struct CheckInWords {
    bool isUsable;
    int32_t status;
    std::string headline;             /**< "Accepted and usable: a device takes this file" */
    std::string agreement;            /**< a sentence on the maps of a usable file */
    std::vector<std::string> reasons; /**< against any other: phrases */
    std::string remedy;               /**< what to do about them */
    std::vector<RangeInWords> ranges;
};
CheckInWords inWords(const Check& check);
