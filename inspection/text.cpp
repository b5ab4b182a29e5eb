#include "inspection/text.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdio>

namespace {

bool isContinuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

/** Bytes of the printable UTF-8 character that begins at `at`; 0 when there is none. */
std::size_t characterSize(const std::string& text, std::size_t at) {
    const auto lead = static_cast<unsigned char>(text[at]);
    if (lead < 0x80) {
        return lead >= 0x20 && lead != 0x7F ? 1 : 0;
    }
    const std::size_t size = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC2 ? 2 : 0;
    if (size == 0 || at + size > text.size()) {
        return 0;
    }
    uint32_t code = lead & (0x7FU >> size);
    for (std::size_t i = 1; i < size; ++i) {
        if (!isContinuation(text[at + i])) {
            return 0;
        }
        code = code << 6 | (static_cast<unsigned char>(text[at + i]) & 0x3FU);
    }
    constexpr uint32_t leastOfSize[] = {0, 0, 0xA0, 0x800, 0x10000};
    const bool isSurrogate = code >= 0xD800 && code <= 0xDFFF;
    return code >= leastOfSize[size] && code <= 0x10FFFF && !isSurrogate ? size : 0;
}

}  // namespace

std::string format(const char* text, ...) {
    std::va_list arguments;
    std::va_list again;
    va_start(arguments, text);
    va_copy(again, arguments);
    std::string line(static_cast<std::size_t>(std::vsnprintf(nullptr, 0, text, arguments)), ' ');
    va_end(arguments);
    std::vsnprintf(line.data(), line.size() + 1, text, again);
    va_end(again);
    return line;
}

std::string decimal(double value, int decimals) {
    constexpr double largest = 1e9;
    constexpr double smallest = 1e-6;
    if (std::isfinite(value) && std::abs(value) >= largest) {
        return format("%.6g", value);
    }
    const std::string text = format("%.*f", decimals, value);
    const bool isTiny = value != 0 && std::abs(value) < smallest;
    const bool showsNothing = text.find_first_of("123456789") == std::string::npos;
    return isTiny && showsNothing ? format("%.3g", value) : text;
}

std::string hexText(uint32_t value, int digits) {
    return format("0x%0*x", digits, static_cast<unsigned>(value));
}

std::string joined(const std::vector<std::string>& texts, const char* separator) {
    std::string all;
    for (const std::string& text : texts) {
        all += (all.empty() ? "" : separator) + text;
    }
    return all;
}

std::string shown(const std::string& text) {
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t size = characterSize(text, at);
        result += size > 0 ? text.substr(at, size)
                           : format("\\x%02x", static_cast<unsigned char>(text[at]));
        at += std::max<std::size_t>(size, 1);
    }
    return result;
}

std::size_t lengthOf(const std::string& text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char byte) { return !isContinuation(byte); }));
}

std::string shortened(const std::string& text, std::size_t length) {
    const std::size_t whole = lengthOf(text);
    if (whole <= length) {
        return text;
    }
    // The end of a name tells more than its middle.
    const std::size_t kept = length > 0 ? length - 1 : 0;
    const std::size_t head = kept / 2;
    const std::size_t tail = whole - (kept - head);
    std::string result;
    std::size_t character = 0;
    for (std::size_t at = 0; at < text.size(); ++character) {
        std::size_t end = at + 1;
        while (end < text.size() && isContinuation(text[end])) {
            ++end;
        }
        if (character < head || character >= tail) {
            result.append(text, at, end - at);
        } else if (character == head) {
            result += "\u2026";
        }
        at = end;
    }
    return result;
}

std::string quoted(const std::string& text) {
    return format("'%s'", shortened(shown(text), 40).c_str());
}
