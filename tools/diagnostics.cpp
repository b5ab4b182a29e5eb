#include "diagnostics.h"

#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cstdio>

namespace {
bool shown = false;
bool isCapturing = false;
}  // namespace

void showDiagnostics(bool show) {
    shown = show;
}

bool diagnosticsAreShown() {
    return shown;
}

DiagnosticCapture::DiagnosticCapture() : isOutermost_(!isCapturing) {
    if (!isOutermost_) {
        return;
    }
    isCapturing = true;
    std::fflush(stdout);
    standardOutput_ = dup(STDOUT_FILENO);
    scratch_ = memfd_create("diagnostics", MFD_CLOEXEC);
    if (scratch_ >= 0) {
        dup2(scratch_, STDOUT_FILENO);
    }
}

DiagnosticCapture::~DiagnosticCapture() {
    if (!isOutermost_) {
        return;
    }
    isCapturing = false;
    std::fflush(stdout);
    dup2(standardOutput_, STDOUT_FILENO);
    close(standardOutput_);
    if (scratch_ < 0) {
        return;
    }
    if (shown) {
        lseek(scratch_, 0, SEEK_SET);
        std::array<char, 4096> text{};
        for (ssize_t n = 0; (n = read(scratch_, text.data(), text.size())) > 0;) {
            std::fwrite(text.data(), 1, static_cast<size_t>(n), stderr);
        }
    }
    close(scratch_);
}
