// The arithmetic of the matrices, bit for bit.
#include "support.h"

namespace {

constexpr double largest = std::numeric_limits<double>::max();
const Values peculiar = {0.0,        -0.0,    1.0,       -1.0,      0.1,
                         -7.25,      5e-324,  -2.5e-308, infinity,  -infinity,
                         notANumber, largest, -largest,  1.0 / 3.0, 3e-310};

TEST(Arithmetic, IsOneRoundedOperationPerElement) {
    // None of the last elements, which fill no vector, is left as it was by a sum or a difference.
    Values other = peculiar;
    std::rotate(other.begin(), other.begin() + 6, other.end());
    const auto a = matrix(5, 3, peculiar);
    const auto b = matrix(5, 3, other);
    const auto expect = [&](Mat* result, const auto& operation) {
        Values expected(peculiar.size());
        std::transform(peculiar.begin(), peculiar.end(), other.begin(), expected.begin(),
                       operation);
        EXPECT_EQ(bitsOf(elements(own(result))), bitsOf(expected));
    };
    expect(matAdd(a.get(), b.get()), [](double x, double y) { return x + y; });
    expect(matAdd(a.get(), a.get()), [](double x, double) { return x + x; });
    expect(matSub(a.get(), b.get()), [](double x, double y) { return x - y; });
    expect(cloneMat(a.get()), [](double x, double) { return x; });
    expect(matT(own(matT(a.get())).get()), [](double x, double) { return x; });
    for (const double k : peculiar) {
        expect(matAddk(a.get(), k), [&](double x, double) { return x + k; });
        expect(matSubk(a.get(), k), [&](double x, double) { return x - k; });
        expect(matMulk(a.get(), k), [&](double x, double) { return x * k; });
    }
    // Every power of two, from the least denormal on, and neighbours that are none.
    Values divisors(peculiar.begin() + 2, peculiar.end());
    for (int exponent = -1074; exponent <= 1023; ++exponent) {
        const double power = std::ldexp(1.0, exponent);
        divisors.insert(divisors.end(), {power, -power, std::nextafter(power, infinity)});
    }
    for (const double k : divisors) {
        SCOPED_TRACE(k);
        expect(matDivk(a.get(), k), [&](double x, double) { return x / k; });
    }
    EXPECT_EQ(bitsOf(elements(a)), bitsOf(peculiar));
}

TEST(Arithmetic, ProductsSumEveryTermInOrder) {
    std::mt19937_64 random(11);
    const auto expectProduct = [](int32_t rows, int32_t terms, int32_t cols, const Values& left,
                                  const Values& right) {
        Values expected;
        for (int32_t i = 0; i < rows * cols; ++i) {
            const double* row = left.data() + int64_t{i / cols} * terms;
            const double* column = right.data() + i % cols;
            double sum = 0.0;
            for (int32_t t = 0; t < terms; ++t) {
                sum += row[t] * column[int64_t{t} * cols];
            }
            expected.push_back(sum);
        }
        const auto a = matrix(rows, terms, left);
        const auto b = matrix(terms, cols, right);
        EXPECT_EQ(bitsOf(elements(own(matMul(a.get(), b.get())))), bitsOf(expected))
            << rows << " x " << terms << " x " << cols;
    };
    for (int32_t terms = 1; terms <= 70; ++terms) {
        const int32_t rows = 1 + terms % 9;
        const int32_t cols = 1 + terms % 18;
        Values left(static_cast<size_t>(rows * terms));
        Values right(static_cast<size_t>(terms * cols));
        std::generate(left.begin(), left.end(), [&] { return std::pow(2.0, random() % 9) / 3; });
        std::generate(right.begin(), right.end(), [&] { return std::pow(2.0, random() % 9) / 7; });
        expectProduct(rows, terms, cols, left, right);
        // One infinity, at either end, times zero is no number in its row; the zeros count.
        for (const size_t at : {size_t{0}, left.size() - 1}) {
            Values infinite = left;
            infinite[at] = infinity;
            expectProduct(rows, terms, cols, infinite, Values(right.size(), 0.0));
        }
    }
}

TEST(Containers, AreCountedFromCreationToRelease) {
    const auto lives = [](auto* handle, auto destroy, int mats, int vectors) {
        EXPECT_EQ(std::pair(gMatCnt, gTotalVecCnt), std::pair(mats, vectors));
        destroy(&handle);
        EXPECT_EQ(handle, nullptr);
        destroy(&handle);
        destroy(nullptr);
        EXPECT_EQ(liveCounts(), std::pair(0, 0));
    };
    lives(createMat(3, 0), destroyMat, 1, 0);
    lives(createMatInt(3, 5), destroyMatInt, 1, 0);
    lives(createVectorInt(0), destroyVectorInt, 0, 1);
    lives(createVectorFloat(4), destroyVectorFloat, 0, 1);
    lives(createVectorDouble(5), destroyVectorDouble, 0, 1);
    EXPECT_EQ(getMatData(nullptr), nullptr);
}

}  // namespace
