#include <cstdio>
#include <vector>

#include "calibration/library_call.h"
#include "calibration/verdict.h"
#include "commands/commands.h"
#include "failure.h"

namespace {

struct CheckOptions {
    std::vector<std::string> files;
};

void printRanges(const Image& image) {
    for (const CheckedRange& range : checkedRanges(image)) {
        std::printf("  %-11s  bytes %4zu..%4zu  stored 0x%02x, computed 0x%02x%s\n",
                    range.name.c_str(), range.first, range.first + range.size - 1, range.stored,
                    range.computed, range.stored == range.computed ? "" : "  WRONG");
    }
}

int run(const CheckOptions& options) {
    int status = exitGood;
    for (const std::string& file : options.files) {
        Image image{};
        const Verdict verdict = examine(file, image);
        if (verdict.status == CALIBMAP_SUCCESS) {
            std::printf("%s: accepted, status 0\n", file.c_str());
        } else {
            std::printf("%s: refused, status %d: %s, %s\n", file.c_str(), verdict.status,
                        verdict.reason.c_str(), verdict.remedy.c_str());
            status = exitRefused;
        }
        if (diagnosticsAreShown() && verdict.status != CALIBMAP_FILE_MISSING &&
            verdict.status != CALIBMAP_FILE_UNREADABLE) {
            printRanges(image);
        }
    }
    return status;
}

}  // namespace

void addCheck(Program& program) {
    auto [command, options] =
        program.add("check", run, "Say whether a device would accept calibration files");
    command.files("FILE", options->files, "The calibration files");
    command.explain(
        "One line per file: accepted, or the library's status and the first reason to refuse it:\n"
        "4 missing, 8 unreadable or short, 9 a checksum, 10 the pass flag. --verbose adds the "
        "four\n"
        "checksums. The exit status is 0 only when all files are accepted.\n\n"
        "Example:\n  calibmap check --verbose stereoParams.bin");
}
