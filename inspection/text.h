#pragma once

#include <cstdint>
#include <string>
#include <vector>

/** Text in the manner of `printf`. */
[[gnu::format(printf, 1, 2)]] std::string format(const char* text, ...);

/**
 * A number with so many decimals. As a power of ten if it is so large that nobody counts its
 * digits, or so small that these decimals would show nothing of it.
 */
std::string decimal(double value, int decimals);

/** "0x" and so many hexadecimal digits. */
std::string hexText(uint32_t value, int digits);

/** The texts with a separator between them. */
std::string joined(const std::vector<std::string>& texts, const char* separator);

/**
 * The text as it can be shown: bytes that are no UTF-8, and control characters, become \xNN, so
 * that no file name disturbs a terminal, a log or a picture.
 */
std::string shown(const std::string& text);

/** Number of characters of a text that `shown` has returned. */
std::size_t lengthOf(const std::string& text);

/** The text with its middle replaced by an ellipsis, so that `length` characters are left. */
std::string shortened(const std::string& text, std::size_t length);

/** The text in quotation marks for a message, as `shown` has it and shortened. */
std::string quoted(const std::string& text);
