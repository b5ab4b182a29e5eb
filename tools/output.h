#pragma once

#include <cstddef>
#include <cstdio>
#include <string>

/**
 * A file that appears under its name only when it is complete: it is written under a temporary name
 * in the same folder and renamed by `commit`. Without `commit` nothing is left of it. "-" is
 * standard output; a device or a pipe is written in place. Every failure throws a `Failure`.
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
    [[noreturn]] void refuse(int error) const;

    std::string path_;
    std::string target_;    /**< what the temporary is renamed to; empty when written in place */
    std::string temporary_; /**< empty when there is nothing to remove */
    std::FILE* file_ = nullptr;
};
