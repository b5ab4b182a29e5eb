#include <calibmap.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <iostream>
#include <new>
#include <string>

#include "commands.h"
#include "failure.h"
#include "library_call.h"
#include "output.h"

namespace {

/** A descriptor that is closed would be given to the next file that is opened. */
void openStandardStreams() {
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) < 0) {
            static_cast<void>(open("/dev/null", O_RDWR));
        }
    }
}

int complain(const std::string& text, int status) {
    std::fprintf(stderr, "calibmap: %s\n", text.c_str());
    return status;
}

int runProgram(int argc, char** argv) {
    CLI::App program("See a camera's calibration, check its file, straighten its pictures.",
                     "calibmap");
    program.set_version_flag("--version", format("calibmap %d.%d.%d", CALIBMAP_VERSION_MAJOR,
                                                 CALIBMAP_VERSION_MINOR, CALIBMAP_VERSION_PATCH));
    program.fallthrough();
    program.require_subcommand(1);
    program.add_flag_callback(
        "--verbose", [] { showDiagnostics(true); },
        "Show the library's diagnostics on standard error");
    Run run;
    addSampleCommand(program, run);
    try {
        program.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) {
            program.exit(error);  // help or version, on standard output
            return exitGood;
        }
        return complain(std::string(error.what()) + ", see `calibmap --help`", exitUsage);
    }
    return run();
}

}  // namespace

int main(int argc, char** argv) {
    openStandardStreams();
    int status = exitRefused;
    try {
        status = runProgram(argc, argv);
    } catch (const Failure& failure) {
        return complain(failure.what(), exitRefused);
    } catch (const std::bad_alloc&) {
        return complain("memory: there is not enough, choose a larger --ratio", exitRefused);
    } catch (const std::exception& error) {
        return complain(error.what(), exitRefused);
    }
    std::cout.flush();
    if (!std::cout || std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        return complain("standard output: cannot be written, check what it is connected to",
                        exitRefused);
    }
    return status;
}
