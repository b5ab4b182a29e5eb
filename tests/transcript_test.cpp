// Runs the calls that stand in the transcripts beside this file, which hold what each has to return
// and to print: every message of the library to the letter.
//
//     name argument... = result            calls a function of the library by its name
//     name argument... with change... = result      the same over a file with changes
//     ERROR: ...                           what the call before it prints
//     file change...                       makes `calibin` name a file; none: no file
//     let [name]                           it stands for the lines that follow
//
// Arguments are numbers, null, lists [1,2] for arrays and vectors, 2x3[1,2,3] for matrices and maps
// (zeros follow a short list), -3[1] for a vector of another size, 2x3[null] where there is no
// buffer. A file is valid but for the changes (see `changedImage`). Behind the status of a call
// stands what it has written into the caller's map, at least its corner.
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <tuple>

#include "support.h"

namespace {

/** Numbers to ten digits, every NaN alike. */
std::string shown(const Values& values) {
    std::string text;
    for (const double value : values) {
        char digits[32];
        std::snprintf(digits, sizeof digits, " %.10g", value);
        text += std::isnan(value) ? " nan" : digits;
    }
    return text;
}

/** One argument, as everything that a function may take it for. */
class Argument {
  public:
    explicit Argument(const std::string& text) : text_(text) {
        const size_t open = text.find('[');
        if (open != std::string::npos) {
            doubles_ = numbersOf(text.substr(open + 1, text.find(']') - open - 1));
        }
        auto rows = static_cast<int32_t>(doubles_.size());
        int32_t cols = 1;
        if (open != std::string::npos) {
            std::sscanf(text.c_str(), "%dx%d", &rows, &cols);
        }
        const int64_t count = int64_t{rows} * cols;
        const bool isSmall = count < 999999;
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
    /** A map that a call has written, at least its corner. */
    [[nodiscard]] std::string written() const {
        Values values = map_->written();
        values.resize(std::min<size_t>(values.size(), 12));
        std::string text = values.empty() ? "" : ":";
        text += shown(values);
        return text;
    }

  private:
    std::string text_;
    Values doubles_;
    std::vector<float> floats_;
    std::vector<int32_t> integers_;
    std::tuple<Mat, MatInt, VectorDouble, VectorFloat, VectorInt> records_;
    std::optional<CallerMap> map_;
};

/** What a call returned; a container with its shape, and it is released. */
template <typename Result>
std::string shown(Result result) {
    if constexpr (std::is_same_v<Result, std::string>) {
        return result;
    } else if constexpr (std::is_arithmetic_v<Result>) {
        return shown(Values{static_cast<double>(result)});
    } else if (result == nullptr) {
        return " null";
    } else {
        char shape[40];
        if constexpr (requires { result->rows; }) {
            std::snprintf(shape, sizeof shape, " %dx%d:", result->rows, result->cols);
        } else {
            std::snprintf(shape, sizeof shape, " %d:", result->size);
        }
        return shape + shown(elements(own(result)));
    }
}

/** What a call printed, with its line feeds as \n and between quotes. */
std::string quoted(const std::string& text) {
    std::string quote = " \"";
    for (const char c : text) {
        c == '\n' ? quote.append("\\n") : quote.append(1, c);
    }
    quote += '"';
    return quote;
}

using Arguments = std::deque<Argument>;

/** What a call returned, or printed where it returns nothing, then what else it printed. */
using Command = std::function<std::pair<std::string, std::string>(const Arguments&)>;

template <typename Result, typename... Parameters>
Command calling(Result (*function)(Parameters...)) {
    return [=](const Arguments& arguments) -> std::pair<std::string, std::string> {
        const auto call = [&]<size_t... Index>(std::index_sequence<Index...>) {
            return function(arguments.at(Index).as<Parameters>()...);
        };
        constexpr std::index_sequence_for<Parameters...> indices;
        if constexpr (std::is_void_v<Result>) {
            return {quoted(printedBy([&] { call(indices); })), ""};
        } else {
            std::string result;
            const std::string printed = printedBy([&] { result = shown(call(indices)); });
            return {result, printed};
        }
    };
}

/** What `augknt` returns, and what it stores. */
std::string augkntOf(const VectorDouble* knots, double k) {
    double left = 99.0;
    const int32_t status = augknt(knots, &left, k);
    return shown(status) + " augLeft" + shown(left);
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

/** A valid file with changes; cut=N takes bytes away, `unsealed` leaves the checksums. */
std::unique_ptr<CalibrationOnDisk> fileWith(std::vector<std::string> changes) {
    const auto isCut = [](const std::string& change) { return change.starts_with("cut="); };
    const auto cut = std::find_if(changes.begin(), changes.end(), isCut);
    const int missing = cut == changes.end() ? 0 : std::stoi(cut->substr(4));
    const bool sealed = std::erase(changes, "unsealed") == 0;
    std::erase_if(changes, isCut);
    Image image = changedImage({.undistortionWarp = -0.5}, changes);
    image[CALIBMAP_CHECKED_SIZE] ^= sealed ? 0 : 1;
    return std::make_unique<CalibrationOnDisk>(image, missing);
}

/** Repeats a call: "name argument... with change..." and what becomes of it. */
std::string repeated(const std::string& call) {
    const size_t with = call.find(" with ");
    const auto file =
        with == std::string::npos ? nullptr : fileWith(wordsOf(call.substr(with + 6)));
    const auto words = wordsOf(call.substr(0, with));
    const Arguments arguments(words.begin() + 1, words.end());
    auto [result, printed] = functions.at(words[0])(arguments);
    for (const Argument& argument : arguments) {
        result += argument.written();
    }
    result += liveCounts() == std::pair(0, 0) ? "" : " and a container is left";
    return call + " =" + result + "\n" + printed;
}

class Transcript : public testing::TestWithParam<const char*> {};

TEST_P(Transcript, IsRepeatedToTheLetter) {
    std::string actual;
    std::map<std::string, std::string> abbreviations;
    std::unique_ptr<CalibrationOnDisk> file;
    std::istringstream lines(testData(GetParam()));
    std::string* let = nullptr;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("ERROR: ")) {
            if (let != nullptr) {
                *let += "\n" + line;
                actual += line + "\n";
            }
            continue;
        }
        const auto words = wordsOf(line);
        let = line.starts_with("let ") ? &abbreviations[words[1]] : nullptr;
        if (line.starts_with("file")) {
            file.reset();
            file = words.back() == "none" ? nullptr : fileWith({words.begin() + 1, words.end()});
        }
        const size_t result = line.find(" = ");
        const bool isCall = result != std::string::npos && line[0] != '#';
        std::string text = isCall ? repeated(line.substr(0, result)) : line + "\n";
        for (const auto& [name, stands] : abbreviations) {
            const size_t at = text.find(stands);
            if (let == nullptr && at != std::string::npos) {
                text.replace(at, stands.size(), " " + name);
            }
        }
        actual += text;
    }
    expectFile(actual, GetParam());
}

INSTANTIATE_TEST_SUITE_P(Of, Transcript,
                         testing::Values("containers.txt", "splines.txt", "maps.txt",
                                         "hostile.txt"));

}  // namespace
