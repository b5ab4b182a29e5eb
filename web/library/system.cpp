// What the program's sources ask of a system, where there is none but the page.
#include <cstdarg>
#include <cstdio>
#include <string>

#include "calibration/library_call.h"
#include "text.h"

// No descriptor needs to be kept: what the library prints stays in its instance, and mixes with no
// results.
#pragma clang diagnostic ignored "-Wunused-private-field"
DiagnosticCapture::DiagnosticCapture() : standardOutput_(-1), scratch_(-1) {}
DiagnosticCapture::~DiagnosticCapture() = default;

// The program's throws when there is no memory, and here nothing can be thrown.
std::string format(const char* text, ...) {
    std::va_list arguments;
    va_start(arguments, text);
    std::va_list again;
    va_copy(again, arguments);
    std::string line(static_cast<std::size_t>(std::vsnprintf(nullptr, 0, text, arguments)), ' ');
    std::vsnprintf(line.data(), line.size() + 1, text, again);
    va_end(again);
    va_end(arguments);
    return line;
}
