#pragma once

#include <cairo.h>

#include <functional>
#include <memory>
#include <string>

#include "drawing/picture.h"
#include "inspection/colour.h"
#include "inspection/point.h"

/** A white picture to draw on, with the origin at the top left. */
class Canvas {
  public:
    Canvas(int width, int height);

    [[nodiscard]] cairo_t* context() const { return context_.get(); }
    [[nodiscard]] int width() const { return width_; }
    [[nodiscard]] int height() const { return height_; }

    /** Chooses the colour of what is drawn next. */
    void setColour(Colour colour, double opacity = 1) const;

    /** Chooses the type of the texts that are written next. */
    void setType(double size, bool bold = false) const;

    /** Width of a text in the chosen type. */
    [[nodiscard]] double widthOf(const std::string& text) const;

    /**
     * Writes a text, turned about the given point. `anchor` says where in the text that lies: 0
     * left or top, 1 right or bottom; the height that counts is that of digits.
     */
    void write(const std::string& text, Point place, Point anchor, double angle = 0) const;

    /** Overwrites all pixels of an area. */
    void paint(int left, int top, int width, int height,
               const std::function<Colour(int col, int row)>& colourAt);

    /** What has been drawn, as RGB. */
    [[nodiscard]] Picture picture() const;

  private:
    struct Release {
        void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
        void operator()(cairo_t* context) const { cairo_destroy(context); }
    };
    [[nodiscard]] unsigned char* pixelAt(int col, int row) const;

    int width_;
    int height_;
    std::unique_ptr<cairo_surface_t, Release> surface_;
    std::unique_ptr<cairo_t, Release> context_;
};
