#include "golden_reference.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <iterator>
#include <limits>

namespace golden {
namespace {

// ---- The evaluation -----------------------------------------------------------------------------

// Every result goes through memory by itself. That, besides the flags this file is compiled with,
// keeps a compiler from merging two operations into one.
double rounded(double result) {
    const volatile double stored = result;
    return stored;
}

double add(double a, double b) {
    return rounded(a + b);
}
double subtract(double a, double b) {
    return rounded(a - b);
}
double multiply(double a, double b) {
    return rounded(a * b);
}
double divide(double a, double b) {
    return rounded(a / b);
}

size_t index(int position) {
    return static_cast<size_t>(position);
}

/** Values of all B-splines of order k at x; knots, B-splines and intervals count from 1. */
std::vector<double> basis(const std::vector<double>& knots, int k, double x) {
    const auto t = [&](int i) { return knots[index(i - 1)]; };
    const int m = static_cast<int>(knots.size());
    const int n = m - k;
    int interval = 0;
    while (interval < n && !(t(interval + 1) > x)) {
        ++interval;
    }
    interval = std::max(interval, k);

    std::vector<double> b(index(k + 1), 0.0);
    b[1] = 1.0;
    for (int j = 1; j <= k - 1; ++j) {
        double saved = 0.0;
        for (int r = 1; r <= j; ++r) {
            const double right = subtract(t(interval + r), x);
            const double left = subtract(x, t(interval + r - j));
            const double term = divide(b[index(r)], add(right, left));
            b[index(r)] = add(saved, multiply(right, term));
            saved = multiply(left, term);
        }
        b[index(j + 1)] = saved;
    }

    // Columns are counted as if the first knot were k-fold; another multiplicity shifts the row.
    int copiesOfFirst = 1;
    while (t(copiesOfFirst + 1) == t(1)) {
        ++copiesOfFirst;
    }
    std::vector<double> row(index(n), 0.0);
    for (int r = 1; r <= k && !(t(1) > x) && !(t(m) < x); ++r) {
        const int column = interval - k + r + copiesOfFirst - k;
        if (column >= 1 && column <= n) {
            row[index(column - 1)] = b[index(r)];
        }
    }
    return row;
}

std::vector<double> collocation(const std::vector<double>& knots, int k,
                                const std::vector<double>& sites) {
    std::vector<double> rows;
    for (const double site : sites) {
        const std::vector<double> row = basis(knots, k, site);
        rows.insert(rows.end(), row.begin(), row.end());
    }
    return rows;
}

std::vector<double> product(const Matrix& a, const Matrix& b) {
    std::vector<double> result;
    for (int r = 0; r < a.rows; ++r) {
        for (int c = 0; c < b.cols; ++c) {
            double sum = 0.0;
            for (int i = 0; i < a.cols; ++i) {
                sum = add(sum,
                          multiply(a.data[index(r * a.cols + i)], b.data[index(i * b.cols + c)]));
            }
            result.push_back(sum);
        }
    }
    return result;
}

std::vector<double> quotient(const Matrix& a, double divisor) {
    std::vector<double> result;
    std::transform(a.data.begin(), a.data.end(), std::back_inserter(result),
                   [&](double element) { return divide(element, divisor); });
    return result;
}

std::vector<double> floats(const Image& image, const std::string& name, size_t count) {
    std::vector<double> values;
    for (size_t i = 0; i < count; ++i) {
        values.push_back(get<float>(image.data(), name, i));
    }
    return values;
}

std::vector<double> maps(const Image& image, bool undistortion, int ratio) {
    const std::string model = undistortion ? "undistortion" : "distortion";
    const std::vector<double> camera = floats(image, "fx", 4);  // fx, fy, cx, cy
    const int size[] = {get<int32_t>(image.data(), "width"), get<int32_t>(image.data(), "height")};
    std::vector<double> all;
    if (std::min(size[0], size[1]) < ratio) {
        return all;
    }
    Matrix values[2];  // one row per sample of the axis
    for (const size_t axis : {0U, 1U}) {
        const int k = get<uint8_t>(image.data(), "kx", axis);
        std::vector<double> knots =
            axis == 0 ? floats(image, model + ".xbreaks", 7) : floats(image, model + ".ybreaks", 5);
        knots.insert(knots.begin(), index(k - 1), knots.front());
        knots.insert(knots.end(), index(k - 1), knots.back());
        std::vector<double> sites;
        for (int i = 0; i < size[axis] / ratio; ++i) {
            const double pixel = add(multiply(ratio - 1, 0.5), multiply(ratio, i));
            sites.push_back(divide(subtract(pixel, camera[2 + axis]), camera[axis]));
        }
        values[axis] = {size[axis] / ratio, static_cast<int>(knots.size()) - k,
                        collocation(knots, k, sites)};
    }
    Matrix transposed = {values[0].cols, values[0].rows, {}};
    for (size_t i = 0; i < values[0].data.size(); ++i) {
        const size_t samples = index(transposed.cols);
        transposed.data.push_back(
            values[0].data[i % samples * index(transposed.rows) + i / samples]);
    }
    const double shift = subtract(0.5, multiply(ratio, 0.5));
    for (const size_t axis : {0U, 1U}) {
        const Matrix correction = {10, 12, floats(image, model + (axis == 0 ? ".x" : ".y"), 120)};
        const Matrix rows = {values[1].rows, 12, product(values[1], correction)};
        for (const double x : product(rows, transposed)) {
            const double pixel = add(multiply(x, camera[axis]), camera[2 + axis]);
            all.push_back(divide(add(pixel, shift), ratio));
        }
    }
    const size_t count = all.size();
    for (size_t i = 0; i < count; ++i) {
        all.push_back(static_cast<float>(all[i]));
    }
    return all;
}

// ---- The inputs ---------------------------------------------------------------------------------

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double smallest = std::numeric_limits<double>::denorm_min();
constexpr double largest = std::numeric_limits<double>::max();

/** Exponents that random numbers have: from `low` to below `high`. */
struct Range {
    int low, high;
};
constexpr Range usual = {-4, 4};            // every sum rounds
constexpr Range wide = {-400, 400};         // most terms of a sum vanish beside another
constexpr Range tiny = {-560, -480};        // products are denormal or zero
constexpr Range huge = {480, 560};          // products overflow, and infinities cancel
constexpr Range denormal = {-1023, -1022};  // the exponent field is zero

/** splitmix64: integers alone, so the same sequence on every machine. */
class Random {
  public:
    explicit Random(uint64_t seed) : state(seed) {}

    uint64_t bits() {
        uint64_t z = state += 0x9e3779b97f4a7c15U;
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9U;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebU;
        return z ^ (z >> 31);
    }

    int below(int bound) { return static_cast<int>(bits() % static_cast<uint64_t>(bound)); }

    Matrix matrix(int rows, int cols, Range range) {
        Matrix result = {rows, cols, std::vector<double>(index(rows * cols))};
        for (double& element : result.data) {
            const int exponent = range.low + below(range.high - range.low);
            element = std::bit_cast<double>((bits() & 0x800fffffffffffffU) |
                                            static_cast<uint64_t>(exponent + 1023) << 52);
        }
        return result;
    }

    /** Strews the values over about a third of the matrix. */
    void strew(Matrix& m, const std::vector<double>& values) {
        for (size_t i = 0; !values.empty() && i <= m.data.size() / 3; ++i) {
            m.data[index(below(m.rows * m.cols))] = values[i % values.size()];
        }
    }

    /** Keeps seven elements of each column, like a transposed collocation matrix of order 7. */
    void band(Matrix& m) {
        for (int c = 0; c < m.cols; ++c) {
            const int start = below(std::max(1, m.rows - 6));
            for (int r = 0; r < m.rows; ++r) {
                m.data[index(r * m.cols + c)] *= r >= start && r < start + 7 ? 1 : 0;
            }
        }
    }

  private:
    uint64_t state;
};

using Breaks = std::vector<double>;

/** A lens whose break points go from -reach to reach times half the image; radial term r^2. */
struct Lens {
    int32_t size[2];
    double focal, offset, radial, reach;
    Breaks breaks[2] = {{-1, -0.625, -0.3125, 0, 0.3125, 0.625, 1}, {-1, -0.5, 0, 0.5, 1}};
};

/** Both models are the identity, moved radially in opposite directions. */
Image lensFile(const Lens& lens) {
    Recipe recipe = {.distortionWarp = lens.radial, .undistortionWarp = -lens.radial};
    for (const size_t axis : {0U, 1U}) {
        const double half = lens.size[axis] * 0.5;
        (axis == 0 ? recipe.width : recipe.height) = lens.size[axis];
        recipe.camera[axis] = static_cast<float>(lens.focal);
        recipe.camera[2 + axis] = static_cast<float>(half - 0.5 + lens.offset);
        for (const double knot : lens.breaks[axis]) {
            recipe.breaks[axis].push_back(knot * (lens.reach * half / lens.focal));
        }
    }
    return unsealedImage(recipe);
}

/** The same file with other words in all four grids. */
Image withGrids(Image image, const std::function<uint32_t(size_t)>& next) {
    for (const auto* grid : {"distortion.x", "distortion.y", "undistortion.x", "undistortion.y"}) {
        for (size_t n = 0; n < 120; ++n) {
            put<uint32_t>(image.data(), grid, {next(n)}, n);
        }
    }
    return image;
}

std::vector<std::pair<std::string, Image>> files() {
    Random random(3);
    const auto finite = [&random](size_t) {
        const auto bits = static_cast<uint32_t>(random.bits());
        return (bits & 0x7f800000U) == 0x7f800000U ? bits & 0x807fffffU : bits;
    };
    const auto tinyWord = [&](size_t n) { return finite(n) & 0x807fffffU; };
    const auto sparse = [&](size_t n) {
        return n / 12 % 3 == 1 || n % 5 == 2 ? 0x80000000U : finite(n);
    };
    const Breaks unevenX = {-1, -0.9375, -0.125, -0.125, -0.0625, 0.75, 1};
    const Breaks unevenY = {-1, -0.03125, -0.03125, 0.625, 1};
    const Image plain = lensFile({{97, 61}, 80, 0, 0.25, 1.01});
    const Image farBreaks = lensFile({{59, 37}, 0x1p120, 0, 0, 0x1p140});
    Image notFinite = plain;
    put<uint32_t>(notFinite.data(), "distortion.x", {0xff800000U}, 65);
    put<uint32_t>(notFinite.data(), "undistortion.y", {0x7fc00001U}, 65);
    return {{"barrel", lensFile({{333, 131}, 300, 0, -0.21, 1.03})},
            {"pincushion", lensFile({{127, 97}, 90.7, 7.25, 0.18, 1.3})},
            {"partlyCovered", lensFile({{101, 67}, 75, -3.5, -0.3, 0.61})},
            {"unevenBreaks", lensFile({{65, 43}, 50, 0.75, 0.1, 1, {unevenX, unevenY}})},
            {"wideStrip", lensFile({{2051, 7}, 1700, 0, -0.1, 1.1})},
            {"tallStrip", lensFile({{7, 1031}, 800, 0, -0.1, 1.1})},
            {"mirrored", lensFile({{53, 41}, -45, 0, -0.1, -1.1})},
            {"anyFinite", withGrids(plain, finite)},
            {"denormal", withGrids(farBreaks, tinyWord)},
            {"zeroRows", withGrids(plain, sparse)},
            {"notFinite", notFinite}};
}

}  // namespace

Implementation reference() {
    return {collocation, product, quotient, maps};
}

std::vector<Result> evaluate(const Implementation& use) {
    std::vector<Result> results;
    Random random(1);
    const auto append = [&results](const std::vector<double>& numbers) {
        for (const double number : numbers) {
            results.back().bits.push_back(
                std::bit_cast<uint64_t>(std::isnan(number) ? notANumber : number));
        }
    };

    struct Spacing {
        const char* name;
        double start, step;
    };
    const Spacing spacings[] = {{"unit", -1.5, 0x1p-10},
                                {"denormal", -900 * smallest, smallest},
                                {"tiny", 0, 0x1p-200},
                                {"huge", -0x1p1010, 0x1p1000}};
    for (int k = 1; k <= 9; ++k) {
        const std::vector<int> multiplicities[] = {
            {k, k},
            {k, 1, 1, 1, 1, 1, k},
            {k, 1, 2, 1, k, k + 1, 1, k},
            {std::min(k + 1, 3 * k - 2), 1, k, 1, k + 1},
            {std::max(1, k - 1), 1, 1, 2, k, 1, std::max(1, k - 2)},
            {3 * k - 2, 1, 1, k}};
        for (const auto& [name, start, step] : spacings) {
            results.push_back({"collocation.order" + std::to_string(k) + "." + name, {}});
            for (const auto& counts : multiplicities) {
                std::vector<double> knots;
                std::vector<double> sites = {-0.0, infinity, -infinity, notANumber, largest};
                double knot = start;
                for (const int count : counts) {
                    const double gap = (1 + random.below(900)) * step;
                    knots.insert(knots.end(), index(count), knot);
                    for (const double site : {knot, std::nextafter(knot, infinity),
                                              std::nextafter(knot, -infinity), knot + gap / 3}) {
                        sites.push_back(site);
                    }
                    knot += gap;
                }
                append(use.collocation(knots, k, sites));
            }
        }
    }

    struct Factors {
        const char* name;
        Range left, right;
        bool banded;
        std::vector<double> inLeft, inRight;
    };
    const std::vector<double> cancelling = {0.0, 1.0, -0.0, -1.0, 1.0, -1.0, 0.0, -0.0};
    const std::vector<double> special = {infinity, 1.0, notANumber, -1.0, 0.0, -infinity, -0.0};
    const Factors factors[] = {{"usual", usual, usual, false, {}, {}},
                               {"wide", wide, wide, false, {}, {}},
                               {"tiny", tiny, tiny, false, {}, {}},
                               {"huge", huge, huge, false, {}, {}},
                               {"denormal", denormal, usual, false, {}, {}},
                               {"cancelling", usual, usual, false, cancelling, cancelling},
                               {"banded", usual, wide, true, {-0.0}, {}},
                               {"bandedNotFinite", usual, usual, true, special, {}},
                               {"notFinite", usual, usual, true, {}, special}};
    for (const Factors& kind : factors) {
        results.push_back({std::string("product.") + kind.name, {}});
        for (const int cols : {1, 2, 7, 16, 17, 33, 64, 65, 101, 130, 300}) {
            const int rows = 1 + random.below(cols % 2 == 0 ? 19 : 90);
            const int inner = cols % 3 == 0 ? 65 + random.below(40) : 1 + random.below(25);
            Matrix left = random.matrix(rows, inner, kind.left);
            Matrix right = random.matrix(inner, cols, kind.right);
            if (kind.banded) {
                random.band(right);
            }
            random.strew(left, kind.inLeft);
            random.strew(right, kind.inRight);
            append(use.product(left, right));
        }
    }

    // The reciprocal of a power of two may itself be denormal, or too large to exist.
    std::vector<double> powers = {-2, -4 * smallest};
    for (const int exponent : {1023, 1022, 1000, 12, 0, -14, -1000, -1022, -1023, -1074}) {
        powers.push_back(std::ldexp(1, exponent));
    }
    const std::vector<double> others = {3,      -0.1,     1e300,      -1e-300,
                                        3e-310, infinity, notANumber, largest};
    for (const auto& [name, divisors] :
         {std::pair("powers", powers), std::pair("others", others)}) {
        results.push_back({std::string("quotient.") + name, {}});
        for (const Range range : {usual, wide, tiny, huge, denormal}) {
            for (const int cols : {1, 2, 3, 7, 64, 129}) {
                Matrix left = random.matrix(5, cols, range);
                random.strew(left, {0.0, -0.0, infinity, notANumber, smallest, largest});
                for (const double divisor : divisors) {
                    append(use.quotient(left, divisor));
                }
            }
        }
    }

    for (const auto& [name, image] : files()) {
        for (const bool undistortion : {false, true}) {
            results.push_back({(undistortion ? "undistortion." : "distortion.") + name, {}});
            for (const int ratio : {1, 2, 6}) {
                append(use.maps(image, undistortion, ratio));
            }
        }
    }
    return results;
}

std::string hash(const Result& result) {
    uint64_t value = 0xcbf29ce484222325U;
    for (const uint64_t word : result.bits) {
        for (int shift = 0; shift < 64; shift += 8) {
            value = (value ^ ((word >> shift) & 0xffU)) * 0x100000001b3U;
        }
    }
    std::string digits;
    for (int shift = 60; shift >= 0; shift -= 4) {
        digits += "0123456789abcdef"[(value >> shift) & 0xfU];
    }
    return digits;
}

}  // namespace golden
