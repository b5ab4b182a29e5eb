#pragma once

#include <string>

/** Text in the manner of `printf`. */
[[gnu::format(printf, 1, 2)]] std::string format(const char* text, ...);
