#include "calibration_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "failure.h"
#include "input.h"
#include "inspection/text.h"

namespace {

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
    return sizeFaultOf(static_cast<std::size_t>(file.st_size));
}

const Verdict accepted = {CALIBMAP_SUCCESS, "", ""};

}  // namespace

Verdict readCalibration(const std::string& path, Image& image) {
    if (path == "-") {
        const InputFile file = openInput(path);
        const std::size_t size = std::fread(image.data(), 1, image.size(), file.get());
        return size == image.size() ? accepted
               : std::ferror(file.get()) != 0
                   ? unreadable(std::string("cannot be read (") + std::strerror(errno) + ")")
                   : unreadable(sizeFaultOf(size));
    }
    noteInput(path);
    if (isFileExists(path.c_str()) != 0) {
        return {CALIBMAP_FILE_MISSING,
                errno == ENOENT ? "there is no such file"
                                : std::string("cannot be found (") + std::strerror(errno) + ")",
                "check the path"};
    }
    return readCalibrationDataC(path.c_str(), image.data()) == 0 ? accepted
                                                                 : unreadable(whyUnreadable(path));
}

Verdict examine(const std::string& path, Image& image) {
    Verdict verdict = readCalibration(path, image);
    return verdict.status == CALIBMAP_SUCCESS ? judge(image) : verdict;
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
