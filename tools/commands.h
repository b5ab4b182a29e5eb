#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>

/** What the chosen command does once the command line has been read; returns an `ExitStatus`. */
using Run = std::function<int()>;

/** Each adds one command with its options; when it is chosen, it sets `run`. */
void addSampleCommand(CLI::App& program, Run& run);

/** Adds an option for a finite number from `low` to `high`. */
template <class Number>
CLI::Option* addNumber(CLI::App& command, const std::string& name, Number& value, Number low,
                       Number high, const std::string& description) {
    // CLI::Range lets a NaN pass.
    const auto check = [low, high](const std::string& text) {
        Number number{};
        const bool good =
            CLI::detail::lexical_cast(text, number) && number >= low && number <= high;
        return good ? std::string()
                    : CLI::detail::to_string(text) + " is not a number from " +
                          CLI::detail::to_string(low) + " to " + CLI::detail::to_string(high);
    };
    return command.add_option(name, value, description)
        ->check(CLI::Validator(check, ""))
        ->capture_default_str();
}
