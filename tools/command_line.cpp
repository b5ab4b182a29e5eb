#include "command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <exception>
#include <iostream>
#include <new>
#include <sstream>

#include "commands/commands.h"
#include "diagnostics.h"
#include "failure.h"
#include "inspection/text.h"
#include "output.h"

namespace {

/**
 * Adds an option for a number; `kind` says which ones it takes. The value may be optional: then the
 * option has no default.
 */
template <class Number, class Value>
void addNumber(CLI::App& command, const std::string& name, Value& value, const std::string& kind,
               const std::function<bool(Number)>& isGood, const std::string& description) {
    // The range checks of CLI11 would let a NaN pass.
    const auto check = [kind, isGood](const std::string& text) {
        Number number{};
        return CLI::detail::lexical_cast(text, number) && isGood(number)
                   ? std::string()
                   : "'" + text + "' is not " + kind;
    };
    CLI::Option* const option = command.add_option(name, value, description)
                                    ->check(CLI::Validator(check, ""))
                                    ->type_name("NUMBER");
    if constexpr (std::is_same_v<Number, Value>) {
        option->capture_default_str();
    }
}

template <class Number, class Value>
void addNumberBetween(CLI::App& command, const std::string& name, Value& value, Number low,
                      Number high, const std::string& description) {
    std::ostringstream kind;
    kind << (std::is_integral_v<Number> ? "a whole number from " : "a number from ") << low
         << " to " << high;
    addNumber<Number>(
        command, name, value, kind.str(),
        [low, high](Number number) { return number >= low && number <= high; }, description);
}

/** Runs the action, and tells what went wrong; then its exit status is `trouble`. */
int reported(const std::function<int()>& action, const int& trouble) {
    try {
        const int status = action();
        std::cout.flush();
        if (!std::cout || std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
            return complain("standard output: cannot be written, check what it is connected to",
                            trouble);
        }
        return status;
    } catch (const std::bad_alloc&) {
        return complain(
            "memory: there is not enough for an image of this size, free some or choose a larger "
            "--ratio",
            trouble);
    } catch (const std::exception& failure) {
        return complain(failure.what(), trouble);
    }
}

int complainOfUsage(const std::string& text, const std::string& command = "") {
    return complain((text + ", see `calibmap " + command + "--help`").c_str(), exitUsage);
}

}  // namespace

void Command::file(const std::string& name, std::string& file, const std::string& description) {
    app_->add_option(name, file, description)->required()->option_text("REQUIRED");
}

void Command::files(const std::string& name, std::vector<std::string>& files,
                    const std::string& description) {
    app_->add_option(name, files, description)->required()->option_text("... REQUIRED");
}

void Command::output(std::string& file, const std::string& description,
                     const std::function<std::string(const std::string&)>& misfit,
                     bool isRequired) {
    CLI::Option* const option =
        app_->add_option("-o,--output", file, description)->required(isRequired);
    option->type_name("FILE");
    if (misfit) {
        option->check(CLI::Validator(misfit, ""));
    }
}

void Command::pictureOutput(std::string& file, bool isRequired) {
    output(file, "The PNG picture to write, or - for standard output", misfitOfPictureName,
           isRequired);
}

void Command::picture(const std::string& name, std::string& file, const std::string& description) {
    app_->add_option(name, file, description)
        ->type_name("FILE.png")
        ->check(CLI::Validator(misfitOfPictureName, ""));
}

void Command::position(const std::string& name, std::vector<std::string>& words,
                       const std::string& description) {
    app_->add_option(name, words, description)->option_text("X Y");
}

void Command::flag(const std::string& name, bool& value, const std::string& description) {
    app_->add_flag(name, value, description);
}

void Command::text(const std::string& name, std::string& text, const std::string& kind,
                   const std::string& description) {
    // An empty one is a variable that a script has not set, not the wish to go without.
    const auto check = [](const std::string& given) {
        return given.empty() ? std::string("must not be empty") : std::string();
    };
    app_->add_option(name, text, description)->type_name(kind)->check(CLI::Validator(check, ""));
}

void Command::texts(const std::string& name, std::vector<std::string>& texts,
                    const std::string& kind, const std::string& description) {
    app_->add_option(name, texts, description)->type_name(kind)->allow_extra_args(false);
}

void Command::needs(const std::string& name, const std::string& other) {
    app_->get_option(name)->needs(app_->get_option(other));
}

void Command::excludes(const std::string& name, const std::string& other) {
    app_->get_option(name)->excludes(app_->get_option(other));
}

void Command::number(const std::string& name, int32_t& value, int32_t low, int32_t high,
                     const std::string& description) {
    addNumberBetween(*app_, name, value, low, high, description);
}

void Command::number(const std::string& name, double& value, double low, double high,
                     const std::string& description) {
    addNumberBetween(*app_, name, value, low, high, description);
}

void Command::number(const std::string& name, std::optional<int32_t>& value, int32_t low,
                     int32_t high, const std::string& description) {
    addNumberBetween(*app_, name, value, low, high, description);
}

void Command::number(const std::string& name, std::optional<double>& value, double low, double high,
                     const std::string& description) {
    addNumberBetween(*app_, name, value, low, high, description);
}

void Command::addChoice(const std::string& name, int value, const Choice<int>& choice,
                        const std::function<void(int)>& store, const std::string& description) {
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
        text = std::to_string(found->second);
        return std::string();
    };
    app_->add_option_function<int>(name, store, description)
        ->transform(CLI::Validator(translate, ""))
        ->type_name(words)
        ->default_str(chosen);
}

void Command::direction(Direction& direction) {
    choice<Direction>("--direction", direction,
                      {{nameOf(Direction::undistort), Direction::undistort},
                       {nameOf(Direction::distort), Direction::distort}},
                      "undistort: from the straight (undistorted) image to the recorded "
                      "(distorted) one; distort: "
                      "the inverse");
}

void Command::ratio(int32_t& ratio) {
    addNumber<int32_t>(
        *app_, "--ratio", ratio, "1 or a positive even number, try 2",
        [](int32_t number) { return number == 1 || (number > 0 && number % 2 == 0); },
        "One sample per block of this many pixels, squared");
}

void Command::explain(const std::string& text) {
    app_->footer(text);
}

Command Program::addCommand(const std::string& name, const std::string& description,
                            const std::function<int()>& run, int trouble) {
    CLI::App* const command = app_->add_subcommand(name, description);
    command->callback([this, run, trouble] {
        chosen_ = run;
        trouble_ = trouble;
    });
    return Command(*command);
}

namespace {

/**
 * The arguments in the order in which CLI11 takes them, from the last to the first. What follows
 * "--" is no option, which CLI11 forgets once all that is required is there; a name that begins
 * with a dash is the same name behind "./".
 */
std::vector<std::string> reversedArguments(int argc, char** argv) {
    std::vector<std::string> arguments(argv + 1, argv + argc);
    const auto mark = std::find(arguments.begin(), arguments.end(), "--");
    if (mark != arguments.end()) {
        std::for_each(mark + 1, arguments.end(), [](std::string& name) {
            const bool isNumber = name.size() > 1 && std::isdigit(name[1]) != 0;
            if (name.size() > 1 && name.front() == '-' && !isNumber) {
                name.insert(0, "./");
            }
        });
        arguments.erase(mark);
    }
    std::reverse(arguments.begin(), arguments.end());
    return arguments;
}

int parseAndRun(int argc, char** argv, int& trouble) {
    CLI::App app("See a camera's calibration, check its file, straighten its pictures.",
                 "calibmap");
    app.set_version_flag("--version", format("calibmap %d.%d.%d", CALIBMAP_VERSION_MAJOR,
                                             CALIBMAP_VERSION_MINOR, CALIBMAP_VERSION_PATCH));
    app.fallthrough();
    app.require_subcommand(0, 1);
    app.add_flag_callback(
        "--verbose", [] { showDiagnostics(true); },
        "Show the library's diagnostics on standard error");
    Program program(app);
    for (const auto add : commands) {
        add(program);
    }
    // Before a command stand only options without a value, and "--" in front of a name.
    char** const word =
        std::find_if(argv + 1, argv + argc, [](const char* text) { return text[0] != '-'; });
    if (word != argv + argc &&
        app.get_subcommands([&](const CLI::App* known) { return known->check_name(*word); })
            .empty()) {
        return complainOfUsage(std::string(*word) + ": there is no such command");
    }
    try {
        app.parse(reversedArguments(argc, argv));
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) {
            app.exit(error);  // help or version, on standard output
            return exitGood;
        }
        const std::vector<CLI::App*> chosen = app.get_subcommands();
        return complainOfUsage(error.what(),
                               chosen.empty() ? "" : chosen.front()->get_name() + " ");
    }
    if (!program.chosen()) {
        return complainOfUsage("a command is required");
    }
    trouble = program.trouble();
    return program.chosen()();
}

}  // namespace

int runCommandLine(int argc, char** argv) {
    int trouble = exitRefused;
    return reported([&] { return parseAndRun(argc, argv, trouble); }, trouble);
}
