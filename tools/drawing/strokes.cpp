#include "drawing/strokes.h"

#include <algorithm>
#include <cstddef>
#include <variant>

#include "drawing/canvas.h"

namespace {

void setInk(const Canvas& canvas, Ink ink) {
    const InkColour colour = colourOf(ink, false);
    canvas.setColour(colour.colour, colour.opacity);
}

void addPath(cairo_t* cr, const Polyline& line) {
    cairo_new_sub_path(cr);
    for (const Point& point : line) {
        cairo_line_to(cr, point.x, point.y);
    }
    const bool isClosed =
        line.size() > 2 && line.front().x == line.back().x && line.front().y == line.back().y;
    if (isClosed) {
        cairo_close_path(cr);
    }
}

/** Puts one mark after the other on the canvas. */
struct Stroke {
    Canvas& canvas;
    const Rectangle& plot;

    void operator()(const ImageMark& mark) const {
        canvas.paint(mark.left, mark.top, mark.width, mark.height, [&mark](int col, int row) {
            const std::size_t i = std::size_t{4} * (static_cast<std::size_t>(row) *
                                                        static_cast<std::size_t>(mark.width) +
                                                    static_cast<std::size_t>(col));
            return Colour{mark.dots[i] / 255.0, mark.dots[i + 1] / 255.0, mark.dots[i + 2] / 255.0};
        });
    }

    void operator()(const AreaMark& mark) const {
        setInk(canvas, mark.ink);
        cairo_rectangle(canvas.context(), mark.area.left, mark.area.top, mark.area.width,
                        mark.area.height);
        cairo_fill(canvas.context());
    }

    void operator()(const LineMark& mark) const {
        cairo_t* const cr = canvas.context();
        cairo_save(cr);
        if (mark.isClipped) {
            cairo_rectangle(cr, plot.left, plot.top, plot.width, plot.height);
            cairo_clip(cr);
        }
        setInk(canvas, mark.ink);
        cairo_set_line_width(cr, mark.width);
        cairo_set_line_join(cr, CAIRO_LINE_JOIN_ROUND);
        cairo_set_dash(cr, mark.dashes.data(), static_cast<int>(mark.dashes.size()), 0);
        for (const Polyline& line : mark.lines) {
            addPath(cr, line);
        }
        cairo_stroke(cr);
        cairo_restore(cr);
    }

    void operator()(const TextMark& mark) const {
        setInk(canvas, mark.ink);
        canvas.setType(mark.size, mark.isBold);
        if (const double width = canvas.widthOf(mark.text); mark.room > 0 && width > mark.room) {
            canvas.setType(mark.size * mark.room / width, mark.isBold);
        }
        canvas.write(mark.text, mark.place, mark.anchor, mark.angle);
    }
};

}  // namespace

Picture stroked(const Drawing& drawing) {
    Canvas canvas(drawing.width, drawing.height);
    for (const Mark& mark : drawing.marks) {
        std::visit(Stroke{canvas, drawing.plot}, mark);
    }
    return canvas.picture();
}
