#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numbers>
#include <optional>
#include <string>

#include "commands/commands.h"
#include "failure.h"
#include "input.h"
#include "inspection/image.h"
#include "inspection/text.h"
#include "making/make_fields.h"
#include "making/make_file.h"
#include "making/make_options.h"
#include "making/make_report.h"
#include "making/plane.h"
#include "making/point_pairs.h"
#include "making/proof.h"
#include "making/set_fields.h"

namespace {

const std::string writeAnyway = ", or --unproved to write it all the same";

/** What helps against a file that no device could use. */
std::string remedyFor(const MakeOptions& options, const Camera& camera, const Lens& lens) {
    if (options.main.empty() && options.points.empty()) {
        return "undo that, or give --main or --points to fit models to it" + writeAnyway;
    }
    double widest = 0;
    bool isUnfolded = true;
    for (const double x : {0.0, camera.width - 1.0}) {
        for (const double y : {0.0, camera.height - 1.0}) {
            const Point corner = normalised(camera, {x, y});
            widest = std::max(widest, angleOf(corner));
            isUnfolded = isUnfolded && isUnfoldedUpTo(lens, corner);
        }
    }
    // A view of all of the straight image leaves little that is not fitted.
    const double angle = std::ceil(widest * 180 / std::numbers::pi + 0.5);
    return (options.maxAngle && *options.maxAngle < angle && isUnfolded
                ? format("the straight image reaches further, try --max-angle %.0f", angle)
                : "check what it is made from") +
           writeAnyway;
}

/** Makes the file; the report is filled in on the way, so that it tells of a refusal as well. */
void make(const MakeOptions& options, MakeReport& report) {
    if (options.main.empty() && options.points.empty() && options.from.empty()) {
        throw Failure("make", "there is nothing to make a file from",
                      "give --main, --points or --from");
    }
    if (!options.residuals.empty() && options.main.empty() && options.points.empty()) {
        throw Failure("--residuals", "there is nothing to compare maps with",
                      "give --main or --points, or leave it out");
    }
    if (!options.residuals.empty() && options.residuals == options.output) {
        throw Failure(options.output, "is to be the file and the picture", "choose another name");
    }
    Image image = startingImage(options);
    const std::optional<CameraDescription> main = storeFields(options, image, report);
    Making making = {{},
                     {},
                     options.set,
                     options.residuals,
                     remedyFor(options, mainCameraOf(image), main ? main->lens : Lens{}),
                     options.isUnproved};
    if (!options.points.empty()) {
        making.pairs = readPointPairs(options.points);
        if (main && !main->isLensChosen) {
            refuseContradiction(making.pairs, mainCameraOf(image), main->lens,
                                inputName(options.main));
        }
    } else if (main) {
        making.view = viewOf(main->lens, report.maxAngle);
    }
    makeFile(making, image, report);
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
                                 " not used, give --set extrinsics= as docs/making-files.md shows");
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

}  // namespace

void addMake(Program& program) {
    auto [command, options] =
        program.add("make", run, "Write a device's file from what calibration programs write");
    command.output(options->output, "The file to write, or - for standard output");
    addSources(command, *options);
    command.texts("--set", options->set, "FIELD=VALUE[,...]",
                  "Store this in a field, whatever else is given; may be repeated");
    command.number("--max-angle", options->maxAngle, 1.0, 90.0,
                   "Fit only what the lens sees within so many degrees of its axis (all: 90)");
    command.number("--tolerance", options->tolerance, 0.0, 1e6,
                   "Largest error of the maps in pixels; for points, the root mean square");
    command.flag("--unproved", options->isUnproved,
                 "Do not prove the file, to make one that ought to be refused");
    command.picture("--residuals", options->residuals,
                    "Draw what is left between maps and lens, or points, as arrows");
    command.flag("--json", options->isJson, "Print the report for programs");
    command.needs("--sub-width", "--sub");
    command.needs("--sub-height", "--sub");
    command.needs("--max-angle", "--main");
    command.excludes("--max-angle", "--points");
    command.excludes("--residuals", "--unproved");
    command.explain(
        "Reads YAML and XML of OpenCV's FileStorage (of its calibration sample, and of its stereo "
        "sample\n"
        "with FILE#1 or FILE#2), ROS camera_info, and Kalibr camera chains with FILE#cam0.\n"
        "--width, --height, --fx, --fy, --cx and --cy say what no calibration says, or change the\n"
        "camera of --from.\n"
        "A line of FILE.csv holds straight column, straight row, recorded column, recorded row in\n"
        "pixels. Both models are fitted, the library computes their maps, and these are compared\n"
        "with the lens at every pixel, and with each other, before anything is written.\n\n"
        "Fields of --set: " +
        settableFields() +
        ".\nCapitals and hyphens do not count; pass, main.x-order and main.y-order are passFlag, "
        "main.kx\nand main.ky. Words are numbers, 0x and eight digits, or all bytes in "
        "hexadecimal.\n\n"
        "Example:\n  calibmap make --main camchain.yaml#cam0 --sub camchain.yaml#cam1 -o "
        "device.bin");
}
