#include <algorithm>
#include <cmath>
#include <numbers>
#include <string>

#include "commands/commands.h"
#include "drawing/canvas.h"
#include "failure.h"
#include "inspection/text.h"
#include "progress.h"

namespace {

struct PatternOptions {
    std::string output;
    int32_t width = 640;
    int32_t height = 480;
    int32_t square = 40;
};

bool isWhite(int32_t row, int32_t col) {
    return (row + col) % 2 == 0;
}

/**
 * How far, from 0 to 1, a pixel has left the nearest edge between two squares. Edges are a few
 * pixels wide, as a camera would see them: interpolation cannot keep the place of a sharper one.
 */
double awayFromEdge(int32_t pixel, int32_t square, int32_t size) {
    constexpr double halfWidth = 2.5;
    const double place = pixel + 0.5;
    const double edge = std::round(place / square) * square;
    const bool isBorder = edge <= 0 || edge >= size;
    return isBorder
               ? 1
               : std::sin(std::numbers::pi / 2 * std::min(std::abs(place - edge) / halfWidth, 1.0));
}

/**
 * Corners lie between pixels, at multiples of the square's side minus a half. Numbers stand at the
 * lower right of their corner, far enough not to disturb who measures it.
 */
void writeNumbers(const Canvas& canvas, int32_t square) {
    constexpr Colour onWhite = {0.35, 0.35, 0.35};
    constexpr Colour onBlack = {0.65, 0.65, 0.65};
    const double size = std::min(square * 0.25, 16.0);
    if (size < 7) {
        return;  // nobody could read them
    }
    canvas.setType(size);
    int number = 1;
    for (int32_t row = 1; row * square < canvas.height(); ++row) {
        for (int32_t col = 1; col * square < canvas.width(); ++col) {
            const double gap = std::max(size, 6.0);
            canvas.setColour(isWhite(row, col) ? onWhite : onBlack);
            canvas.write(std::to_string(number++), {col * square + gap, row * square + gap},
                         {0, 0});
        }
    }
}

int run(const PatternOptions& options) {
    const int32_t square = options.square;
    if (square >= options.width || square >= options.height) {
        throw Failure("pattern",
                      format("squares of %d pixels have no corner in a picture of %d x %d", square,
                             options.width, options.height),
                      "choose a smaller --square");
    }
    const Progress progress("drawing the checkerboard");
    Canvas canvas(options.width, options.height);
    canvas.paint(0, 0, options.width, options.height, [&](int col, int row) {
        const double contrast =
            awayFromEdge(row, square, options.height) * awayFromEdge(col, square, options.width);
        const double grey = 0.5 + (isWhite(row / square, col / square) ? 0.5 : -0.5) * contrast;
        return Colour{grey, grey, grey};
    });
    writeNumbers(canvas, square);

    const Picture colour = canvas.picture();
    Picture grey = makePicture(options.width, options.height, 1, 8);
    for (std::size_t i = 0; i < grey.bytes.size(); ++i) {
        grey.bytes[i] = colour.bytes[i * static_cast<std::size_t>(colour.channels)];
    }
    writePng(options.output, grey);
    return exitGood;
}

}  // namespace

void addPattern(Program& program) {
    auto [command, options] =
        program.add("pattern", run, "Draw a checkerboard with numbered corners to try remap on");
    command.pictureOutput(options->output);
    command.number("--width", options->width, 16, 8192, "Width in pixels");
    command.number("--height", options->height, 16, 8192, "Height in pixels");
    command.number("--square", options->square, 4, 4096, "Side of a square in pixels");
    command.explain(
        "Writes an 8-bit grey PNG picture. The corners are numbered from the top left.\n\n"
        "Example:\n  calibmap pattern --width 640 --height 480 -o board.png");
}
