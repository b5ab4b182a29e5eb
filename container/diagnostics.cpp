#include "container/diagnostics.h"

#include <stdarg.h>
#include <stdio.h>

namespace calibmap {

namespace {

/** Bytes of a diagnostic, line feed included; the longest there is takes 150. */
constexpr int messageSize = 256;

}  // namespace

void report(const char* format, ...) {
    char message[messageSize];
    va_list values;
    va_start(values, format);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): it is started in the line above.
    vsnprintf(message, sizeof message, format, values);
    va_end(values);
    printf("ERROR: %s\n", message);
}

bool refuse(const Reporter& reporter, int32_t line, const char* text) {
    report("%s line:%d%s", reporter.function, line + reporter.lineOffset, text);
    return false;
}

}  // namespace calibmap
