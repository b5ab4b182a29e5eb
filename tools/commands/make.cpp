#include <cstdio>
#include <numbers>
#include <optional>
#include <string>
#include <vector>

#include "calibration_file.h"
#include "commands/commands.h"
#include "drawing/residuals.h"
#include "failure.h"
#include "inspection/image.h"
#include "making/make_fields.h"
#include "making/make_models.h"
#include "making/make_options.h"
#include "making/make_report.h"
#include "making/point_pairs.h"
#include "making/producer.h"
#include "maps.h"
#include "output.h"

namespace {

constexpr double wholeViewAngle = 90;

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

/** Makes the file; the report is filled in on the way, so that it tells of a refusal as well. */
void make(const MakeOptions& options, MakeReport& report) {
    if (options.main.empty() && options.points.empty() && options.from.empty()) {
        throw Failure("make", "there is nothing to make a file from",
                      "give --main, --points or --from");
    }
    if (!options.residuals.empty() &&
        (options.isUnproved || (options.main.empty() && options.points.empty()))) {
        throw Failure("--residuals", "there is nothing to compare maps with",
                      "give --main or --points without --unproved, or leave it out");
    }
    if (!options.residuals.empty() && options.residuals == options.output) {
        throw Failure(options.output, "is to be the file and the picture", "choose another name");
    }
    if (options.maxAngle && (options.main.empty() || !options.points.empty())) {
        throw Failure("--max-angle",
                      options.points.empty() ? "there is no lens to fit, the models are those of "
                                               "--from"
                                             : "there is no lens to fit, the models are fitted to "
                                               "--points",
                      "leave it out");
    }
    Image image = startingImage(options);
    const std::optional<Lens> lens = storeFields(options, image, report);
    FitSource source;
    if (!options.points.empty()) {
        source.pairs = readPointPairs(options.points);
    } else if (lens) {
        source.view = View{*lens, report.maxAngle * std::numbers::pi / 180};
    }
    const bool hasNewModels = source.view || !source.pairs.empty();
    if (hasNewModels) {
        storeModels(source, image, report);
    }
    seal(image);
    if (hasNewModels && !options.isUnproved) {
        const std::vector<ResidualPanel> panels = compareMaps(source, image, report);
        // First the picture: it shows why models are refused, too, and if it cannot be written,
        // there is no file that the report disowns.
        if (!options.residuals.empty()) {
            writePng(options.residuals, drawResiduals(report.camera, panels));
        }
        refusePoorModels(report);
    } else if (!options.isUnproved) {
        // What is kept must still give maps with what has changed around it.
        computeMap(report.file, image, Direction::undistort, 1);
        computeMap(report.file, image, Direction::distort, 1);
    }
    writeImage(image, options.output);
}

int run(const MakeOptions& options) {
    MakeReport report{};
    report.file = options.output;
    report.maxAngle = options.maxAngle.value_or(wholeViewAngle);
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
    if (!report.unusedExtrinsics.empty()) {
        warn(options.output, report.unusedExtrinsics +
                                 " not used, give --extrinsics as docs/making-files.md shows");
    }
    std::fputs((options.isJson ? jsonOf(report, "") : textOf(report)).c_str(), told);
    return exitGood;
}

void addSources(Command& command, MakeOptions& options) {
    command.text("--main", options.main, "FILE[#CAMERA]",
                 "The main camera, as a calibration program wrote it");
    command.text("--sub", options.sub, "FILE[#CAMERA]", "The sub camera, likewise");
    command.choice<LensChoice>(
        "--lens", options.lens,
        {{"plumb_bob", LensChoice::plumbBob}, {"fisheye", LensChoice::fisheye}},
        "What four coefficients are whose model the file does not name");
    command.text("--points", options.points, "FILE.csv",
                 "Fit measured points instead of the lens of --main");
    command.text("--from", options.from, "OLD.bin", "Start from a file and change what is given");
    addCameraOptions(command, options.camera, 1);
    command.number("--sub-width", options.subWidth, 1, largestSide, "The sub camera's image width");
    command.number("--sub-height", options.subHeight, 1, largestSide,
                   "The sub camera's image height");
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
    addSources(command, *options);
    addFileOptions(command, *options);
    command.number("--max-angle", options->maxAngle, 1.0, 90.0,
                   "Fit only what the lens sees within so many degrees of its axis (all: 90)");
    command.number("--tolerance", options->tolerance, 0.0, 1e6,
                   "Largest error of the maps in pixels; for points, the root mean square");
    command.flag("--unproved", options->isUnproved,
                 "Do not compute the maps, to make files that ought to be refused");
    command.picture("--residuals", options->residuals,
                    "Draw what is left between maps and lens, or points, as arrows");
    command.flag("--json", options->isJson, "Print the report for programs");
    command.explain(
        "Reads YAML and XML of OpenCV's FileStorage (of its calibration sample, and of its stereo "
        "sample\n"
        "with FILE#1 or FILE#2), ROS camera_info, and Kalibr camera chains with FILE#cam0.\n"
        "--width, --height, --fx, --fy, --cx and --cy say what no calibration says, or change the\n"
        "camera of --from.\n"
        "A line of FILE.csv holds straight column, straight row, recorded column, recorded row in\n"
        "pixels. Both models are fitted, the library computes their maps, and these are compared\n"
        "with the lens at every pixel before anything is written.\n\n"
        "Example:\n  calibmap make --main camchain.yaml#cam0 --sub camchain.yaml#cam1 -o "
        "device.bin");
}
