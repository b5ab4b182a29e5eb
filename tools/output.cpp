#include "output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "failure.h"
#include "input.h"

namespace {

/** The names of unfinished outputs, where a signal handler can read them; free ones are empty. */
std::array<std::array<char, PATH_MAX>, 4> unfinished;

void noteUnfinished(const std::string& name) {
    for (auto& place : unfinished) {
        if (place.front() == '\0' && name.size() < place.size()) {
            // The first character last: the handler sees a whole name or none.
            std::copy(name.begin() + 1, name.end() + 1, place.begin() + 1);
            std::atomic_signal_fence(std::memory_order_seq_cst);
            place.front() = name.front();
            return;
        }
    }
}

void forgetUnfinished(const std::string& name) {
    for (auto& place : unfinished) {
        if (name == place.data()) {
            place.front() = '\0';
        }
    }
}

extern "C" void removeUnfinished(int signal) {
    for (const auto& place : unfinished) {
        if (place.front() != '\0') {
            unlink(place.data());
        }
    }
    // The handler was for one time only: now the signal ends the program, and a shell sees it.
    raise(signal);
}

/** Signals that do not end a program, and are none of this one's business. */
bool isHarmless(int signal) {
    switch (signal) {
        case SIGCHLD:
        case SIGCONT:
        case SIGTSTP:
        case SIGTTIN:
        case SIGTTOU:
        case SIGURG:
        case SIGWINCH:
            return true;
        default:
            return false;
    }
}

/** Hands all bytes to the system, however often it is interrupted; false if it refuses. */
bool writeAll(int descriptor, const char* bytes, std::size_t size) {
    while (size > 0) {
        const ssize_t written = ::write(descriptor, bytes, size);
        if (written < 0 && errno != EINTR) {
            return false;
        }
        if (written > 0) {
            bytes += written;
            size -= static_cast<std::size_t>(written);
        }
    }
    return true;
}

/** Closes a descriptor; false if the system tells only now that it has lost something. */
bool isClosed(int descriptor) {
    // Interrupted or not, the descriptor is gone.
    return close(descriptor) == 0 || errno == EINTR;
}

/** Keeps all signals away while a file is in a state that must not be left. */
class SignalsWait {
  public:
    SignalsWait() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    SignalsWait(const SignalsWait&) = delete;
    SignalsWait& operator=(const SignalsWait&) = delete;
    ~SignalsWait() {
        const int error = errno;
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
        errno = error;
    }

  private:
    sigset_t before_{};
};

/** The file that a name leads to through symbolic links, so that the links stay. */
std::filesystem::path targetOf(std::filesystem::path path) {
    constexpr int mostLinks = 40;
    std::error_code error;
    for (int i = 0; i < mostLinks && std::filesystem::is_symlink(path, error); ++i) {
        path = path.parent_path() / std::filesystem::read_symlink(path, error);
    }
    return path;
}

/** What a name ends in, in small letters: ".png". */
std::string endingOf(const std::string& name) {
    std::string ending = std::filesystem::path(name).extension().string();
    std::transform(ending.begin(), ending.end(), ending.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return ending;
}

}  // namespace

OutputFile::OutputFile(const std::string& path) : path_(path) {
    if (path == "-") {
        path_ = "standard output";
        descriptor_ = STDOUT_FILENO;
        return;
    }
    struct stat before {};
    const bool exists = stat(path.c_str(), &before) == 0;
    if (!exists && errno != ENOENT) {
        // A loop of links, for one, whose place a new file would take.
        refuse(errno);
    }
    if (exists && S_ISDIR(before.st_mode)) {
        refuse(EISDIR);
    }
    if (exists && isNotedInput(before)) {
        throw Failure(path, "is read by the same command", "choose another name for the output");
    }
    isKept_ = exists && S_ISREG(before.st_mode) && before.st_nlink > 1;
    if (!exists || (S_ISREG(before.st_mode) && !isKept_)) {
        target_ = targetOf(path).string();
        createBeside(exists ? &before : nullptr);
    }
    if (temporary_.empty()) {
        descriptor_ = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    }
    if (descriptor_ < 0) {
        refuse(errno);
    }
}

void OutputFile::createBeside(const struct stat* existing) {
    {
        std::string name = target_ + ".XXXXXX";
        const SignalsWait wait;
        descriptor_ = mkostemp(name.data(), O_CLOEXEC);
        if (descriptor_ < 0) {
            refuse(errno);
        }
        temporary_ = name;
        noteUnfinished(temporary_);
    }
    if (existing == nullptr) {
        const mode_t mask = umask(0);
        umask(mask);
        fchmod(descriptor_, 0666 & ~mask);
        return;
    }
    struct stat own {};
    fstat(descriptor_, &own);
    isKept_ = (own.st_uid != existing->st_uid || own.st_gid != existing->st_gid) &&
              fchown(descriptor_, existing->st_uid, existing->st_gid) != 0;
    fchmod(descriptor_, existing->st_mode & 0777);
    if (isKept_) {
        removeTemporary();
    }
}

void OutputFile::removeTemporary() {
    if (descriptor_ > STDOUT_FILENO) {
        close(descriptor_);
        descriptor_ = -1;
    }
    if (!temporary_.empty()) {
        unlink(temporary_.c_str());
        forgetUnfinished(temporary_);
        temporary_.clear();
    }
}

OutputFile::~OutputFile() {
    removeTemporary();
}

void OutputFile::write(const void* bytes, std::size_t size) {
    constexpr std::size_t enough = std::size_t{1} << 16;
    const char* const text = static_cast<const char*>(bytes);
    if (isKept_ || buffer_.size() + size < enough) {
        buffer_.append(text, size);
        return;
    }
    flush();
    if (!writeAll(descriptor_, text, size)) {
        refuse(errno);
    }
}

void OutputFile::flush() {
    if (!writeAll(descriptor_, buffer_.data(), buffer_.size())) {
        refuse(errno);
    }
    buffer_.clear();
}

void OutputFile::complete() {
    if (isKept_ || descriptor_ < 0) {
        return;
    }
    flush();
    const int descriptor = descriptor_;
    descriptor_ = -1;
    // Some file systems report a full disk no earlier than at the end.
    if (descriptor != STDOUT_FILENO && !isClosed(descriptor)) {
        refuse(errno);
    }
}

void OutputFile::commit() {
    if (isKept_) {
        writeInPlace();
    }
    complete();
    if (!temporary_.empty()) {
        if (std::rename(temporary_.c_str(), target_.c_str()) != 0) {
            refuse(errno);
        }
        forgetUnfinished(temporary_);
        temporary_.clear();
    }
}

void OutputFile::writeInPlace() {
    const SignalsWait wait;
    struct stat before {};
    if (fstat(descriptor_, &before) != 0) {
        refuse(errno);
    }
    // A full disk is noticed before the first byte of the old content is lost.
    const auto size = static_cast<off_t>(buffer_.size());
    const int room = size == 0 ? 0 : posix_fallocate(descriptor_, 0, size);
    if (room == ENOSPC || room == EDQUOT || room == EFBIG) {
        refuse(ftruncate(descriptor_, before.st_size) == 0 ? room : errno);
    }
    // The system takes these bits away itself, except from what root writes.
    fchmod(descriptor_, before.st_mode & 0777);
    isKept_ = false;
    flush();
    if (ftruncate(descriptor_, size) != 0) {
        refuse(errno);
    }
}

void OutputFile::refuse(int error) const {
    const char* const remedy = error == ENOSPC || error == EDQUOT
                                   ? "free some space or choose another disk"
                               : error == EISDIR ? "name a file in it"
                               : error == ELOOP  ? "choose another name"
                                                 : "choose a place that you may write to";
    throw Failure(path_, std::string("cannot be written (") + std::strerror(error) + ")", remedy);
}

void removeOutputsOnSignals() {
    struct sigaction action {};
    action.sa_handler = removeUnfinished;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
    for (int signal = 1; signal < NSIG; ++signal) {
        struct sigaction before {};
        // Who starts a program in the background may have it ignore some of them, and a tool that
        // watches it may have its own way with others.
        if (!isHarmless(signal) && sigaction(signal, nullptr, &before) == 0 &&
            before.sa_handler == SIG_DFL) {
            sigaction(signal, &action, nullptr);
        }
    }
    // A file that grows beyond its limit is told by the system call as well.
    std::signal(SIGXFSZ, SIG_IGN);
}

std::string misfitOfPictureName(const std::string& name) {
    const std::string ending = endingOf(name);
    return ending.empty() || ending == ".png" ? "" : "'" + name + "' does not end in .png";
}

std::string misfitOfPhotoName(const std::string& name) {
    const std::string misfit = misfitOfPictureName(name);
    return misfit.empty() || isJpegName(name) ? "" : misfit + " or .jpg";
}

bool isJpegName(const std::string& name) {
    const std::string ending = endingOf(name);
    return ending == ".jpg" || ending == ".jpeg";
}
