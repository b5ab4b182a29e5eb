#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "calibration_file.h"
#include "commands/commands.h"
#include "diagnostics.h"
#include "failure.h"
#include "input.h"
#include "inspection/text.h"
#include "inspection/usability.h"

namespace {

using Json = nlohmann::ordered_json;

struct CheckOptions {
    std::vector<std::string> files;
    double tolerance = usualAgreement;
    bool json = false;
};

/** What can be said of one file. */
struct Finding {
    Verdict verdict;
    Usability use; /**< of an accepted file */
};

bool isUsable(const Finding& finding) {
    return finding.verdict.status == CALIBMAP_SUCCESS && finding.use.faults.empty();
}

Finding examineUse(const std::string& file, double tolerance, Image& image) {
    const DiagnosticCapture capture;
    Finding finding = {examine(file, image), {}};
    if (finding.verdict.status == CALIBMAP_SUCCESS) {
        finding.use = usabilityOf(image, tolerance);
    }
    return finding;
}

std::string joined(const std::vector<std::string>& texts) {
    std::string all;
    for (const std::string& text : texts) {
        all += (all.empty() ? "" : "; ") + text;
    }
    return all;
}

void print(const std::string& file, const Finding& finding) {
    const Verdict& verdict = finding.verdict;
    const std::string name = shown(inputName(file));
    if (verdict.status != CALIBMAP_SUCCESS) {
        std::printf("%s: refused, status %d: %s, %s\n", name.c_str(), verdict.status,
                    verdict.reason.c_str(), verdict.remedy.c_str());
    } else if (!finding.use.faults.empty()) {
        std::printf("%s: accepted but not usable, status 0: %s\n", name.c_str(),
                    joined(finding.use.faults).c_str());
    } else {
        std::printf("%s: accepted and usable, status 0, %s\n", name.c_str(),
                    agreementOf(*finding.use.roundTrip).c_str());
    }
}

void printRanges(const Image& image) {
    for (const CheckedRange& range : checkedRanges(image)) {
        std::printf("  %-11s  bytes %4zu..%4zu  stored 0x%02x, computed 0x%02x%s\n",
                    range.name.c_str(), range.first, range.first + range.size - 1, range.stored,
                    range.computed, range.stored == range.computed ? "" : "  WRONG");
    }
}

void printJson(const std::string& file, const Finding& finding, const Image& image) {
    const Verdict& verdict = finding.verdict;
    Json line = {{"file", shown(file)},
                 {"status", verdict.status},
                 {"accepted", verdict.status == CALIBMAP_SUCCESS},
                 {"usable", isUsable(finding)},
                 {"reason", verdict.reason},
                 {"faults", finding.use.faults}};
    if (finding.use.roundTrip && finding.use.roundTrip->compared > 0) {
        const RoundTrip& trip = *finding.use.roundTrip;
        line["roundTrip"] = {{"largest", trip.largest},
                             {"at", {trip.place.x, trip.place.y}},
                             {"first", nameOf(trip.first)}};
    }
    if (hasBeenRead(verdict)) {
        line["checksums"] = Json::array();
        for (const CheckedRange& range : checkedRanges(image)) {
            line["checksums"].push_back(
                {{"range", range.name}, {"stored", range.stored}, {"computed", range.computed}});
        }
    }
    std::puts(line.dump().c_str());
}

int run(const CheckOptions& options) {
    int status = exitGood;
    for (const std::string& file : options.files) {
        Image image{};
        const Finding finding = examineUse(file, options.tolerance, image);
        if (options.json) {
            printJson(file, finding, image);
        } else {
            print(file, finding);
            if (diagnosticsAreShown() && hasBeenRead(finding.verdict)) {
                printRanges(image);
            }
        }
        status = isUsable(finding) ? status : exitRefused;
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
    command.explain(
        "One line per file. First the library's answer: accepted, or its status and the first\n"
        "reason to refuse: 4 missing, 8 unreadable or short, 9 a checksum, 10 the pass flag. "
        "Then,\n"
        "of an accepted file, whether it can be used: all numbers are finite, the break points\n"
        "enclose the image, both maps can be made at its size and undo each other. --verbose adds\n"
        "the four checksums. The exit status is 0 when all files are accepted and usable, else 1.\n"
        "\nExample:\n  calibmap check --verbose stereoParams.bin");
}
