#include "calibration/verdict.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "failure.h"
#include "input.h"
#include "text.h"

namespace {

std::string tooShort(std::size_t size) {
    return format("has %zu bytes, and a calibration file %d", size, CALIBMAP_FILE_SIZE);
}

/** What the system says of a file that the library cannot read. */
std::string whyUnreadable(const std::string& path) {
    struct stat file {};
    if (stat(path.c_str(), &file) != 0) {
        return std::string("cannot be read (") + std::strerror(errno) + ")";
    }
    if (S_ISDIR(file.st_mode)) {
        return std::string("cannot be read (") + std::strerror(EISDIR) + ")";
    }
    if (!S_ISREG(file.st_mode)) {
        // Opening a pipe once more would wait for somebody who writes to it.
        return format("ended, or could not be read, before byte %d", CALIBMAP_FILE_SIZE);
    }
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        return std::string("cannot be read (") + std::strerror(errno) + ")";
    }
    close(descriptor);
    return tooShort(static_cast<std::size_t>(file.st_size));
}

Verdict unreadable(const std::string& reason) {
    return {CALIBMAP_FILE_UNREADABLE, reason,
            "check its size and permissions, or copy it from the device again"};
}

/** The first half of `examine`: status 4 or 8, or success. */
Verdict read(const std::string& path, Image& image) {
    if (path == "-") {
        const InputFile file = openInput(path);
        const std::size_t size = std::fread(image.data(), 1, image.size(), file.get());
        return size == image.size() ? Verdict{CALIBMAP_SUCCESS, "", ""}
               : std::ferror(file.get()) != 0
                   ? unreadable(std::string("cannot be read (") + std::strerror(errno) + ")")
                   : unreadable(tooShort(size));
    }
    noteInput(path);
    if (isFileExists(path.c_str()) != 0) {
        return {CALIBMAP_FILE_MISSING,
                errno == ENOENT ? "there is no such file"
                                : std::string("cannot be found (") + std::strerror(errno) + ")",
                "check the path"};
    }
    return readCalibrationDataC(path.c_str(), image.data()) == 0 ? Verdict{CALIBMAP_SUCCESS, "", ""}
                                                                 : unreadable(whyUnreadable(path));
}

}  // namespace

Verdict examine(const std::string& path, Image& image) {
    if (Verdict verdict = read(path, image); verdict.status != CALIBMAP_SUCCESS) {
        return verdict;
    }
    if (checksumTest(image.data()) != 0) {
        std::string wrong;
        for (const CheckedRange& range : checkedRanges(image)) {
            if (range.stored != range.computed) {
                wrong += (wrong.empty() ? "" : " and ") + range.name;
            }
        }
        return {CALIBMAP_CHECKSUM_WRONG, "the checksum does not hold (" + wrong + ")",
                "copy it from the device again or have the device calibrated again"};
    }
    if (image[CALIBMAP_PASS_FLAG] != 1) {
        return {CALIBMAP_NOT_PASSED,
                "the pass flag is " + std::to_string(image[CALIBMAP_PASS_FLAG]) +
                    ", so the calibration failed",
                "have the device calibrated again"};
    }
    return {CALIBMAP_SUCCESS, "", ""};
}

bool hasBeenRead(const Verdict& verdict) {
    return verdict.status != CALIBMAP_FILE_MISSING && verdict.status != CALIBMAP_FILE_UNREADABLE;
}

Verdict loadAnyFile(const std::string& path, Image& image) {
    Verdict verdict = examine(path, image);
    if (!hasBeenRead(verdict)) {
        throw Failure(inputName(path), verdict.reason, verdict.remedy);
    }
    return verdict;
}

Image loadCalibration(const std::string& path) {
    Image image{};
    const Verdict verdict = loadAnyFile(path, image);
    if (verdict.status != CALIBMAP_SUCCESS) {
        throw Failure(inputName(path), verdict.reason, verdict.remedy);
    }
    return image;
}

std::vector<CheckedRange> checkedRanges(const Image& image) {
    const auto range = [&image](const char* name, std::size_t first, int32_t size) {
        return CheckedRange{name, first, static_cast<std::size_t>(size),
                            image[first + static_cast<std::size_t>(size)],
                            calibrationChecksum(image.data() + first, size)};
    };
    return {range("main camera", CALIBMAP_MAIN_BLOCK, CALIBMAP_MAIN_BLOCK_SIZE),
            range("sub camera", CALIBMAP_SUB_BLOCK, CALIBMAP_SUB_BLOCK_SIZE),
            range("extrinsics", CALIBMAP_EXTRINSIC_BLOCK, CALIBMAP_EXTRINSIC_BLOCK_SIZE),
            range("whole file", 0, CALIBMAP_CHECKED_SIZE)};
}
