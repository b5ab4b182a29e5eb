#include "text.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <new>

std::string format(const char* text, ...) {
    std::va_list arguments;
    va_start(arguments, text);
    char* result = nullptr;
    const int length = vasprintf(&result, text, arguments);
    va_end(arguments);
    if (length < 0) {
        throw std::bad_alloc();
    }
    std::string line(result, static_cast<std::size_t>(length));
    std::free(result);
    return line;
}
