// A random program over live containers, beside a model of what each of them holds.
#include <cstring>

#include "fuzz/harness.h"

namespace {

/** A container and what it has to hold; a vector is a row. */
template <typename Container, typename Element>
struct Live {
    Container* handle;
    int32_t rows;
    int32_t cols;
    std::vector<Element> elements;
};

template <typename Container, typename Element>
bool sameShape(const Live<Container, Element>& a, const Live<Container, Element>& b) {
    return !a.elements.empty() && a.rows == b.rows && a.cols == b.cols;
}

/** Everything of one kind that is alive. */
template <typename Container, typename Element>
class Population {
  public:
    using Member = Live<Container, Element>;

    explicit Population(void (*destroy)(Container**)) : destroy_(destroy) {}
    ~Population() {
        while (!members_.empty()) {
            remove(0);
        }
    }
    Population(const Population&) = delete;
    Population& operator=(const Population&) = delete;

    /** Takes a result in, which exists where it has to; what is too large to look at goes again. */
    void add(Member result, bool expected) {
        require((result.handle != nullptr) == expected, "a result where there has to be one");
        if (result.elements.size() > 1 << 12) {
            destroy_(&result.handle);
        }
        if (result.handle != nullptr) {
            members_.push_back(std::move(result));
        }
    }
    /** Some member, or one that does not exist. */
    Member pick(FuzzedDataProvider& input) {
        const auto choice = input.ConsumeIntegralInRange<size_t>(0, members_.size());
        return choice < members_.size() ? members_[choice] : Member{nullptr, 0, 0, {}};
    }
    void removeAny(FuzzedDataProvider& input) {
        destroy_(nullptr);
        if (!members_.empty()) {
            remove(input.ConsumeIntegralInRange<size_t>(0, members_.size() - 1));
        }
    }
    [[nodiscard]] const std::vector<Member>& members() const { return members_; }

  private:
    void remove(size_t choice) {
        Container*& handle = members_[choice].handle;
        destroy_(&handle);
        require(handle == nullptr, "a cleared handle");
        destroy_(&handle);
        members_.erase(members_.begin() + static_cast<std::ptrdiff_t>(choice));
    }

    std::vector<Member> members_;
    void (*destroy_)(Container**);
};

class Program {
  public:
    explicit Program(FuzzedDataProvider& input) : input_(input) {}

    void step() {
        switch (input_.ConsumeIntegralInRange(0, 7)) {
            case 0:
                return create();
            case 1:
                return addOrSubtract();
            case 2:
                return applyScalar();
            case 3:
                return multiply();
            case 4:
                return transposeAndClone();
            case 5:
                return createInts();
            case 6:
                return createVectors();
            default:
                mats_.removeAny(input_);
                ints_.removeAny(input_);
                vectors_.removeAny(input_);
        }
    }

    /** Counts, shapes and contents of everything: no call changes what is not its result. */
    void check() const {
        for (const auto& m : mats_.members()) {
            require(getMatRows(m.handle) == m.rows && getMatCols(m.handle) == m.cols, "shape");
            require(matSize(m.handle) == m.rows * m.cols * 8, "size");
            require(same(m.elements, getMatData(m.handle)), "elements");
        }
        for (const auto& m : ints_.members()) {
            require(m.handle->rows == m.rows && m.handle->cols == m.cols, "shape of integers");
            require(matIntSize(m.handle) == m.rows * m.cols * 4, "size of integers");
            require(same(m.elements, m.handle->data), "integers");
        }
        for (const auto& v : vectors_.members()) {
            require(vectorDoubleSize(v.handle) == v.cols * 8 && v.handle->size == v.cols, "length");
            require(same(v.elements, v.handle->data), "elements of a vector");
        }
        const size_t mats = mats_.members().size() + ints_.members().size();
        require(liveObjects() == std::pair(static_cast<int32_t>(mats),
                                           static_cast<int32_t>(vectors_.members().size())),
                "live counts");
    }

  private:
    FuzzedDataProvider& input_;
    Population<Mat, double> mats_{destroyMat};
    Population<MatInt, int32_t> ints_{destroyMatInt};
    Population<VectorDouble, double> vectors_{destroyVectorDouble};

    /** Mostly around the widths of the kernels' tiles. */
    int32_t count() { return anyCount(input_, 20); }
    /** What a buffer of this size holds at first; `possible` says whether it may exist. */
    template <typename Element>
    std::vector<Element> zeros(int32_t rows, int32_t cols, bool& possible) {
        possible = rows >= 0 && cols >= 0 &&
                   int64_t{rows} * cols <= static_cast<int64_t>(largestBlock / sizeof(Element));
        return std::vector<Element>(possible ? static_cast<size_t>(rows * cols) : 0);
    }

    void create() {
        bool possible = false;
        const int32_t rows = count();
        const int32_t cols = count();
        auto elements = zeros<double>(rows, cols, possible);
        mats_.add({createMat(rows, cols), rows, cols, elements}, possible);
        std::ranges::generate(elements, [this] { return anyNumber(input_); });
        elements.reserve(1);  // an empty array is an array too
        mats_.add({createMatFromArray(rows, cols, elements.data()), rows, cols, elements},
                  possible);
    }

    void addOrSubtract() {
        auto a = mats_.pick(input_);
        const auto b = mats_.pick(input_);
        const bool adds = input_.ConsumeBool();
        const bool possible = sameShape(a, b);
        for (size_t i = 0; possible && i < a.elements.size(); ++i) {
            a.elements[i] += adds ? b.elements[i] : -b.elements[i];
        }
        a.handle = (adds ? matAdd : matSub)(a.handle, b.handle);
        mats_.add(a, possible);
    }

    void applyScalar() {
        Mat* (*const call[])(const Mat*, double) = {matAddk, matSubk, matMulk, matDivk};
        auto a = mats_.pick(input_);
        const int operation = input_.ConsumeIntegralInRange(0, 3);
        const double k = anyNumber(input_);
        const bool possible = !a.elements.empty() && !(operation == 3 && k == 0);
        for (double& e : a.elements) {
            e = operation == 0 ? e + k : operation == 1 ? e - k : operation == 2 ? e * k : e / k;
        }
        a.handle = call[operation](a.handle, k);
        mats_.add(a, possible);
    }

    void multiply() {
        const auto a = mats_.pick(input_);
        const auto b = mats_.pick(input_);
        const bool possible = !a.elements.empty() && !b.elements.empty() && a.cols == b.rows;
        const auto inner = static_cast<size_t>(a.cols);
        const auto cols = static_cast<size_t>(b.cols);
        std::vector<double> product(possible ? static_cast<size_t>(a.rows) * cols : 0);
        for (size_t n = 0; n < product.size(); ++n) {
            for (size_t i = 0; i < inner; ++i) {
                product[n] += a.elements[n / cols * inner + i] * b.elements[i * cols + n % cols];
            }
        }
        mats_.add({matMul(a.handle, b.handle), a.rows, b.cols, product}, possible);
    }

    void transposeAndClone() {
        const auto a = mats_.pick(input_);
        std::vector<double> transposed;
        for (size_t i = 0; i < a.elements.size(); ++i) {
            const auto rows = static_cast<size_t>(a.rows);
            transposed.push_back(a.elements[i % rows * static_cast<size_t>(a.cols) + i / rows]);
        }
        mats_.add({matT(a.handle), a.cols, a.rows, transposed}, !a.elements.empty());
        mats_.add({cloneMat(a.handle), a.rows, a.cols, a.elements}, !a.elements.empty());
    }

    void createInts() {
        bool possible = false;
        const int32_t rows = count();
        const int32_t cols = count();
        auto elements = zeros<int32_t>(rows, cols, possible);
        MatInt* ints = createMatInt(rows, cols);
        require(ints == nullptr || same(elements, ints->data), "zeros");
        std::ranges::generate(elements, [this] { return input_.ConsumeIntegral<int32_t>(); });
        if (ints != nullptr && !elements.empty()) {
            std::memcpy(ints->data, elements.data(), elements.size() * sizeof(int32_t));
        }
        ints_.add({ints, rows, cols, elements}, possible);

        auto a = ints_.pick(input_);
        const auto b = ints_.pick(input_);
        const bool addable = sameShape(a, b);
        for (size_t i = 0; addable && i < a.elements.size(); ++i) {
            a.elements[i] = static_cast<int32_t>(int64_t{a.elements[i]} + b.elements[i]);
        }
        a.handle = matIntAdd(a.handle, b.handle);
        ints_.add(a, addable);
    }

    void createVectors() {
        const int32_t size = count();
        bool possible = false;
        auto elements = zeros<double>(1, size, possible);
        std::ranges::generate(elements, [this] { return anyNumber(input_); });
        vectors_.add({vectorCopyFromDoubleArray(elements.data(), size), 1, size, elements},
                     possible && size > 0);

        const auto source = vectors_.pick(input_);
        const int32_t n = count();
        const bool enough = source.handle != nullptr && n >= 0 && n <= source.cols;
        const auto first = source.elements.begin();
        vectors_.add({copyFromVector(source.handle, n), 1, n, {first, first + (enough ? n : 0)}},
                     enough);
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider input(data, size);
    runWithAny(input);
    {
        Program program(input);
        for (int steps = 0; input.remaining_bytes() > 0 && steps < 64; ++steps) {
            program.step();
            program.check();
        }
    }
    require(liveObjects() == std::pair(0, 0), "nothing left");
    return 0;
}
