// What a picture shows, compared with a lens whose displacements are known: at a distance r from a
// centre off the middle of a 3:2 image it moves a pixel outwards by r * r / 5000.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <set>
#include <string>
#include <variant>
#include <vector>

#include "inspection/drawing.h"
#include "inspection/figure.h"
#include "inspection/text.h"

namespace {

constexpr Camera camera = {600, 400, 425, 390, 251, 148};
constexpr Point centre = {250.5, 150.25};
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

double movedAt(Point pixel) {
    return (std::pow(pixel.x - centre.x, 2) + std::pow(pixel.y - centre.y, 2)) / 5000;
}

Point lens(Point pixel) {
    const double r = std::hypot(pixel.x - centre.x, pixel.y - centre.y);
    return {pixel.x + (pixel.x - centre.x) * r / 5000, pixel.y + (pixel.y - centre.y) * r / 5000};
}

CoordinateMap mapOf(int32_t width, int32_t height, int32_t ratio,
                    const std::function<Point(Point)>& taken) {
    CoordinateMap map = {height / ratio, width / ratio, ratio, {}, {}};
    const double middle = (ratio - 1) / 2.0;
    for (int32_t row = 0; row < map.rows; ++row) {
        for (int32_t col = 0; col < map.cols; ++col) {
            const Point to = taken({col * ratio + middle, row * ratio + middle});
            map.x.push_back(static_cast<float>((to.x - middle) / ratio));
            map.y.push_back(static_cast<float>((to.y - middle) / ratio));
        }
    }
    return map;
}

Figure figureOfMap(const CoordinateMap& map, const Camera& cameraOfMap, int32_t width = 900,
                   double dotsPerPixel = 0, const std::string& name = "lens.bin") {
    const PixelValues values = displacementsOf(map, displacementOf(map).moved, width);
    return figureOf(layOut(cameraOfMap, width, dotsPerPixel), cameraOfMap, values, mappingOf(map),
                    wordingOf(map, cameraOfMap, Direction::distort, name));
}

const Figure& figure() {
    static const Figure it = figureOfMap(mapOf(600, 400, 1, lens), camera);
    return it;
}

/** The plot of a picture 900 wide: 704 wide and in proportion, at (74, 100). */
Point pixelOf(Point place) {
    return {(place.x - 74) * 600 / 704 - 0.5, (place.y - 100) * 400 / 469 - 0.5};
}
Point placeOf(Point pixel) {
    return {74 + (pixel.x + 0.5) * 704 / 600, 100 + (pixel.y + 0.5) * 469 / 400};
}

using Bytes = std::vector<int>;
Bytes dotAt(const Figure& picture, int col, int row) {
    const auto at = static_cast<std::ptrdiff_t>(4 * (row * picture.layout.plot.width + col));
    return {picture.heatMap.begin() + at, picture.heatMap.begin() + at + 4};
}

/** Lightness of a colour in Oklab, from its sRGB bytes. */
double lightnessOf(const Bytes& dot) {
    const auto linear = [&](std::size_t i) {
        const double value = dot[i] / 255.0;
        return value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
    };
    const double r = linear(0);
    const double g = linear(1);
    const double b = linear(2);
    return 0.2104542553 * std::cbrt(0.4122214708 * r + 0.5363325363 * g + 0.0514459929 * b) +
           0.7936177850 * std::cbrt(0.2119034982 * r + 0.6806995451 * g + 0.1073969566 * b) -
           0.0040720468 * std::cbrt(0.0883024619 * r + 0.2817188376 * g + 0.6299787005 * b);
}

NodeValues nodesOf(int rows, int cols, const std::function<double(double, double)>& value) {
    NodeValues nodes = {rows, cols, {}};
    for (int row = 0; row < rows; ++row) {
        for (int col = 0; col < cols; ++col) {
            nodes.values.push_back(value(col, row));
        }
    }
    return nodes;
}

template <class Kind>
std::vector<Kind> marksOf(const Drawing& drawing) {
    std::vector<Kind> found;
    for (const Mark& mark : drawing.marks) {
        if (const Kind* const kind = std::get_if<Kind>(&mark)) {
            found.push_back(*kind);
        }
    }
    return found;
}

std::set<std::string> textsOf(const Drawing& drawing) {
    std::set<std::string> texts;
    for (const TextMark& mark : marksOf<TextMark>(drawing)) {
        texts.insert(mark.text);
    }
    return texts;
}

bool isClosed(const Polyline& line) {
    return line.front().x == line.back().x && line.front().y == line.back().y;
}

}  // namespace

TEST(Contour, FollowsFieldsThatAreKnown) {
    const auto plane = [](double x, double y) { return 2 * x + 3 * y; };
    const std::vector<Polyline> straight = contourLines(nodesOf(9, 14, plane), 22.5);
    ASSERT_EQ(straight.size(), 1U);
    EXPECT_EQ(straight[0].size(), 20U);  // from row 7.5 on the left to column 11.25 on top
    for (const Point& p : straight[0]) {
        EXPECT_NEAR(plane(p.x, p.y), 22.5, 1e-12);
    }
    // A level that nodes have themselves is met once.
    const auto across = [](double x, double /*y*/) { return x; };
    const std::vector<Polyline> upright = contourLines(nodesOf(5, 6, across), 2);
    ASSERT_EQ(upright.size(), 1U);
    EXPECT_EQ(upright[0].size(), 5U);
    const auto cone = [](double x, double y) { return std::hypot(x - 11.3, y - 8.6); };
    for (const auto& [level, closed] : {std::pair(5.0, true), std::pair(10.0, false)}) {
        const std::vector<Polyline> rings = contourLines(nodesOf(19, 31, cone), level);
        ASSERT_EQ(rings.size(), closed ? 1U : 2U);
        for (const Polyline& ring : rings) {
            EXPECT_EQ(isClosed(ring), closed);
            EXPECT_GT(ring.size(), 2 * level);
            for (std::size_t i = 0; i < ring.size(); ++i) {
                EXPECT_NEAR(cone(ring[i].x, ring[i].y), level, 0.03);
                EXPECT_TRUE(i == 0 ||
                            std::hypot(ring[i].x - ring[i - 1].x, ring[i].y - ring[i - 1].y) < 1.5);
            }
        }
    }
}

TEST(Contour, CutsTheCornersOfASaddleThatItsMiddleIsUnlike) {
    const NodeValues saddle = {2, 2, {1, 0, 0, 1}};
    for (const auto& [level, cut] : {std::pair(0.4, 1.0), std::pair(0.6, 0.0)}) {
        const std::vector<Polyline> lines = contourLines(saddle, level);
        ASSERT_EQ(lines.size(), 2U);
        for (const Polyline& line : lines) {
            ASSERT_EQ(line.size(), 2U);
            // Either the corners at the top left and bottom right are cut off, or the others.
            const double x = (line[0].x + line[1].x) / 2;
            const double y = (line[0].y + line[1].y) / 2;
            EXPECT_NEAR(x + (cut == 1 ? y : 1 - y), 1, 1e-12);
            EXPECT_NEAR(std::abs(x - 0.5), 0.3, 1e-12);
        }
    }
}

TEST(Contour, LeavesOutWhatIsNoNumber) {
    for (const double lost : {notANumber, std::numeric_limits<double>::infinity()}) {
        NodeValues nodes = nodesOf(9, 9, [](double x, double) { return x; });
        nodes.values[4 * 9 + 5] = lost;
        const std::vector<Polyline> lines = contourLines(nodes, 4.75);
        EXPECT_EQ(lines.size(), 2U);
        for (const Point& p : lines.at(0)) {
            EXPECT_TRUE(p.x == 4.75 && p.y <= 3) << p.y;
        }
    }
}

TEST(Figure, ColoursTellHowFarAPixelMoves) {
    EXPECT_NEAR(figure().largest, movedAt({599, 399}), 1e-3);
    EXPECT_NEAR(figure().place.x, placeOf({599, 399}).x, 1e-9);
    EXPECT_NEAR(figure().place.y, placeOf({599, 399}).y, 1e-9);
    for (int row = 0; row < 469; row += 31) {
        for (int col = 0; col < 704; col += 37) {
            const Bytes dot = dotAt(figure(), col, row);
            const double t = movedAt(pixelOf({col + 74.5, row + 100.5})) / figure().largest;
            EXPECT_NEAR(lightnessOf(dot), 0.30 + 0.63 * t, 0.003) << col << ' ' << row;
            EXPECT_EQ(dot[3], 255);
        }
    }
    // Both ends of the scale, and in its middle greener than red or blue.
    EXPECT_EQ(dotAt(figure(), 703, 468), (Bytes{247, 237, 108, 255}));
    const Bytes low = dotAt(figure(), 294, 176);
    EXPECT_TRUE(low[2] > low[0] && low[0] > low[1]);
    const Bytes some = dotAt(figure(), 0, 468);
    EXPECT_TRUE(some[1] > some[2] && some[2] > some[0]);
}

TEST(Figure, CoversWhatItsSamplesSpeakFor) {
    // 85 x 57 samples of 7 x 7 pixels, to column 594 and row 398; the lens itself goes on.
    CoordinateMap map = mapOf(600, 400, 7, lens);
    map.x[map.index(20, 30)] = static_cast<float>(notANumber);
    const Figure coarse = figureOfMap(map, camera);
    const Bytes bare = {237, 237, 240, 255};
    const Bytes lost = {107, 107, 115, 255};
    EXPECT_NE(dotAt(coarse, 697, 400), bare);
    EXPECT_EQ(dotAt(coarse, 698, 400), bare);
    EXPECT_NE(dotAt(coarse, 400, 467), bare);
    EXPECT_EQ(dotAt(coarse, 400, 468), bare);
    const Point hole = placeOf({213, 143});
    EXPECT_EQ(dotAt(coarse, static_cast<int>(hole.x) - 74, static_cast<int>(hole.y) - 100), lost);
    EXPECT_EQ(coarse.mappedGrid.at(0).size(), 401U);
    EXPECT_NEAR(pixelOf(coarse.regularGrid.at(0).back()).y, 398, 1e-9);

    for (float& x : map.x) {
        x = static_cast<float>(notANumber);
    }
    const Figure none = figureOfMap(map, camera);
    EXPECT_EQ(dotAt(none, 5, 5), lost);
    EXPECT_EQ(none.wording.none, "no numbers");
    EXPECT_EQ(none.title.at(2).find("rounding"), std::string::npos);
}

TEST(Figure, GridsGoWhereTheMapTakesThem) {
    ASSERT_EQ(figure().regularGrid.size(), 17U + 12U);
    ASSERT_EQ(figure().mappedGrid.size(), 17U + 12U);
    for (std::size_t line = 0; line < 29; ++line) {
        ASSERT_EQ(figure().mappedGrid[line].size(), 401U);
        for (const int i : {0, 100, 233, 400}) {
            const double along = i / 400.0;
            const auto across = static_cast<double>(line < 17 ? line : line - 17);
            const Point pixel = line < 17 ? Point{599 * across / 16, 399 * along}
                                          : Point{599 * along, 399 * across / 11};
            const Point taken = pixelOf(figure().mappedGrid[line][static_cast<std::size_t>(i)]);
            EXPECT_NEAR(taken.x, lens(pixel).x, 0.01) << line;
            EXPECT_NEAR(taken.y, lens(pixel).y, 0.01) << line;
        }
        const Point last = pixelOf(figure().regularGrid[line].back());
        EXPECT_NEAR(line < 17 ? last.y : last.x, line < 17 ? 399 : 599, 1e-9);
    }
}

TEST(Figure, ContoursAreLabelledWithTheirLevels) {
    std::set<double> levels;
    std::vector<Point> labels;
    for (const ContourLine& contour : figure().contours) {
        levels.insert(contour.level);
        EXPECT_EQ(contour.isOnLight, 0.30 + 0.63 * contour.level / figure().largest > 0.6);
        const double radius = std::sqrt(5000 * contour.level);
        const auto distance = [](Point place) {
            const Point pixel = pixelOf(place);
            return std::hypot(pixel.x - centre.x, pixel.y - centre.y);
        };
        for (const Polyline& piece : contour.pieces) {
            for (const Point& place : piece) {
                EXPECT_NEAR(distance(place), radius, 0.2) << contour.level;
                EXPECT_TRUE(!contour.label || std::hypot(place.x - contour.label->centre.x,
                                                         place.y - contour.label->centre.y) > 7);
            }
        }
        if (!contour.label) {
            continue;
        }
        const auto& [text, place, angle] = *contour.label;
        EXPECT_EQ(std::stod(text), contour.level);
        EXPECT_NEAR(distance(place), radius, 0.2);
        // Along the circle, and never head over heels.
        const Point out = {pixelOf(place).x - centre.x, pixelOf(place).y - centre.y};
        EXPECT_NEAR(std::cos(angle) * out.x + std::sin(angle) * out.y, 0, 0.06 * radius);
        EXPECT_LE(std::abs(angle), std::acos(0.0));
        EXPECT_TRUE(place.x > 98 && place.x < 754 && place.y > 124 && place.y < 545);
        // To the upper right of the plot's middle, where the line has room there.
        EXPECT_TRUE((contour.level != 2.5 && contour.level != 5) ||
                    (place.x >= 426 && place.y <= 334));
        for (const Point& other : labels) {
            EXPECT_GE(std::hypot(other.x - place.x, other.y - place.y), 60);
        }
        labels.push_back(place);
    }
    EXPECT_EQ(levels, (std::set<double>{0.5, 2.5, 5, 10, 15, 20, 25, 30, 35}));
    EXPECT_GE(labels.size(), 7U);
}

TEST(Figure, TicksStandWhereTheirPixelsStand) {
    const auto check = [](const std::vector<Tick>& ticks, double step, std::size_t count,
                          const std::function<double(double)>& place) {
        ASSERT_EQ(ticks.size(), count);
        for (std::size_t i = 0; i < count; ++i) {
            EXPECT_NEAR(ticks[i].value, step * static_cast<double>(i), 1e-9);
            EXPECT_NEAR(ticks[i].place, place(ticks[i].value), 1e-9);
            EXPECT_EQ(std::stod(ticks[i].text), ticks[i].value);
        }
    };
    check(figure().columns, 100, 6, [](double x) { return placeOf({x, 0}).x; });
    check(figure().rows, 100, 4, [](double y) { return placeOf({0, y}).y; });
    check(figure().scale, 5, 8, [](double value) { return 569 - 469 * value / figure().largest; });
    EXPECT_EQ(numberText(0.3, 0.1), "0.3");
    EXPECT_EQ(numberText(30, 10), "30");
    EXPECT_EQ(numberText(2.5e30, 5e29), "2.5e+30");
}

TEST(Figure, AScaleMayEndBelowTheLargest) {
    const CoordinateMap map = mapOf(600, 400, 1, lens);
    PixelValues values = displacementsOf(map, displacementOf(map).moved, 900);
    for (const double top : {11.0, 90.0}) {
        values.top = top;
        const Figure scaled = figureOf(layOut(camera, 900, 0), camera, values, nullptr,
                                       wordingOfDifference(camera, Direction::distort, "a", "b"));
        for (int col = 0; col < 704; col += 37) {
            const double moved = movedAt(pixelOf({col + 74.5, 351.5}));
            EXPECT_NEAR(lightnessOf(dotAt(scaled, col, 251)),
                        0.30 + 0.63 * std::min(moved / top, 1.0), 0.003);
        }
        EXPECT_TRUE(std::all_of(scaled.contours.begin(), scaled.contours.end(),
                                [&](const ContourLine& line) { return line.level < top; }));
        EXPECT_NEAR(scaled.scale[1].place, 569 - 469 * scaled.scale[1].value / top, 1e-9);
        const Tick& last = scaled.scale.back();
        EXPECT_EQ(last.text, top == 11 ? "\u2265 11.0" : "90");
        EXPECT_NEAR(last.place, 100, 1e-9);
        EXPECT_NE(scaled.title[2].find("largest difference " + format("%.3f", values.largest)),
                  std::string::npos);
    }
}

TEST(Figure, WhatWasNotFittedIsHatched) {
    const CoordinateMap map = mapOf(600, 400, 1, lens);
    for (const Direction direction : {Direction::undistort, Direction::distort}) {
        PixelValues values = displacementsOf(map, displacementOf(map).moved, 900);
        values.fitted = FittedView{direction, 20};
        const Figure hatched = figureOf(layOut(camera, 900, 0), camera, values, mappingOf(map),
                                        wordingOf(map, camera, direction, "a"));
        EXPECT_EQ(hatched.title.back(),
                  "Hatched: more than 20\u00b0 off the axis, where nothing was fitted");
        int striped = 0;
        int outside = 0;
        for (int row = 0; row < 469; ++row) {
            for (int col = 0; col < 704; ++col) {
                const Point pixel = pixelOf({col + 74.5, row + 100.5});
                const Point straight = direction == Direction::undistort ? pixel : lens(pixel);
                const double slope = std::hypot((straight.x - camera.cx) / camera.fx,
                                                (straight.y - camera.cy) / camera.fy);
                const double angle = std::atan(slope) * 180 / 3.14159265358979;
                const bool isStripe = dotAt(hatched, col, row) != dotAt(figure(), col, row);
                EXPECT_FALSE(isStripe && angle < 19.99) << col << ' ' << row;
                striped += angle > 20.01 && isStripe ? 1 : 0;
                outside += angle > 20.01 ? 1 : 0;
            }
        }
        EXPECT_GT(outside, 10000);
        EXPECT_NEAR(striped * 8.0, outside, 0.02 * outside);
    }
}

TEST(Figure, ThinnedValuesSpeakForAllOfTheMap) {
    constexpr Camera large = {2403, 1602, 900, 950, 1100, 800};
    CoordinateMap map = mapOf(2403, 1602, 1, lens);
    map.x[map.index(801, 1202)] += 5000;  // left out below, and the largest all the same
    const PixelValues values = displacementsOf(map, displacementOf(map).moved, 500);
    EXPECT_LT(values.nodes.values.size(), 700U * 500U);
    EXPECT_EQ(values.place.x, 1202);
    EXPECT_EQ(values.place.y, 801);
    for (const Point p : {Point{0, 0}, Point{2402, 0}, Point{2401, 1600}, Point{1000.5, 601}}) {
        EXPECT_NEAR(valueAt(values, p), movedAt(p), 0.004 * movedAt(p) + 0.01) << p.x;
    }
    // Continued beyond the last of them, but no distance is less than none.
    PixelValues falling{};
    falling.nodes = nodesOf(2, 2, [](double col, double) { return 1 - col; });
    falling.step = 10;
    EXPECT_NEAR(valueAt(falling, {-2, 5}), 1.2, 1e-9);
    EXPECT_EQ(valueAt(falling, {15, 5}), 0);
    PixelValues apart = valuesForDifference(large, 500);
    for (int32_t row = 0; row < large.height; ++row) {
        std::vector<float> distances(2403);
        for (std::size_t col = 0; col < distances.size(); ++col) {
            distances[col] = static_cast<float>(3 * col) + static_cast<float>(row);
        }
        addRow(apart, row, distances);
    }
    EXPECT_NEAR(valueAt(apart, {1001, 333}), 3336, 1e-3);
    EXPECT_NEAR(valueAt(apart, {2402, 1601}), 8807, 1e-3);
}

TEST(Figure, APartShowsWhatTheWholeHasThere) {
    const CoordinateMap map = mapOf(600, 400, 1, lens);
    const PixelValues values = displacementsOf(map, displacementOf(map).moved, 900);
    const Layout layout = layOut(camera, 900, 0, {0.75, 0.25, 0.25});
    const Figure part = figureOf(layout, camera, values, mappingOf(map), figure().wording);
    ASSERT_EQ(part.heatMap.size(), figure().heatMap.size());
    const auto expectPart = [](Point pixel) {
        EXPECT_TRUE(pixel.x > 448 && pixel.x < 601 && pixel.y > 98 && pixel.y < 201)
            << pixel.x << " " << pixel.y;
    };
    for (const auto& [col, row] : {std::pair(10, 20), {350, 234}, {700, 460}}) {
        const Bytes here = dotAt(part, col, row);
        const Bytes there = dotAt(figure(), 704 * 3 / 4 + col / 4, 469 / 4 + row / 4);
        for (std::size_t i = 0; i < here.size(); ++i) {
            EXPECT_NEAR(here[i], there[i], 4) << col << " " << row;
        }
    }
    std::size_t count = 0;
    for (const ContourLine& line : part.contours) {
        for (const Polyline& piece : line.pieces) {
            for (const Point& place : piece) {
                expectPart(pixelAt(layout, place));
                EXPECT_NEAR(movedAt(pixelAt(layout, place)), line.level, 0.05);
                ++count;
            }
        }
    }
    EXPECT_GT(count, 100U);
    for (const Tick& tick : part.columns) {
        expectPart(pixelAt(layout, {tick.place, layout.plot.top + 1}));
        EXPECT_NEAR(pixelAt(layout, {tick.place, 0}).x, tick.value, 1e-9);
    }
    // The lens takes what lies left of the part into it.
    const auto reachesEdge = [&](const Polyline& line) {
        return std::any_of(line.begin(), line.end(), [&](Point place) {
            const Point pixel = pixelAt(layout, place);
            return pixel.x > 449 && pixel.x < 452 && pixel.y > 100 && pixel.y < 200;
        });
    };
    EXPECT_GE(std::count_if(part.mappedGrid.begin(), part.mappedGrid.end(), reachesEdge), 10);
}

TEST(Drawing, HasAMarkForEverythingThatAFigureShows) {
    const Drawing drawing = drawingOf(figure());
    const std::set<std::string> texts = textsOf(drawing);
    for (const char* const text : {"Distortion map of lens.bin", "column (pixels)", "row (pixels)",
                                   "displacement (pixels)", "a regular grid of the recorded image",
                                   "where it lies when straightened", "500", "35", "2.5"}) {
        EXPECT_EQ(texts.count(text), 1U) << text;
    }
    EXPECT_EQ(figure().title.at(2),
              "600 \u00d7 400 pixels \u00b7 ratio 1: 600 \u00d7 400 samples"
              " \u00b7 largest displacement 36.666 pixels at (599, 399)");
    std::size_t darkPieces = 0;
    for (const ContourLine& contour : figure().contours) {
        darkPieces += contour.isOnLight ? contour.pieces.size() : 0;
    }
    int rings = 0;
    std::size_t gridLines = 0;
    for (const LineMark& mark : marksOf<LineMark>(drawing)) {
        const bool isOnPlot = mark.ink == Ink::regularLine || mark.ink == Ink::mappedLine;
        EXPECT_TRUE(isOnPlot || mark.dashes.empty());
        gridLines += isOnPlot && mark.isClipped ? mark.lines.size() : 0;
        EXPECT_EQ(mark.isClipped, mark.lines.size() > 5 && mark.ink != Ink::text);
        EXPECT_TRUE(mark.ink != Ink::dark || !mark.isClipped || mark.lines.size() == darkPieces);
        const Point from = mark.lines.at(0).at(0);
        const Point place = placeOf({599, 399});
        rings += std::abs(std::hypot(from.x - place.x, from.y - place.y) - 5) < 1e-9 ? 1 : 0;
    }
    for (int ink = 0; ink <= static_cast<int>(Ink::sample); ++ink) {
        for (const bool isDarkPaper : {false, true}) {
            const double opacity = colourOf(static_cast<Ink>(ink), isDarkPaper).opacity;
            EXPECT_TRUE(opacity > 0 && opacity <= 1) << ink;
        }
    }
    EXPECT_EQ(rings, 2);
    EXPECT_EQ(gridLines, 2 * (17U + 12U));  // 11 rows of cells, 16 columns
    const std::vector<ImageMark> images = marksOf<ImageMark>(drawing);
    ASSERT_EQ(images.size(), 2U);
    EXPECT_EQ(images[0].dots, figure().heatMap);
    const std::vector<uint8_t>& scale = images[1].dots;
    EXPECT_EQ(static_cast<int32_t>(scale.size()), 4 * images[1].width * images[1].height);
    EXPECT_GT(lightnessOf({scale.begin(), scale.begin() + 4}), 0.92);  // the most is at the top
}

TEST(Drawing, IsTwiceAsLargeOnPaperTwiceAsWide) {
    const CoordinateMap map = mapOf(600, 400, 1, lens);
    // A name that is shortened, to the same letters.
    const std::string name = std::string(200, 'x') + ".bin";
    const Drawing once = drawingOf(figureOfMap(map, camera, 900, 0, name));
    const Drawing twice = drawingOf(figureOfMap(map, camera, 1800, 0, name));
    EXPECT_NEAR(twice.height, 2 * once.height, 2);
    const auto wordsOf = [](const Drawing& drawing, double scale) {
        std::vector<TextMark> words = marksOf<TextMark>(drawing);
        std::erase_if(words, [&](const TextMark& mark) { return mark.size == labelSize * scale; });
        return words;
    };
    const std::vector<TextMark> small = wordsOf(once, 1);
    const std::vector<TextMark> large = wordsOf(twice, 2);
    ASSERT_EQ(large.size(), small.size());
    for (std::size_t i = 0; i < small.size(); ++i) {
        EXPECT_EQ(large[i].text, small[i].text);
        EXPECT_NEAR(large[i].place.x, 2 * small[i].place.x, 2) << small[i].text;
        EXPECT_NEAR(large[i].place.y, 2 * small[i].place.y, 2) << small[i].text;
        EXPECT_NEAR(large[i].room, 2 * small[i].room, 2) << small[i].text;
        EXPECT_EQ(large[i].size, 2 * small[i].size) << small[i].text;
    }
    const std::vector<LineMark> thin = marksOf<LineMark>(once);
    const std::vector<LineMark> thick = marksOf<LineMark>(twice);
    ASSERT_EQ(thick.size(), thin.size());
    for (std::size_t i = 0; i < thin.size(); ++i) {
        EXPECT_EQ(thick[i].width, 2 * thin[i].width) << i;
        ASSERT_EQ(thick[i].dashes.size(), thin[i].dashes.size());
        for (std::size_t j = 0; j < thin[i].dashes.size(); ++j) {
            EXPECT_EQ(thick[i].dashes[j], 2 * thin[i].dashes[j]) << i;
        }
    }
    const std::vector<AreaMark> narrow = marksOf<AreaMark>(once);
    const std::vector<AreaMark> wide = marksOf<AreaMark>(twice);
    ASSERT_EQ(wide.size(), narrow.size());
    for (std::size_t i = 0; i < narrow.size(); ++i) {
        EXPECT_NEAR(wide[i].area.left, 2 * narrow[i].area.left, 2) << i;
        EXPECT_NEAR(wide[i].area.top, 2 * narrow[i].area.top, 2) << i;
        EXPECT_NEAR(wide[i].area.width, 2 * narrow[i].area.width, 2) << i;
        EXPECT_NEAR(wide[i].area.height, 2 * narrow[i].area.height, 2) << i;
    }
}

TEST(Drawing, LeavesOutTheWordsAroundAPlotOnASmallScreen) {
    const Drawing small = drawingOf(figureOfMap(mapOf(600, 400, 4, lens), camera, 700, 2));
    EXPECT_EQ(small.plot.left, 80);
    EXPECT_EQ(small.plot.top, 24);
    for (const TextMark& mark : marksOf<TextMark>(small)) {
        EXPECT_TRUE(mark.size == 25 || mark.size == 23) << mark.size;
        EXPECT_EQ(mark.text.find_first_not_of(".0123456789"), std::string::npos) << mark.text;
    }
    EXPECT_EQ(textsOf(drawingOf(figureOfMap(mapOf(600, 400, 4, lens), camera, 1200, 2)))
                  .count("column (pixels)"),
              1U);
}

TEST(Drawing, SaysWhyThereIsNothingToBeSeen) {
    const auto stay = [](Point pixel) { return pixel; };
    const Figure still = figureOfMap(mapOf(600, 400, 1, stay), camera);
    EXPECT_EQ(still.largest, 0);
    EXPECT_TRUE(still.contours.empty() && still.scale.empty());
    EXPECT_EQ(textsOf(drawingOf(still)).count("no distortion"), 1U);
    EXPECT_NE(still.title.at(2).find("displacement: none (at most 0 pixels"), std::string::npos);
    const Figure one = figureOfMap(mapOf(600, 400, 400, stay), camera);
    EXPECT_EQ(textsOf(drawingOf(one)).count("the one sample does not move"), 1U);
    const Wording equal = wordingOfDifference(camera, Direction::undistort, "a", "b");
    EXPECT_EQ(equal.title + equal.name, "Undistortion maps of a and b");
    EXPECT_EQ(equal.none, "no difference");
}

TEST(Drawing, GivesAllThatIsWrittenItsRoom) {
    const Figure slender = figureOfMap(mapOf(2000, 40, 1, lens), {2000, 40, 900, 950, 999, 20});
    EXPECT_NEAR(slender.layout.stretch, 2000.0 / 40 / 12, 1e-9);
    EXPECT_EQ(slender.layout.plot.height, 59);
    EXPECT_EQ(slender.title.at(3), "Not in proportion: drawn 4.17 times as high as it is");
    EXPECT_EQ(textsOf(drawingOf(slender)).count("row"), 1U);
    const std::string name = std::string(80, 'n') + "\n.bin";
    const Figure named = figureOfMap(mapOf(600, 400, 4, lens), camera, 900, 0, name);
    EXPECT_EQ(named.title.at(0).find("Distortion map of nnnn"), 0U);
    EXPECT_NE(named.title.at(0).find("\u2026nnn"), std::string::npos);
    EXPECT_NE(named.title.at(0).find("nnn\\x0a.bin"), std::string::npos);
    // The type that we know is 0.71 of its size wide where it is bold: n is one of its usual
    // letters.
    EXPECT_NEAR(static_cast<double>(named.title.at(0).size()) * 0.66 * 17, 806, 50);
}
