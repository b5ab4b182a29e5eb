/**
 * The library's diagnostics on standard output: "ERROR: ", a message, a line feed. A message names
 * the function that reports it and a fixed number that identifies the place.
 */
#ifndef CALIBMAP_DIAGNOSTICS_H
#define CALIBMAP_DIAGNOSTICS_H

#include <stdarg.h>
#include <stdio.h>

/** Prints one diagnostic; `format` is a printf format. */
[[gnu::format(printf, 1, 2)]] inline void report(const char* format, ...) {
    va_list values;
    va_start(values, format);
    printf("ERROR: ");
    vprintf(format, values);
    putchar('\n');
    va_end(values);
}

#endif
