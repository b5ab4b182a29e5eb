#include <algorithm>
#include <array>
#include <cstdio>
#include <optional>

#include "commands/camera_options.h"
#include "commands/commands.h"
#include "inspection/image.h"
#include "making/make_file.h"
#include "making/make_report.h"
#include "making/producer.h"
#include "making/proof.h"
#include "making/set_fields.h"

namespace {

struct SampleOptions {
    std::string output;
    CameraOptions camera;
    std::optional<double> k1;
    std::optional<double> k2;
    std::optional<double> p1;
    std::optional<double> p2;
    std::optional<double> k3;
    double tolerance = usualLargestError;
};

/** What is described when nothing is given. */
constexpr Camera demonstrationCamera = {640, 480, 425, 425, 318.7, 242.3};
constexpr std::array demonstrationLens = {-0.28, 0.09, 0.0004, -0.0003, -0.012};

Camera cameraOf(const SampleOptions& options) {
    Camera camera = withGiven(demonstrationCamera, options.camera);
    if (options.camera.width || options.camera.height) {
        camera.cx = (camera.width - 1) / 2.0;
        camera.cy = (camera.height - 1) / 2.0;
    }
    return withGiven(camera, options.camera);
}

Lens lensOf(const SampleOptions& options) {
    const std::array given = {options.k1, options.k2, options.p1, options.p2, options.k3};
    const bool described =
        std::any_of(given.begin(), given.end(), [](const auto& term) { return term.has_value(); });
    Lens lens;
    for (std::size_t i = 0; i < given.size(); ++i) {
        lens.terms[i] = described ? given[i].value_or(0) : demonstrationLens[i];
    }
    return lens;
}

int run(const SampleOptions& options) {
    const Lens lens = lensOf(options);
    Image image = emptyImage();
    storeCamera(image, CALIBMAP_MAIN_BLOCK,
                intrinsicsFrom(cameraOf(options), coefficientsFrom(lens)));
    // A sub camera and an arrangement of the two as they may be found in a telephone: colour, full
    // HD, 25 mm beside the main camera and parallel to it.
    storeCamera(image, CALIBMAP_SUB_BLOCK, {1920, 1080, 961.2F, 538.4F, 1402.5F, 1402.5F, {}});
    setField(image, "extrinsics=0,0,0,1,25,0");
    MakeReport report{};
    report.file = options.output;
    report.tolerance = options.tolerance;
    report.maxAngle = wholeViewAngle;
    report.mainCamera = "the command line";
    report.lens = "plumb_bob, 5 terms";
    report.subCamera = "made up";
    report.extrinsics = "made up";
    report.coefficients = coefficientsInWords;
    makeFile({viewOf(lens, wholeViewAngle), {}, {}, "", "choose a gentler lens", false}, image,
             report);
    std::fputs(textOf(report).c_str(), options.output == "-" ? stderr : stdout);
    return exitGood;
}

}  // namespace

void addSample(Program& program) {
    auto [command, options] =
        program.add("sample", run, "Write a valid calibration file for a made-up device");
    command.output(options->output, "The file to write, or - for standard output");
    addCameraOptions(command, options->camera, 16);
    command.number("--k1", options->k1, -1e3, 1e3, "Brown-Conrady radial coefficient of r^2");
    command.number("--k2", options->k2, -1e3, 1e3, "Radial coefficient of r^4");
    command.number("--p1", options->p1, -1e3, 1e3, "First tangential coefficient");
    command.number("--p2", options->p2, -1e3, 1e3, "Second tangential coefficient");
    command.number("--k3", options->k3, -1e3, 1e3, "Radial coefficient of r^6");
    command.number("--tolerance", options->tolerance, 0.0, 1e6,
                   "Largest error of the fit in pixels");
    command.explain(
        "Without options: 640 x 480 pixels, focal lengths 425, principal point (318.7, 242.3) and "
        "a\n"
        "lens with k1 -0.28, k2 0.09, p1 0.0004, p2 -0.0003, k3 -0.012. As soon as one coefficient "
        "is\n"
        "given, those that are not are 0; as soon as width or height is, the principal point "
        "stands\n"
        "in the middle. The command prints how far the fitted models are from the lens, and "
        "refuses\n"
        "a lens that folds the image over itself and a fit beyond the tolerance. The sub camera "
        "and\n"
        "the extrinsics are made up; `calibmap make` writes the file of a real device.\n\n"
        "Example:\n  calibmap sample --k1 -0.3 --k2 0.1 -o lens.bin");
}
