// What the tests share: owned handles, comparison by bits, captured output, files for `calibin`.
#ifndef CALIBMAP_TESTS_SUPPORT_H
#define CALIBMAP_TESTS_SUPPORT_H

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <limits>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "calibration_image.h"

inline constexpr double infinity = std::numeric_limits<double>::infinity();
inline constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

using Values = std::vector<double>;

/** Releases any container through its own destroy function. */
struct Destroy {
    void operator()(Mat* handle) const { destroyMat(&handle); }
    void operator()(MatInt* handle) const { destroyMatInt(&handle); }
    void operator()(VectorInt* handle) const { destroyVectorInt(&handle); }
    void operator()(VectorFloat* handle) const { destroyVectorFloat(&handle); }
    void operator()(VectorDouble* handle) const { destroyVectorDouble(&handle); }
};

/** A container with an owner. */
template <typename Container>
using Owned = std::unique_ptr<Container, Destroy>;

/** Takes ownership of what a call returned. */
template <typename Container>
Owned<Container> own(Container* handle) {
    return Owned<Container>(handle);
}

/** A matrix of the given elements, row-major. */
inline Owned<Mat> matrix(int32_t rows, int32_t cols, const Values& elements) {
    EXPECT_EQ(static_cast<size_t>(rows * cols), elements.size());
    return own(createMatFromArray(rows, cols, elements.data()));
}

/** A vector of the given elements. */
inline Owned<VectorDouble> vectorOf(const Values& elements) {
    return own(vectorCopyFromDoubleArray(elements.data(), static_cast<int32_t>(elements.size())));
}

/** The elements of a container as doubles, a matrix row by row; none for null. */
template <typename Container>
Values elements(const Owned<Container>& from) {
    int32_t count = 0;
    if constexpr (requires { from->rows; }) {
        count = from ? from->rows * from->cols : 0;
    } else {
        count = from ? from->size : 0;
    }
    return from ? Values(from->data, from->data + count) : Values();
}

/** Bit patterns, with one pattern for every NaN: which of two NaNs survives is not defined. */
inline std::vector<uint64_t> bitsOf(Values values) {
    std::replace_if(
        values.begin(), values.end(), [](double v) { return v != v; }, notANumber);
    std::vector<uint64_t> bits(values.size());
    std::transform(values.begin(), values.end(), bits.begin(), std::bit_cast<uint64_t, double>);
    return bits;
}

/** Live matrices and live vectors. */
inline std::pair<int32_t, int32_t> liveCounts() {
    return {getTotalActiveMat(), getTotalActiveVectorCnt()};
}

/** Makes a call with standard output sent to an open file. */
template <typename Call>
void callWithOutputTo(int file, const Call& call) {
    std::fflush(stdout);
    const int kept = dup(STDOUT_FILENO);
    dup2(file, STDOUT_FILENO);
    call();
    std::fflush(stdout);
    dup2(kept, STDOUT_FILENO);
    close(kept);
}

/** Everything that a call prints on standard output. */
template <typename Call>
std::string printedBy(const Call& call) {
    const int file = memfd_create("stdout", 0);
    callWithOutputTo(file, call);
    std::string text(static_cast<size_t>(lseek(file, 0, SEEK_END)), '\0');
    EXPECT_EQ(pread(file, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
    close(file);
    return text;
}

/** The content of a file that lies beside the tests. */
inline std::string testData(const std::string& name) {
    std::ifstream file(CALIBMAP_TEST_DATA "/" + name);
    EXPECT_TRUE(file.is_open()) << name;
    return {std::istreambuf_iterator<char>(file), {}};
}

/** Compares a text with a file beside the tests; where they differ, a copy shows what it is now. */
inline void expectFile(const std::string& actual, const std::string& name) {
    std::istringstream is(actual);
    std::istringstream shouldBe(testData(name));
    std::string line;
    std::string right;
    for (int number = 1; is || shouldBe; ++number) {
        line.clear(), right.clear();
        std::getline(is, line);
        std::getline(shouldBe, right);
        if (line != right) {
            std::ofstream("actual-" + name) << actual;
            FAIL() << name << ':' << number << ": should be\n  " << right << "\nand is\n  " << line
                   << "\nAll of it stands in actual-" << name;
        }
    }
}

/** The numbers of a list such as 1,-0.0,inf*5. */
inline Values numbersOf(const std::string& list) {
    Values values;
    std::istringstream items(list);
    for (std::string item; std::getline(items, item, ',');) {
        const size_t times = item.find('*');
        values.insert(values.end(),
                      times == std::string::npos ? 1 : std::stoul(item.substr(times + 1)),
                      std::strtod(item.c_str(), nullptr));
    }
    return values;
}

/** The words of a text. */
inline std::vector<std::string> wordsOf(const std::string& text) {
    std::istringstream words(text);
    return {std::istream_iterator<std::string>(words), {}};
}

/** A sealed image with changes such as width=0 or distortion.xbreaks=1,0.5: see `fields`. */
inline Image changedImage(const Recipe& recipe, const std::vector<std::string>& changes) {
    Image image = unsealedImage(recipe);
    for (const std::string& change : changes) {
        const size_t at = change.find('=');
        set(image.data(), change.substr(0, at), numbersOf(change.substr(at + 1)));
    }
    seal(image.data());
    return image;
}

/** A calibration file in the working directory, which `calibin` names from then on. */
class CalibrationOnDisk {
  public:
    /** Without the last `missing` bytes, or with further ones when it is negative. */
    explicit CalibrationOnDisk(const Image& image, int missing = 0) {
        std::string bytes(image.begin(), image.end());
        bytes.resize(bytes.size() - static_cast<size_t>(missing));
        static int made = 0;
        std::snprintf(calibin, sizeof calibin, "calib-%d-%d.bin", getpid(), ++made);
        std::ofstream(calibin, std::ios::binary) << bytes;
        path_ = calibin;
    }
    ~CalibrationOnDisk() { std::remove(path_.c_str()); }
    CalibrationOnDisk(const CalibrationOnDisk&) = delete;
    CalibrationOnDisk& operator=(const CalibrationOnDisk&) = delete;

  private:
    std::string path_;
};

#endif  // CALIBMAP_TESTS_SUPPORT_H
