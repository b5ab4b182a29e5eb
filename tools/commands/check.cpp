#include "inspection/check.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

#include "calibration_file.h"
#include "commands/commands.h"
#include "diagnostics.h"
#include "failure.h"
#include "input.h"
#include "inspection/table.h"
#include "inspection/text.h"
#include "json.h"
#include "progress.h"

namespace {

struct CheckOptions {
    std::vector<std::string> files;
    double tolerance = usualAgreement;
    bool json = false;
    bool csv = false;
};

Check examined(const CheckOptions& options, const std::string& file) {
    const std::string name = shown(options.json || options.csv ? file : inputName(file));
    Image image{};
    const Verdict verdict = readCalibration(file, image);
    return verdict.status == CALIBMAP_SUCCESS ? checkOf(name, image, options.tolerance)
                                              : checkOf(name, verdict);
}

void print(const CheckOptions& options, const Check& check) {
    if (options.json) {
        std::puts(jsonOf(check).c_str());
        return;
    }
    if (options.csv) {
        std::puts(csvLine(rowOf(check)).c_str());
        return;
    }
    std::puts(sentenceOf(check).c_str());
    if (!diagnosticsAreShown()) {
        return;
    }
    for (const RangeInWords& range : inWords(check).ranges) {
        std::printf("  %-11s  bytes %10s  stored %s, computed %s%s\n", range.name.c_str(),
                    range.bytes.c_str(), range.stored.c_str(), range.computed.c_str(),
                    range.isWrong ? "  WRONG" : "");
    }
}

int run(const CheckOptions& options) {
    // The library's words on a file belong before ours; nobody waits for those on a hundred others.
    const std::size_t atOnce = diagnosticsAreShown() ? 1 : 100;
    int status = exitGood;
    if (options.csv) {
        std::puts(csvLine(columnsOfChecks()).c_str());
    }
    const Progress progress("checking");
    for (std::size_t first = 0; first < options.files.size(); first += atOnce) {
        std::vector<Check> checks;
        {
            const DiagnosticCapture capture;
            for (std::size_t i = first; i < std::min(first + atOnce, options.files.size()); ++i) {
                checks.push_back(examined(options, options.files[i]));
            }
        }
        for (const Check& check : checks) {
            print(options, check);
            status = check.isUsable ? status : exitRefused;
        }
        progress.reached(static_cast<double>(first) / static_cast<double>(options.files.size()));
    }
    return status;
}

}  // namespace

void addCheck(Program& program) {
    auto [command, options] =
        program.add("check", run, "Say whether a device would accept calibration files");
    command.files("FILE", options->files, "The calibration files, - for standard input");
    command.number("--tolerance", options->tolerance, 0, 1e6,
                   "How far, in pixels, the two maps may be from undoing each other");
    command.flag("--json", options->json, "Print one JSON object a line for programs");
    command.flag("--csv", options->csv, "Print a table for spreadsheets, one line a file");
    command.excludes("--csv", "--json");
    command.explain(
        "One line per file. First the library's answer: accepted, or its status and the first\n"
        "reason to refuse: 4 missing, 8 unreadable or short, 9 a checksum, 10 the pass flag. "
        "Then,\n"
        "of an accepted file, whether it can be used: all numbers are finite, the break points\n"
        "enclose the image, both maps can be made at its size and undo each other. --verbose adds\n"
        "the four checksums. The exit status is 0 when all files are accepted and usable, else 1.\n"
        "\nExample:\n  calibmap check --verbose stereoParams.bin");
}
