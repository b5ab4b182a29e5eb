#include <algorithm>
#include <bit>
#include <cmath>
#include <optional>

#include "calibration/image.h"
#include "calibration/maps.h"
#include "calibration/producer.h"
#include "commands/commands.h"
#include "failure.h"
#include "lens/fit.h"
#include "lens/model.h"
#include "output.h"
#include "text.h"

namespace {

struct SampleOptions {
    std::string output;
    Camera camera = {640, 480, 425, 425, 318.7, 242.3};
    Lens lens = {-0.28, 0.09, 0.0004, -0.0003, -0.012};
};

/** How far a map is from the lens, in pixels over all pixels. */
struct FitError {
    double rootMeanSquare;
    double largest;
};

/** From pixels to normalised image coordinates and back. */
Point normalised(const Camera& camera, double x, double y) {
    return {(x - camera.cx) / camera.fx, (y - camera.cy) / camera.fy};
}

Point inPixels(const Camera& camera, Point p) {
    return {p.x * camera.fx + camera.cx, p.y * camera.fy + camera.cy};
}

/** Refuses a lens that cannot be undone for every place on the image's border, and so inside. */
void refuseFolds(const Camera& camera, const Lens& lens) {
    const auto check = [&](double x, double y) {
        const Point p = normalised(camera, x, y);
        if (!isUnfoldedUpTo(lens, p) || !straightened(lens, p)) {
            throw Failure("sample",
                          format("this lens folds over itself inside the image, on the way to "
                                 "pixel (%.0f, %.0f)",
                                 std::clamp(x, 0.0, camera.width - 1.0),
                                 std::clamp(y, 0.0, camera.height - 1.0)),
                          "choose smaller coefficients or longer focal lengths");
        }
    };
    constexpr int places = 64;
    for (int i = 0; i <= places; ++i) {
        const double x = -0.5 + camera.width * static_cast<double>(i) / places;
        const double y = -0.5 + camera.height * static_cast<double>(i) / places;
        check(x, -0.5);
        check(x, camera.height - 0.5);
        check(-0.5, y);
        check(camera.width - 0.5, y);
    }
}

CameraIntrinsics mainCamera(const SampleOptions& options) {
    const Camera& camera = options.camera;
    const Lens& lens = options.lens;
    CameraIntrinsics result = {camera.width,
                               camera.height,
                               static_cast<float>(camera.cx),
                               static_cast<float>(camera.cy),
                               static_cast<float>(camera.fx),
                               static_cast<float>(camera.fy),
                               {}};
    const std::array coefficients = {lens.k1, lens.k2, lens.p1, lens.p2, lens.k3};
    for (std::size_t i = 0; i < coefficients.size(); ++i) {
        result.coeff[i] = std::bit_cast<uint32_t>(static_cast<float>(coefficients[i]));
    }
    return result;
}

/** The error of the library's own map against the lens, at every pixel. */
FitError measure(const std::string& path, const Image& image, const Lens& lens,
                 Direction direction) {
    const CoordinateMap map = computeMap(path, image, direction, 1);
    const Camera camera = mainCameraOf(image);
    FitError error{};
    for (int32_t row = 0; row < map.rows; ++row) {
        for (int32_t col = 0; col < map.cols; ++col) {
            const std::size_t i = map.index(row, col);
            const Point from = normalised(camera, col, row);
            // The map is close to the truth, which saves following the ray for every pixel.
            const std::optional<Point> to =
                direction == Direction::undistort
                    ? distorted(lens, from)
                    : straightenedFrom(lens, from, normalised(camera, map.x[i], map.y[i]));
            const Point truth = to ? inPixels(camera, *to) : Point{NAN, NAN};
            const double distance = std::hypot(map.x[i] - truth.x, map.y[i] - truth.y);
            error.largest = distance <= error.largest ? error.largest : distance;
            error.rootMeanSquare += distance * distance;
        }
    }
    error.rootMeanSquare = std::sqrt(error.rootMeanSquare / static_cast<double>(map.x.size()));
    return error;
}

int run(const SampleOptions& options) {
    // A sub camera and an arrangement of the two as they may be found in a telephone: colour, full
    // HD, 25 mm beside the main camera and parallel to it.
    CalibrationContent content = {
        .mainCamera = mainCamera(options),
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
    const Lens& lens = options.lens;
    refuseFolds(camera, lens);
    content.undistortion = fitModel(camera, [&](Point p) { return distorted(lens, p); });
    content.distortion = fitModel(camera, [&](Point p) {
        return straightened(lens, p).value_or(Point{NAN, NAN});
    });

    const Image image = sealedImage(content);
    std::string report =
        format("%s: %d x %d pixels, two models of %d x %d B-splines, orders %d and %d\n",
               options.output.c_str(), camera.width, camera.height, CALIBMAP_CORRECTION_COLS,
               CALIBMAP_CORRECTION_ROWS, content.shape.xOrder, content.shape.yOrder);
    for (const Direction direction : {Direction::undistort, Direction::distort}) {
        const FitError error = measure(options.output, image, lens, direction);
        if (!std::isfinite(error.rootMeanSquare)) {
            throw Failure("sample", "no model of this size follows the lens",
                          "choose smaller coefficients or longer focal lengths");
        }
        report += format("  %-9s fit error: root mean square %.6f, largest %.6f pixels\n",
                         nameOf(direction).c_str(), error.rootMeanSquare, error.largest);
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
        program.add("sample", run, "Write a valid calibration file for a described lens");
    command.output(options->output, "The file to write, or - for standard output");
    Camera& camera = options->camera;
    command.number("--width", camera.width, 16, 16384, "Image width in pixels");
    command.number("--height", camera.height, 16, 16384, "Image height in pixels");
    command.number("--fx", camera.fx, 1.0, 1e6, "Focal length along x in pixels");
    command.number("--fy", camera.fy, 1.0, 1e6, "Focal length along y in pixels");
    command.number("--cx", camera.cx, -1e5, 1e5, "Principal point, x in pixels");
    command.number("--cy", camera.cy, -1e5, 1e5, "Principal point, y in pixels");
    Lens& lens = options->lens;
    command.number("--k1", lens.k1, -1e3, 1e3, "Brown-Conrady radial coefficient of r^2");
    command.number("--k2", lens.k2, -1e3, 1e3, "Radial coefficient of r^4");
    command.number("--p1", lens.p1, -1e3, 1e3, "First tangential coefficient");
    command.number("--p2", lens.p2, -1e3, 1e3, "Second tangential coefficient");
    command.number("--k3", lens.k3, -1e3, 1e3, "Radial coefficient of r^6");
    command.explain(
        "The two correction models are least squares fits of the lens, and the command prints how\n"
        "far they are from it. It refuses a lens that folds the image over itself. The sub camera\n"
        "and the extrinsics are made up.\n\n"
        "Example:\n  calibmap sample --k1 -0.3 --k2 0.1 -o lens.bin");
}
