#include "making/make_fields.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "calibration_file.h"
#include "failure.h"
#include "input.h"
#include "inspection/text.h"
#include "making/camera_file.h"
#include "making/fit.h"
#include "making/producer.h"
#include "number.h"

namespace {

std::optional<Words> sixNumbers(const std::string& text) {
    const std::vector<std::string_view> cells = cellsOf(text);
    Words words{};
    bool good = cells.size() == words.size();
    for (std::size_t i = 0; good && i < words.size(); ++i) {
        const auto value = static_cast<float>(numberFrom(cells[i]).value_or(NAN));
        good = std::isfinite(value);
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
        throw Failure(option, quoted(text) + " is neither six finite numbers nor 24 bytes",
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
    return coefficientsFrom(camera.lens);
}

Words wordsAt(const Image& image, std::size_t offset) {
    Words words{};
    for (std::size_t i = 0; i < words.size(); ++i) {
        words[i] = wordAt(image, offset + sizeof words[i] * i);
    }
    return words;
}

/** Size, focal lengths and principal point, from the calibration, the options or the old file. */
Camera mainCameraFrom(const MakeOptions& options, const std::optional<CameraDescription>& described,
                      const Camera& old) {
    if (!options.from.empty() && !described) {
        return withGiven(old, options.camera);
    }
    const std::string source = described ? inputName(options.main) : "the main camera";
    const CameraOptions& given = options.camera;
    CameraOptions inFile;
    if (described) {
        inFile = {described->width, described->height, described->fx,
                  described->fy,    described->cx,     described->cy};
    }
    return {agreed(source, "--width", inFile.width, given.width),
            agreed(source, "--height", inFile.height, given.height),
            agreed(source, "--fx", inFile.fx, given.fx),
            agreed(source, "--fy", inFile.fy, given.fy),
            agreed(source, "--cx", inFile.cx, given.cx),
            agreed(source, "--cy", inFile.cy, given.cy)};
}

/** Fills in the main camera and returns what a calibration says of it, if there is one. */
std::optional<CameraDescription> storeMain(const MakeOptions& options, Image& image,
                                           MakeReport& report) {
    constexpr std::size_t block = CALIBMAP_MAIN_BLOCK;
    std::optional<CameraDescription> described;
    if (!options.main.empty()) {
        // A lens that points replace need not be known.
        const auto unused = options.points.empty() ? std::nullopt : std::optional(LensChoice{});
        described = readCameraFile(options.main, options.lens ? options.lens : unused);
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
    storeCamera(image, block,
                intrinsicsFrom(mainCameraFrom(options, described, mainCameraOf(image)), coeff));
    report.mainCamera = described ? inputName(options.main) : origin;
    report.camera = mainCameraOf(image);
    if (described && options.points.empty()) {
        report.lens = lensWords(*described);
        report.reprojectionError = described->reprojectionError;
    }
    return described;
}

/** Fills in the sub camera and returns what a calibration says of it, if there is one. */
std::optional<CameraDescription> storeSub(const MakeOptions& options,
                                          const std::optional<CameraDescription>& main,
                                          Image& image, MakeReport& report) {
    constexpr std::size_t block = CALIBMAP_SUB_BLOCK;
    std::optional<CameraDescription> described;
    report.subCamera =
        options.from.empty() ? "none given, all zero" : "as in " + inputName(options.from);
    if (!options.sub.empty()) {
        const std::string name = inputName(options.sub);
        described = readCameraFile(options.sub, options.lens);
        const CameraDescription& sub = *described;
        // The cameras of one file have one size, unless somebody says otherwise.
        CameraOptions size;
        if (main && main->path == sub.path) {
            size = options.camera;
        }
        const auto width = options.subWidth ? options.subWidth : size.width;
        const auto height = options.subHeight ? options.subHeight : size.height;
        const Camera camera = {agreed(name, "--sub-width", sub.width, width),
                               agreed(name, "--sub-height", sub.height, height),
                               sub.fx,
                               sub.fy,
                               sub.cx,
                               sub.cy};
        storeCamera(image, block, intrinsicsFrom(camera, coefficientsOf(sub).value_or(Words{})));
        report.subCamera = format("%d x %d pixels, from ", camera.width, camera.height) + name +
                           ", lens " + lensWords(sub);
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
    } else {
        for (const auto& camera : {main, described}) {
            if (camera && !camera->extrinsics.empty()) {
                report.unusedExtrinsics = camera->extrinsics + " of " + inputName(camera->path);
                report.extrinsics += ", " + report.unusedExtrinsics + " not used";
                break;
            }
        }
    }
    return described;
}

/** Refuses --lens when no lens that is made use of needed it. */
void refuseIdleLens(const MakeOptions& options, const std::optional<CameraDescription>& main,
                    const std::optional<CameraDescription>& sub) {
    const bool isMainUsed = main && options.points.empty();
    if (!options.lens || (isMainUsed && main->isLensChosen) || (sub && sub->isLensChosen)) {
        return;
    }
    if (isMainUsed || sub) {
        throw Failure("--lens",
                      inputName(isMainUsed ? options.main : options.sub) +
                          " says itself what its lens is, " + lensWords(isMainUsed ? *main : *sub),
                      "leave it out");
    }
    const char* const origin = options.points.empty() ? "the models are those of --from"
                                                      : "the models are fitted to --points";
    throw Failure("--lens", std::string("there is no lens to read, ") + origin, "leave it out");
}

/** The shape of the models along one axis, and how its parts are called. */
struct AxisShape {
    char axis;
    const char* matrixSide;
    int order;
    int pieces;
    int fittingOrder;
    int fittingPieces;
    bool isOrderGiven;
    bool isPiecesGiven;
};

/** Refuses an order or a number of pieces of which the library makes no map; says what fits. */
void refuseMisfit(const std::string& from, const AxisShape& shape) {
    const std::string orderOption = format("--%c-order", shape.axis);
    const std::string piecesOption = format("--%c-pieces", shape.axis);
    const std::string unproved = ", or --unproved to make a file that ought to be refused";
    if (shape.order != shape.fittingOrder) {
        std::string wrong = format(
            "order %d with the %d pieces between %d break points makes %d + %d - 1 = %d B-splines, "
            "and the correction matrices have %d %s",
            shape.order, shape.fittingPieces, shape.fittingPieces + 1, shape.order,
            shape.fittingPieces, shape.order + shape.fittingPieces - 1,
            shape.fittingOrder + shape.fittingPieces - 1, shape.matrixSide);
        if (shape.isPiecesGiven && shape.pieces != shape.fittingPieces) {
            wrong += "; " + piecesOption + " does not change the break points";
        }
        throw Failure(shape.isOrderGiven ? orderOption : inputName(from), wrong,
                      format("give %s %d", orderOption.c_str(), shape.fittingOrder) + unproved);
    }
    if (shape.pieces == 0) {
        throw Failure(shape.isPiecesGiven ? piecesOption : inputName(from),
                      "with 0 pieces the library makes no map",
                      format("give %s %d", piecesOption.c_str(), shape.fittingPieces) + unproved);
    }
}

void storeFlags(const MakeOptions& options, Image& image, MakeReport& report) {
    const ModelShape old = modelShapeOf(image);
    const ModelShape shape = {
        options.xOrder.value_or(old.xOrder), options.yOrder.value_or(old.yOrder),
        options.xPieces.value_or(old.xPieces), options.yPieces.value_or(old.yPieces)};
    if (!options.isUnproved) {
        refuseMisfit(options.from, {'x', "columns", shape.xOrder, shape.xPieces,
                                    fittingShape.xOrder, fittingShape.xPieces,
                                    options.xOrder.has_value(), options.xPieces.has_value()});
        refuseMisfit(options.from, {'y', "rows", shape.yOrder, shape.yPieces, fittingShape.yOrder,
                                    fittingShape.yPieces, options.yOrder.has_value(),
                                    options.yPieces.has_value()});
    }
    storeShape(image, shape);
    image[CALIBMAP_PASS_FLAG] =
        static_cast<uint8_t>(options.pass.value_or(image[CALIBMAP_PASS_FLAG]));
    report.passFlag = image[CALIBMAP_PASS_FLAG];
}

}  // namespace

Image startingImage(const MakeOptions& options) {
    return options.from.empty() ? emptyImage() : imageFrom(options.from);
}

std::optional<Lens> storeFields(const MakeOptions& options, Image& image, MakeReport& report) {
    const std::optional<CameraDescription> main = storeMain(options, image, report);
    const std::optional<CameraDescription> sub = storeSub(options, main, image, report);
    refuseIdleLens(options, main, sub);
    storeFlags(options, image, report);
    return main ? std::optional(main->lens) : std::nullopt;
}
