#include "commands/make_fields.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "calibration/camera_file.h"
#include "calibration/producer.h"
#include "calibration/verdict.h"
#include "failure.h"
#include "input.h"
#include "lens/fit.h"
#include "text.h"

namespace {

/** The pieces between commas, without the spaces around them. */
std::vector<std::string> cellsOf(const std::string& text) {
    std::vector<std::string> cells;
    for (std::size_t first = 0; first <= text.size();) {
        const std::size_t end = std::min(text.find(',', first), text.size());
        std::string cell = text.substr(first, end - first);
        cell.erase(cell.find_last_not_of(' ') + 1);
        cell.erase(0, cell.find_first_not_of(' '));
        cells.push_back(std::move(cell));
        first = end + 1;
    }
    return cells;
}

std::optional<Words> sixNumbers(const std::string& text) {
    const std::vector<std::string> cells = cellsOf(text);
    Words words{};
    bool good = cells.size() == words.size();
    for (std::size_t i = 0; good && i < words.size(); ++i) {
        float value = 0;
        const std::string& cell = cells[i];
        const bool hasPlus = cell.starts_with("+") && !cell.starts_with("+-");
        const char* const last = cell.data() + cell.size();
        const auto [end, error] = std::from_chars(cell.data() + (hasPlus ? 1 : 0), last, value);
        good = error == std::errc() && end == last && std::isfinite(value);
        words[i] = std::bit_cast<uint32_t>(value);
    }
    return good ? std::optional(words) : std::nullopt;
}

std::optional<Words> hexadecimalBytes(std::string digits) {
    digits.erase(std::remove(digits.begin(), digits.end(), ' '), digits.end());
    Words words{};
    bool good = digits.size() == 2 * sizeof words;
    for (std::size_t i = 0; good && i < sizeof words; ++i) {
        uint32_t byte = 0;
        const char* const first = digits.data() + 2 * i;
        const auto [end, error] = std::from_chars(first, first + 2, byte, 16);
        good = error == std::errc() && end == first + 2;
        words[i / 4] |= byte << (8 * (i % 4));
    }
    return good ? std::optional(words) : std::nullopt;
}

/** Six numbers with commas between them as floats, or 48 hexadecimal digits as bytes. */
Words wordsFrom(const std::string& option, const std::string& text) {
    std::optional<Words> words = sixNumbers(text);
    if (!words) {
        words = hexadecimalBytes(text);
    }
    if (!words) {
        throw Failure(option, "'" + text + "' is neither six finite numbers nor 24 bytes",
                      "write 0,0,0,1,25,0 or 48 hexadecimal digits");
    }
    return *words;
}

/** The file to start from; it may be one that did not pass. */
Image imageFrom(const std::string& path) {
    Image image{};
    const Verdict verdict = examine(path, image);
    if (verdict.status != CALIBMAP_SUCCESS && verdict.status != CALIBMAP_NOT_PASSED) {
        throw Failure(inputName(path), verdict.reason, verdict.remedy);
    }
    return image;
}

/** An empty file that passes and has the shape of our models. */
Image emptyImage() {
    Image image{};
    image[CALIBMAP_PASS_FLAG] = 1;
    storeShape(image, fittingShape);
    return image;
}

/** A value that a camera's file and the command line may both give, but not differently. */
template <class Value>
Value agreed(const std::string& source, const std::string& option, std::optional<Value> inFile,
             std::optional<Value> given) {
    if (inFile && given && *inFile != *given) {
        throw Failure(source,
                      format("says %g, but %s says %g", static_cast<double>(*inFile),
                             option.c_str(), static_cast<double>(*given)),
                      "leave one of them out");
    }
    if (!inFile && !given) {
        throw Failure(source, "does not say what " + option + " is", "add " + option);
    }
    return inFile ? *inFile : *given;
}

/** The terms as the files of our own demonstration have them, where six words hold them. */
std::optional<Words> coefficientsOf(const CameraDescription& camera) {
    if (camera.lens.kind != LensKind::radialTangential || camera.termCount > 5) {
        return std::nullopt;
    }
    Words words{};
    for (std::size_t i = 0; i < 5; ++i) {
        words[i] = std::bit_cast<uint32_t>(static_cast<float>(camera.lens.terms[i]));
    }
    return words;
}

Words wordsAt(const Image& image, std::size_t offset) {
    Words words{};
    for (std::size_t i = 0; i < words.size(); ++i) {
        words[i] = wordAt(image, offset + sizeof words[i] * i);
    }
    return words;
}

void storeNumbers(Image& image, std::size_t block, const Camera& camera, const Words& coeff) {
    CameraIntrinsics stored = {camera.width,
                               camera.height,
                               static_cast<float>(camera.cx),
                               static_cast<float>(camera.cy),
                               static_cast<float>(camera.fx),
                               static_cast<float>(camera.fy),
                               {}};
    std::copy(coeff.begin(), coeff.end(), stored.coeff);
    storeCamera(image, block, stored);
}

/** Size, focal lengths and principal point, from the calibration, the options or the old file. */
Camera mainCameraFrom(const MakeOptions& options, const std::optional<CameraDescription>& described,
                      const Camera& old) {
    const bool keepsOld = !options.from.empty() && !described;
    const auto number = [&](const char* option, auto given, auto inFile, auto before) {
        using Value = decltype(before);
        if (keepsOld) {
            return given.value_or(before);
        }
        return agreed<Value>(described ? inputName(options.main) : "the main camera", option,
                             inFile, given);
    };
    const auto known = [&](double CameraDescription::*member) {
        return described ? std::optional((*described).*member) : std::nullopt;
    };
    using Pixels = std::optional<int32_t>;
    return {
        number("--width", options.width, described ? described->width : Pixels(), old.width),
        number("--height", options.height, described ? described->height : Pixels(), old.height),
        number("--fx", options.fx, known(&CameraDescription::fx), old.fx),
        number("--fy", options.fy, known(&CameraDescription::fy), old.fy),
        number("--cx", options.cx, known(&CameraDescription::cx), old.cx),
        number("--cy", options.cy, known(&CameraDescription::cy), old.cy)};
}

/** Fills in the main camera and returns its lens, if a calibration describes one. */
std::optional<Lens> storeMain(const MakeOptions& options, Image& image, MakeReport& report) {
    constexpr std::size_t block = CALIBMAP_MAIN_BLOCK;
    std::optional<CameraDescription> described;
    if (!options.main.empty()) {
        described = readCameraFile(options.main, options.isFisheye);
    }
    const std::string origin = options.from.empty() ? "the command line" : inputName(options.from);
    Words coeff = wordsAt(image, block + CALIBMAP_COEFF);
    report.coefficients = options.from.empty() ? "zero" : "as in " + origin;
    if (!options.mainCoeff.empty()) {
        coeff = wordsFrom("--main-coeff", options.mainCoeff);
        report.coefficients = "as given";
    } else if (described && options.points.empty()) {
        const std::optional<Words> own = coefficientsOf(*described);
        coeff = own.value_or(Words{});
        report.coefficients =
            own ? "k1, k2, p1, p2, k3, 0 of the lens" : "zero, six words cannot hold this lens";
    }
    storeNumbers(image, block, mainCameraFrom(options, described, mainCameraOf(image)), coeff);
    report.mainCamera = described ? inputName(options.main) : origin;
    report.camera = mainCameraOf(image);
    return described ? std::optional(described->lens) : std::nullopt;
}

void storeSub(const MakeOptions& options, Image& image, MakeReport& report) {
    constexpr std::size_t block = CALIBMAP_SUB_BLOCK;
    report.subCamera =
        options.from.empty() ? "none given, all zero" : "as in " + inputName(options.from);
    if (!options.sub.empty()) {
        const std::string name = inputName(options.sub);
        const CameraDescription sub = readCameraFile(options.sub, options.isFisheye);
        const Camera camera = {agreed(name, "--sub-width", sub.width, options.subWidth),
                               agreed(name, "--sub-height", sub.height, options.subHeight),
                               sub.fx,
                               sub.fy,
                               sub.cx,
                               sub.cy};
        storeNumbers(image, block, camera, coefficientsOf(sub).value_or(Words{}));
        report.subCamera = format("%d x %d pixels, from ", camera.width, camera.height) + name;
    } else if (options.subWidth || options.subHeight) {
        throw Failure("the sub camera", "has a size, but nothing else", "add --sub");
    }
    if (!options.subCoeff.empty()) {
        storeWords(image, block + CALIBMAP_COEFF, wordsFrom("--sub-coeff", options.subCoeff));
    }
    report.extrinsics =
        options.from.empty() ? "none given, all zero" : "as in " + inputName(options.from);
    if (!options.extrinsics.empty()) {
        storeWords(image, CALIBMAP_EXTRINSIC_BLOCK, wordsFrom("--extrinsics", options.extrinsics));
        report.extrinsics = "as given";
    }
}

void storeFlags(const MakeOptions& options, Image& image, MakeReport& report) {
    const ModelShape old = modelShapeOf(image);
    storeShape(image,
               {options.xOrder.value_or(old.xOrder), options.yOrder.value_or(old.yOrder),
                options.xPieces.value_or(old.xPieces), options.yPieces.value_or(old.yPieces)});
    image[CALIBMAP_PASS_FLAG] =
        static_cast<uint8_t>(options.pass.value_or(image[CALIBMAP_PASS_FLAG]));
    report.passFlag = image[CALIBMAP_PASS_FLAG];
}

}  // namespace

Image startingImage(const MakeOptions& options) {
    return options.from.empty() ? emptyImage() : imageFrom(options.from);
}

std::optional<Lens> storeFields(const MakeOptions& options, Image& image, MakeReport& report) {
    const std::optional<Lens> lens = storeMain(options, image, report);
    storeSub(options, image, report);
    storeFlags(options, image, report);
    return lens;
}
