#pragma once

#include <cstddef>
#include <string>

/**
 * A file that appears under its name only when it is complete: it is written under a temporary name
 * in the same folder and takes its place by `commit`. Without `commit`, or when a signal ends the
 * program, nothing is left of it. What stood there before keeps its owner, its permissions and its
 * links, but never runs as somebody else. "-" is standard output; a device or a pipe is written in
 * place. An output that is an input of the program is refused. Every failure throws a `Failure`.
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
    void createBeside(const struct stat* existing);
    void removeTemporary();
    void flush();
    void writeInPlace();
    [[noreturn]] void refuse(int error) const;

    std::string path_;
    std::string target_;    /**< where the temporary goes; empty when written in place */
    std::string temporary_; /**< empty when there is nothing to remove */
    /** The file has several names or an owner that no other could have: its bytes wait till
     * `commit`. */
    bool isKept_ = false;
    std::string buffer_;  /**< what has not been handed to the system yet */
    int descriptor_ = -1; /**< none once the file is complete */
};

/** Removes unfinished outputs when a signal ends the program. */
void removeOutputsOnSignals();

/** What is wrong with the name of a PNG picture to be written; nothing if it is good. */
std::string misfitOfPictureName(const std::string& name);

/** The same where a JPEG picture may be written, too. */
std::string misfitOfPhotoName(const std::string& name);

/** True when the name is one of a JPEG picture. */
bool isJpegName(const std::string& name);
