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

/** The smallest page, and so the smallest guard page below a thread's stack. */
inline constexpr int32_t pageSize = 4096;

/**
 * For a file image on the stack, before anything else: touches each of its pages, from the last
 * byte down. Where the stack ends, that meets the guard page, which a call from a frame of this
 * size could step over. Not every compiler for the device can be told to do so by itself.
 */
inline void touchPages(uint8_t* image) {
    volatile uint8_t* bytes = image;
    for (int32_t i = CALIBMAP_FILE_SIZE - 1; i > 0; i -= pageSize) {
        bytes[i] = 0;
    }
    bytes[0] = 0;
}

}  // namespace calibmap

#endif
