#include <stdlib.h>

#include "../lens.h"

int main(int argc, char** argv) {
    CameraIntrinsics camera;
    if (argc != 2 || getCameraIntrinsicAndExtrinsic(argv[1], &camera, NULL, NULL) != 0) {
        return 1;
    }
    size_t size = sizeof(float) * (size_t)camera.imageHeight * (size_t)camera.imageWidth;
    CamDistortionLUT map = {malloc(size), malloc(size), camera.imageHeight, camera.imageWidth};
    int32_t status = doDistortionProcess(argv[1], CALIBMAP_UNDISTORTION, 1, NULL, &map);
    int failed = status != CALIBMAP_SUCCESS || !(distanceFromLens(&camera, &map) < 0.001);
    free(map.x);
    free(map.y);
    return failed;
}
