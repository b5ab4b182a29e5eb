#include <cstdio>
#include <vector>

#include "calibration.h"
#include "commands.h"
#include "failure.h"
#include "library_call.h"

namespace {

void printRanges(const Image& image) {
    for (const CheckedRange& range : checkedRanges(image)) {
        std::printf("  %-11s  bytes %4zu..%4zu  stored 0x%02x, computed 0x%02x%s\n",
                    range.name.c_str(), range.first, range.first + range.size - 1, range.stored,
                    range.computed, range.stored == range.computed ? "" : "  WRONG");
    }
}

}  // namespace

int runCheck(const CheckOptions& options) {
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
