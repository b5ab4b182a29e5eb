#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <numbers>
#include <string>
#include <vector>

#include "calibration/image.h"
#include "calibration/verdict.h"
#include "commands/commands.h"
#include "failure.h"
#include "lens/fit.h"
#include "text.h"

namespace {

struct InfoOptions {
    std::string file;
    bool json = false;
};

using Json = nlohmann::ordered_json;

/** Angles, in degrees, that the straightened image covers. */
struct FieldOfView {
    double horizontal;
    double vertical;
    double diagonal;
};

FieldOfView fieldOfView(const CameraIntrinsics& camera) {
    // From the principal point to the edges, which lie half a pixel outside the pixel centres.
    const double left = (camera.cx + 0.5) / camera.fx;
    const double right = (camera.imageWidth - 0.5 - camera.cx) / camera.fx;
    const double top = (camera.cy + 0.5) / camera.fy;
    const double bottom = (camera.imageHeight - 0.5 - camera.cy) / camera.fy;
    const auto between = [](double dot, double lengthA, double lengthB) {
        return std::acos(std::clamp(dot / (lengthA * lengthB), -1.0, 1.0)) * 180 / std::numbers::pi;
    };
    const auto across = [&](double a, double b) {
        return between(1 - a * b, std::hypot(1, a), std::hypot(1, b));
    };
    return {across(left, right), across(top, bottom),
            between(1 - left * right - top * bottom, std::hypot(1, left, top),
                    std::hypot(1, right, bottom))};
}

/** Why the library's matrices, or the image, do not fit a model; empty when they do. */
std::vector<std::string> misfits(const Image& image) {
    std::vector<std::string> found;
    const ModelShape shape = modelShapeOf(image);
    const Camera camera = mainCameraOf(image);
    if (shape.xOrder != fittingShape.xOrder || shape.yOrder != fittingShape.yOrder) {
        found.push_back(format("the %d x %d correction matrices need the orders %d and %d",
                               CALIBMAP_CORRECTION_ROWS, CALIBMAP_CORRECTION_COLS,
                               fittingShape.xOrder, fittingShape.yOrder));
    }
    if (shape.xPieces == 0 || shape.yPieces == 0) {
        found.emplace_back("a piece count is 0");
    }
    if (camera.width < 1 || camera.height < 1) {
        found.emplace_back("the image has no pixels");
    }
    const auto checkBreaks = [&](const std::string& name, const auto& breaks, int32_t pixels,
                                 double principal, double focal) {
        if (std::adjacent_find(breaks.begin(), breaks.end(),
                               [](float a, float b) { return !(a < b); }) != breaks.end()) {
            found.push_back("the " + name + " break points do not increase");
        } else if (!(breaks.front() <= -principal / focal) ||
                   !((pixels - 1 - principal) / focal <= breaks.back())) {
            found.push_back("the " + name + " break points do not enclose the image");
        }
    };
    for (const Direction direction : {Direction::distort, Direction::undistort}) {
        const CorrectionModel model = modelOf(image, direction);
        checkBreaks(nameOf(direction) + " x", model.xBreaks, camera.width, camera.cx, camera.fx);
        checkBreaks(nameOf(direction) + " y", model.yBreaks, camera.height, camera.cy, camera.fy);
    }
    return found;
}

std::string hexBytes(const uint8_t* bytes, std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        text += format("%02x", bytes[i]);
    }
    return text;
}

Json describe(const CameraIntrinsics& camera) {
    const FieldOfView view = fieldOfView(camera);
    Json coefficients = Json::array();
    for (const uint32_t word : camera.coeff) {
        coefficients.push_back(format("0x%08x", word));
    }
    return {{"imageWidth", camera.imageWidth},
            {"imageHeight", camera.imageHeight},
            {"cx", camera.cx},
            {"cy", camera.cy},
            {"fx", camera.fx},
            {"fy", camera.fy},
            {"coeff", coefficients},
            {"fieldOfViewDegrees",
             {{"horizontal", view.horizontal},
              {"vertical", view.vertical},
              {"diagonal", view.diagonal}}}};
}

Json describe(const std::string& file, const Image& image) {
    const ModelShape shape = modelShapeOf(image);
    Json models = {{"kx", shape.xOrder},
                   {"ky", shape.yOrder},
                   {"xpieces", shape.xPieces},
                   {"ypieces", shape.yPieces}};
    for (const Direction direction : {Direction::distort, Direction::undistort}) {
        const CorrectionModel model = modelOf(image, direction);
        models[nameOf(direction)] = {{"xbreaks", model.xBreaks}, {"ybreaks", model.yBreaks}};
    }
    const std::vector<std::string> wrong = misfits(image);
    models["fits"] = wrong.empty();
    models["misfits"] = wrong;
    return {{"file", file},
            {"mainCamera", describe(extractMainCameraIntrn(image.data()))},
            {"subCamera", describe(extractSubCameraIntrn(image.data()))},
            {"extrinsics",
             hexBytes(image.data() + CALIBMAP_EXTRINSIC_BLOCK, CALIBMAP_EXTRINSIC_BLOCK_SIZE)},
            {"models", models}};
}

void print(const char* name, const CameraIntrinsics& camera) {
    const FieldOfView view = fieldOfView(camera);
    std::printf("%s\n", name);
    std::printf("  image            %d x %d pixels\n", camera.imageWidth, camera.imageHeight);
    std::printf("  focal lengths    fx %.3f, fy %.3f pixels\n", static_cast<double>(camera.fx),
                static_cast<double>(camera.fy));
    std::printf("  principal point  cx %.3f, cy %.3f pixels\n", static_cast<double>(camera.cx),
                static_cast<double>(camera.cy));
    std::printf("  field of view    %.1f x %.1f degrees, %.1f across the diagonal\n",
                view.horizontal, view.vertical, view.diagonal);
    std::printf("  coeff           ");
    for (const uint32_t word : camera.coeff) {
        std::printf(" %08x", word);
    }
    std::printf("\n  coeff as floats ");
    for (const uint32_t word : camera.coeff) {
        std::printf(" %g", static_cast<double>(std::bit_cast<float>(word)));
    }
    std::printf("\n\n");
}

template <class Breaks>
void printBreaks(const char* axis, const Breaks& breaks) {
    std::printf("    along %s ", axis);
    for (const float value : breaks) {
        std::printf(" %8.5f", static_cast<double>(value));
    }
    std::printf("\n");
}

void print(const Image& image) {
    print("main camera (IR)", extractMainCameraIntrn(image.data()));
    print("sub camera (RGB)", extractSubCameraIntrn(image.data()));
    std::printf("extrinsics\n ");
    for (std::size_t i = 0; i < CALIBMAP_EXTRINSIC_BLOCK_SIZE; i += sizeof(uint32_t)) {
        std::printf(" %s", hexBytes(image.data() + CALIBMAP_EXTRINSIC_BLOCK + i, 4).c_str());
    }
    const ModelShape shape = modelShapeOf(image);
    std::printf("\n\ncorrection models of the main camera\n");
    std::printf("  orders           %d along x, %d along y\n", shape.xOrder, shape.yOrder);
    std::printf("  pieces           %d along x, %d along y\n", shape.xPieces, shape.yPieces);
    for (const Direction direction : {Direction::distort, Direction::undistort}) {
        const CorrectionModel model = modelOf(image, direction);
        std::printf("  %s model, break points in normalised image coordinates\n",
                    direction == Direction::distort ? "distortion" : "undistortion");
        printBreaks("x", model.xBreaks);
        printBreaks("y", model.yBreaks);
    }
    const std::vector<std::string> wrong = misfits(image);
    std::printf("  fit the library  %s\n", wrong.empty() ? "yes" : "no");
    for (const std::string& reason : wrong) {
        std::printf("    %s\n", reason.c_str());
    }
}

int run(const InfoOptions& options) {
    const Image image = loadCalibration(options.file);
    if (options.json) {
        // A file name need not be UTF-8.
        std::puts(describe(options.file, image)
                      .dump(2, ' ', false, Json::error_handler_t::replace)
                      .c_str());
    } else {
        print(image);
    }
    return exitGood;
}

}  // namespace

void addInfo(Program& program) {
    auto [command, options] = program.add("info", run, "Show what a calibration file says");
    command.file("FILE", options->file, "The calibration file");
    command.flag("--json", options->json, "Print the same for programs");
    command.explain(
        "Prints both cameras, the extrinsic bytes, the orders and break points of the correction\n"
        "models, and whether maps can be computed from them.\n\n"
        "Example:\n  calibmap info --json stereoParams.bin");
}
