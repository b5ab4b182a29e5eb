#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "inspection/image.h"
#include "inspection/usability.h"
#include "inspection/verdict.h"

/** All that is said of one file: would a device take it, could it use it, and if not, why. */
struct Check {
    std::string name;
    Verdict verdict;
    Usability usability;              /**< of an accepted file */
    std::vector<CheckedRange> ranges; /**< of one that could be read */
    bool isUsable;
};

/** Looks at the bytes of a file. `tolerance` is that of `usabilityOf`. */
Check checkOf(const std::string& name, const Image& image, double tolerance);

/** The same of a file that could not be read. */
Check checkOf(const std::string& name, const Verdict& verdict);

/** One line for people: "accepted and usable, status 0, maps undo each other within ...". */
std::string sentenceOf(const Check& check);

/** "Accepted and usable: a device takes this file", and its two counterparts. */
std::string headlineOf(const Check& check);
