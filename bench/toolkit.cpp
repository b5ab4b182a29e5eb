#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>

#include "benchmark_case.h"
#include "contenders.h"
#include "lens_model.h"

namespace {

struct DestroyMat {
    void operator()(Mat* m) const { destroyMat(&m); }
};
struct DestroyVector {
    void operator()(VectorDouble* v) const { destroyVectorDouble(&v); }
};
using MatPtr = std::shared_ptr<Mat>;
using VectorPtr = std::shared_ptr<VectorDouble>;

MatPtr owned(Mat* m) {
    return {m, DestroyMat()};
}

std::size_t elements(const Mat& m) {
    return static_cast<std::size_t>(m.rows) * static_cast<std::size_t>(m.cols);
}

/** The splines along x of the lens, and sites all over the image. */
struct Splines {
    std::vector<double> breaks = barrelLens(640, 480).xBreaks;
    VectorPtr knots;

    Splines() {
        const VectorPtr points(
            vectorCopyFromDoubleArray(breaks.data(), static_cast<int32_t>(breaks.size())),
            DestroyVector());
        knots = VectorPtr(augknt_init(points.get(), LensModel::order), DestroyVector());
    }

    [[nodiscard]] MatPtr sites(int32_t count) const {
        MatPtr column = owned(createMat(count, 1));
        const double step = (breaks.back() - breaks.front()) / count;
        for (int32_t i = 0; i < count; ++i) {
            column->data[i] = breaks.front() + (i + 0.5) * step;
        }
        return column;
    }

    [[nodiscard]] MatPtr collocation(const Mat& sites) const {
        return owned(collocationMatrix(knots.get(), LensModel::order, &sites));
    }
};

void requireEqual(const std::string& job, const Mat& result, const double* other) {
    constexpr double tolerance = 1e-12;
    for (std::size_t i = 0; i < elements(result); ++i) {
        if (!(std::abs(result.data[i] - other[i]) <= tolerance)) {
            throw std::runtime_error(job + ": the contenders differ in element " +
                                     std::to_string(i));
        }
    }
}

void addCollocation(const std::shared_ptr<const Splines>& splines, int32_t count,
                    std::vector<BenchmarkCase>& cases) {
    const std::string job = "collocationMatrix " + std::to_string(count) + " sites";
    const MatPtr sites = splines->sites(count);
    cases.push_back({job, ours, "site", static_cast<double>(count),
                     [splines, sites] { const MatPtr rows = splines->collocation(*sites); },
                     nullptr});
    for (const CollocationContender& way : collocationContenders()) {
        const auto run = [splines, sites, collocate = way.collocate] {
            return collocate(splines->breaks, LensModel::order, {sites->data, elements(*sites)});
        };
        const auto check = [splines, sites, run, job] {
            requireEqual(job, *splines->collocation(*sites), run().get());
        };
        cases.push_back({job, way.name, "site", static_cast<double>(count), run, check});
    }
}

void addSpcol(const std::shared_ptr<const Splines>& splines, std::vector<BenchmarkCase>& cases) {
    const MatPtr site = splines->sites(1);
    cases.push_back(
        {"spcol", ours, "site", 1.0,
         [splines, site] { owned(spcol(splines->knots.get(), LensModel::order, site->data[0])); },
         nullptr});
    for (const CollocationContender& way : collocationContenders()) {
        cases.push_back({"spcol", way.name, "site", 1.0,
                         [splines, site, way] {
                             way.collocate(splines->breaks, LensModel::order, {site->data, 1});
                         },
                         nullptr});
    }
}

void addProduct(const std::string& job, const MatPtr& a, const MatPtr& b,
                std::vector<BenchmarkCase>& cases) {
    const double count = static_cast<double>(a->rows) * b->cols;
    const auto multiply = [a, b] { return owned(matMul(a.get(), b.get())); };
    cases.push_back({job, ours, "element", count, multiply, nullptr});
    for (const ProductContender& way : productContenders()) {
        const auto run = [a, b, way] { return way.multiply(*a, *b); };
        const auto check = [multiply, run, job] { requireEqual(job, *multiply(), run().get()); };
        cases.push_back({job, way.name, "element", count, run, check});
    }
}

MatPtr denseLike(const Mat& shape) {
    MatPtr dense = owned(createMat(shape.rows, shape.cols));
    for (std::size_t i = 0; i < elements(*dense); ++i) {
        dense->data[i] = std::sin(static_cast<double>(i) + 0.5);
    }
    return dense;
}

void addQuotient(const std::string& job, const MatPtr& a, double divisor,
                 std::vector<BenchmarkCase>& cases) {
    cases.push_back({job, ours, "element", static_cast<double>(elements(*a)),
                     [a, divisor] { owned(matDivk(a.get(), divisor)); }, nullptr});
}

}  // namespace

std::vector<BenchmarkCase> toolkitCases() {
    std::vector<BenchmarkCase> cases;
    const auto splines = std::make_shared<const Splines>();
    for (const int32_t count : {280, 1120, 4480, 17920}) {
        addCollocation(splines, count, cases);
    }
    addSpcol(splines, cases);

    constexpr int32_t ny = 480;
    constexpr int32_t nx = 640;
    const MatPtr left = denseLike(*splines->collocation(*splines->sites(ny)));
    const MatPtr right = owned(matT(splines->collocation(*splines->sites(nx)).get()));
    const MatPtr image = denseLike(*owned(createMat(ny, nx)));
    addProduct("matMul 480x12 by 12x640 collocation", left, right, cases);
    addProduct("matMul 480x12 by 12x640 dense", left, denseLike(*right), cases);
    addQuotient("matDivk 480x640 by 2", image, 2.0, cases);
    addQuotient("matDivk 480x640 by 6", image, 6.0, cases);
    return cases;
}
