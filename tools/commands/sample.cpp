#include <algorithm>
#include <array>
#include <optional>

#include "commands/camera_options.h"
#include "commands/commands.h"
#include "failure.h"
#include "inspection/image.h"
#include "inspection/text.h"
#include "making/model.h"
#include "making/producer.h"
#include "making/proof.h"
#include "making/spline.h"
#include "maps.h"
#include "output.h"

namespace {

struct SampleOptions {
    std::string output;
    CameraOptions camera;
    std::optional<double> k1;
    std::optional<double> k2;
    std::optional<double> p1;
    std::optional<double> p2;
    std::optional<double> k3;
    double tolerance = usualTolerance;
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
    const View view = wholeView(lensOf(options));
    // A sub camera and an arrangement of the two as they may be found in a telephone: colour, full
    // HD, 25 mm beside the main camera and parallel to it.
    CalibrationContent content = {
        .mainCamera = intrinsicsFrom(cameraOf(options), coefficientsFrom(view.lens)),
        .subCamera = {1920, 1080, 961.2F, 538.4F, 1402.5F, 1402.5F, {}},
        .extrinsics = {0, 0, 0, 1, 25, 0},
        .shape = fittingShape,
        .undistortion = {},
        .distortion = {},
    };
    const CameraIntrinsics& stored = content.mainCamera;
    // The file holds single precision, so the models are fitted to the camera that it describes.
    const Camera camera = {stored.imageWidth, stored.imageHeight, stored.fx,
                           stored.fy,         stored.cx,          stored.cy};
    refuseUnfittable(camera, view);
    const ModelPair models = fitView(camera, view);
    content.undistortion = models.undistortion;
    content.distortion = models.distortion;

    const Image image = sealedImage(content);
    std::string report =
        format("%s: %d x %d pixels, two models of %d x %d B-splines, orders %d and %d\n",
               shown(options.output).c_str(), camera.width, camera.height, CALIBMAP_CORRECTION_COLS,
               CALIBMAP_CORRECTION_ROWS, content.shape.xOrder, content.shape.yOrder);
    for (const Direction direction : {Direction::undistort, Direction::distort}) {
        const CoordinateMap map = computeMap(options.output, image, direction, 1);
        const Deviation error = deviationFromLens(map, camera, view, direction);
        refusePoorFit(direction, error, options.tolerance);
        report += "  " + describe(direction, "fit error", error) + "\n";
    }
    OutputFile file(options.output);
    file.write(image.data(), image.size());
    file.commit();
    std::fputs(report.c_str(), options.output == "-" ? stderr : stdout);
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
