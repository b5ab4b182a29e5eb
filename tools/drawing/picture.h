#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "input.h"

/** A picture, its samples interleaved, row by row from the top. */
struct Picture {
    int32_t width;
    int32_t height;
    int32_t channels;           /**< 1 grey, 3 RGB, and one more where the last is opacity */
    int32_t bits;               /**< 8 or 16 */
    std::vector<uint8_t> bytes; /**< samples of 16 bits in the machine's own order */
    /** The file it was read from, whose resolution, colours and texts it takes along. */
    std::shared_ptr<struct spng_ctx> origin;

    [[nodiscard]] std::size_t rowSize() const {
        return static_cast<std::size_t>(width) * static_cast<std::size_t>(channels * bits / 8);
    }
};

/** A black picture of this kind. */
Picture makePicture(int32_t width, int32_t height, int32_t channels, int32_t bits);

/** Throws the `Failure` of a picture that is not of the camera's size. */
void requireSize(const std::string& name, int32_t width, int32_t height, uint32_t pictureWidth,
                 uint32_t pictureHeight);

/** Reads a PNG or JPEG file that has to be of this size; throws a `Failure` if it is none. */
Picture readPicture(const std::string& path, int32_t width, int32_t height);

/** The same of an open file, which a `Failure` calls by this name. */
Picture pictureFrom(InputFile file, const std::string& name, int32_t width, int32_t height);

/** Writes a PNG file. */
void writePng(const std::string& path, const Picture& picture);

/** Writes what a camera has recorded, as PNG or JPEG as the name says. */
void writePicture(const std::string& path, const Picture& picture);
