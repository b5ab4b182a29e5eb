#include "lens_model.h"

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <span>
#include <stdexcept>

namespace {

/** Numbers as the file holds them. */
using Floats = std::vector<float>;

std::vector<double> widened(const Floats& values) {
    return {values.begin(), values.end()};
}

/** Break points from one pixel before the image to one behind it. */
Floats breaksOver(int32_t pixels, double focal, double centre, std::size_t count) {
    Floats breaks(count);
    for (std::size_t i = 0; i < count; ++i) {
        const double place = static_cast<double>(i) / static_cast<double>(count - 1);
        breaks[i] = static_cast<float>((-1.0 + (pixels + 1) * place - centre) / focal);
    }
    return breaks;
}

/** Coefficients of the spline that is the identity: the means of order - 1 neighbouring knots. */
std::vector<double> identityCoefficients(const std::vector<double>& breaks) {
    VectorDouble* points =
        vectorCopyFromDoubleArray(breaks.data(), static_cast<int32_t>(breaks.size()));
    VectorDouble* knots = augknt_init(points, LensModel::order);
    std::vector<double> means(static_cast<std::size_t>(knots->size - LensModel::order));
    for (std::size_t i = 0; i < means.size(); ++i) {
        for (std::size_t j = 1; j < LensModel::order; ++j) {
            means[i] += knots->data[i + j] / (LensModel::order - 1);
        }
    }
    destroyVectorDouble(&knots);
    destroyVectorDouble(&points);
    return means;
}

template <typename Field>
void store(uint8_t* place, Field value) {
    std::memcpy(place, &value, sizeof value);
}

void storeFloats(uint8_t* place, std::span<const double> values) {
    for (std::size_t i = 0; i < values.size(); ++i) {
        store(place + i * sizeof(float), static_cast<float>(values[i]));
    }
}

}  // namespace

LensModel barrelLens(int32_t width, int32_t height) {
    LensModel lens = {};
    lens.width = width;
    lens.height = height;
    lens.fx = lens.fy = 0.6875 * width;
    lens.cx = 0.5 * width - 1.25;
    lens.cy = 0.5 * height + 2.75;
    lens.xBreaks = widened(breaksOver(width, lens.fx, lens.cx, CALIBMAP_X_BREAK_COUNT));
    lens.yBreaks = widened(breaksOver(height, lens.fy, lens.cy, CALIBMAP_Y_BREAK_COUNT));
    Floats xCoefficients;
    Floats yCoefficients;
    for (const double v : identityCoefficients(lens.yBreaks)) {
        for (const double u : identityCoefficients(lens.xBreaks)) {
            const double r2 = u * u + v * v;
            const double bend = 1.0 - 0.28 * r2 + 0.09 * r2 * r2;
            xCoefficients.push_back(static_cast<float>(u * bend));
            yCoefficients.push_back(static_cast<float>(v * bend));
        }
    }
    lens.xCoefficients = widened(xCoefficients);
    lens.yCoefficients = widened(yCoefficients);
    return lens;
}

std::array<uint8_t, CALIBMAP_FILE_SIZE> calibrationImage(const LensModel& lens) {
    std::array<uint8_t, CALIBMAP_FILE_SIZE> image = {};
    image[CALIBMAP_PASS_FLAG] = 1;
    uint8_t* block = image.data() + CALIBMAP_MAIN_BLOCK;
    store(block + CALIBMAP_IMAGE_HEIGHT, lens.height);
    store(block + CALIBMAP_IMAGE_WIDTH, lens.width);
    store(block + CALIBMAP_FX, static_cast<float>(lens.fx));
    store(block + CALIBMAP_FY, static_cast<float>(lens.fy));
    store(block + CALIBMAP_CX, static_cast<float>(lens.cx));
    store(block + CALIBMAP_CY, static_cast<float>(lens.cy));
    block[CALIBMAP_X_ORDER] = LensModel::order;
    block[CALIBMAP_Y_ORDER] = LensModel::order;
    block[CALIBMAP_X_PIECES] = CALIBMAP_X_BREAK_COUNT - 1;
    block[CALIBMAP_Y_PIECES] = CALIBMAP_Y_BREAK_COUNT - 1;
    uint8_t* model = block + CALIBMAP_UNDISTORTION_MODEL;
    storeFloats(model + CALIBMAP_X_BREAKS, lens.xBreaks);
    storeFloats(model + CALIBMAP_Y_BREAKS, lens.yBreaks);
    storeFloats(model + CALIBMAP_X_CORRECTION, lens.xCoefficients);
    storeFloats(model + CALIBMAP_Y_CORRECTION, lens.yCoefficients);
    MainCameraIntervalCalibrationChecksum(block);
    SubCameraIntervalCalibrationChecksum(image.data() + CALIBMAP_SUB_BLOCK);
    CameraExtervalCalibrationChecksum(image.data() + CALIBMAP_EXTRINSIC_BLOCK);
    TotalCalibrationChecksum(image.data());
    return image;
}

TemporaryFile::TemporaryFile(const std::array<uint8_t, CALIBMAP_FILE_SIZE>& content)
    : path_("/tmp/calibmap-bench-XXXXXX") {
    const int file = mkstemp(path_.data());
    const bool written =
        file >= 0 && write(file, content.data(), content.size()) == CALIBMAP_FILE_SIZE;
    if (file >= 0) {
        close(file);
    }
    if (!written) {
        throw std::runtime_error("cannot write " + path_);
    }
}

TemporaryFile::~TemporaryFile() {
    unlink(path_.c_str());
}
