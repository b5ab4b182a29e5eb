#include "drawing/picture.h"

#include <png.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>

#include "failure.h"
#include "input.h"
#include "inspection/text.h"
#include "output.h"
#include "progress.h"

namespace {

/** What libpng last complained about; it stands in the error pointer of the png_struct. */
using Complaint = std::array<char, 160>;

void complain(png_structp png, png_const_charp message) {
    auto* const complaint = static_cast<Complaint*>(png_get_error_ptr(png));
    std::snprintf(complaint->data(), complaint->size(), "%s", message);
    png_longjmp(png, 1);
}

void ignoreWarning(png_structp /*png*/, png_const_charp /*message*/) {}

/** The libpng state of one file that is read. */
struct Reader {
    Complaint complaint{};
    png_structp png =
        png_create_read_struct(PNG_LIBPNG_VER_STRING, &complaint, complain, ignoreWarning);
    png_infop info = png == nullptr ? nullptr : png_create_info_struct(png);
    Reader() = default;
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;
    ~Reader() { png_destroy_read_struct(&png, &info, nullptr); }
};

/** The libpng state of one file that is written, and what stopped it, if something did. */
struct Writer {
    Complaint complaint{};
    OutputFile* file;
    std::exception_ptr stopped;
    png_structp png =
        png_create_write_struct(PNG_LIBPNG_VER_STRING, &complaint, complain, ignoreWarning);
    png_infop info = png == nullptr ? nullptr : png_create_info_struct(png);
    explicit Writer(OutputFile& output) : file(&output) {}
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;
    ~Writer() { png_destroy_write_struct(&png, &info); }
};

void writeBytes(png_structp png, png_bytep bytes, size_t size) {
    auto* const writer = static_cast<Writer*>(png_get_io_ptr(png));
    try {
        writer->file->write(bytes, size);
        return;
    } catch (...) {
        // No exception may pass through libpng.
        writer->stopped = std::current_exception();
    }
    png_error(png, "write error");
}

void flushBytes(png_structp /*png*/) {}

// Between setjmp and a longjmp of libpng nothing that has a destructor may come to life: the next
// functions work on what their callers hold. They return false after a complaint.

bool readHeader(Reader& reader, std::FILE* file) {
    if (setjmp(png_jmpbuf(reader.png)) != 0) {
        return false;
    }
    png_init_io(reader.png, file);
    png_read_info(reader.png, reader.info);
    // Palettes and 1, 2 or 4 bits become 8 bits of grey or RGB.
    png_set_expand(reader.png);
    png_set_interlace_handling(reader.png);
    png_read_update_info(reader.png, reader.info);
    return true;
}

bool readRows(Reader& reader, png_bytepp rows) {
    if (setjmp(png_jmpbuf(reader.png)) != 0) {
        return false;
    }
    png_read_image(reader.png, rows);
    png_read_end(reader.png, nullptr);
    return true;
}

bool writeRows(Writer& writer, const Picture& picture, png_bytepp rows) {
    if (setjmp(png_jmpbuf(writer.png)) != 0) {
        return false;
    }
    png_set_write_fn(writer.png, &writer, writeBytes, flushBytes);
    png_set_IHDR(writer.png, writer.info, static_cast<png_uint_32>(picture.width),
                 static_cast<png_uint_32>(picture.height), picture.bits,
                 picture.channels == 1 ? PNG_COLOR_TYPE_GRAY : PNG_COLOR_TYPE_RGB,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(writer.png, writer.info);
    png_write_image(writer.png, rows);
    png_write_end(writer.png, nullptr);
    return true;
}

/** The rows of a buffer of bytes, as libpng wants them. */
std::vector<png_bytep> rowsOf(std::vector<uint8_t>& bytes, int32_t height) {
    std::vector<png_bytep> rows(static_cast<std::size_t>(height));
    for (std::size_t row = 0; row < rows.size(); ++row) {
        rows[row] = bytes.data() + row * (bytes.size() / rows.size());
    }
    return rows;
}

}  // namespace

Picture makePicture(int32_t width, int32_t height, int channels, int bits) {
    Picture picture = {width, height, channels, bits, {}};
    picture.samples.resize(picture.index(height, 0));
    return picture;
}

Picture readPng(const std::string& path, int32_t width, int32_t height) {
    const InputFile file = openInput(path);
    Reader reader;
    if (reader.info == nullptr) {
        throw std::bad_alloc();
    }
    const auto refuse = [&] {
        throw Failure(
            inputName(path),
            std::string("cannot be read as a PNG picture (") + reader.complaint.data() + ")",
            "convert it to PNG or write it again");
    };
    if (!readHeader(reader, file.get())) {
        refuse();
    }
    const png_uint_32 foundWidth = png_get_image_width(reader.png, reader.info);
    const png_uint_32 foundHeight = png_get_image_height(reader.png, reader.info);
    if (foundWidth != static_cast<png_uint_32>(width) ||
        foundHeight != static_cast<png_uint_32>(height)) {
        throw Failure(inputName(path),
                      format("the picture has %u x %u pixels and the camera %d x %d", foundWidth,
                             foundHeight, width, height),
                      "take a picture of the camera's size");
    }
    const int channels = png_get_channels(reader.png, reader.info);
    if (channels != 1 && channels != 3) {
        throw Failure(inputName(path), "the picture has an alpha channel", "remove it");
    }
    const int bits = png_get_bit_depth(reader.png, reader.info);
    std::vector<uint8_t> bytes(png_get_rowbytes(reader.png, reader.info) * foundHeight);
    if (!readRows(reader, rowsOf(bytes, height).data())) {
        refuse();
    }
    Picture picture = makePicture(width, height, channels, bits);
    if (bits == 8) {
        picture.samples.assign(bytes.begin(), bytes.end());
        return picture;
    }
    for (std::size_t i = 0; i < picture.samples.size(); ++i) {
        // PNG is big-endian.
        picture.samples[i] = static_cast<uint16_t>(bytes[2 * i] << 8 | bytes[2 * i + 1]);
    }
    return picture;
}

void writePng(const std::string& path, const Picture& picture) {
    std::vector<uint8_t> bytes;
    bytes.reserve(picture.samples.size() * static_cast<std::size_t>(picture.bits) / 8);
    for (const uint16_t sample : picture.samples) {
        if (picture.bits == 16) {
            bytes.push_back(static_cast<uint8_t>(sample >> 8));
        }
        bytes.push_back(static_cast<uint8_t>(sample));
    }
    const Progress progress("writing " + shortened(path, 40));
    OutputFile file(path);
    Writer writer(file);
    if (writer.info == nullptr) {
        throw std::bad_alloc();
    }
    if (!writeRows(writer, picture, rowsOf(bytes, picture.height).data())) {
        if (writer.stopped) {
            std::rethrow_exception(writer.stopped);
        }
        throw Failure(path, std::string("cannot be written (") + writer.complaint.data() + ")",
                      "choose a smaller picture");
    }
    file.commit();
}
