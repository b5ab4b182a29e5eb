#include <cmath>

#include "contenders.h"
#include "measure.h"

namespace {

using Matrix = std::shared_ptr<const Mat>;

Matrix owned(Mat* m) {
    return {m, [](Mat* matrix) { destroyMat(&matrix); }};
}

std::size_t elements(const Mat& m) {
    return static_cast<std::size_t>(m.rows) * static_cast<std::size_t>(m.cols);
}

/** The B-splines along x of a lens. */
struct Splines {
    std::vector<double> breaks;
    std::shared_ptr<const VectorDouble> knots;

    [[nodiscard]] Matrix collocation(const Mat& sites) const {
        return owned(collocationMatrix(knots.get(), LensModel::order, &sites));
    }
};

Splines lensSplines() {
    const auto destroy = [](VectorDouble* v) { destroyVectorDouble(&v); };
    std::vector<double> breaks = LensModel(calibrationImage()).xBreaks;
    const std::shared_ptr<const VectorDouble> points(
        vectorCopyFromDoubleArray(breaks.data(), static_cast<int32_t>(breaks.size())), destroy);
    return {std::move(breaks), {augknt_init(points.get(), LensModel::order), destroy}};
}

/** Sites evenly over all the break points. */
Matrix sitesOver(const std::vector<double>& breaks, int32_t count) {
    Mat* sites = createMat(count, 1);
    for (int32_t i = 0; i < count; ++i) {
        sites->data[i] = breaks.front() + (breaks.back() - breaks.front()) * (i + 0.5) / count;
    }
    return owned(sites);
}

Matrix dense(int32_t rows, int32_t cols) {
    Mat* m = createMat(rows, cols);
    for (std::size_t i = 0; i < elements(*m); ++i) {
        m->data[i] = std::sin(static_cast<double>(i) + 0.5);
    }
    return owned(m);
}

/**
 * A job whose result is a matrix. `others` gives another contender's way, which yields a buffer, or
 * nothing where it has none.
 */
template <typename Run, typename OtherRun>
void addCases(const std::string& job, const std::string& unit, double units, const Run& run,
              const OtherRun& others, std::vector<Case>& cases) {
    cases.push_back({job, ours, unit, units, [run] { return [run] { run(); }; }, [] {}});
    for (const Contender& contender : contenders()) {
        if (const auto other = others(contender)) {
            const auto check = [job, run, other] {
                constexpr double tolerance = 1e-12;
                const Matrix expected = run();
                requireEqual(job, expected->data, other().get(), elements(*expected), tolerance);
            };
            cases.push_back({job, contender.name, unit, units,
                             [other] { return [other] { other(); }; }, check});
        }
    }
}

using OtherWay = std::function<Buffer<double>()>;

void addCollocation(const std::string& job, const Splines& splines, const Matrix& sites,
                    const std::function<Matrix()>& run, std::vector<Case>& cases) {
    const auto others = [=](const Contender& contender) -> OtherWay {
        if (contender.collocate == nullptr) {
            return nullptr;
        }
        return [=] { return contender.collocate(splines.breaks, {sites->data, elements(*sites)}); };
    };
    addCases(job, "site", sites->rows, run, others, cases);
}

void addProduct(const std::string& job, const Matrix& a, const Matrix& b,
                std::vector<Case>& cases) {
    const auto others = [=](const Contender& contender) -> OtherWay {
        if (contender.multiply == nullptr) {
            return nullptr;
        }
        return [=] { return contender.multiply(*a, *b); };
    };
    addCases(
        job, "element", static_cast<double>(a->rows) * b->cols,
        [=] { return owned(matMul(a.get(), b.get())); }, others, cases);
}

void addQuotient(const std::string& job, const Matrix& a, double divisor,
                 std::vector<Case>& cases) {
    addCases(
        job, "element", static_cast<double>(elements(*a)),
        [=] { return owned(matDivk(a.get(), divisor)); },
        [](const Contender&) { return OtherWay(); }, cases);
}

}  // namespace

std::vector<Case> toolkitCases() {
    constexpr int32_t rows = 480;
    constexpr int32_t cols = 640;
    std::vector<Case> cases;
    const Splines splines = lensSplines();
    for (const int32_t count : {280, 1120, 4480, 17920}) {
        const Matrix sites = sitesOver(splines.breaks, count);
        addCollocation(
            "collocationMatrix " + std::to_string(count) + " sites", splines, sites,
            [=] { return splines.collocation(*sites); }, cases);
    }
    const Matrix site = sitesOver(splines.breaks, 1);
    addCollocation(
        "spcol", splines, site,
        [=] { return owned(spcol(splines.knots.get(), LensModel::order, site->data[0])); }, cases);

    const Matrix collocation = splines.collocation(*sitesOver(splines.breaks, cols));
    const Matrix right = owned(matT(collocation.get()));
    const Matrix left = dense(rows, right->rows);
    addProduct("matMul 480x12 by collocation 12x640", left, right, cases);
    addProduct("matMul 480x12 by dense 12x640", left, dense(right->rows, cols), cases);
    addQuotient("matDivk 480x640 by 2", dense(rows, cols), 2.0, cases);
    addQuotient("matDivk 480x640 by 6", dense(rows, cols), 6.0, cases);
    return cases;
}
