#include "failure.h"

#include <cstdio>

#include "inspection/text.h"

void warn(const std::string& subject, const std::string& text) {
    complain(("warning: " + subject + ": " + text).c_str(), exitGood);
}

int complain(const char* text, int status) {
    // Two names of files have room, of the longest that the system knows.
    constexpr std::size_t longest = 9000;
    std::fprintf(stderr, "calibmap: %s\n", shortened(shown(text), longest).c_str());
    return status;
}
