/** What the fuzz targets of the program's readers share. */
#ifndef CALIBMAP_FUZZ_TOOL_HARNESS_H
#define CALIBMAP_FUZZ_TOOL_HARNESS_H

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "failure.h"

/** Stops at a claim that does not hold, so that the fuzzer keeps the input. */
inline void hold(bool holds, const char* claim) {
    if (!holds) {
        std::fprintf(stderr, "does not hold: %s\n", claim);
        std::abort();
    }
}

/** Runs a reader, which may refuse what it reads in one line and nothing else. */
template <class Reader>
void answers(const Reader& reader) {
    try {
        reader();
    } catch (const Failure& failure) {
        hold(std::strncmp(failure.what(), "input", 5) == 0, "a refusal names the input");
        hold(std::strlen(failure.what()) < 2000, "a refusal is short");
    }
}

#endif
