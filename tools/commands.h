#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>

#include "calibration.h"

/** What the chosen command does once the command line has been read; returns an `ExitStatus`. */
using Run = std::function<int()>;

// Each adds one command with its options; when it is chosen, it sets `run`.
void addCheckCommand(CLI::App& program, Run& run);
void addDiffCommand(CLI::App& program, Run& run);
void addDrawCommand(CLI::App& program, Run& run);
void addInfoCommand(CLI::App& program, Run& run);
void addMapCommand(CLI::App& program, Run& run);
void addPatternCommand(CLI::App& program, Run& run);
void addRemapCommand(CLI::App& program, Run& run);
void addSampleCommand(CLI::App& program, Run& run);

/** Adds the calibration file that a command reads. */
CLI::Option* addCalibrationFile(CLI::App& command, std::string& file);

/** Adds the required -o of a command that writes a file. */
CLI::Option* addOutput(CLI::App& command, std::string& file, const std::string& description);

/** Adds --direction, undistort or distort. */
CLI::Option* addDirection(CLI::App& command, Direction& direction);

/** Adds --ratio, 1 or a positive even number. */
CLI::Option* addRatio(CLI::App& command, int32_t& ratio);

/** Adds an option for a finite number from `low` to `high`. */
CLI::Option* addNumber(CLI::App& command, const std::string& name, double& value, double low,
                       double high, const std::string& description);

/** Adds an option for a whole number from `low` to `high`. */
CLI::Option* addNumber(CLI::App& command, const std::string& name, int32_t& value, int32_t low,
                       int32_t high, const std::string& description);
