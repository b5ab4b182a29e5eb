#include "inspection/info.h"

#include <cstdio>
#include <string>

#include "calibration_file.h"
#include "commands/commands.h"
#include "failure.h"
#include "input.h"
#include "inspection/soundness.h"
#include "inspection/text.h"
#include "json.h"

namespace {

struct InfoOptions {
    std::string file;
    bool json = false;
    bool coefficients = false;
};

void print(const InfoOptions& options, const Image& image, const Verdict& verdict) {
    std::printf("%s: %s\n", shown(inputName(options.file)).c_str(), sentenceOf(verdict).c_str());
    for (const std::string& fault : faultsOf(image)) {
        std::printf("  cannot be used: %s\n", fault.c_str());
    }
    for (const ParameterSection& section : parametersOf(image, options.coefficients)) {
        std::printf("\n%s\n", section.name.c_str());
        for (const ParameterRow& row : section.rows) {
            std::printf("  %-16s %s\n", row.name.c_str(), row.text.c_str());
        }
    }
}

int run(const InfoOptions& options) {
    Image image{};
    const Verdict verdict = loadAnyFile(options.file, image);
    if (options.json) {
        const Info info = {shown(options.file), verdict, &image, options.coefficients};
        std::puts(jsonOf(info).c_str());
    } else {
        print(options, image, verdict);
    }
    return exitGood;
}

}  // namespace

void addInfo(Program& program) {
    auto [command, options] = program.add("info", run, "Show what a calibration file says");
    command.file("FILE", options->file, "The calibration file, - for standard input");
    command.flag("--coefficients", options->coefficients,
                 "Print the coefficients of the models as well");
    command.flag("--json", options->json, "Print the same for programs");
    command.explain(
        "Shows any file of 6268 bytes or more, first what the library says of it: whether it is\n"
        "accepted, and which of its numbers cannot be used. Then both cameras, the extrinsics and\n"
        "the correction models.\n\n"
        "Example:\n  calibmap info --json stereoParams.bin");
}
