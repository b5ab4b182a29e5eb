/** What the fuzz targets share whose input is a calibration file. */
#ifndef CALIBMAP_FUZZ_FILE_INPUT_H
#define CALIBMAP_FUZZ_FILE_INPUT_H

#include <cstddef>

// Header bytes of our own. Zeros, as in a file of the tool, ask for a map as a user would.
inline constexpr size_t ratioControl = 2;  // int32: the ratio less 1
inline constexpr size_t flagControl = 6;   // the flag less 1, modulo 5
inline constexpr size_t shapeControl = 7;  // which shape the caller's arrays have
inline constexpr size_t sealControl = 8;   // odd: the checksums stay as they are

#endif
