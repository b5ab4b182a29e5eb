#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/** A grey or RGB picture of 8 or 16 bits, its samples interleaved, row by row from the top. */
struct Picture {
    int32_t width;
    int32_t height;
    int channels; /**< 1 grey, 3 RGB */
    int bits;     /**< 8 or 16 */
    std::vector<uint16_t> samples;

    [[nodiscard]] std::size_t index(int32_t row, int32_t col) const {
        return (static_cast<std::size_t>(row) * static_cast<std::size_t>(width) +
                static_cast<std::size_t>(col)) *
               static_cast<std::size_t>(channels);
    }
};

/** An empty picture of this kind. */
Picture makePicture(int32_t width, int32_t height, int channels, int bits);

/** Reads a PNG file that has to be of this size; throws a `Failure` if it is not, or is no PNG. */
Picture readPng(const std::string& path, int32_t width, int32_t height);

/** Writes a PNG file. */
void writePng(const std::string& path, const Picture& picture);
