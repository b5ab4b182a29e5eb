// What is said of files and maps, held against numbers that are computed in another way.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <set>
#include <tuple>

#include "calibration_image.h"
#include "inspection/check.h"
#include "inspection/difference.h"
#include "inspection/evaluation.h"
#include "inspection/fields.h"
#include "inspection/figure.h"
#include "inspection/info.h"
#include "inspection/look_up.h"
#include "inspection/npy.h"
#include "inspection/remap.h"

namespace {

constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float inf = std::numeric_limits<float>::infinity();

/** A sealed image with other values from the first of a field on. */
Image with(const std::string& name, const std::vector<double>& values) {
    Image image = unsealedImage();
    set(image.data(), name, values);
    seal(image.data());
    return image;
}

/** Whether a regular expression describes all of a text. */
testing::AssertionResult matches(const std::string& text, const std::string& expected) {
    const testing::Matcher<std::string> matcher(testing::MatchesRegex(expected));
    return (matcher.Matches(text) ? testing::AssertionSuccess() : testing::AssertionFailure())
           << text;
}

/** The identity, and all of a model's coefficients moved: B-splines sum to one, and so does this.
 */
Image moved(const std::string& model, float x, float y) {
    Image image = unsealedImage();
    for (std::size_t i = 0; i < gridCells; ++i) {
        put<float>(image.data(), model + ".x", {get<float>(image.data(), model + ".x", i) + x}, i);
        put<float>(image.data(), model + ".y", {get<float>(image.data(), model + ".y", i) + y}, i);
    }
    seal(image.data());
    return image;
}

TEST(Statistics, AreThoseOfTheSortedDistances) {
    std::mt19937 random(4);
    std::lognormal_distribution<double> lengths(0, 2);
    Distances distances;
    std::vector<double> sorted;
    for (int i = 0; i < 10007; ++i) {
        sorted.push_back(lengths(random));
        add(distances, sorted.back(), {i * 1.0, i * 2.0});
    }
    const double most =
        static_cast<double>(std::max_element(sorted.begin(), sorted.end()) - sorted.begin());
    for (const double lost : {static_cast<double>(nan), HUGE_VAL}) {
        add(distances, lost, {-1, -1});
    }
    std::sort(sorted.begin(), sorted.end());
    const auto sum = [&](auto&& f) {
        double all = 0;
        for (const double each : sorted) {
            all += f(each);
        }
        return all / 10007;
    };
    const Statistics told = statisticsOf(distances);
    EXPECT_EQ(told.largest, sorted.back());
    EXPECT_EQ((std::array{told.place.x, told.place.y}), (std::array{most, most * 2}));
    EXPECT_NEAR(told.mean, sum([](double d) { return d; }), 1e-9);
    EXPECT_NEAR(told.rootMeanSquare, std::sqrt(sum([](double d) { return d * d; })), 1e-9);
    EXPECT_EQ((std::array{told.count, told.lost}), (std::array<std::size_t, 2>{10007, 2}));
    // The least value that at least this share of all does not exceed.
    EXPECT_NEAR(told.median, sorted[5003], sorted[5003] / 1000);
    EXPECT_NEAR(told.percentile95, sorted[9506], sorted[9506] / 1000);
    EXPECT_NEAR(told.percentile99, sorted[9906], sorted[9906] / 1000);
    Distances single;
    add(single, 3.5, {1, 2});
    const Statistics one = statisticsOf(single);
    EXPECT_EQ((std::array{one.mean, one.rootMeanSquare, one.percentile99}),
              (std::array{3.5, 3.5, 3.5}));
}

TEST(Info, AnglesAreThoseBetweenTheRaysOfTheEdges) {
    CameraIntrinsics camera{};
    camera.imageWidth = 640;
    camera.imageHeight = 427;
    camera.fx = 400;
    camera.fy = 310;
    camera.cx = 250;
    camera.cy = 300;
    const FieldOfView view = fieldOfView(camera);
    const double degree = std::acos(-1.0) / 180;
    EXPECT_NEAR(view.horizontal * degree, std::atan2(250.5, 400) + std::atan2(389.5, 400), 1e-12);
    EXPECT_NEAR(view.vertical * degree, std::atan2(300.5, 310) + std::atan2(126.5, 310), 1e-12);
    const std::array a = {-250.5 / 400, -300.5 / 310, 1.0};
    const std::array b = {389.5 / 400, 126.5 / 310, 1.0};
    const double cross =
        std::hypot(a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]);
    const double dot = a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
    EXPECT_NEAR(view.diagonal * degree, std::atan2(cross, dot), 1e-12);
}

TEST(Info, MarksTheRowsWhoseBytesDiffer) {
    const Image image = calibrationImage();
    const auto differing = [&](const Image& other) {
        std::string names;
        for (const ParameterSection& section : parametersOf(image, true, &other)) {
            for (const ParameterRow& row : section.rows) {
                names += row.differs ? section.name.substr(0, 4) + "/" + row.name + " " : "";
            }
        }
        return names;
    };
    EXPECT_EQ(differing(image), "");
    EXPECT_EQ(differing(with("cy", {11.500001})), "main/principal point main/field of view ");
    EXPECT_EQ(differing(moved("undistortion", 0, 1e-6F)).substr(0, 35),
              "undi/ycorrect[0] undi/ycorrect[12] ");
    EXPECT_EQ(differing(with("ypieces", {9})), "corr/pieces ");
}

TEST(Check, TellsWhatIsWrong) {
    const auto said = [](const Image& image) { return sentenceOf(checkOf("a", image, 1)); };
    EXPECT_EQ(said(calibrationImage()).substr(0, 62),
              "a: accepted and usable, status 0, maps undo each other within ");
    const std::tuple<const char*, std::vector<double>, const char*> cases[] = {
        {"fx", {HUGE_VAL}, "main.fx is inf"},
        {"fy", {-28}, "main.fy is -28 and not positive"},
        {"ky", {5}, "the orders are 7 and 5, .*10 with the 4 along y"},
        {"xpieces", {0}, "a piece count is 0"},
        {"height", {-24}, "the image size is 32 x -24"},
        {"width", {34}, "column 33 of the image lies outside the break points of the undistort .*"},
        {"width",
         {1e9},
         "the image of 1000000000 x 24 pixels is too large for a map of ratio 1; .*"},
        {"undistortion.x",
         {std::nan(""), std::nan("")},
         "undistortion.xcorrect\\[0\\] is nan, as 2 of its values"},
        {"distortion.ybreaks", {1, 0}, "the y break points of the distort model do not increase.*"},
    };
    for (const auto& [name, values, text] : cases) {
        EXPECT_TRUE(matches(said(with(name, values)),
                            "a: accepted but not usable, status 0: " + std::string(text)));
    }
    // Each range's own byte, and one of nobody's.
    for (const auto& [at, ranges] : {std::pair{50, "main camera and whole file"},
                                     {4130, "sub camera and whole file"},
                                     {6230, "extrinsics and whole file"},
                                     {6258, "whole file"},
                                     {6267, "whole file"}}) {
        Image image = calibrationImage();
        image[static_cast<std::size_t>(at)] ^= 4;
        const CheckInWords words = inWords(checkOf("a", image, 1));
        EXPECT_EQ(words.headline, "Refused: a device does not take this file");
        EXPECT_EQ(words.reasons.at(0), std::string("the checksum does not hold (") + ranges + ")");
        for (const RangeInWords& range : words.ranges) {
            EXPECT_EQ(range.isWrong, std::string(ranges).find(range.name) != std::string::npos);
            EXPECT_EQ(range.isWrong, range.stored != range.computed);
        }
        EXPECT_EQ(words.ranges.at(1).bytes, "4126..6225");
    }
    EXPECT_EQ(said(with("pass", {3})),
              "a: refused, status 10: the pass flag is 3, so the calibration "
              "failed, have the device calibrated again");
}

TEST(Check, MeasuresHowWellTheMapsUndoEachOther) {
    // Moved by 0.3 pixels across, 0.56 down: fx is 30 and fy 28.
    const Image image = moved("distortion", 0.01F, -0.02F);
    const RoundTrip trip = roundTripOf(image);
    EXPECT_NEAR(trip.largest, std::hypot(0.3, 0.56), 1e-5);
    EXPECT_GT(trip.compared, 1800U);
    EXPECT_TRUE(usabilityOf(image, 0.64).faults.empty());
    const Check check = checkOf("a", image, 0.63);
    EXPECT_NE(sentenceOf(check).find("comes back 0.635 pixels away, beginning with the "),
              std::string::npos);
    EXPECT_EQ(inWords(check).headline,
              "Accepted but not usable: a device takes this file, but cannot use it");
    EXPECT_EQ(usabilityOf(moved("distortion", 9, 9), 1).faults.size(), 1U);
    // The outermost break points belong to what they enclose.
    const auto number = [&](const char* name, std::size_t i = 0) {
        return static_cast<double>(get<float>(image.data(), name, i));
    };
    const Evaluation enclosed(image, Direction::undistort);
    for (const bool right : {false, true}) {
        for (const bool below : {false, true}) {
            const double u = number("undistortion.xbreaks", right ? CALIBMAP_X_BREAK_COUNT - 1 : 0);
            const double v = number("undistortion.ybreaks", below ? CALIBMAP_Y_BREAK_COUNT - 1 : 0);
            const Point corner = {number("cx") + number("fx") * u, number("cy") + number("fy") * v};
            EXPECT_TRUE(enclosed.covers(corner)) << right << below;
            EXPECT_FALSE(enclosed.covers({corner.x + (right ? 1e-6 : -1e-6), corner.y}));
            EXPECT_FALSE(enclosed.covers({corner.x, corner.y + (below ? 1e-6 : -1e-6)}));
        }
    }
    // Many positions at once are each of them alone, also where the break points end.
    const Evaluation model(calibrationImage({.distortionWarp = 0.1}), Direction::distort);
    const std::vector<Point> pixels = {{3.25, 20}, {-0.5, 11.75}, {31, 0}, {-9, 5}, {12, 80}};
    const std::vector<Point> places = model.at(pixels);
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        EXPECT_NEAR(places.at(i).x, model.at(pixels[i])->x, 1e-9);
        EXPECT_NEAR(places.at(i).y, model.at(pixels[i])->y, 1e-9);
    }
}

TEST(Difference, NamesEachFieldWithBothValues) {
    const Image image = calibrationImage();
    // Each byte once: the flag, two cameras, orders and pieces, two models, the extrinsics.
    std::set<std::size_t> named;
    std::size_t bytes = 0;
    for (const Field& field : namedFields()) {
        for (std::size_t i = 0; i < field.count * sizeOf(field.type); ++i, ++bytes) {
            named.insert(field.offset + i);
        }
    }
    EXPECT_EQ(bytes, 1U + 2 * (2 + 4 + 6) * 4 + 4 + 2 * (7 + 5 + 2 * 120) * 4 + 6 * 4);
    EXPECT_EQ(named.size(), bytes);
    for (const Field& field : namedFields()) {
        Image other = image;
        const std::size_t size = sizeOf(field.type);
        other[field.offset + (field.count - 1) * size] ^= 1;
        const auto there = fieldDifferencesOf(image, other);
        const auto back = fieldDifferencesOf(other, image);
        ASSERT_EQ(there.size(), 1U) << field.name;
        const std::string index = "[" + std::to_string(field.count - 1) + "]";
        EXPECT_EQ(there[0].name, field.name + (field.count == 1 ? "" : index));
        EXPECT_EQ(there[0].isParameter, !belongsToModel(field));
        const std::string both = there[0].text;
        const std::size_t middle = both.find(" and ");
        EXPECT_EQ(back[0].text, both.substr(middle + 5) + " and " + both.substr(0, middle));
        EXPECT_NE(back[0].text, both);
    }
    for (const std::size_t count : {1U, 2U}) {
        Image other = image;
        for (std::size_t i = 0; i < count; ++i) {
            other[field("distortion.x").offset + 8 * i] ^= 1;
        }
        EXPECT_EQ(fieldDifferencesOf(image, other).at(0).text.starts_with("2 of 120 values"),
                  count == 2);
    }
    Image other = with("distortion.y", {50, -70, 60});
    put<int32_t>(other.data(), "width", {640});
    other[6260] ^= 1;
    other[3] ^= 1;
    other[6267] ^= 1;
    std::string all;
    for (const FieldDifference& each : fieldDifferencesOf(image, other)) {
        all += each.name + ": " + each.text + (each.isParameter ? "!\n" : "\n");
    }
    EXPECT_TRUE(
        matches(all,
                "main.imageWidth: 32 and 640!\ndistortion.ycorrect: 3 of 120 values, by up to "
                "(69|70)[.0-9]* at \\[1\\]\nchecksum of the main camera: 0x.. and 0x..\n"
                "checksum of the whole file: 0x.. and 0x..\nreserved bytes: 2, at 3, 6260\n"));
}

TEST(Difference, MeasuresHowFarMapsAreApart) {
    const Image image = calibrationImage();
    const auto compare = [&](const Image& other, double tolerance, PixelValues* values = nullptr) {
        return *directionDifferenceOf(image, other, "a", "b", Direction::undistort, tolerance,
                                      values, 16);
    };
    PixelValues values{};
    const double apart = std::hypot(0.3, 0.56);
    const auto shifted = compare(moved("undistortion", 0.01F, -0.02F), 0.636, &values);
    EXPECT_TRUE(shifted.agree);
    EXPECT_NEAR(shifted.apart->largest, apart, 1e-5);
    EXPECT_NEAR(shifted.apart->rootMeanSquare, apart, 1e-5);
    EXPECT_EQ((std::array{values.nodes.rows, values.nodes.cols}), (std::array{12, 16}));
    EXPECT_EQ(values.nodes.values.size(), 192U);
    EXPECT_NEAR(values.nodes.at(11, 15), apart, 1e-5);
    EXPECT_FALSE(compare(moved("undistortion", 0.01F, -0.02F), 0.63).agree);
    EXPECT_EQ(compare(moved("distortion", 1, 1), 0).sentence.substr(0, 38),
              "maps agree: largest difference 0.00000");
    // A number that only the last B-splines feel takes some pixels to no place.
    std::vector<double> coefficients(gridCells);
    coefficients.back() = 3e38;
    const auto part = compare(with("undistortion.y", coefficients), 1e6);
    EXPECT_FALSE(part.agree);
    EXPECT_GT(part.apart->lost, 0U);
    EXPECT_EQ(part.apart->count + part.apart->lost, 32U * 24U);
    EXPECT_NE(part.sentence.find(std::to_string(part.apart->lost) + " pixels taken to no place"),
              std::string::npos);
    const auto sized = [&](double height, double width) {
        return compare(with("height", {height, width}), 0).whyNot;
    };
    EXPECT_EQ(sized(23, 31), "differ in size: 32 x 24 and 31 x 23 pixels");
    EXPECT_EQ(sized(60, 2147483647),
              "cannot be compared: b: the image of 2147483647 x 60 pixels is "
              "too large for a map of ratio 1");
    EXPECT_EQ(sized(60, 4000000),
              "cannot be compared: b: the image of 4000000 x 60 pixels is too wide to be compared");
}

/** Remapping as one would write it down. */
double naive(const std::vector<double>& source, const CoordinateMap& map, std::size_t i,
             std::size_t channels, std::size_t channel, double outside, bool toEdge) {
    double x = map.x[i];
    double y = map.y[i];
    const bool isOutside = x < -0.5 || y < -0.5 || x > map.cols - 0.5 || y > map.rows - 0.5;
    if (std::isnan(x + y) || (isOutside && !toEdge)) {
        return outside;
    }
    x = std::max(0.0, std::min(x, map.cols - 1.0));
    y = std::max(0.0, std::min(y, map.rows - 1.0));
    double sum = 0;
    for (int row = 0; row < map.rows; ++row) {
        for (int col = 0; col < map.cols; ++col) {
            sum += std::max(0.0, 1 - std::abs(x - col)) * std::max(0.0, 1 - std::abs(y - row)) *
                   source[map.index(row, col) * channels + channel];
        }
    }
    return sum;
}

TEST(Remap, InterpolatesEachColourAndFillsTheRest) {
    std::mt19937 random(8);
    CoordinateMap map{5, 7, 1, {}, {}};
    for (int i = 0; i < 35; ++i) {
        map.x.push_back(std::uniform_real_distribution<float>(-1, 7)(random));
        map.y.push_back(std::uniform_real_distribution<float>(-1, 5)(random));
    }
    map.x[3] = nan;
    map.y[4] = inf;
    const int32_t outside[] = {0, 65535, 32767, 32767};
    for (const std::size_t channels : {std::size_t{1}, std::size_t{3}, std::size_t{4}}) {
        std::vector<uint16_t> source(35 * channels);
        std::generate(source.begin(), source.end(),
                      [&] { return static_cast<uint16_t>(random()); });
        for (const Border border : {Border::black, Border::white, Border::grey, Border::edge}) {
            std::vector<uint16_t> result(source.size(), 77);
            const RemapJob<uint16_t> job = {
                &map, source.data(), result.data(), static_cast<int32_t>(channels), 16, border};
            remapRows(job, 1, 5);
            EXPECT_EQ(result[7 * channels - 1], 77);
            remapRows(job, 0, 1);
            std::vector<double> weighted(source.begin(), source.end());
            for (std::size_t i = 0; channels == 4 && i < weighted.size(); ++i) {
                weighted[i] *= i % 4 == 3 ? 1 : source[i | 3] / 65535.0;
            }
            for (std::size_t i = 0; i < result.size(); ++i) {
                const auto value = [&](std::size_t channel, double around) {
                    return naive(weighted, map, i / channels, channels, channel, around,
                                 border == Border::edge);
                };
                const double around = outside[static_cast<int>(border)];
                const bool isOpacity = i % channels == 3;
                const double expected = value(i % channels, isOpacity ? 65535 : around) /
                                        (channels == 4 && !isOpacity ? value(3, 65535) / 65535 : 1);
                EXPECT_NEAR(result[i], expected, 0.5001) << i << " of " << channels;
            }
        }
    }
    // Halves are rounded up, and white has as many bits as the picture.
    const CoordinateMap half{1, 3, 1, {0.5F, 1.5F, 9}, {0, 0, 0}};
    const uint8_t bytes[] = {3, 4, 9};
    uint8_t result[3];
    remapRows(RemapJob<uint8_t>{&half, bytes, result, 1, 8, Border::white}, 0, 1);
    EXPECT_EQ((std::vector<int>{result[0], result[1], result[2]}), (std::vector{4, 7, 255}));
}

TEST(Npy, BeginsWithItsHeader) {
    const std::string text = "{'descr': '<f4', 'fortran_order': False, 'shape': (2, 480, 640), }";
    const std::string expected =
        std::string("\x93NUMPY\x01\x00\x76\x00", 10) + text + std::string(51, ' ') + "\n";
    EXPECT_EQ(npyHeader(480, 640), expected);
    EXPECT_EQ(expected.size(), 128U);
}

TEST(Map, IsToldInOneLineAndLookedUp) {
    // Two by three samples of two by two pixels each, moved by 1.5 samples right and 0.5 up.
    CoordinateMap map{2, 3, 2, {1.5F, 2.5F, 3.5F, 1.5F, 2.5F, 3.5F}, {}};
    map.y = {-0.5F, -0.5F, -0.5F, 0.5F, 0.5F, 0.5F};
    EXPECT_EQ(sentenceOf(map, displacementOf(map)),
              "2 rows x 3 columns, displacement at most 3.162 at (0.5, 0.5) and on average 3.162 "
              "pixels, 2 of 6 samples taken outside the image");
    const Camera camera = {6, 4, 1, 1, 0, 0};
    EXPECT_EQ(lookUp(map, camera, Direction::distort, {1, 2.5}).sentence,
              "recorded image: column 1.00, row 2.50 \u2192 straight image: column 4.00, row 1.50; "
              "3.16 pixels away");
    const LookUp beside = lookUp(map, camera, Direction::undistort, {99, -7});
    EXPECT_EQ((std::array{beside.from.x, beside.from.y, beside.to.x, beside.to.y}),
              (std::array{5.0, 0.0, 8.0, -1.0}));
    EXPECT_EQ(lookUp(map, camera, Direction::undistort, {nan, 2}).from.x, 0);
    map.x[2] = 7.5;  // 11 pixels more
    EXPECT_NE(sentenceOf(map, displacementOf(map))
                  .find("at most 11.045 at (4.5, 0.5) and on average 4.476 "),
              std::string::npos)
        << sentenceOf(map, displacementOf(map));
    map.x[2] = 3.5;
    map.x[5] = nan;
    EXPECT_TRUE(
        sentenceOf(map, displacementOf(map))
            .ends_with(", 1 of 6 samples taken outside the image, 1 taken to no place at all"));
    EXPECT_EQ(lookUp(map, camera, Direction::undistort, {5, 3}).sentence,
              "straight image: column 5.00, row 3.00 \u2192 recorded image: no place at all");
}

TEST(Map, IsRefusedWithAReason) {
    const auto why = [](int32_t ratio, const Image& image, int32_t status = 0) {
        const auto found =
            status != 0 ? refusalOfMap(image, Direction::undistort, ratio, status)
                        : obstacleToMap(image, Direction::undistort, ratio).value_or(Refusal{});
        return found.reason + "|" + found.remedy;
    };
    const Image same = calibrationImage();
    EXPECT_EQ(why(24, same), "|");
    EXPECT_EQ(why(3, same), "ratio 3 is neither 1 nor a positive even number|choose one that is");
    EXPECT_EQ(why(26, same),
              "ratio 26 is more than the image of 32 x 24 pixels has|choose a smaller ratio");
    EXPECT_EQ(why(1, with("cx", {nan})),
              "main.cx is nan, so that no map can be right|have the device calibrated again");
    // The other direction's numbers keep nobody from this one's map.
    EXPECT_EQ(why(1, with("distortion.x", {nan})), "|");
    EXPECT_EQ(why(4, with("height", {1, 2147483647})).substr(0, 52),
              "the image of 2147483647 x 1 pixels is too large for ");
    // 2^28 samples of eight bytes are the first too many: ratio 2 leaves 2^25 x 12.
    EXPECT_EQ(why(2, with("width", {67108864}), 7),
              "the image of 67108864 x 24 pixels is too large for a map of ratio 2 (status 7)|"
              "maps can be made of it from ratio 4 on");
    EXPECT_EQ(why(1, with("kx", {5}), 7).substr(0, 24), "the orders are 5 and 7, ");
    EXPECT_EQ(why(2, same, 7),
              "there is not enough memory for a map of 32 x 24 pixels with ratio 2|"
              "free some or choose a larger ratio");
}

}  // namespace
