#include "inspection/info.h"

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "calibration_file.h"
#include "commands/commands.h"
#include "diagnostics.h"
#include "failure.h"
#include "input.h"
#include "inspection/bend.h"
#include "inspection/soundness.h"
#include "inspection/text.h"
#include "json.h"

namespace {

struct InfoOptions {
    std::vector<std::string> files;
    bool json = false;
    bool coefficients = false;
};

void print(const InfoOptions& options, const std::string& file) {
    Image image{};
    const Verdict verdict = loadAnyFile(file, image);
    if (options.json) {
        const Info info = {shown(file), verdict, &image, options.coefficients};
        std::puts(jsonOf(info, options.files.size() > 1).c_str());
        return;
    }
    std::printf("%s%s: %s\n", &file == options.files.data() ? "" : "\n",
                shown(inputName(file)).c_str(), sentenceOf(verdict).c_str());
    std::optional<Bend> bend;
    for (const std::string& fault : faultsOf(image)) {
        std::printf("  cannot be used: %s\n", fault.c_str());
    }
    if (faultsOf(image).empty()) {
        const DiagnosticCapture capture;
        bend = bendOf(image);
    }
    if (bend) {
        std::printf("  %s\n", sentenceOf(*bend).c_str());
    }
    for (const ParameterSection& section : parametersOf(image, options.coefficients)) {
        std::printf("\n%s\n", section.name.c_str());
        for (const ParameterRow& row : section.rows) {
            std::printf("  %-16s %s\n", row.name.c_str(), row.text.c_str());
        }
    }
}

int run(const InfoOptions& options) {
    int status = exitGood;
    for (const std::string& file : options.files) {
        try {
            print(options, file);
        } catch (const Failure& failure) {
            status = complain(failure.what(), exitRefused);
        }
    }
    return status;
}

}  // namespace

void addInfo(Program& program) {
    auto [command, options] = program.add("info", run, "Show what calibration files say");
    command.files("FILE", options->files, "The calibration files, - for standard input");
    command.flag("--coefficients", options->coefficients,
                 "Print the coefficients of the models as well");
    command.flag("--json", options->json,
                 "Print the same for programs, of several files one object a line");
    command.explain(
        "Shows any file of 6268 bytes or more, first what the library says of it: whether it is\n"
        "accepted, and which of its numbers cannot be used. Then both cameras, the extrinsics and\n"
        "the correction models.\n\n"
        "Example:\n  calibmap info --json stereoParams.bin");
}
