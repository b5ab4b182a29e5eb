#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <numbers>
#include <string>
#include <vector>

#include "calibration_file.h"
#include "commands/commands.h"
#include "failure.h"
#include "input.h"
#include "inspection/image.h"
#include "inspection/soundness.h"
#include "inspection/text.h"

namespace {

struct InfoOptions {
    std::string file;
    bool json = false;
    bool coefficients = false;
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

std::string hexBytes(const uint8_t* bytes, std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        text += format("%02x", bytes[i]);
    }
    return text;
}

/** JSON has no words for what is no finite number. */
Json numberOf(double number) {
    return std::isfinite(number) ? Json(number) : Json(format("%g", number));
}

template <class Floats>
Json listOf(const Floats& values) {
    Json list = Json::array();
    for (const float value : values) {
        list.push_back(numberOf(value));
    }
    return list;
}

std::vector<float> asFloats(const std::vector<uint32_t>& words) {
    std::vector<float> floats(words.size());
    std::transform(words.begin(), words.end(), floats.begin(),
                   [](uint32_t word) { return std::bit_cast<float>(word); });
    return floats;
}

std::vector<uint32_t> coefficientsOf(const CameraIntrinsics& camera) {
    return {std::begin(camera.coeff), std::end(camera.coeff)};
}

std::vector<uint32_t> extrinsicsOf(const Image& image) {
    std::vector<uint32_t> words;
    for (std::size_t i = 0; i < CALIBMAP_EXTRINSIC_BLOCK_SIZE; i += sizeof(uint32_t)) {
        words.push_back(wordAt(image, CALIBMAP_EXTRINSIC_BLOCK + i));
    }
    return words;
}

Json describe(const CameraIntrinsics& camera) {
    const FieldOfView view = fieldOfView(camera);
    const std::vector<uint32_t> words = coefficientsOf(camera);
    Json bits = Json::array();
    for (const uint32_t word : words) {
        bits.push_back(format("0x%08x", word));
    }
    return {{"imageWidth", camera.imageWidth},
            {"imageHeight", camera.imageHeight},
            {"cx", numberOf(camera.cx)},
            {"cy", numberOf(camera.cy)},
            {"fx", numberOf(camera.fx)},
            {"fy", numberOf(camera.fy)},
            {"coeff", bits},
            {"coeffAsFloats", listOf(asFloats(words))},
            {"fieldOfViewDegrees",
             {{"horizontal", numberOf(view.horizontal)},
              {"vertical", numberOf(view.vertical)},
              {"diagonal", numberOf(view.diagonal)}}}};
}

Json describe(const InfoOptions& options, const Image& image, const Verdict& verdict) {
    const ModelShape shape = modelShapeOf(image);
    Json models = {{"kx", shape.xOrder},
                   {"ky", shape.yOrder},
                   {"xpieces", shape.xPieces},
                   {"ypieces", shape.yPieces}};
    for (const Direction direction : {Direction::distort, Direction::undistort}) {
        const CorrectionModel model = modelOf(image, direction);
        Json& described = models[nameOf(direction)];
        described = {{"xbreaks", listOf(model.xBreaks)}, {"ybreaks", listOf(model.yBreaks)}};
        if (options.coefficients) {
            described["xcorrect"] = listOf(model.xCorrection);
            described["ycorrect"] = listOf(model.yCorrection);
        }
    }
    return {{"file", shown(options.file)},
            {"status", verdict.status},
            {"accepted", verdict.status == CALIBMAP_SUCCESS},
            {"reason", verdict.reason},
            {"faults", faultsOf(image)},
            {"mainCamera", describe(extractMainCameraIntrn(image.data()))},
            {"subCamera", describe(extractSubCameraIntrn(image.data()))},
            {"extrinsics",
             hexBytes(image.data() + CALIBMAP_EXTRINSIC_BLOCK, CALIBMAP_EXTRINSIC_BLOCK_SIZE)},
            {"extrinsicsAsFloats", listOf(asFloats(extrinsicsOf(image)))},
            {"models", models}};
}

/** Words that the library hands on without knowing what they are: as floats, and their bits. */
void printWords(const char* name, const std::vector<uint32_t>& words) {
    std::printf("  %-16s", name);
    for (const float value : asFloats(words)) {
        std::printf(" %.9g", static_cast<double>(value));
    }
    std::printf("\n  as words        ");
    for (const uint32_t word : words) {
        std::printf(" 0x%08x", word);
    }
    std::printf("\n");
}

void print(const char* name, const CameraIntrinsics& camera) {
    const FieldOfView view = fieldOfView(camera);
    std::printf("%s\n", name);
    std::printf("  image            %d x %d pixels\n", camera.imageWidth, camera.imageHeight);
    std::printf("  focal lengths    fx %s, fy %s pixels\n", decimal(camera.fx, 3).c_str(),
                decimal(camera.fy, 3).c_str());
    std::printf("  principal point  cx %s, cy %s pixels\n", decimal(camera.cx, 3).c_str(),
                decimal(camera.cy, 3).c_str());
    std::printf("  field of view    %.1f x %.1f degrees, %.1f across the diagonal\n",
                view.horizontal, view.vertical, view.diagonal);
    printWords("coeff", coefficientsOf(camera));
    std::printf("\n");
}

template <class Breaks>
void printBreaks(const char* axis, const Breaks& breaks) {
    std::printf("    along %s ", axis);
    for (const float value : breaks) {
        std::printf(" %8s", decimal(value, 5).c_str());
    }
    std::printf("\n");
}

/** The coefficients of one correction, a line for each B-spline along y. */
template <class Floats>
void printCorrection(const char* name, const Floats& values) {
    std::printf("    %s correction, a line for each of the %d B-splines along y\n", name,
                CALIBMAP_CORRECTION_ROWS);
    for (std::size_t i = 0; i < values.size(); ++i) {
        const bool isLast = (i + 1) % CALIBMAP_CORRECTION_COLS == 0;
        std::printf("%s%12s%s", i % CALIBMAP_CORRECTION_COLS == 0 ? "    " : " ",
                    decimal(values[i], 8).c_str(), isLast ? "\n" : "");
    }
}

void printModels(const Image& image, bool withCoefficients) {
    const ModelShape shape = modelShapeOf(image);
    std::printf("correction models of the main camera\n");
    std::printf("  orders           %d along x, %d along y\n", shape.xOrder, shape.yOrder);
    std::printf("  pieces           %d along x, %d along y\n", shape.xPieces, shape.yPieces);
    for (const Direction direction : {Direction::distort, Direction::undistort}) {
        const CorrectionModel model = modelOf(image, direction);
        std::printf("  %s model, break points in normalised image coordinates\n",
                    direction == Direction::distort ? "distortion" : "undistortion");
        printBreaks("x", model.xBreaks);
        printBreaks("y", model.yBreaks);
        if (withCoefficients) {
            printCorrection("x", model.xCorrection);
            printCorrection("y", model.yCorrection);
        }
    }
}

void print(const InfoOptions& options, const Image& image, const Verdict& verdict) {
    const std::string name = shown(inputName(options.file));
    if (verdict.status == CALIBMAP_SUCCESS) {
        std::printf("%s: accepted, status 0\n", name.c_str());
    } else {
        std::printf("%s: refused, status %d: %s, %s\n", name.c_str(), verdict.status,
                    verdict.reason.c_str(), verdict.remedy.c_str());
    }
    for (const std::string& fault : faultsOf(image)) {
        std::printf("  cannot be used: %s\n", fault.c_str());
    }
    std::printf("\n");
    print("main camera (IR)", extractMainCameraIntrn(image.data()));
    print("sub camera (RGB)", extractSubCameraIntrn(image.data()));
    std::printf("extrinsics\n");
    printWords("as floats", extrinsicsOf(image));
    std::printf("\n");
    printModels(image, options.coefficients);
}

int run(const InfoOptions& options) {
    Image image{};
    const Verdict verdict = loadAnyFile(options.file, image);
    if (options.json) {
        std::puts(describe(options, image, verdict).dump(2).c_str());
    } else {
        print(options, image, verdict);
    }
    return exitGood;
}

}  // namespace

void addInfo(Program& program) {
    auto [command, options] = program.add("info", run, "Show what a calibration file says");
    command.file("FILE", options->file, "The calibration file, - for standard input");
    command.flag("--coefficients", options->coefficients,
                 "Print the coefficients of the models as well");
    command.flag("--json", options->json, "Print the same for programs");
    command.explain(
        "Shows any file of 6268 bytes or more, first what the library says of it: whether it is\n"
        "accepted, and which of its numbers cannot be used. Then both cameras, the extrinsics and\n"
        "the correction models.\n\n"
        "Example:\n  calibmap info --json stereoParams.bin");
}
