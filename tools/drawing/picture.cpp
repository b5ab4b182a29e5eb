#include "drawing/picture.h"

#include <spng.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "drawing/jpeg.h"
#include "failure.h"
#include "input.h"
#include "inspection/text.h"
#include "output.h"
#include "progress.h"

namespace {

std::shared_ptr<spng_ctx> makeCodec(int flags) {
    spng_ctx* const codec = spng_ctx_new(flags);
    if (codec == nullptr) {
        throw std::bad_alloc();
    }
    return {codec, spng_ctx_free};
}

/** Where a picture comes from, and why no more comes, if so. */
struct Source {
    InputFile file;
    std::size_t limit;
    int error = 0;
};

int readBytes(spng_ctx* /*codec*/, void* user, void* bytes, std::size_t size) {
    auto* const source = static_cast<Source*>(user);
    source->error = size > source->limit ? EFBIG : 0;
    if (source->error != 0) {
        return SPNG_IO_ERROR;
    }
    source->limit -= size;
    const bool isWhole = std::fread(bytes, 1, size, source->file.get()) == size;
    source->error = std::ferror(source->file.get()) != 0 ? errno : 0;
    return isWhole ? SPNG_OK : SPNG_IO_EOF;
}

/** Where a picture is written, and what stopped it, if something did. */
struct Destination {
    OutputFile* file;
    std::exception_ptr stopped;
};

int writeBytes(spng_ctx* /*codec*/, void* user, void* bytes, std::size_t size) {
    auto* const destination = static_cast<Destination*>(user);
    try {
        destination->file->write(bytes, size);
        return 0;
    } catch (...) {
        // No exception may pass through a library of C.
        destination->stopped = std::current_exception();
    }
    return SPNG_IO_ERROR;
}

/** How the samples of a PNG file are asked for, so that each has 8 or 16 bits. */
int formatOf(const spng_ihdr& header, bool isGrey, bool isUnpacked) {
    if (header.bit_depth == 16) {
        return !isUnpacked ? SPNG_FMT_PNG : isGrey ? SPNG_FMT_GA16 : SPNG_FMT_RGBA16;
    }
    if (header.color_type == SPNG_COLOR_TYPE_GRAYSCALE) {
        return isUnpacked ? SPNG_FMT_GA8 : SPNG_FMT_G8;
    }
    if (header.color_type == SPNG_COLOR_TYPE_INDEXED) {
        return isUnpacked ? SPNG_FMT_RGBA8 : SPNG_FMT_RGB8;
    }
    return isUnpacked ? SPNG_FMT_RGBA8 : SPNG_FMT_PNG;
}

template <class Chunk, class Set>
void takeAlong(spng_ctx* from, spng_ctx* to, int (*get)(spng_ctx*, Chunk*), Set set) {
    Chunk chunk{};
    if (get(from, &chunk) == SPNG_OK) {
        if constexpr (std::is_invocable_v<Set, spng_ctx*, Chunk*>) {
            set(to, &chunk);
        } else {
            set(to, chunk);
        }
    }
}

/** What says how large and in which colours a picture is to be shown, and whose it is. */
void takeAlong(spng_ctx* from, spng_ctx* to) {
    takeAlong(from, to, spng_get_phys, spng_set_phys);
    takeAlong(from, to, spng_get_iccp, spng_set_iccp);
    takeAlong(from, to, spng_get_srgb, spng_set_srgb);
    takeAlong(from, to, spng_get_chrm_int, spng_set_chrm_int);
    takeAlong(from, to, spng_get_gama_int, spng_set_gama_int);
    uint32_t count = 0;
    if (spng_get_text(from, nullptr, &count) == SPNG_OK) {
        std::vector<spng_text> texts(count);
        spng_get_text(from, texts.data(), &count);
        spng_set_text(to, texts.data(), count);
    }
}

Picture pngFrom(Source source, const std::string& name, int32_t width, int32_t height) {
    // Texts and colour profiles can be small in a file and gigabytes once unpacked.
    constexpr std::size_t mostUnpacked = std::size_t{16} << 20;
    const std::shared_ptr<spng_ctx> decoder = makeCodec(0);
    const auto must = [&](int status) {
        if (status == SPNG_EMEM) {
            throw std::bad_alloc();
        }
        if (source.error != 0) {
            throw Failure(name, std::string("cannot be read (") + std::strerror(source.error) + ")",
                          "check that it is the right file");
        }
        if (status != SPNG_OK) {
            throw Failure(
                name,
                std::string("cannot be read as a PNG picture (") + spng_strerror(status) + ")",
                "convert it to PNG or write it again");
        }
    };
    spng_ihdr header{};
    // A damaged tRNS chunk would hide that there is transparency.
    must(spng_set_crc_action(decoder.get(), SPNG_CRC_ERROR, SPNG_CRC_ERROR));
    must(spng_set_chunk_limits(decoder.get(), mostUnpacked, mostUnpacked));
    must(spng_set_png_stream(decoder.get(), readBytes, &source));
    must(spng_get_ihdr(decoder.get(), &header));
    requireSize(name, width, height, header.width, header.height);
    must(spng_decode_chunks(decoder.get()));
    spng_trns transparency{};
    const bool isGrey = (header.color_type & ~SPNG_COLOR_TYPE_GRAYSCALE_ALPHA) == 0;
    const bool isUnpacked = spng_get_trns(decoder.get(), &transparency) == SPNG_OK;
    const bool hasOpacity =
        isUnpacked || (header.color_type & SPNG_COLOR_TYPE_GRAYSCALE_ALPHA) != 0;
    Picture picture = makePicture(width, height, (isGrey ? 1 : 3) + (hasOpacity ? 1 : 0),
                                  header.bit_depth == 16 ? 16 : 8);
    must(spng_decode_image(decoder.get(), picture.bytes.data(), picture.bytes.size(),
                           formatOf(header, isGrey, isUnpacked),
                           isUnpacked ? SPNG_DECODE_TRNS : 0));
    // A file that ends early has lost something, even if all samples are there.
    must(spng_decode_chunks(decoder.get()));
    picture.origin = decoder;
    return picture;
}

void writePngBy(const std::string& path, const Picture& picture, bool isRecorded) {
    const Progress progress("writing " + shortened(path, 40));
    OutputFile file(path);
    Destination destination = {&file, nullptr};
    const std::shared_ptr<spng_ctx> encoder = makeCodec(SPNG_CTX_ENCODER);
    const auto must = [&](int status) {
        if (destination.stopped) {
            std::rethrow_exception(destination.stopped);
        }
        if (status == SPNG_EMEM) {
            throw std::bad_alloc();
        }
        if (status != SPNG_OK && status != SPNG_EOI) {
            throw Failure(path, std::string("cannot be written (") + spng_strerror(status) + ")",
                          "choose a smaller picture");
        }
    };
    spng_ihdr header{};
    header.width = static_cast<uint32_t>(picture.width);
    header.height = static_cast<uint32_t>(picture.height);
    header.bit_depth = static_cast<uint8_t>(picture.bits);
    const bool isGrey = picture.channels < 3;
    const bool hasOpacity = picture.channels % 2 == 0;
    header.color_type = static_cast<uint8_t>((isGrey ? 0 : SPNG_COLOR_TYPE_TRUECOLOR) |
                                             (hasOpacity ? SPNG_COLOR_TYPE_GRAYSCALE_ALPHA : 0));
    must(spng_set_png_stream(encoder.get(), writeBytes, &destination));
    must(spng_set_ihdr(encoder.get(), &header));
    if (picture.origin != nullptr) {
        takeAlong(picture.origin.get(), encoder.get());
    }
    if (isRecorded) {
        // What a camera saw has runs and hardly a repetition: searching takes long and saves
        // nothing.
        must(spng_set_option(encoder.get(), SPNG_IMG_COMPRESSION_STRATEGY, Z_RLE));
        must(spng_set_option(encoder.get(), SPNG_FILTER_CHOICE, SPNG_FILTER_CHOICE_SUB));
    }
    must(spng_encode_image(encoder.get(), nullptr, 0, SPNG_FMT_PNG,
                           SPNG_ENCODE_PROGRESSIVE | SPNG_ENCODE_FINALIZE));
    const std::size_t size = picture.rowSize();
    for (int32_t row = 0; row < picture.height; ++row) {
        progress.reached(static_cast<double>(row) / picture.height);
        must(spng_encode_row(encoder.get(), &picture.bytes[static_cast<std::size_t>(row) * size],
                             size));
    }
    file.commit();
}

}  // namespace

Picture makePicture(int32_t width, int32_t height, int32_t channels, int32_t bits) {
    Picture picture = {width, height, channels, bits, {}, nullptr};
    picture.bytes.resize(picture.rowSize() * static_cast<std::size_t>(height));
    return picture;
}

void requireSize(const std::string& name, int32_t width, int32_t height, uint32_t pictureWidth,
                 uint32_t pictureHeight) {
    if (pictureWidth != static_cast<uint32_t>(width) ||
        pictureHeight != static_cast<uint32_t>(height)) {
        throw Failure(name,
                      format("the picture has %u x %u pixels and the camera %d x %d", pictureWidth,
                             pictureHeight, width, height),
                      "take a picture of the camera's size");
    }
}

Picture readPicture(const std::string& path, int32_t width, int32_t height) {
    return pictureFrom(openInput(path), inputName(path), width, height);
}

Picture pictureFrom(InputFile file, const std::string& name, int32_t width, int32_t height) {
    // No pixel has more than 8 bytes; what is left is for everything that a camera adds to them.
    constexpr std::size_t besides = std::size_t{64} << 20;
    const std::size_t limit = besides + std::size_t{8} * static_cast<std::size_t>(width) *
                                            static_cast<std::size_t>(height);
    if (const int first = std::ungetc(std::getc(file.get()), file.get()); first == firstOfJpeg) {
        return jpegFrom(readAll(file.get(), name, limit), name, width, height);
    }
    return pngFrom({std::move(file), limit}, name, width, height);
}

void writePng(const std::string& path, const Picture& picture) {
    writePngBy(path, picture, false);
}

void writePicture(const std::string& path, const Picture& picture) {
    if (isJpegName(path)) {
        writeJpeg(path, picture);
    } else {
        writePngBy(path, picture, true);
    }
}
