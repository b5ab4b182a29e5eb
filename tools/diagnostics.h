#pragma once

/** Chooses whether the library's diagnostics are shown on standard error. */
void showDiagnostics(bool show);

/** True when --verbose was given. */
bool diagnosticsAreShown();

/**
 * While it lives, standard output goes to a scratch file: the library prints its diagnostics
 * there, and our results must not be mixed with them. Six system calls, so that one stands around a
 * loop and not inside it; one inside another does nothing.
 */
class DiagnosticCapture {
  public:
    DiagnosticCapture();
    DiagnosticCapture(const DiagnosticCapture&) = delete;
    DiagnosticCapture& operator=(const DiagnosticCapture&) = delete;
    ~DiagnosticCapture();

  private:
    bool isOutermost_;
    int standardOutput_ = -1;
    int scratch_ = -1;
};
