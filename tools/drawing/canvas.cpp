#include "drawing/canvas.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>

Canvas::Canvas(int width, int height)
    : width_(width),
      height_(height),
      surface_(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height)),
      context_(cairo_create(surface_.get())) {
    if (cairo_status(context_.get()) != CAIRO_STATUS_SUCCESS) {
        throw std::bad_alloc();
    }
    cairo_font_options_t* const options = cairo_font_options_create();
    cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
    cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
    cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
    cairo_set_font_options(context_.get(), options);
    cairo_font_options_destroy(options);
    setColour({1, 1, 1});
    cairo_paint(context_.get());
}

void Canvas::setColour(Colour colour, double opacity) const {
    cairo_set_source_rgba(context(), colour.red, colour.green, colour.blue, opacity);
}

void Canvas::setType(double size, bool bold) const {
    cairo_select_font_face(context(), "sans-serif", CAIRO_FONT_SLANT_NORMAL,
                           bold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(context(), size);
}

double Canvas::widthOf(const std::string& text) const {
    cairo_text_extents_t extents;
    cairo_text_extents(context(), text.c_str(), &extents);
    return extents.x_advance;
}

void Canvas::write(const std::string& text, Point place, Point anchor, double angle) const {
    cairo_text_extents_t digit;
    cairo_text_extents(context(), "0", &digit);
    cairo_save(context());
    cairo_translate(context(), place.x, place.y);
    cairo_rotate(context(), angle);
    cairo_move_to(context(), -anchor.x * widthOf(text), (1 - anchor.y) * digit.height);
    cairo_show_text(context(), text.c_str());
    cairo_restore(context());
}

void Canvas::paint(int left, int top, int width, int height,
                   const std::function<Colour(int col, int row)>& colourAt) {
    const auto byte = [](double component) {
        return static_cast<uint32_t>(std::lround(component * 255));
    };
    cairo_surface_flush(surface_.get());
    for (int row = 0; row < height; ++row) {
        for (int col = 0; col < width; ++col) {
            const Colour colour = colourAt(col, row);
            const uint32_t pixel =
                byte(colour.red) << 16 | byte(colour.green) << 8 | byte(colour.blue);
            std::memcpy(pixelAt(left + col, top + row), &pixel, sizeof pixel);
        }
    }
    cairo_surface_mark_dirty(surface_.get());
}

unsigned char* Canvas::pixelAt(int col, int row) const {
    return cairo_image_surface_get_data(surface_.get()) +
           static_cast<std::ptrdiff_t>(row) * cairo_image_surface_get_stride(surface_.get()) +
           static_cast<std::ptrdiff_t>(col) * static_cast<std::ptrdiff_t>(sizeof(uint32_t));
}

Picture Canvas::picture() const {
    cairo_surface_flush(surface_.get());
    Picture result = makePicture(width_, height_, 3, 8);
    auto sample = result.bytes.begin();
    for (int32_t row = 0; row < height_; ++row) {
        for (int32_t col = 0; col < width_; ++col) {
            uint32_t pixel = 0;
            std::memcpy(&pixel, pixelAt(col, row), sizeof pixel);
            for (const int shift : {16, 8, 0}) {
                *sample++ = static_cast<uint8_t>(pixel >> shift & 0xFF);
            }
        }
    }
    return result;
}
