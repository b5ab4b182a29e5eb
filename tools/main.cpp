#include <calibmap.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
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
    program.require_subcommand(0, 1);
    program.add_flag_callback(
        "--verbose", [] { showDiagnostics(true); },
        "Show the library's diagnostics on standard error");
    Run run;
    for (const auto addCommand :
         {addSampleCommand, addCheckCommand, addInfoCommand, addMapCommand, addDrawCommand,
          addRemapCommand, addPatternCommand, addDiffCommand}) {
        addCommand(program, run);
    }
    // Before a command stand only options without a value.
    char** const command =
        std::find_if(argv + 1, argv + argc, [](const char* word) { return word[0] != '-'; });
    if (command != argv + argc &&
        program.get_subcommands([&](const CLI::App* known) { return known->check_name(*command); })
            .empty()) {
        return complain(std::string(*command) + ": there is no such command, see `calibmap --help`",
                        exitUsage);
    }
    try {
        program.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) {
            program.exit(error);  // help or version, on standard output
            return exitGood;
        }
        const std::vector<CLI::App*> commands = program.get_subcommands();
        const std::string name = commands.empty() ? "" : commands.front()->get_name() + " ";
        return complain(std::string(error.what()) + ", see `calibmap " + name + "--help`",
                        exitUsage);
    }
    if (!run) {
        return complain("a command is required, see `calibmap --help`", exitUsage);
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
