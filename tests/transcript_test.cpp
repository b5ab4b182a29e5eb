// Runs the calls that stand in the transcripts beside this file, which hold what each has to print
// and to return: every message of the library to the letter.
//
//     > name argument...   calls a function of the library by its name
//     > file change...     makes `calibin` name a file, valid but for the changes; none: no file
//     anything else        what the call before it prints, then "= " and what it returns
//
// Arguments are numbers, null, lists [1,2] for arrays and vectors, 2x3[1,2,3] for matrices and maps
// (zeros follow a short list), -3[1] for a vector of another size, 2x3[null] where there is no
// buffer. A change is type@offset=value,value or cut@bytes; with `unsealed` the checksums stay.
#include <deque>
#include <functional>
#include <iterator>
#include <map>
#include <optional>
#include <sstream>
#include <tuple>

#include "support.h"

namespace {

/** The numbers of a list, from behind the first `open` on. */
Values parseList(const std::string& text, char open) {
    Values values;
    const size_t begin = std::min(text.find(open), text.size() - 1) + 1;
    std::istringstream items(text.substr(begin, text.find(']') - begin));
    for (std::string item; std::getline(items, item, ',');) {
        values.push_back(std::strtod(item.c_str(), nullptr));
    }
    return values;
}

/** Prints numbers to ten digits, every NaN alike. */
void showNumbers(const Values& values) {
    for (const double value : values) {
        std::isnan(value) ? std::printf(" nan") : std::printf(" %.10g", value);
    }
    std::puts("");
}

/** One argument, as everything that a function may take it for. */
class Argument {
  public:
    explicit Argument(const std::string& text) : text_(text), doubles_(parseList(text, '[')) {
        auto rows = static_cast<int32_t>(doubles_.size());
        int32_t cols = 1;
        if (text.find('[') != std::string::npos) {
            std::sscanf(text.c_str(), "%dx%d", &rows, &cols);
        }
        const int64_t count = int64_t{rows} * cols;
        const bool isSmall = count < 99999;
        doubles_.resize(count > 0 && isSmall ? static_cast<size_t>(count) : doubles_.size() + 1);
        floats_.assign(doubles_.begin(), doubles_.end());
        for (const double value : doubles_) {
            integers_.push_back(
                static_cast<int32_t>(std::fmin(std::fmax(value, INT32_MIN), INT32_MAX)));
        }
        const bool hasData = text.find("[null") == std::string::npos;
        auto& [mat, matInt, vectorDouble, vectorFloat, vectorInt] = records_;
        mat = {rows, cols, hasData ? doubles_.data() : nullptr};
        matInt = {rows, cols, hasData ? integers_.data() : nullptr};
        vectorDouble = {mat.data, rows};
        vectorFloat = {floats_.data(), rows};
        vectorInt = {matInt.data, rows};
        map_.emplace(isSmall ? rows : 0, cols);
    }
    Argument(const Argument&) = delete;
    Argument& operator=(const Argument&) = delete;

    template <typename Parameter>
    [[nodiscard]] Parameter as() const {
        if constexpr (std::is_arithmetic_v<Parameter>) {
            return static_cast<Parameter>(std::strtod(text_.c_str(), nullptr));
        } else {
            const auto& [mat, matInt, vectorDouble, vectorFloat, vectorInt] = records_;
            const std::tuple forms(&mat, &matInt, &vectorDouble, &vectorFloat, &vectorInt,
                                   &std::as_const(map_->lut), doubles_.data(), floats_.data(),
                                   text_ == "calibin" ? std::as_const(calibin) : text_.c_str());
            return text_ == "null" ? nullptr : std::get<Parameter>(forms);
        }
    }
    /** Prints a map that a call has written, at least its corner. */
    void showMap() const {
        Values written = map_->written();
        if (!written.empty()) {
            written.resize(std::min<size_t>(written.size(), 12));
            std::printf("written:");
            showNumbers(written);
        }
    }

  private:
    std::string text_;
    Values doubles_;
    std::vector<float> floats_;
    std::vector<int32_t> integers_;
    std::tuple<Mat, MatInt, VectorDouble, VectorFloat, VectorInt> records_;
    std::optional<CallerMap> map_;
};

/** Prints what a call returned; a container with its shape, and it is released. */
template <typename Result>
void show(Result result) {
    if constexpr (std::is_arithmetic_v<Result>) {
        std::printf("= %.10g\n", static_cast<double>(result));
    } else if (result == nullptr) {
        std::puts("= null");
    } else {
        if constexpr (requires { result->rows; }) {
            std::printf("= %dx%d:", result->rows, result->cols);
        } else {
            std::printf("= %d:", result->size);
        }
        showNumbers(elements(own(result)));
    }
}

/** Prints what a call printed, with its line feeds as \n and between quotes. */
void showPrinted(const std::string& text) {
    std::string shown;
    for (const char c : text) {
        shown += c == '\n' ? "\\n" : std::string(1, c);
    }
    std::printf("= \"%s\"\n", shown.c_str());
}

using Arguments = std::deque<Argument>;
using Command = std::function<void(const Arguments&)>;

template <typename Result, typename... Parameters>
Command calling(Result (*function)(Parameters...)) {
    return [=](const Arguments& arguments) {
        const auto call = [&]<size_t... Index>(std::index_sequence<Index...>) {
            return function(arguments.at(Index).as<Parameters>()...);
        };
        constexpr std::index_sequence_for<Parameters...> indices;
        if constexpr (std::is_void_v<Result>) {
            showPrinted(printedBy([&] { call(indices); }));
        } else {
            show(call(indices));
        }
    };
}

/** What `augknt` returns, after what it stores. */
int32_t augkntOf(const VectorDouble* knots, double k) {
    double left = 99.0;
    const int32_t status = augknt(knots, &left, k);
    std::printf("augLeft %g\n", left);
    return status;
}

// clang-format off
#define FUNCTION(name) {#name, calling(name)}
const std::map<std::string, Command> functions = {
    FUNCTION(matSize), FUNCTION(getMatRows), FUNCTION(getMatCols), FUNCTION(matIntSize),
    FUNCTION(createMat), FUNCTION(createMatInt), FUNCTION(createMatFromArray), FUNCTION(cloneMat),
    FUNCTION(matAdd), FUNCTION(matSub), FUNCTION(matAddk), FUNCTION(matSubk), FUNCTION(matMulk),
    FUNCTION(matDivk), FUNCTION(matMul), FUNCTION(matT), FUNCTION(matIntAdd), FUNCTION(printMat),
    FUNCTION(printMatRow), FUNCTION(printMatInt), FUNCTION(createVectorInt),
    FUNCTION(createVectorFloat), FUNCTION(createVectorDouble), FUNCTION(copyFromVector),
    FUNCTION(vectorCopyFromDoubleArray), FUNCTION(vectorCopyFromFloatArray),
    FUNCTION(vectorDoubleSize), FUNCTION(printVectorInt), FUNCTION(printVectorFloat),
    FUNCTION(printVectorDouble), FUNCTION(diff), FUNCTION(findBiggerBaseIdx),
    FUNCTION(findSmallerBaseIdx), FUNCTION(augknt_init), {"augknt", calling(augkntOf)},
    FUNCTION(sorted), FUNCTION(repmatInt), FUNCTION(meshgrid), FUNCTION(bsxfun_rdivied),
    FUNCTION(bsxfun_minus), FUNCTION(spcol), FUNCTION(collocationMatrix), FUNCTION(isFileExists),
    FUNCTION(DistortionProcess), FUNCTION(doDistortionProcess), FUNCTION(calcSubCameraDistortionB),
    FUNCTION(extractDistData2CamDistortionLUT)};
// clang-format on

/** Writes a valid calibration file with changes. */
std::unique_ptr<CalibrationOnDisk> writeFile(const std::vector<std::string>& changes) {
    Image image = calibrationImage({.undistortionWarp = -0.5});
    int missing = 0;
    for (const std::string& change : changes) {
        const size_t at = std::strtoul(change.c_str() + change.find('@') + 1, nullptr, 10);
        const Values values = parseList(change, '=');
        missing = change.starts_with("cut") ? static_cast<int>(at) : missing;
        for (size_t i = 0; i < values.size(); ++i) {
            if (change[0] == 'u') {
                image[at + i] = static_cast<uint8_t>(values[i]);
            } else if (change[0] == 'i') {
                put(image.data(), at + 4 * i, static_cast<int32_t>(values[i]));
            } else {
                put(image.data(), at + 4 * i, static_cast<float>(values[i]));
            }
        }
    }
    if (std::find(changes.begin(), changes.end(), "unsealed") == changes.end()) {
        seal(image.data());
    }
    return std::make_unique<CalibrationOnDisk>(image, missing);
}

class Transcript : public testing::TestWithParam<const char*> {};

TEST_P(Transcript, IsRepeatedToTheLetter) {
    const std::string expected = testData(GetParam());
    const std::string actual = printedBy([&] {
        std::unique_ptr<CalibrationOnDisk> file;
        std::istringstream lines(expected);
        for (std::string line; std::getline(lines, line);) {
            if (line.empty() || line.starts_with("#") || line.starts_with("> ")) {
                std::puts(line.c_str());
            }
            std::istringstream words(line.starts_with("> ") ? line.substr(2) : "");
            const std::vector<std::string> call(std::istream_iterator<std::string>(words), {});
            if (!call.empty() && call[0] == "file") {
                file.reset();
                file = call.back() == "none" ? nullptr : writeFile(call);
            } else if (!call.empty()) {
                const Arguments arguments(call.begin() + 1, call.end());
                functions.at(call[0])(arguments);
                for (const Argument& argument : arguments) {
                    argument.showMap();
                }
                std::printf(liveCounts() == std::pair(0, 0) ? "" : "a container is left\n");
            }
        }
    });
    EXPECT_EQ(actual, expected);
}

INSTANTIATE_TEST_SUITE_P(Of, Transcript,
                         testing::Values("containers.txt", "splines.txt", "maps.txt"));

}  // namespace
