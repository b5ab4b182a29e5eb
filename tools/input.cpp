#include "input.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include "failure.h"

namespace {

struct Identity {
    dev_t device;
    ino_t number;
};

std::vector<Identity>& notedInputs() {
    static std::vector<Identity> inputs;
    return inputs;
}

InputFile openStandardInput() {
    static bool taken = false;
    if (taken) {
        throw Failure("standard input", "is asked for twice", "give one of the files a name");
    }
    taken = true;
    return InputFile(stdin);
}

}  // namespace

void CloseInput::operator()(std::FILE* file) const {
    if (file != stdin) {
        std::fclose(file);
    }
}

InputFile openInput(const std::string& path) {
    if (path == "-") {
        return openStandardInput();
    }
    noteInput(path);
    InputFile file(std::fopen(path.c_str(), "rb"));
    if (file == nullptr) {
        throw Failure(path, std::string("cannot be read (") + std::strerror(errno) + ")",
                      "check the path and its permissions");
    }
    return file;
}

std::string readInput(const std::string& path, std::size_t limit) {
    return readAll(openInput(path).get(), inputName(path), limit);
}

std::string readAll(std::FILE* file, const std::string& name, std::size_t limit) {
    std::string text;
    std::vector<char> block(std::size_t{1} << 16);
    while (text.size() <= limit) {
        const std::size_t size = std::fread(block.data(), 1, block.size(), file);
        if (size == 0) {
            break;
        }
        text.append(block.data(), size);
    }
    if (std::ferror(file) != 0) {
        throw Failure(name, std::string("cannot be read (") + std::strerror(errno) + ")",
                      "check the path and its permissions");
    }
    if (text.size() > limit) {
        throw Failure(name, "is too long", "check that it is the right file");
    }
    return text;
}

void noteInput(const std::string& path) {
    struct stat file {};
    if (stat(path.c_str(), &file) == 0 && S_ISREG(file.st_mode)) {
        notedInputs().push_back({file.st_dev, file.st_ino});
    }
}

bool isNotedInput(const struct stat& file) {
    return std::any_of(notedInputs().begin(), notedInputs().end(), [&](const Identity& input) {
        return input.device == file.st_dev && input.number == file.st_ino;
    });
}

std::string inputName(const std::string& path) {
    return path == "-" ? "standard input" : path;
}
