// The two services of the library, used as a camera program uses them. Run it with the path of a
// calibration file of at most 32 characters.

#include <calibmap.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <vector>

namespace {

void printCamera(const char* name, const CameraIntrinsics& camera) {
    std::printf(
        "%s camera: %d x %d pixels, focal lengths (%.2f, %.2f), principal point (%.2f, %.2f)\n",
        name, camera.imageWidth, camera.imageHeight, static_cast<double>(camera.fx),
        static_cast<double>(camera.fy), static_cast<double>(camera.cx),
        static_cast<double>(camera.cy));
}

/** Computes one map of the main camera and prints what can be told in a few lines. */
int32_t printMap(const char* name, int32_t flag, int32_t ratio, const CameraIntrinsics& camera) {
    const int32_t rows = camera.imageHeight / ratio;
    const int32_t cols = camera.imageWidth / ratio;
    const std::size_t size = static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols);
    std::vector<float> x(size);
    std::vector<float> y(size);
    const CamDistortionLUT map = {x.data(), y.data(), rows, cols};

    const int32_t status = DistortionProcess(flag, ratio, nullptr, &map);
    if (status != CALIBMAP_SUCCESS) {
        return status;
    }
    std::printf("\n%s map, ratio %d: %d rows x %d columns\n", name, ratio, rows, cols);
    const auto at = [cols](int32_t row, int32_t col) {
        return static_cast<std::size_t>(row) * static_cast<std::size_t>(cols) +
               static_cast<std::size_t>(col);
    };
    const auto print = [&](const char* place, int32_t row, int32_t col) {
        std::printf("  %-12s (%4d, %4d) -> (%9.3f, %9.3f)\n", place, col, row,
                    static_cast<double>(x[at(row, col)]), static_cast<double>(y[at(row, col)]));
    };
    print("top left", 0, 0);
    print("top right", 0, cols - 1);
    print("bottom left", rows - 1, 0);
    print("bottom right", rows - 1, cols - 1);
    print("centre", rows / 2, cols / 2);

    float largest = 0;
    for (int32_t row = 0; row < rows; ++row) {
        for (int32_t col = 0; col < cols; ++col) {
            const std::size_t i = at(row, col);
            largest = std::max(largest, std::hypot(x[i] - static_cast<float>(col),
                                                   y[i] - static_cast<float>(row)));
        }
    }
    // A map counts in samples, and a sample is `ratio` pixels wide.
    std::printf("  largest displacement: %.3f samples = %.3f pixels\n",
                static_cast<double>(largest), static_cast<double>(largest) * ratio);
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2 || std::strlen(argv[1]) >= sizeof calibin) {
        std::fprintf(stderr, "usage: calibmap-demo FILE (a path of at most %zu characters)\n",
                     sizeof calibin - 1);
        return 2;
    }
    // Where the device's own file is not wanted, another one is named here.
    std::snprintf(calibin, sizeof calibin, "%s", argv[1]);

    CameraIntrinsics mainCamera;
    CameraIntrinsics subCamera;
    if (GetCameraIntrinsicAndExtrinsic(&mainCamera, &subCamera, nullptr) != 0) {
        std::fprintf(stderr, "calibmap-demo: %s: not a valid calibration file\n", calibin);
        return 1;
    }
    printCamera("main", mainCamera);
    printCamera("sub ", subCamera);

    for (const int32_t ratio : {1, 2}) {
        for (const int32_t flag : {CALIBMAP_UNDISTORTION, CALIBMAP_DISTORTION}) {
            const char* const name = flag == CALIBMAP_UNDISTORTION ? "undistortion" : "distortion";
            const int32_t status = printMap(name, flag, ratio, mainCamera);
            if (status != CALIBMAP_SUCCESS) {
                std::fprintf(stderr, "calibmap-demo: no %s map, status %d\n", name, status);
                return 1;
            }
        }
    }
    return 0;
}
