#include <algorithm>
#include <cmath>
#include <string>

#include "canvas.h"
#include "commands.h"
#include "failure.h"

namespace {

bool isWhite(int32_t row, int32_t col) {
    return (row + col) % 2 == 0;
}

/**
 * Corners lie between pixels, at multiples of the square's side minus a half. Numbers stand at the
 * lower right of their corner, far enough not to disturb who measures it.
 */
void writeNumbers(const Canvas& canvas, int32_t square) {
    constexpr Colour onWhite = {0.35, 0.35, 0.35};
    constexpr Colour onBlack = {0.65, 0.65, 0.65};
    const double size = std::min(square * 0.28, 24.0);
    if (size < 7) {
        return;  // nobody could read them
    }
    canvas.setType(size);
    int number = 1;
    for (int32_t row = 1; row * square < canvas.height(); ++row) {
        for (int32_t col = 1; col * square < canvas.width(); ++col) {
            const double gap = std::max(square * 0.2, 6.0);
            canvas.setColour(isWhite(row, col) ? onWhite : onBlack);
            canvas.write(std::to_string(number++), {col * square + gap, row * square + gap},
                         {0, 0});
        }
    }
}

}  // namespace

int runPattern(const PatternOptions& options) {
    const Canvas canvas(options.width, options.height);
    cairo_set_antialias(canvas.context(), CAIRO_ANTIALIAS_NONE);
    canvas.setColour({0, 0, 0});
    const int32_t square = options.square;
    for (int32_t row = 0; row * square < options.height; ++row) {
        for (int32_t col = 0; col * square < options.width; ++col) {
            if (!isWhite(row, col)) {
                cairo_rectangle(canvas.context(), col * square, row * square, square, square);
            }
        }
    }
    cairo_fill(canvas.context());
    writeNumbers(canvas, square);

    const Picture colour = canvas.picture();
    Picture grey = makePicture(options.width, options.height, 1, 8);
    for (std::size_t i = 0; i < grey.samples.size(); ++i) {
        grey.samples[i] = colour.samples[i * static_cast<std::size_t>(colour.channels)];
    }
    writePng(options.output, grey);
    return exitGood;
}
