#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>

/** Closes a file that is read, unless it is standard input. */
struct CloseInput {
    void operator()(std::FILE* file) const;
};
using InputFile = std::unique_ptr<std::FILE, CloseInput>;

/**
 * Opens a file to read it; "-" is standard input, which can be read once. Throws a `Failure`. No
 * output of the program replaces a file that has been opened here.
 */
InputFile openInput(const std::string& path);

/** All of a file that holds at most `limit` bytes. Throws a `Failure`. */
std::string readInput(const std::string& path, std::size_t limit);

/** What an open file still holds, at most `limit` bytes. Throws a `Failure`. */
std::string readAll(std::FILE* file, const std::string& name, std::size_t limit);

/** Protects a file that is read in another way from being replaced by an output. */
void noteInput(const std::string& path);

/** True when the file has been noted. */
bool isNotedInput(const struct stat& file);

/** The name of an input for people: "standard input" for "-". */
std::string inputName(const std::string& path);
