#pragma once

#include <string>
#include <vector>

#include "inspection/image.h"

/**
 * Stores "FIELD=VALUE[,VALUE...]" in a file image and leaves the checksums to `seal`; returns the
 * field's name. Fields are called as `diff` calls them, capitals and hyphens aside. A word is a
 * number, stored as float32, or eight hexadecimal digits behind 0x; all words of a field may be
 * given by their bytes, as `info` prints them.
 *
 * Throws a `Failure` that names the nearest fields, or says which values there have to be.
 */
std::string setField(Image& image, const std::string& assignment);

/** The names of the fields that can be set, for the help. */
std::string settableFields();
