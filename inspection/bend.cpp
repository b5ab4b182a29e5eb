#include "inspection/bend.h"

#include <cmath>
#include <vector>

#include "inspection/evaluation.h"
#include "inspection/text.h"

void add(Bend& bend, const Camera& camera, Point pixel, Point reached) {
    const double outwards = std::hypot(reached.x - camera.cx, reached.y - camera.cy) -
                            std::hypot(pixel.x - camera.cx, pixel.y - camera.cy);
    const bool isSeen = reached.x >= -0.5 && reached.x <= camera.width - 0.5 && reached.y >= -0.5 &&
                        reached.y <= camera.height - 0.5;
    if (isSeen && std::abs(outwards) > std::abs(bend.outwards)) {
        bend = {outwards, pixel};
    }
}

std::optional<Bend> bendOf(const Image& image) {
    const Camera camera = mainCameraOf(image);
    const std::vector<Point> pixels = pixelsOver(camera, 32);
    const std::vector<Point> reached = Evaluation(image, Direction::undistort).at(pixels);
    Bend bend = {0, {0, 0}};
    for (std::size_t i = 0; i < reached.size(); ++i) {
        add(bend, camera, pixels[i], reached[i]);
    }
    return reached.empty() ? std::nullopt : std::optional(bend);
}

std::string sentenceOf(const Bend& bend) {
    const double pixels = std::abs(bend.outwards);
    return pixels < 0.05
               ? "the lens leaves straight lines straight"
               : format("the lens bends straight lines %s by up to %.1f pixels at (%.0f, %.0f)",
                        bend.outwards > 0 ? "outwards at their ends (pincushion)"
                                          : "inwards at their ends (barrel)",
                        pixels, bend.place.x, bend.place.y);
}
