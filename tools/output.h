#pragma once

#include <cstddef>
#include <cstdio>
#include <string>

/**
 * A file that appears under its name only when it is complete: it is written under a temporary name
 * in the same folder and takes its place by `commit`. Without `commit`, or when a signal ends the
 * program, nothing is left of it. What stood there before keeps its mode and its links. "-" is
 * standard output; a device or a pipe is written in place. An output that is an input of the
 * program is refused. Every failure throws a `Failure`.
 */
class OutputFile {
  public:
    explicit OutputFile(const std::string& path);
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    ~OutputFile();

    void write(const void* bytes, std::size_t size);

    /** Makes sure that all bytes have arrived; nothing can be written afterwards. */
    void complete();

    /** Gives the file its name, completing it if need be. */
    void commit();

  private:
    void createBeside();
    void copyIntoPlace();
    [[noreturn]] void refuse(int error) const;

    std::string path_;
    std::string target_;    /**< where the temporary goes; empty when written in place */
    std::string temporary_; /**< empty when there is nothing to remove */
    bool isShared_ = false; /**< the target has several names, which have to stay one file */
    std::FILE* file_ = nullptr;
};

/** Removes unfinished outputs when a signal ends the program. */
void removeOutputsOnSignals();

/** What is wrong with the name of a PNG picture to be written; nothing if it is good. */
std::string misfitOfPictureName(const std::string& name);
