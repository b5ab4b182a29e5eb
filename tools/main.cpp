#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <iostream>
#include <new>

#include "command_line.h"
#include "failure.h"

namespace {

/** A descriptor that is closed would be given to the next file that is opened. */
void openStandardStreams() {
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) < 0) {
            static_cast<void>(open("/dev/null", O_RDWR));
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    openStandardStreams();
    int status = exitRefused;
    try {
        status = runCommandLine(argc, argv);
    } catch (const std::bad_alloc&) {
        return complain("memory: there is not enough, choose a larger --ratio", exitRefused);
    } catch (const std::exception& failure) {
        return complain(failure.what(), exitRefused);
    }
    std::cout.flush();
    if (!std::cout || std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        return complain("standard output: cannot be written, check what it is connected to",
                        exitRefused);
    }
    return status;
}
