// A program that turns statuses into exceptions, and goes on after it has caught one.
#include <stdexcept>
#include <vector>

#include "../lens.h"

static double check(const char* file, int32_t ratio) {
    CameraIntrinsics camera;
    if (getCameraIntrinsicAndExtrinsic(file, &camera, nullptr, nullptr) != 0) {
        throw std::invalid_argument(file);
    }
    const std::size_t size = std::size_t(camera.imageHeight) * std::size_t(camera.imageWidth);
    std::vector<float> x(size), y(size);
    const CamDistortionLUT map = {x.data(), y.data(), camera.imageHeight, camera.imageWidth};
    if (doDistortionProcess(file, CALIBMAP_UNDISTORTION, ratio, nullptr, &map) != 0) {
        throw std::runtime_error("no map");
    }
    return distanceFromLens(&camera, &map);
}

int main(int argc, char** argv) {
    try {
        check(argv[argc - 1], 4);  // a map of another shape
    } catch (const std::runtime_error&) {
        return !(check(argv[argc - 1], 1) < 0.001);
    }
    return 1;
}
