#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "calibration_file.h"
#include "commands/commands.h"
#include "diagnostics.h"
#include "failure.h"
#include "input.h"
#include "inspection/evaluation.h"
#include "inspection/soundness.h"
#include "inspection/text.h"
#include "maps.h"
#include "number.h"

namespace {

struct PointOptions {
    std::string file;
    std::vector<std::string> position;
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

/** Two numbers with a comma or blanks between them; throws a `Failure` if the text is not that. */
Point positionFrom(const std::string& subject, const std::string& text) {
    std::string line = text;
    if (line.find_first_of(",;") == std::string::npos) {
        line.insert(std::min(line.find_first_of(" \t"), line.size()), 1, ',');
    }
    const std::vector<std::string_view> cells = cellsOf(line);
    const std::optional<double> x = numberFrom(cells.front());
    const std::optional<double> y = numberFrom(cells.back());
    if (cells.size() != 2 || !x || !y || !std::isfinite(*x) || !std::isfinite(*y)) {
        throw Failure(subject, quoted(text) + " is not a position",
                      "give a column and a row in pixels");
    }
    return {*x, *y};
}

constexpr std::size_t longestLine = 1000;

/** Reads a line without its end, and not much more than a good one has; false when there is none.
 */
bool readLine(std::FILE* file, std::string& line) {
    line.clear();
    int character = std::getc(file);
    const bool isAny = character != EOF;
    for (; character != EOF && character != '\n' && line.size() <= longestLine;
         character = std::getc(file)) {
        line += static_cast<char>(character);
    }
    return isAny;
}

void printPlacesOfLines(const Evaluation& evaluation) {
    const InputFile input = openInput("-");
    std::string line;
    for (int number = 1; readLine(input.get(), line); ++number) {
        const std::string subject = format("standard input, line %d", number);
        if (line.size() > longestLine) {
            throw Failure(subject, "is longer than a position",
                          "give a column and a row in pixels");
        }
        const std::string text(trimmed(line));
        if (!text.empty()) {
            printPlace(evaluation, subject, positionFrom(subject, text));
        }
    }
    if (std::ferror(input.get()) != 0) {
        throw Failure("standard input", "cannot be read", "check what it is connected to");
    }
}

int run(const PointOptions& options) {
    const Image image = loadCalibration(options.file);
    if (const auto faults = modelFaults(image, options.direction); !faults.empty()) {
        throw Failure(inputName(options.file), faults.front(), calibrateAgain);
    }
    mentionUncovered(options.file, image, options.direction);
    const Evaluation evaluation(image, options.direction);
    if (options.position.empty()) {
        printPlacesOfLines(evaluation);
        return exitGood;
    }
    std::string text;
    for (const std::string& word : options.position) {
        text += (text.empty() ? "" : " ") + word;
    }
    printPlace(evaluation, "point", positionFrom("point", text));
    return exitGood;
}

}  // namespace

void addPoint(Program& program) {
    auto [command, options] =
        program.add("point", run, "Say where positions of one image lie in the other");
    command.file("FILE", options->file, "The calibration file, - for standard input");
    command.position("POSITION", options->position, "Column and row, in pixels");
    command.direction(options->direction);
    command.explain(
        "Prints the column and the row, in pixels, with four decimals. Without a position it "
        "reads\n"
        "lines of two numbers from standard input and prints a line for each. Pixel centres are\n"
        "whole numbers, and (0, 0) is the first. To take a position of a recorded picture to the\n"
        "straight one, say --direction distort, as docs/maps.md explains.\n\n"
        "Example:\n  calibmap point stereoParams.bin 12.5 300 --direction distort");
}
