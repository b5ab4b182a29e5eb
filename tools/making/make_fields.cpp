#include "making/make_fields.h"

#include <array>
#include <cstddef>
#include <string>

#include "calibration_file.h"
#include "failure.h"
#include "input.h"
#include "inspection/soundness.h"
#include "inspection/text.h"
#include "making/camera_file.h"
#include "making/fit.h"
#include "making/producer.h"

namespace {

/** The file to start from; it may be one that did not pass. */
Image imageFrom(const std::string& path) {
    Image image{};
    const Verdict verdict = examine(path, image);
    if (verdict.status != CALIBMAP_SUCCESS && verdict.status != CALIBMAP_NOT_PASSED) {
        throw Failure(inputName(path), verdict.reason, verdict.remedy);
    }
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
    Words coeff = std::to_array(extractMainCameraIntrn(image.data()).coeff);
    report.coefficients = options.from.empty() ? "zero" : "as in " + origin;
    if (described && options.points.empty()) {
        const std::optional<Words> own = coefficientsOf(*described);
        coeff = own.value_or(Words{});
        report.coefficients = own ? coefficientsInWords : "zero, six words cannot hold this lens";
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
    }
    report.extrinsics =
        options.from.empty() ? "none given, all zero" : "as in " + inputName(options.from);
    for (const auto& camera : {main, described}) {
        if (camera && !camera->extrinsics.empty()) {
            report.unusedExtrinsics = camera->extrinsics + " of " + inputName(camera->path);
            break;
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

/** Lets models that stay enclose an image that has moved a little against them. */
void followCamera(const std::string& from, Image& image, MakeReport& report) {
    for (const Direction direction : {Direction::undistort, Direction::distort}) {
        if (!modelFaults(image, direction).empty() || uncoveredParts(image, direction).empty()) {
            continue;
        }
        if (const auto model = extendedOver(mainCameraOf(image), modelOf(image, direction))) {
            storeModel(image, direction, *model);
            report.models =
                "those of " + inputName(from) + ", continued to the border of the image";
        }
    }
}

}  // namespace

Image startingImage(const MakeOptions& options) {
    return options.from.empty() ? emptyImage() : imageFrom(options.from);
}

std::optional<CameraDescription> storeFields(const MakeOptions& options, Image& image,
                                             MakeReport& report) {
    std::optional<CameraDescription> main = storeMain(options, image, report);
    const std::optional<CameraDescription> sub = storeSub(options, main, image, report);
    refuseIdleLens(options, main, sub);
    const CameraOptions& given = options.camera;
    if (options.main.empty() && options.points.empty() &&
        (given.width || given.height || given.fx || given.fy || given.cx || given.cy)) {
        followCamera(options.from, image, report);
    }
    return main;
}
