/* The header from C99: a producer fills a calibration file, a consumer uses both services. */
#include <stdio.h>
#include <string.h>

#include "calibmap.h"

int main(void) {
    /* A camera of 8 x 6 pixels with a model that takes every pixel to the principal point. */
    static const int32_t heightAndWidth[2] = {6, 8};
    static const float camera[4] = {100.0F, 100.0F, 4.0F, 3.0F};
    static const float breaks[7] = {-1.0F, -0.5F, 0.0F, 0.5F, 1.0F, 1.5F, 2.0F};
    static const uint8_t ordersAndPieces[4] = {7, 7, 1, 1};
    static CalibrationFile image;
    static float x[12];
    static float y[12];
    uint8_t* block = image + CALIBMAP_MAIN_BLOCK;
    uint8_t* model = block + CALIBMAP_UNDISTORTION_MODEL;
    CameraIntrinsics mainCamera;
    CamDistortionLUT map = {x, y, 3, 4};

    image[CALIBMAP_PASS_FLAG] = 1;
    memcpy(block + CALIBMAP_IMAGE_HEIGHT, heightAndWidth, sizeof heightAndWidth);
    memcpy(block + CALIBMAP_FX, camera, sizeof camera);
    memcpy(block + CALIBMAP_X_ORDER, ordersAndPieces, sizeof ordersAndPieces);
    memcpy(model + CALIBMAP_X_BREAKS, breaks, CALIBMAP_X_BREAK_COUNT * sizeof *breaks);
    memcpy(model + CALIBMAP_Y_BREAKS, breaks, CALIBMAP_Y_BREAK_COUNT * sizeof *breaks);
    MainCameraIntervalCalibrationChecksum(block);
    SubCameraIntervalCalibrationChecksum(image + CALIBMAP_SUB_BLOCK);
    CameraExtervalCalibrationChecksum(image + CALIBMAP_EXTRINSIC_BLOCK);
    TotalCalibrationChecksum(image);
    strcpy(calibin, "header-c99.bin");
    FILE* file = fopen(calibin, "wb");
    if (file == NULL || fwrite(image, sizeof image, 1, file) != 1 || fclose(file) != 0) {
        return 2;
    }
    const int32_t queried = GetCameraIntrinsicAndExtrinsic(&mainCamera, NULL, NULL);
    const int32_t status = DistortionProcess(CALIBMAP_UNDISTORTION, 2, NULL, &map);
    remove(calibin);
    printf("query %d, map %d, last sample (%f, %f)\n", (int)queried, (int)status, x[11], y[11]);
    return queried == 0 && mainCamera.imageWidth == 8 && status == CALIBMAP_SUCCESS &&
                   x[11] == 1.75F && y[11] == 1.25F
               ? 0
               : 1;
}
