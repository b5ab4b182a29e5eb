// The B-spline toolkit over arbitrary knots, orders and sites, against what its functions promise.
#include "fuzz/harness.h"

namespace {

using Numbers = std::vector<double>;

Numbers sequence(FuzzedDataProvider& input) {
    Numbers numbers(input.ConsumeIntegralInRange<size_t>(0, 24));
    std::generate(numbers.begin(), numbers.end(), [&] { return anyNumber(input); });
    if (input.ConsumeBool()) {
        std::sort(numbers.begin(), numbers.end(),
                  [](double a, double b) { return !std::isnan(a) && !(a >= b); });
    }
    return numbers;
}

VectorDouble* vectorOf(const Numbers& numbers) {
    VectorDouble* vector = createVectorDouble(static_cast<int32_t>(numbers.size()));
    std::copy(numbers.begin(), numbers.end(), vector->data);
    return vector;
}

/** A knot sequence with what its checks look at. */
struct Knots {
    Numbers t;
    Numbers steps;
    int32_t multiplicity; /**< of the first knot; -1 when no other follows */
    bool nondecreasing;

    explicit Knots(Numbers numbers) : t(std::move(numbers)) {
        for (size_t i = 1; i < t.size(); ++i) {
            steps.push_back(t[i] - t[i - 1]);
        }
        const auto rise = std::ranges::find_if(steps, [](double step) { return !(step <= 0); });
        multiplicity = rise == steps.end() ? -1 : static_cast<int32_t>(rise - steps.begin()) + 1;
        nondecreasing = std::ranges::none_of(steps, [](double step) { return step < 0; });
    }
    /** Whether a whole order is taken. */
    [[nodiscard]] bool serve(double k) const {
        return nondecreasing && k >= 1 && static_cast<double>(t.size()) >= 2 * k &&
               multiplicity > 0 && multiplicity <= 3 * k - 2;
    }
    /** Whether the values of an order that is taken sum to one: k-fold ends, nothing overflows. */
    [[nodiscard]] bool areProper(double k) const {
        const auto last = std::ranges::find_if(t.rbegin(), t.rend(),
                                               [&](double knot) { return knot != t.back(); });
        return multiplicity == k && static_cast<double>(last - t.rbegin()) == k &&
               std::abs(t.front()) < 1e150 && std::abs(t.back()) < 1e150 &&
               std::ranges::none_of(steps,
                                    [](double step) { return step != 0 && !(step > 1e-150); });
    }
};

void checkRow(const Mat* row, const Knots& knots, double k, double x) {
    const double splines = std::trunc(static_cast<double>(knots.t.size()) - k);
    require(row->rows == 1 && row->cols == splines, "one value for each B-spline");
    const Numbers values(row->data, row->data + row->cols);
    if (knots.t.front() > x || knots.t.back() < x) {
        require(same(Numbers(values.size(), 0.0), row->data), "zeros outside");
    } else if (!std::isnan(x) && knots.areProper(k)) {
        double sum = 0;
        for (const double value : values) {
            require(value >= 0 && value < 1 + 1e-12, "values lie in [0, 1]");
            sum += value;
        }
        require(std::abs(sum - 1) < 1e-12, "values sum to one");
    }
}

void checkSite(const VectorDouble* vector, const Knots& knots, double k, double x) {
    Mat* row = spcol(vector, k, x);
    require(k != std::floor(k) || (row != nullptr) == knots.serve(k), "a row for knots that serve");
    if (row != nullptr) {
        checkRow(row, knots, k, x);
    }
    destroyMat(&row);

    const Numbers& t = knots.t;
    const auto greater = std::ranges::find_if(t, [&](double knot) { return !(knot <= x); });
    require(findBiggerBaseIdx(vector, x) ==
                (greater == t.end() ? -1 : static_cast<int32_t>(greater - t.begin()) + 1),
            "the first greater");
    require(findSmallerBaseIdx(vector, x) ==
                std::ranges::count_if(t, [&](double knot) { return knot < x; }),
            "the count of smaller");
    const double position = sorted(vector, x);
    require(position >= 0 && position <= static_cast<double>(t.size()), "a position in the mesh");
    const auto isNumber = [](double value) { return !std::isnan(value); };
    if (isNumber(x) && std::ranges::all_of(t, isNumber) && std::ranges::is_sorted(t)) {
        const auto notGreater = std::ranges::upper_bound(t, x) - t.begin();
        require(position == static_cast<double>(notGreater), "the count of not greater");
    }
}

void checkKnots(const VectorDouble* vector, const Knots& knots, double k) {
    VectorDouble* steps = diff(vector);
    require((steps == nullptr) == knots.t.empty(), "differences of something");
    require(steps == nullptr || same(knots.steps, steps->data), "differences");
    destroyVectorDouble(&steps);
    double missing = -77;
    const bool measurable = !(k < 0) && knots.multiplicity > 0;
    require(augknt(vector, &missing, k) == (measurable ? 0 : 7), "whether the end is measurable");
    require(same(missing, measurable ? k - knots.multiplicity : -77), "missing copies");
}

/** Each row of the matrix is the row of its site alone. */
void checkMatrix(const VectorDouble* vector, const Knots& knots, int32_t k, const Numbers& sites) {
    Mat* points = createMat(static_cast<int32_t>(sites.size()), 1);
    std::copy(sites.begin(), sites.end(), points->data);
    Mat* matrix = collocationMatrix(vector, k, points);
    require((matrix != nullptr) == (!sites.empty() && knots.serve(k)), "a matrix for such knots");
    for (int32_t r = 0; matrix != nullptr && r < matrix->rows; ++r) {
        Mat* row = spcol(vector, k, points->data[r]);
        const Numbers values(row->data, row->data + row->cols);
        require(row->cols == matrix->cols && same(values, matrix->data + int64_t{r} * matrix->cols),
                "rows");
        destroyMat(&row);
    }
    destroyMat(&matrix);
    destroyMat(&points);
}

/** Break points with k-fold ends; none where there is no such sequence. */
Numbers augment(const Numbers& breaks, int32_t k) {
    VectorDouble* vector = vectorOf(breaks);
    VectorDouble* knots = augknt_init(vector, k);
    const int64_t size = static_cast<int64_t>(breaks.size()) + 2 * int64_t{k} - 2;
    const bool exists =
        !breaks.empty() && k >= 0 && size >= 0 && size * 8 <= static_cast<int64_t>(largestBlock);
    require((knots != nullptr) == exists, "a knot sequence where there is one");
    Numbers expected;
    if (knots != nullptr && size < 1000) {
        expected.assign(static_cast<size_t>(size), breaks.back());
        std::fill_n(expected.begin(), k, breaks.front());
        if (breaks.size() > 2) {
            std::copy(breaks.begin() + 1, breaks.end() - 1, expected.begin() + k);
        }
        require(knots->size == size && same(expected, knots->data), "k-fold ends");
    }
    destroyVectorDouble(&knots);
    destroyVectorDouble(&vector);
    return expected;
}

void checkTiles(FuzzedDataProvider& input) {
    const auto rows = input.ConsumeIntegralInRange<int32_t>(0, 4);
    const auto cols = input.ConsumeIntegralInRange<int32_t>(0, 4);
    const int32_t down = anyCount(input, 12);
    const int32_t across = anyCount(input, 12);
    MatInt* tile = createMatInt(rows, cols);
    for (int32_t i = 0; i < rows * cols; ++i) {
        tile->data[i] = i;
    }
    MatInt* tiled = repmatInt(tile, down, across);
    const bool exists = rows * cols > 0 && down > 0 && across > 0 &&
                        4.0 * rows * cols * down * across <= static_cast<double>(largestBlock);
    require((tiled != nullptr) == exists, "tiles where there are any");
    for (int32_t i = 0; tiled != nullptr && i < std::min(tiled->rows * tiled->cols, 4096); ++i) {
        require(tiled->data[i] == i / tiled->cols % rows * cols + i % tiled->cols % cols, "tiles");
    }
    destroyMatInt(&tiled);
    destroyMatInt(&tile);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider input(data, size);
    runWithAny(input);
    const auto before = liveObjects();
    checkTiles(input);
    const int32_t k = anyCount(input, 12);
    const double realOrder = input.ConsumeBool() ? anyNumber(input) : k;
    const Numbers breaks = sequence(input);
    const Numbers augmented = augment(breaks, k);
    const Knots knots(input.ConsumeBool() ? augmented : breaks);
    Numbers sites = sequence(input);
    for (size_t i = 0; i < std::min<size_t>(knots.t.size(), 8); ++i) {  // on knots and between them
        const double knot = input.PickValueInArray({0.0, 1.0}) + knots.t[i];
        sites.push_back(i % 2 == 0 ? knot : knot / 2 + knots.t.back() / 2);
    }

    VectorDouble* vector = vectorOf(knots.t);
    checkKnots(vector, knots, realOrder);
    checkMatrix(vector, knots, k, sites);
    for (const double x : knots.t.empty() ? Numbers() : sites) {
        checkSite(vector, knots, realOrder, x);
    }
    destroyVectorDouble(&vector);
    require(liveObjects() == before, "live counts");
    return 0;
}
