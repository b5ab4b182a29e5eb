#include "inspection/npy.h"

#include <cstddef>

#include "inspection/text.h"

std::string npyHeader(int32_t rows, int32_t cols) {
    constexpr std::size_t prefix = 10;
    constexpr std::size_t alignment = 64;
    std::string text =
        format("{'descr': '<f4', 'fortran_order': False, 'shape': (2, %d, %d), }", rows, cols);
    while ((prefix + text.size() + 1) % alignment != 0) {
        text += ' ';
    }
    text += '\n';
    std::string header = "\x93NUMPY\x01";
    header += '\0';
    header += static_cast<char>(text.size() & 0xFF);
    header += static_cast<char>(text.size() >> 8);
    return header + text;
}
