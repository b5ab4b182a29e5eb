#pragma once

#include <cstdint>

#include "inspection/map.h"

/** What a picture shows where the map leads outside its source. */
enum class Border { black, white, grey, edge };

/** A picture of the size of the map: samples interleaved, row by row from the top. */
template <class Sample>
struct RemapJob {
    const CoordinateMap* map; /**< of ratio 1 */
    const Sample* source;
    Sample* result;
    int32_t channels; /**< the last of 2 or 4 is opacity; colours count by it */
    int32_t bits;     /**< 8 or 16 */
    Border border;
};

/** Fills rows `first` up to `end` of the result, interpolating bilinearly. */
void remapRows(const RemapJob<uint8_t>& job, int32_t first, int32_t end);
void remapRows(const RemapJob<uint16_t>& job, int32_t first, int32_t end);
