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
#include <vector>

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

/** The file that a name leads to through symbolic links, so that the links stay. */
std::filesystem::path targetOf(std::filesystem::path path) {
    constexpr int mostLinks = 40;
    std::error_code error;
    for (int i = 0; i < mostLinks && std::filesystem::is_symlink(path, error); ++i) {
        path = path.parent_path() / std::filesystem::read_symlink(path, error);
    }
    return path;
}

}  // namespace

OutputFile::OutputFile(const std::string& path) : path_(path) {
    if (path == "-") {
        path_ = "standard output";
        file_ = stdout;
        return;
    }
    struct stat before {};
    const bool exists = stat(path.c_str(), &before) == 0;
    if (exists && S_ISDIR(before.st_mode)) {
        refuse(EISDIR);
    }
    if (exists && isNotedInput(before)) {
        throw Failure(path, "is read by the same command", "choose another name for the output");
    }
    if (exists && !S_ISREG(before.st_mode)) {
        file_ = std::fopen(path.c_str(), "wb");
    } else {
        target_ = targetOf(path).string();
        isShared_ = exists && before.st_nlink > 1;
        createBeside();
    }
    if (file_ == nullptr) {
        refuse(errno);
    }
}

void OutputFile::createBeside() {
    std::string name = target_ + ".XXXXXX";
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    const int descriptor = mkostemp(name.data(), O_CLOEXEC);
    if (descriptor >= 0) {
        temporary_ = name;
        noteUnfinished(temporary_);
    }
    const int error = errno;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (descriptor < 0) {
        errno = error;
        return;
    }
    struct stat existing {};
    if (stat(target_.c_str(), &existing) == 0) {
        fchmod(descriptor, existing.st_mode & 07777);
    } else {
        const mode_t mask = umask(0);
        umask(mask);
        fchmod(descriptor, 0666 & ~mask);
    }
    file_ = fdopen(descriptor, "w+b");
}

OutputFile::~OutputFile() {
    if (file_ != nullptr && file_ != stdout) {
        std::fclose(file_);
    }
    if (!temporary_.empty()) {
        unlink(temporary_.c_str());
        forgetUnfinished(temporary_);
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
    if (temporary_.empty()) {
        return;
    }
    if (isShared_) {
        copyIntoPlace();
    } else if (std::rename(temporary_.c_str(), target_.c_str()) != 0) {
        refuse(errno);
    } else {
        forgetUnfinished(temporary_);
        temporary_.clear();
    }
}

void OutputFile::copyIntoPlace() {
    const InputFile source(std::fopen(temporary_.c_str(), "rb"));
    std::FILE* const copy = source == nullptr ? nullptr : std::fopen(target_.c_str(), "wb");
    if (copy == nullptr) {
        refuse(errno);
    }
    std::vector<char> block(1 << 16);
    std::size_t size = 0;
    bool arrived = true;
    while (arrived && (size = std::fread(block.data(), 1, block.size(), source.get())) > 0) {
        arrived = std::fwrite(block.data(), 1, size, copy) == size;
    }
    if (std::fclose(copy) != 0 || !arrived) {
        refuse(errno);
    }
}

void OutputFile::refuse(int error) const {
    const char* const remedy = error == ENOSPC || error == EDQUOT
                                   ? "free some space or choose another disk"
                               : error == EISDIR ? "name a file in it"
                                                 : "choose a place that you may write to";
    throw Failure(path_, std::string("cannot be written (") + std::strerror(error) + ")", remedy);
}

void removeOutputsOnSignals() {
    struct sigaction action {};
    action.sa_handler = removeUnfinished;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE}) {
        struct sigaction before {};
        // Who starts a program in the background may have it ignore some of them.
        if (sigaction(signal, nullptr, &before) == 0 && before.sa_handler != SIG_IGN) {
            sigaction(signal, &action, nullptr);
        }
    }
    // A file that grows beyond its limit is told by the system call as well.
    std::signal(SIGXFSZ, SIG_IGN);
}

std::string misfitOfPictureName(const std::string& name) {
    std::string ending = std::filesystem::path(name).extension().string();
    std::transform(ending.begin(), ending.end(), ending.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return ending.empty() || ending == ".png" ? "" : "'" + name + "' does not end in .png";
}
