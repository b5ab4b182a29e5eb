#include "drawing/jpeg.h"

#include <turbojpeg.h>

#include <memory>
#include <new>
#include <type_traits>

#include "failure.h"
#include "output.h"

namespace {

struct Release {
    void operator()(void* codec) const { tjDestroy(codec); }
    void operator()(unsigned char* bytes) const { tjFree(bytes); }
};
using Codec = std::unique_ptr<std::remove_pointer_t<tjhandle>, Release>;

Codec checked(tjhandle codec) {
    if (codec == nullptr) {
        throw std::bad_alloc();
    }
    return Codec(codec);
}

}  // namespace

Picture jpegFrom(const std::string& bytes, const std::string& name, int32_t width, int32_t height) {
    const Codec decoder = checked(tjInitDecompress());
    const auto must = [&](bool isGood) {
        if (!isGood) {
            throw Failure(name,
                          std::string("cannot be read as a JPEG picture (") +
                              tjGetErrorStr2(decoder.get()) + ")",
                          "convert it to PNG or write it again");
        }
    };
    const auto* const data = reinterpret_cast<const unsigned char*>(bytes.data());
    int wide = 0;
    int high = 0;
    int sampling = 0;
    int colours = 0;
    must(tjDecompressHeader3(decoder.get(), data, bytes.size(), &wide, &high, &sampling,
                             &colours) == 0);
    requireSize(name, width, height, static_cast<uint32_t>(wide), static_cast<uint32_t>(high));
    const bool isGrey = colours == TJCS_GRAY;
    Picture picture = makePicture(width, height, isGrey ? 1 : 3, 8);
    // Many scans over few bytes take long, and a file that ends early has lost something.
    must(tjDecompress2(decoder.get(), data, bytes.size(), picture.bytes.data(), width, 0, height,
                       isGrey ? TJPF_GRAY : TJPF_RGB,
                       TJFLAG_ACCURATEDCT | TJFLAG_LIMITSCANS | TJFLAG_STOPONWARNING) == 0);
    if (bytes.find("Exif") < bytes.size() || bytes.find("ICC_PROFILE") < bytes.size()) {
        warn(name, "of this JPEG picture only the pixels are taken along");
    }
    return picture;
}

void writeJpeg(const std::string& path, const Picture& picture) {
    constexpr int quality = 95;
    const bool isGrey = picture.channels == 1;
    if (picture.bits != 8 || picture.channels % 2 == 0) {
        throw Failure(path, "a JPEG picture has neither 16 bits nor opacity",
                      "choose a name that ends in .png");
    }
    const Codec encoder = checked(tjInitCompress());
    unsigned char* packed = nullptr;
    unsigned long size = 0;
    const int status = tjCompress2(encoder.get(), picture.bytes.data(), picture.width, 0,
                                   picture.height, isGrey ? TJPF_GRAY : TJPF_RGB, &packed, &size,
                                   isGrey ? TJSAMP_GRAY : TJSAMP_444, quality, TJFLAG_ACCURATEDCT);
    const std::unique_ptr<unsigned char, Release> bytes(packed);
    if (status != 0) {
        throw Failure(path,
                      std::string("cannot be written (") + tjGetErrorStr2(encoder.get()) + ")",
                      "choose a name that ends in .png");
    }
    if (picture.origin != nullptr) {
        warn(path, "only the pixels are taken along into a JPEG picture");
    }
    OutputFile file(path);
    file.write(bytes.get(), size);
    file.commit();
}
