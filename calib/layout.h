/**
 * Loading fields of a calibration file: byte by byte at the offsets that calibmap.h names, so that
 * neither the alignment of a field nor the byte order of the machine matters.
 */
#ifndef CALIBMAP_CALIB_LAYOUT_H
#define CALIBMAP_CALIB_LAYOUT_H

#include <bit>

#include "calibmap.h"

namespace calibmap {

/** Bytes of every numeric field. */
inline constexpr int32_t wordSize = 4;

/** The little-endian 32-bit word at `field`. */
inline uint32_t loadWord(const uint8_t* field) {
    return static_cast<uint32_t>(field[0]) | static_cast<uint32_t>(field[1]) << 8U |
           static_cast<uint32_t>(field[2]) << 16U | static_cast<uint32_t>(field[3]) << 24U;
}

/** The int32 at `field`. */
inline int32_t loadInt(const uint8_t* field) {
    return std::bit_cast<int32_t>(loadWord(field));
}

/** The float32 at `field`, with its bits unchanged. */
inline float loadFloat(const uint8_t* field) {
    return std::bit_cast<float>(loadWord(field));
}

/** True when the pass flag of a file image says that the calibration passed. */
inline bool calibrationPassed(const uint8_t* image) {
    return image[CALIBMAP_PASS_FLAG] == 1;
}

}  // namespace calibmap

#endif
