#include <fcntl.h>
#include <unistd.h>

#include "command_line.h"
#include "output.h"

namespace {

/**
 * A descriptor that is closed would be given to the next file that is opened. What takes its place
 * refuses to be used: nobody is told that something has been written that nobody can read.
 */
void openStandardStreams() {
    const int unusable[] = {O_WRONLY, O_RDONLY, O_RDONLY};
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) < 0) {
            static_cast<void>(open("/dev/null", unusable[descriptor]));
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    openStandardStreams();
    removeOutputsOnSignals();
    return runCommandLine(argc, argv);
}
