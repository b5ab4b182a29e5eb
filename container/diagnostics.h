/**
 * The library's diagnostics on standard output: "ERROR: ", a message, a line feed. A message names
 * the function that reports it and a fixed number that identifies the place.
 *
 * A function that builds something is a chain of `&&`: each link makes one thing and keeps it in
 * its handle or refuses under its own number, and the first refusal ends the chain.
 */
#ifndef CALIBMAP_CONTAINER_DIAGNOSTICS_H
#define CALIBMAP_CONTAINER_DIAGNOSTICS_H

#include <stdint.h>

namespace calibmap {

/**
 * Prints one diagnostic in one piece, whatever other threads print; `format` is a printf format.
 */
[[gnu::format(printf, 1, 2)]] void report(const char* format, ...);

/** A place that reports: a function, and what is added to the numbers of its reports. */
struct Reporter {
    const char* function;
    int32_t lineOffset;
};

/** Reports `text` (that follows on the number: " leave. ...") and is false. */
bool refuse(const Reporter& reporter, int32_t line, const char* text);

/** Keeps what has been made in its handle; where nothing has, refuses with `text`. */
template <typename Container>
bool keep(Container*& handle, Container* made, const Reporter& reporter, int32_t line,
          const char* text) {
    handle = made;
    return made != nullptr || refuse(reporter, line, text);
}

}  // namespace calibmap

#endif
