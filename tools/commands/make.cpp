#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <numbers>
#include <optional>
#include <string>
#include <vector>

#include "calibration/camera_file.h"
#include "calibration/image.h"
#include "calibration/maps.h"
#include "calibration/point_pairs.h"
#include "calibration/producer.h"
#include "calibration/verdict.h"
#include "commands/commands.h"
#include "commands/make_report.h"
#include "failure.h"
#include "input.h"
#include "lens/fit_points.h"
#include "lens/proof.h"
#include "output.h"
#include "pictures/interpolation.h"
#include "pictures/residuals.h"
#include "progress.h"
#include "text.h"

namespace {

struct MakeOptions {
    std::string output;
    std::string main;
    std::string sub;
    std::string points;
    std::string from;
    std::optional<int32_t> width;
    std::optional<int32_t> height;
    std::optional<double> fx;
    std::optional<double> fy;
    std::optional<double> cx;
    std::optional<double> cy;
    std::optional<int32_t> subWidth;
    std::optional<int32_t> subHeight;
    bool isFisheye = false;
    std::string extrinsics;
    std::string mainCoeff;
    std::string subCoeff;
    std::optional<int32_t> xOrder;
    std::optional<int32_t> yOrder;
    std::optional<int32_t> xPieces;
    std::optional<int32_t> yPieces;
    std::optional<int32_t> pass;
    double maxAngle = 90;
    double tolerance = usualTolerance;
    std::string residuals;
    bool isJson = false;
    bool isUnproved = false;
};

/** Six numbers with commas between them as floats, or 48 hexadecimal digits as bytes. */
Words wordsFrom(const std::string& option, const std::string& text) {
    Words words{};
    std::vector<std::string> cells(1);
    std::string digits;
    for (const char letter : text) {
        if (letter == ',') {
            cells.emplace_back();
        } else if (letter != ' ') {
            cells.back() += letter;
            digits += letter;
        }
    }
    bool good = cells.size() == words.size();
    for (std::size_t i = 0; good && i < words.size(); ++i) {
        float value = 0;
        const std::string& cell = cells[i];
        const char* const first = cell.data() + (cell.starts_with("+") ? 1 : 0);
        const char* const last = cell.data() + cell.size();
        const auto [end, error] = std::from_chars(first, last, value);
        good = error == std::errc() && end == last && std::isfinite(value);
        words[i] = std::bit_cast<uint32_t>(value);
    }
    if (cells.size() == 1 && digits.size() == 2 * sizeof words) {
        good = true;
        words = {};
        for (std::size_t i = 0; i < sizeof words; ++i) {
            uint32_t byte = 0;
            const char* const first = digits.data() + 2 * i;
            const auto [end, error] = std::from_chars(first, first + 2, byte, 16);
            good &= error == std::errc() && end == first + 2;
            words[i / 4] |= byte << (8 * (i % 4));
        }
    }
    if (!good) {
        throw Failure(option, "'" + text + "' is neither six finite numbers nor 24 bytes",
                      "write 0,0,0,1,25,0 or 48 hexadecimal digits");
    }
    return words;
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

/** Fills in the main camera and says where it comes from; the lens, if there is one to fit. */
std::optional<Lens> storeMain(const MakeOptions& options, Image& image, MakeReport& report) {
    constexpr std::size_t block = CALIBMAP_MAIN_BLOCK;
    const bool starts = !options.from.empty();
    std::optional<CameraDescription> described;
    if (!options.main.empty()) {
        described = readCameraFile(options.main, options.isFisheye);
    }
    const Camera old = mainCameraOf(image);
    const auto number = [&](const char* option, auto given, auto inFile, auto before) {
        using Value = decltype(before);
        if (starts && !described) {
            return given.value_or(before);
        }
        return agreed<Value>(described ? inputName(options.main) : "the main camera", option,
                             inFile, given);
    };
    const auto known = [&](double CameraDescription::*member) {
        return described ? std::optional((*described).*member) : std::nullopt;
    };
    using Pixels = std::optional<int32_t>;
    const Camera camera = {
        number("--width", options.width, described ? described->width : Pixels(), old.width),
        number("--height", options.height, described ? described->height : Pixels(), old.height),
        number("--fx", options.fx, known(&CameraDescription::fx), old.fx),
        number("--fy", options.fy, known(&CameraDescription::fy), old.fy),
        number("--cx", options.cx, known(&CameraDescription::cx), old.cx),
        number("--cy", options.cy, known(&CameraDescription::cy), old.cy)};
    Words coeff = wordsAt(image, block + CALIBMAP_COEFF);
    report.coefficients = starts ? "as in " + inputName(options.from) : "zero";
    if (!options.mainCoeff.empty()) {
        coeff = wordsFrom("--main-coeff", options.mainCoeff);
        report.coefficients = "as given";
    } else if (described && options.points.empty()) {
        const std::optional<Words> own = coefficientsOf(*described);
        coeff = own.value_or(Words{});
        report.coefficients =
            own ? "k1, k2, p1, p2, k3, 0 of the lens" : "zero, six words cannot hold this lens";
    }
    storeNumbers(image, block, camera, coeff);
    report.mainCamera = described ? inputName(options.main)
                        : starts  ? inputName(options.from)
                                  : "the command line";
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

/** Where a map takes a place between pixels, in pixels. */
Point mappedBy(const CoordinateMap& map, Point pixel) {
    const auto along = [&](const std::vector<float>& values) {
        return interpolated(map.rows, map.cols, pixel.x, pixel.y, [&](int32_t row, int32_t col) {
            return static_cast<double>(values[map.index(row, col)]);
        });
    };
    return {along(map.x), along(map.y)};
}

/** What the map leaves of each point; the deviation counts those that were used. */
std::vector<Residual> pointResiduals(const CoordinateMap& map, const PointFit& fit,
                                     const std::vector<PointPair>& pairs, Direction direction,
                                     Deviation& deviation) {
    std::vector<Residual> residuals;
    DeviationSum sum;
    const auto take = [&](std::size_t i, bool isUsed) {
        const Point from = sourceOf(pairs[i], direction);
        const Point to = destinationOf(pairs[i], direction);
        if (!isInside(map, from.x, from.y)) {
            return;
        }
        const Point reached = mappedBy(map, from);
        residuals.push_back({from, {reached.x - to.x, reached.y - to.y}, isUsed});
        if (isUsed) {
            sum.add(std::hypot(reached.x - to.x, reached.y - to.y), from);
        }
    };
    for (const std::size_t i : fit.used) {
        take(i, true);
    }
    for (const std::size_t i : fit.leftOut) {
        take(i, false);
    }
    deviation = sum.result();
    return residuals;
}

/** The map's errors against the lens at places spread over the image. */
std::vector<Residual> lensResiduals(const CoordinateMap& map, const Camera& camera,
                                    const View& view, Direction direction) {
    const int32_t step = std::max(1, std::max(camera.width, camera.height) / 36);
    std::vector<Residual> residuals;
    for (int32_t row = (camera.height - 1) % step / 2; row < camera.height; row += step) {
        for (int32_t col = (camera.width - 1) % step / 2; col < camera.width; col += step) {
            const Point pixel = {static_cast<double>(col), static_cast<double>(row)};
            if (const auto truth = truthAt(view, direction, normalised(camera, pixel))) {
                const Point to = inPixels(camera, *truth);
                const std::size_t i = map.index(row, col);
                residuals.push_back({pixel, {map.x[i] - to.x, map.y[i] - to.y}, true});
            }
        }
    }
    return residuals;
}

void refusePoorPoints(const MakeReport& report) {
    for (const auto& [direction, deviation] : report.fits) {
        if (!(deviation.rootMeanSquare <= report.tolerance)) {
            throw Failure("points",
                          format("the %s map is %.3f pixels off them in root mean square, at worst "
                                 "%.3f at (%.0f, %.0f)",
                                 nameOf(direction).c_str(), deviation.rootMeanSquare,
                                 deviation.largest, deviation.place.x, deviation.place.y),
                          format("allow that with --tolerance (now %g)", report.tolerance));
        }
    }
}

/** What there is to fit, and what it was measured from. */
struct Source {
    std::optional<View> view;
    std::vector<PointPair> pairs;
};

/** Fits the models and stores them. */
void storeModels(const Source& source, Image& image, MakeReport& report) {
    const Progress progress("fitting the models");
    ModelPair models{};
    if (!source.pairs.empty()) {
        report.points = fitPoints(report.camera, source.pairs);
        models = report.points->models;
    } else {
        refuseUnfittable(report.camera, *source.view);
        models = fitView(report.camera, *source.view);
    }
    storeModel(image, Direction::undistort, models.undistortion);
    storeModel(image, Direction::distort, models.distortion);
}

/** Compares both maps of the finished file with what they were fitted to. */
std::vector<ResidualPanel> prove(const Source& source, const Image& image, MakeReport& report) {
    std::vector<ResidualPanel> panels;
    for (const Direction direction : {Direction::undistort, Direction::distort}) {
        const CoordinateMap map = computeMap(report.file, image, direction, 1);
        Deviation deviation{};
        std::vector<Residual> residuals;
        if (report.points) {
            residuals = pointResiduals(map, *report.points, source.pairs, direction, deviation);
        } else {
            deviation = deviationFromLens(map, report.camera, *source.view, direction);
            residuals = lensResiduals(map, report.camera, *source.view, direction);
        }
        report.fits.push_back({direction, deviation});
        panels.push_back({format("%s: rms %.3f, largest %.3f pixels", nameOf(direction).c_str(),
                                 deviation.rootMeanSquare, deviation.largest),
                          std::move(residuals)});
    }
    if (report.points) {
        refusePoorPoints(report);
    } else {
        for (const auto& [direction, deviation] : report.fits) {
            refusePoorFit(direction, deviation, report.tolerance,
                          " or fit less of the view with --max-angle");
        }
    }
    return panels;
}

/** Writes the file and has the library read it again. */
void writeImage(const Image& image, const std::string& path) {
    OutputFile file(path);
    file.write(image.data(), image.size());
    file.commit();
    Image read{};
    if (path != "-" && image[CALIBMAP_PASS_FLAG] == 1 &&
        (examine(path, read).status != CALIBMAP_SUCCESS || read != image)) {
        throw Failure(path, "does not come back as it was written", "try another disk");
    }
}

void make(const MakeOptions& options, MakeReport& report) {
    if (options.main.empty() && options.points.empty() && options.from.empty()) {
        throw Failure("make", "there is nothing to make a file from",
                      "give --main, --points or --from");
    }
    Image image = options.from.empty() ? emptyImage() : imageFrom(options.from);
    const std::optional<Lens> lens = storeMain(options, image, report);
    storeSub(options, image, report);
    storeFlags(options, image, report);
    Source source;
    if (!options.points.empty()) {
        source.pairs = readPointPairs(options.points);
    } else if (lens) {
        source.view = View{*lens, options.maxAngle * std::numbers::pi / 180};
    }
    const bool hasNewModels = source.view || !source.pairs.empty();
    if (hasNewModels) {
        storeModels(source, image, report);
    }
    seal(image);
    std::vector<ResidualPanel> panels;
    if (hasNewModels && !options.isUnproved) {
        panels = prove(source, image, report);
    } else if (!options.isUnproved) {
        // What is kept must still give maps with what has changed around it.
        computeMap(report.file, image, Direction::undistort, 1);
        computeMap(report.file, image, Direction::distort, 1);
    }
    // First the picture: if it cannot be written, there is no file that the report disowns.
    if (!options.residuals.empty() && !panels.empty()) {
        writePng(options.residuals, drawResiduals(report.camera, panels));
    }
    writeImage(image, options.output);
}

int run(const MakeOptions& options) {
    MakeReport report{};
    report.file = options.output;
    report.maxAngle = options.maxAngle;
    report.tolerance = options.tolerance;
    std::FILE* const told = options.output == "-" || options.residuals == "-" ? stderr : stdout;
    try {
        make(options, report);
    } catch (const Failure& failure) {
        if (options.isJson) {
            std::fputs(jsonOf(report, failure.what()).c_str(), told);
        }
        throw;
    }
    std::fputs((options.isJson ? jsonOf(report, "") : textOf(report)).c_str(), told);
    return exitGood;
}

void addCameraOptions(Command& command, MakeOptions& options) {
    command.text("--main", options.main, "FILE[#CAMERA]",
                 "The main camera, as a calibration program wrote it");
    command.text("--sub", options.sub, "FILE[#CAMERA]", "The sub camera, likewise");
    command.flag("--fisheye", options.isFisheye,
                 "Four coefficients whose model the file does not name are a fisheye lens");
    command.text("--points", options.points, "FILE.csv",
                 "Fit measured points instead of the lens of --main");
    command.text("--from", options.from, "OLD.bin", "Start from a file and change what is given");
    command.number("--width", options.width, 1, 16384, "Image width in pixels, where no file says");
    command.number("--height", options.height, 1, 16384, "Image height in pixels");
    command.number("--fx", options.fx, 1.0, 1e6, "Focal length along x in pixels");
    command.number("--fy", options.fy, 1.0, 1e6, "Focal length along y in pixels");
    command.number("--cx", options.cx, -1e5, 1e5, "Principal point, x in pixels");
    command.number("--cy", options.cy, -1e5, 1e5, "Principal point, y in pixels");
    command.number("--sub-width", options.subWidth, 1, 16384, "The sub camera's image width");
    command.number("--sub-height", options.subHeight, 1, 16384, "The sub camera's image height");
}

void addFileOptions(Command& command, MakeOptions& options) {
    command.text("--extrinsics", options.extrinsics, "WORDS",
                 "Six numbers with commas, or 24 bytes in hexadecimal");
    command.text("--main-coeff", options.mainCoeff, "WORDS",
                 "The main camera's six further parameters, likewise");
    command.text("--sub-coeff", options.subCoeff, "WORDS", "The sub camera's, likewise");
    command.number("--x-order", options.xOrder, 0, 255, "Spline order along x; maps need 7");
    command.number("--y-order", options.yOrder, 0, 255, "Spline order along y; maps need 7");
    command.number("--x-pieces", options.xPieces, 0, 255, "Pieces along x, usually 6");
    command.number("--y-pieces", options.yPieces, 0, 255, "Pieces along y, usually 4");
    command.number("--pass", options.pass, 0, 255, "Pass flag; devices accept 1, the usual value");
}

}  // namespace

void addMake(Program& program) {
    auto [command, options] =
        program.add("make", run, "Write a device's file from what calibration programs write");
    command.output(options->output, "The file to write, or - for standard output");
    addCameraOptions(command, *options);
    addFileOptions(command, *options);
    command.number("--max-angle", options->maxAngle, 1.0, 90.0,
                   "Fit only what the lens sees within so many degrees of its axis");
    command.number("--tolerance", options->tolerance, 0.0, 1e6,
                   "Largest error of the maps in pixels; for points, the root mean square");
    command.flag("--unproved", options->isUnproved,
                 "Do not compute the maps, to make files that ought to be refused");
    command.picture("--residuals", options->residuals,
                    "Draw what is left between maps and lens, or points, as arrows");
    command.flag("--json", options->isJson, "Print the report for programs");
    command.explain(
        "Reads YAML of OpenCV's FileStorage (of its calibration sample, and of its stereo sample\n"
        "with FILE#1 or FILE#2), ROS camera_info, and Kalibr camera chains with FILE#cam0.\n"
        "A line of FILE.csv holds straight column, straight row, recorded column, recorded row in\n"
        "pixels. Both models are fitted, the library computes their maps, and these are compared\n"
        "with the lens at every pixel before anything is written.\n\n"
        "Example:\n  calibmap make --main camchain.yaml#cam0 --sub camchain.yaml#cam1 -o "
        "device.bin");
}
