#include "commands.h"

#include <map>
#include <sstream>

namespace {

template <class Number>
CLI::Option* addRange(CLI::App& command, const std::string& name, Number& value, Number low,
                      Number high, const std::string& kind, const std::string& description) {
    // CLI::Range would let a NaN pass.
    const auto check = [low, high, kind](const std::string& text) {
        Number number{};
        if (CLI::detail::lexical_cast(text, number) && number >= low && number <= high) {
            return std::string();
        }
        std::ostringstream wrong;
        wrong << "'" << text << "' is not a " << kind << " from " << low << " to " << high;
        return wrong.str();
    };
    return command.add_option(name, value, description)
        ->check(CLI::Validator(check, ""))
        ->type_name(kind == "number" ? "NUMBER" : "COUNT")
        ->capture_default_str();
}

}  // namespace

CLI::Option* addCalibrationFile(CLI::App& command, std::string& file) {
    return command.add_option("FILE", file, "The calibration file")
        ->required()
        ->option_text("REQUIRED");
}

CLI::Option* addOutput(CLI::App& command, std::string& file, const std::string& description) {
    return command.add_option("-o,--output", file, description)->required()->type_name("FILE");
}

CLI::Option* addDirection(CLI::App& command, Direction& direction) {
    const std::map<std::string, Direction> directions = {
        {nameOf(Direction::undistort), Direction::undistort},
        {nameOf(Direction::distort), Direction::distort}};
    const auto translate = [directions](std::string& text) {
        const auto found = directions.find(text);
        if (found == directions.end()) {
            return "'" + text + "' is neither undistort nor distort";
        }
        text = std::to_string(static_cast<int>(found->second));
        return std::string();
    };
    return command
        .add_option("--direction", direction,
                    "undistort: from the straight image to the recorded one; distort: the inverse")
        ->transform(CLI::Validator(translate, ""))
        ->type_name("undistort|distort")
        ->default_str(nameOf(direction));
}

CLI::Option* addRatio(CLI::App& command, int32_t& ratio) {
    const auto check = [](const std::string& text) {
        int32_t number = 0;
        const bool good = CLI::detail::lexical_cast(text, number) && number >= 1 &&
                          (number == 1 || number % 2 == 0);
        return good ? std::string()
                    : "'" + text + "' is neither 1 nor a positive even number, try 2";
    };
    return command.add_option("--ratio", ratio, "One sample per block of RATIO x RATIO pixels")
        ->check(CLI::Validator(check, ""))
        ->type_name("RATIO")
        ->capture_default_str();
}

CLI::Option* addNumber(CLI::App& command, const std::string& name, double& value, double low,
                       double high, const std::string& description) {
    return addRange(command, name, value, low, high, "number", description);
}

CLI::Option* addNumber(CLI::App& command, const std::string& name, int32_t& value, int32_t low,
                       int32_t high, const std::string& description) {
    return addRange(command, name, value, low, high, "whole number", description);
}
