#pragma once

#include <calibmap.h>

/** A matrix of the library, released with its holder. */
class MatHandle {
  public:
    explicit MatHandle(Mat* mat = nullptr) : mat_(mat) {}
    MatHandle(const MatHandle&) = delete;
    MatHandle& operator=(const MatHandle&) = delete;
    ~MatHandle() { destroyMat(&mat_); }

    [[nodiscard]] Mat* get() const { return mat_; }
    Mat* operator->() const { return mat_; }
    Mat** address() { return &mat_; }

  private:
    Mat* mat_;
};

/** Chooses whether the library's diagnostics are shown on standard error. */
void showDiagnostics(bool show);

/** True when --verbose was given. */
bool diagnosticsAreShown();

/**
 * While it lives, standard output goes to a scratch file: the library prints its diagnostics
 * there, and our results must not be mixed with them.
 */
class DiagnosticCapture {
  public:
    DiagnosticCapture();
    DiagnosticCapture(const DiagnosticCapture&) = delete;
    DiagnosticCapture& operator=(const DiagnosticCapture&) = delete;
    ~DiagnosticCapture();

  private:
    int standardOutput_;
    int scratch_;
};

/** Runs a call of the library that may print. */
template <class Call>
auto callLibrary(Call&& call) {
    const DiagnosticCapture capture;
    return call();
}
