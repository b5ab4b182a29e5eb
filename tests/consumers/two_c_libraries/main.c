/* Writes every map of a calibration file to a file: main FILE MAPS. Built for two C libraries, the
 * program writes the same bytes. */
#include <stdio.h>
#include <stdlib.h>

#include "../lens.h"

static int writeMap(const char* file, const CameraIntrinsics* camera, int32_t flag, int32_t ratio,
                    FILE* maps) {
    CamDistortionLUT map = {NULL, NULL, camera->imageHeight / ratio, camera->imageWidth / ratio};
    size_t count = (size_t)map.rows * (size_t)map.cols;
    map.x = malloc(count * sizeof *map.x);
    map.y = malloc(count * sizeof *map.y);
    int made = map.x != NULL && map.y != NULL &&
               doDistortionProcess(file, flag, ratio, NULL, &map) == CALIBMAP_SUCCESS &&
               fwrite(map.x, sizeof *map.x, count, maps) == count &&
               fwrite(map.y, sizeof *map.y, count, maps) == count;
    if (made && flag == CALIBMAP_UNDISTORTION && ratio == 1) {
        made = distanceFromLens(camera, &map) < 0.001;
    }
    free(map.x);
    free(map.y);
    return made;
}

int main(int argc, char** argv) {
    static const int32_t ratios[] = {1, 2, 6};
    CameraIntrinsics camera;
    FILE* maps = argc == 3 ? fopen(argv[2], "wb") : NULL;
    if (maps == NULL || getCameraIntrinsicAndExtrinsic(argv[1], &camera, NULL, NULL) != 0) {
        return 1;
    }
    for (size_t i = 0; i < sizeof ratios / sizeof *ratios; ++i) {
        if (!writeMap(argv[1], &camera, CALIBMAP_DISTORTION, ratios[i], maps) ||
            !writeMap(argv[1], &camera, CALIBMAP_UNDISTORTION, ratios[i], maps)) {
            return 1;
        }
    }
    /* A file that is damaged is refused by both, too. */
    return fclose(maps) != 0 || getCameraIntrinsicAndExtrinsic(argv[2], &camera, NULL, NULL) == 0;
}
