#include "command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "commands.h"
#include "failure.h"
#include "library_call.h"
#include "text.h"

namespace {

/** What the chosen command does once the whole command line has been read. */
using Run = std::function<int()>;

/** Words and what they stand for. */
template <class Value>
using Choice = std::vector<std::pair<std::string, Value>>;

const Choice<Direction> directions = {{nameOf(Direction::undistort), Direction::undistort},
                                      {nameOf(Direction::distort), Direction::distort}};

const Choice<Border> borders = {{"black", Border::black},
                                {"white", Border::white},
                                {"grey", Border::grey},
                                {"edge", Border::edge}};

/** Adds a command whose options start from their defaults and go to `action`. */
template <class Options>
std::pair<CLI::App*, std::shared_ptr<Options>> addCommand(CLI::App& program, Run& run,
                                                          const std::string& name,
                                                          int (*action)(const Options&),
                                                          const std::string& description) {
    const auto options = std::make_shared<Options>();
    CLI::App* const command = program.add_subcommand(name, description);
    command->callback(
        [options, action, &run] { run = [options, action] { return action(*options); }; });
    return {command, options};
}

void addFile(CLI::App& command, const std::string& name, std::string& file,
             const std::string& description) {
    command.add_option(name, file, description)->required()->option_text("REQUIRED");
}

CLI::Option* addOutput(CLI::App& command, std::string& file, const std::string& description) {
    return command.add_option("-o,--output", file, description)->required()->type_name("FILE");
}

/** Adds an option for a number; `kind` says which ones it takes. */
template <class Number>
void addNumber(CLI::App& command, const std::string& name, Number& value, const std::string& kind,
               const std::function<bool(Number)>& isGood, const std::string& description) {
    // The range checks of CLI11 would let a NaN pass.
    const auto check = [kind, isGood](const std::string& text) {
        Number number{};
        return CLI::detail::lexical_cast(text, number) && isGood(number)
                   ? std::string()
                   : "'" + text + "' is not " + kind;
    };
    command.add_option(name, value, description)
        ->check(CLI::Validator(check, ""))
        ->type_name("NUMBER")
        ->capture_default_str();
}

template <class Number>
void addNumber(CLI::App& command, const std::string& name, Number& value, Number low, Number high,
               const std::string& description) {
    std::ostringstream kind;
    kind << (std::is_integral_v<Number> ? "a whole number from " : "a number from ") << low
         << " to " << high;
    addNumber<Number>(
        command, name, value, kind.str(),
        [low, high](Number number) { return number >= low && number <= high; }, description);
}

void addRatio(CLI::App& command, int32_t& ratio) {
    addNumber<int32_t>(
        command, "--ratio", ratio, "1 or a positive even number, try 2",
        [](int32_t number) { return number == 1 || (number > 0 && number % 2 == 0); },
        "One sample per block of this many pixels, squared");
}

template <class Value>
void addChoice(CLI::App& command, const std::string& name, Value& value,
               const Choice<Value>& choice, const std::string& description) {
    std::string words;
    std::string chosen;
    for (const auto& [word, meaning] : choice) {
        words += (words.empty() ? "" : "|") + word;
        chosen = meaning == value ? word : chosen;
    }
    const auto translate = [choice, words](std::string& text) {
        const auto found = std::find_if(choice.begin(), choice.end(),
                                        [&text](const auto& entry) { return entry.first == text; });
        if (found == choice.end()) {
            return "'" + text + "' is none of " + words;
        }
        text = std::to_string(static_cast<int>(found->second));
        return std::string();
    };
    command.add_option(name, value, description)
        ->transform(CLI::Validator(translate, ""))
        ->type_name(words)
        ->default_str(chosen);
}

void addDirection(CLI::App& command, Direction& direction) {
    addChoice(command, "--direction", direction, directions,
              "undistort: from the straight image to the recorded one; distort: the inverse");
}

void addSample(CLI::App& program, Run& run) {
    const auto [command, options] = addCommand(
        program, run, "sample", runSample, "Write a valid calibration file for a described lens");
    addOutput(*command, options->output, "The file to write, or - for standard output");
    Camera& camera = options->camera;
    addNumber(*command, "--width", camera.width, 16, 16384, "Image width in pixels");
    addNumber(*command, "--height", camera.height, 16, 16384, "Image height in pixels");
    addNumber(*command, "--fx", camera.fx, 1.0, 1e6, "Focal length along x in pixels");
    addNumber(*command, "--fy", camera.fy, 1.0, 1e6, "Focal length along y in pixels");
    addNumber(*command, "--cx", camera.cx, -1e5, 1e5, "Principal point, x in pixels");
    addNumber(*command, "--cy", camera.cy, -1e5, 1e5, "Principal point, y in pixels");
    Lens& lens = options->lens;
    addNumber(*command, "--k1", lens.k1, -1e3, 1e3, "Brown-Conrady radial coefficient of r^2");
    addNumber(*command, "--k2", lens.k2, -1e3, 1e3, "Radial coefficient of r^4");
    addNumber(*command, "--p1", lens.p1, -1e3, 1e3, "First tangential coefficient");
    addNumber(*command, "--p2", lens.p2, -1e3, 1e3, "Second tangential coefficient");
    addNumber(*command, "--k3", lens.k3, -1e3, 1e3, "Radial coefficient of r^6");
    command->footer(
        "The two correction models are least squares fits of the lens, and the command prints how\n"
        "far they are from it. It refuses a lens that folds the image over itself. The sub camera\n"
        "and the extrinsics are made up.\n\n"
        "Example:\n  calibmap sample --k1 -0.3 --k2 0.1 -o lens.bin");
}

void addCheck(CLI::App& program, Run& run) {
    const auto [command, options] = addCommand(
        program, run, "check", runCheck, "Say whether a device would accept calibration files");
    command->add_option("FILE", options->files, "The calibration files")
        ->required()
        ->option_text("... REQUIRED");
    command->footer(
        "One line per file: accepted, or the library's status and the first reason to refuse it:\n"
        "4 missing, 8 unreadable or short, 9 a checksum, 10 the pass flag. --verbose adds the "
        "four\n"
        "checksums. The exit status is 0 only when all files are accepted.\n\n"
        "Example:\n  calibmap check --verbose stereoParams.bin");
}

void addInfo(CLI::App& program, Run& run) {
    const auto [command, options] =
        addCommand(program, run, "info", runInfo, "Show what a calibration file says");
    addFile(*command, "FILE", options->file, "The calibration file");
    command->add_flag("--json", options->json, "Print the same for programs");
    command->footer(
        "Prints both cameras, the extrinsic bytes, the orders and break points of the correction\n"
        "models, and whether maps can be computed from them.\n\n"
        "Example:\n  calibmap info --json stereoParams.bin");
}

void addMap(CLI::App& program, Run& run) {
    const auto [command, options] =
        addCommand(program, run, "map", runMap, "Compute a map and write its numbers");
    addFile(*command, "FILE", options->file, "The calibration file");
    addDirection(*command, options->direction);
    addRatio(*command, options->ratio);
    const auto check = [](const std::string& name) {
        return isMapName(name) ? std::string()
                               : "'" + name + "' ends in none of .npy, .pfm and .raw";
    };
    addOutput(*command, options->output, "The file to write; its ending is the format")
        ->check(CLI::Validator(check, ""));
    command->footer(
        "The ending of the output's name chooses the format:\n"
        "  .npy  NumPy, float32, shape (2, rows, columns): x, then y\n"
        "  .pfm  two portable float maps, NAME-x.pfm and NAME-y.pfm\n"
        "  .raw  little-endian float32 without a header: all of x, then all of y\n"
        "  -     .npy on standard output\n"
        "Values are positions in samples, (column, row), counted from 0 at the first centre.\n\n"
        "Example:\n  calibmap map stereoParams.bin --direction undistort --ratio 2 -o map.npy");
}

void addDraw(CLI::App& program, Run& run) {
    const auto [command, options] =
        addCommand(program, run, "draw", runDraw, "Draw what the lens does");
    addFile(*command, "FILE", options->file, "The calibration file");
    addOutput(*command, options->output, "The PNG picture to write, or - for standard output");
    addDirection(*command, options->direction);
    addRatio(*command, options->ratio);
    addNumber(*command, "--width", options->width, 400, 8000, "Width of the picture in pixels");
    command->footer(
        "Writes a PNG picture: the displacement of each pixel in colour and contour lines, and a\n"
        "regular grid drawn through the map.\n\n"
        "Example:\n  calibmap draw stereoParams.bin --direction distort -o lens.png");
}

void addRemap(CLI::App& program, Run& run) {
    const auto [command, options] = addCommand(
        program, run, "remap", runRemap, "Straighten a picture, or distort one as the lens does");
    addFile(*command, "FILE", options->file, "The calibration file");
    addFile(*command, "PICTURE", options->input, "The PNG picture to apply the map to");
    addOutput(*command, options->output, "The PNG picture to write, or - for standard output");
    addDirection(*command, options->direction);
    addChoice(*command, "--border", options->border, borders,
              "What places outside the picture show");
    command->footer(
        "Reads and writes 8- or 16-bit grey or RGB PNG pictures of the camera's size and\n"
        "interpolates bilinearly.\n\n"
        "Example:\n  calibmap remap stereoParams.bin recorded.png -o straight.png");
}

void addPattern(CLI::App& program, Run& run) {
    const auto [command, options] =
        addCommand(program, run, "pattern", runPattern,
                   "Draw a checkerboard with numbered corners to try remap on");
    addOutput(*command, options->output, "The PNG picture to write, or - for standard output");
    addNumber(*command, "--width", options->width, 16, 8192, "Width in pixels");
    addNumber(*command, "--height", options->height, 16, 8192, "Height in pixels");
    addNumber(*command, "--square", options->square, 4, 4096, "Side of a square in pixels");
    command->footer(
        "Writes an 8-bit grey PNG picture. The corners are numbered from the top left.\n\n"
        "Example:\n  calibmap pattern --width 640 --height 480 -o board.png");
}

void addDiff(CLI::App& program, Run& run) {
    const auto [command, options] = addCommand(
        program, run, "diff", runDiff, "Say whether two calibration files give the same maps");
    addFile(*command, "A", options->first, "A calibration file");
    addFile(*command, "B", options->second, "Another calibration file");
    addNumber(*command, "--tolerance", options->tolerance, 0.0, 1e6,
              "Largest difference in pixels between maps that still agree");
    command->footer(
        "Compares the maps of both directions at every pixel, then names the fields that differ.\n"
        "The exit status is 0 when the maps agree within the tolerance and 1 when they do not:\n"
        "fields alone, such as the sub camera's, do not change it.\n\n"
        "Example:\n  calibmap diff --tolerance 0.1 factory.bin today.bin");
}

int complainOfUsage(const std::string& text, const std::string& command = "") {
    return complain((text + ", see `calibmap " + command + "--help`").c_str(), exitUsage);
}

}  // namespace

int complain(const char* text, int status) {
    std::fprintf(stderr, "calibmap: %s\n", text);
    return status;
}

int runCommandLine(int argc, char** argv) {
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
    for (const auto add :
         {addSample, addCheck, addInfo, addMap, addDraw, addRemap, addPattern, addDiff}) {
        add(program, run);
    }
    // Before a command stand only options without a value.
    char** const word =
        std::find_if(argv + 1, argv + argc, [](const char* text) { return text[0] != '-'; });
    if (word != argv + argc &&
        program.get_subcommands([&](const CLI::App* known) { return known->check_name(*word); })
            .empty()) {
        return complainOfUsage(std::string(*word) + ": there is no such command");
    }
    try {
        program.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) {
            program.exit(error);  // help or version, on standard output
            return exitGood;
        }
        const std::vector<CLI::App*> chosen = program.get_subcommands();
        return complainOfUsage(error.what(),
                               chosen.empty() ? "" : chosen.front()->get_name() + " ");
    }
    return run ? run() : complainOfUsage("a command is required");
}
