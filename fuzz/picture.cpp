// A hostile picture, PNG or JPEG; the chunks of PNG get the sums that they need. What is read has
// all its samples and comes back the same from the file that they are written to.
#include "drawing/picture.h"

#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <string>
#include <vector>

#include "drawing/jpeg.h"
#include "fuzz/tool_harness.h"

namespace {

constexpr size_t signatureSize = 8;
constexpr size_t sizesAt = 16;
// Of the JPEG seeds.
constexpr uint32_t seedWidth = 32;
constexpr uint32_t seedHeight = 24;
constexpr uint32_t longestSide = 4096;
constexpr uint64_t mostPixels = 1 << 18;

uint32_t numberAt(const std::vector<uint8_t>& bytes, size_t at) {
    return uint32_t{bytes[at]} << 24U | uint32_t{bytes[at + 1]} << 16U |
           uint32_t{bytes[at + 2]} << 8U | bytes[at + 3];
}

/** Makes the sums of all chunks hold that are there as a whole. */
void seal(std::vector<uint8_t>& bytes) {
    size_t at = signatureSize;
    while (at + 12 <= bytes.size() && numberAt(bytes, at) <= bytes.size() - at - 12) {
        const uint32_t size = numberAt(bytes, at) + 4;
        const auto sum = static_cast<uint32_t>(crc32(0, &bytes[at + 4], size));
        at += size + 4;
        for (const uint32_t shift : {24U, 16U, 8U, 0U}) {
            bytes[at++] = static_cast<uint8_t>(sum >> shift);
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<uint8_t> bytes(data, data + size);
    if (size < sizesAt + 8) {
        return 0;
    }
    // A camera is as large as its pictures say, as far as time allows.
    uint32_t width = seedWidth;
    uint32_t height = seedHeight;
    if (bytes[0] != firstOfJpeg) {
        seal(bytes);
        width = std::clamp(numberAt(bytes, sizesAt), 1U, longestSide);
        height = std::clamp(numberAt(bytes, sizesAt + 4), 1U, longestSide);
    }
    if (uint64_t{width} * height > mostPixels) {
        return 0;
    }
    static const std::string copy = "/tmp/fuzz-picture-" + std::to_string(getpid());
    answers([&] {
        const auto read = [&](const std::string& path, InputFile file) {
            return pictureFrom(std::move(file), path, static_cast<int32_t>(width),
                               static_cast<int32_t>(height));
        };
        const Picture picture =
            read("input", InputFile(fmemopen(bytes.data(), bytes.size(), "rb")));
        hold(picture.bytes.size() == picture.rowSize() * height, "a picture is whole");
        writePng(copy, picture);
        const Picture again = read("input", InputFile(std::fopen(copy.c_str(), "rb")));
        unlink(copy.c_str());
        hold(again.channels == picture.channels && again.bits == picture.bits &&
                 again.bytes == picture.bytes,
             "what was written is what was read");
    });
    return 0;
}
