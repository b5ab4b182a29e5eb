#include <cmath>
#include <cstdio>
#include <memory>
#include <optional>
#include <sstream>
#include <string>

#include "calibration_file.h"
#include "commands/commands.h"
#include "diagnostics.h"
#include "failure.h"
#include "input.h"
#include "inspection/evaluation.h"
#include "inspection/soundness.h"
#include "inspection/text.h"
#include "maps.h"

namespace {

struct PointOptions {
    std::string file;
    std::optional<double> x;
    std::optional<double> y;
    Direction direction = Direction::undistort;
};

/** Where the map takes a position; throws a `Failure` that begins with `subject` if nowhere. */
void printPlace(const Evaluation& evaluation, const std::string& subject, Point pixel) {
    if (!evaluation.covers(pixel)) {
        throw Failure(
            subject,
            format("(%g, %g) lies outside the break points of the model", pixel.x, pixel.y),
            "give a position in the image");
    }
    const std::optional<Point> place = [&] {
        const DiagnosticCapture capture;
        return evaluation.at(pixel);
    }();
    if (!place || !std::isfinite(place->x) || !std::isfinite(place->y)) {
        throw Failure(subject, format("the model takes (%g, %g) to no place", pixel.x, pixel.y),
                      "see the reason with `calibmap check`");
    }
    std::printf("%.4f %.4f\n", place->x, place->y);
}

/** One line of input: two numbers with spaces or a comma between them. */
std::optional<Point> parsed(std::string line) {
    for (char& character : line) {
        character = character == ',' ? ' ' : character;
    }
    std::istringstream stream(line);
    Point point{};
    std::string rest;
    const bool isGood = stream >> point.x >> point.y && !(stream >> rest);
    return isGood ? std::optional(point) : std::nullopt;
}

/** Reads a line without its end; false when there is none. */
bool readLine(std::FILE* file, std::string& line) {
    line.clear();
    int character = std::getc(file);
    const bool isAny = character != EOF;
    for (; character != EOF && character != '\n'; character = std::getc(file)) {
        line += static_cast<char>(character);
    }
    return isAny;
}

void printPlacesOfLines(const Evaluation& evaluation) {
    const InputFile input = openInput("-");
    std::string line;
    for (int number = 1; readLine(input.get(), line); ++number) {
        line.erase(line.find_last_not_of(" \t\r") + 1);
        if (line.empty()) {
            continue;
        }
        const std::string subject = format("standard input, line %d", number);
        const std::optional<Point> pixel = parsed(line);
        if (!pixel) {
            throw Failure(subject, "'" + shortened(shown(line), 40) + "' is not a position",
                          "give a column and a row in pixels");
        }
        printPlace(evaluation, subject, *pixel);
    }
    if (std::ferror(input.get()) != 0) {
        throw Failure("standard input", "cannot be read", "check what it is connected to");
    }
}

int run(const PointOptions& options) {
    if (options.x.has_value() != options.y.has_value()) {
        throw Failure("point", "one coordinate is missing", "give both X and Y or none");
    }
    const Image image = loadCalibration(options.file);
    if (const auto faults = modelFaults(image, options.direction); !faults.empty()) {
        throw Failure(inputName(options.file), faults.front(), calibrateAgain);
    }
    mentionUncovered(options.file, image, options.direction);
    const Evaluation evaluation(image, options.direction);
    if (options.x) {
        printPlace(evaluation, "point", {*options.x, *options.y});
    } else {
        printPlacesOfLines(evaluation);
    }
    return exitGood;
}

}  // namespace

void addPoint(Program& program) {
    auto [command, options] =
        program.add("point", run, "Say where positions of one image lie in the other");
    command.file("FILE", options->file, "The calibration file, - for standard input");
    command.position("X", options->x, "Column of the position, in pixels");
    command.position("Y", options->y, "Row of the position, in pixels");
    command.direction(options->direction);
    command.explain(
        "Prints the column and the row, in pixels, with four decimals. Without X and Y it reads\n"
        "lines of two numbers from standard input and prints a line for each. Pixel centres are\n"
        "whole numbers, and (0, 0) is the first. To take a position of a recorded picture to the\n"
        "straight one, say --direction distort, as docs/maps.md explains.\n\n"
        "Example:\n  calibmap point stereoParams.bin 12.5 300 --direction distort");
}
