#pragma once

#include <string>

#include "inspection/check.h"
#include "inspection/difference.h"
#include "inspection/info.h"

// Records as JSON, with the names of `inspection/describe.h`. JSON has no words for what is no
// finite number: such a one becomes a text, "nan" or "inf".

/** In one line. */
std::string jsonOf(const Check& check);
std::string jsonOf(const Difference& difference);

/** In many, as people like to read it, too, or in one. */
std::string jsonOf(const Info& info, bool inOneLine = false);
