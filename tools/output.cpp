#include "output.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "failure.h"

namespace {

/** Opens a new file beside `target` with the permissions of an ordinary new file. */
int createBeside(const std::string& target, std::string& temporary) {
    temporary = target + ".XXXXXX";
    const int descriptor = mkstemp(temporary.data());
    if (descriptor < 0) {
        temporary.clear();
        return -1;
    }
    const mode_t mask = umask(0);
    umask(mask);
    fchmod(descriptor, 0666 & ~mask);
    return descriptor;
}

}  // namespace

OutputFile::OutputFile(const std::string& path) : path_(path) {
    if (path == "-") {
        path_ = "standard output";
        file_ = stdout;
        return;
    }
    std::error_code error;
    // Through a symbolic link to the file itself, so that the link stays.
    const std::filesystem::path resolved = std::filesystem::weakly_canonical(path, error);
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (std::filesystem::is_directory(status)) {
        refuse(EISDIR);
    }
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
        file_ = std::fopen(path.c_str(), "wb");
    } else {
        target_ = resolved.empty() ? path : resolved.string();
        const int descriptor = createBeside(target_, temporary_);
        file_ = descriptor < 0 ? nullptr : fdopen(descriptor, "wb");
    }
    if (file_ == nullptr) {
        refuse(errno);
    }
}

OutputFile::~OutputFile() {
    if (file_ != nullptr && file_ != stdout) {
        std::fclose(file_);
    }
    if (!temporary_.empty()) {
        unlink(temporary_.c_str());
    }
}

void OutputFile::write(const void* bytes, std::size_t size) {
    if (std::fwrite(bytes, 1, size, file_) != size) {
        refuse(errno);
    }
}

void OutputFile::complete() {
    if (file_ == nullptr) {
        return;
    }
    std::FILE* const file = file_;
    file_ = nullptr;
    // Some file systems report a full disk no earlier than at the end.
    if ((file == stdout ? std::fflush(file) : std::fclose(file)) != 0) {
        refuse(errno);
    }
}

void OutputFile::commit() {
    complete();
    if (!temporary_.empty() && std::rename(temporary_.c_str(), target_.c_str()) != 0) {
        refuse(errno);
    }
    temporary_.clear();
}

void OutputFile::refuse(int error) const {
    const char* const remedy = error == ENOSPC || error == EDQUOT
                                   ? "free some space or choose another disk"
                               : error == EISDIR ? "name a file in it"
                                                 : "choose a place that you may write to";
    throw Failure(path_, std::string("cannot be written (") + std::strerror(error) + ")", remedy);
}
