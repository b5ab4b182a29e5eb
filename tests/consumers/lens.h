/** What the consumers check: a map against the lens that `calibmap sample` wrote into its file. */
#include <calibmap.h>
#include <math.h>
#include <string.h>

/** Largest distance in pixels between an undistortion map of ratio 1 and the lens. */
static inline double distanceFromLens(const CameraIntrinsics* camera, const CamDistortionLUT* map) {
    float k[5]; /* Brown-Conrady: k1, k2, p1, p2, k3 */
    double largest = 0;
    memcpy(k, camera->coeff, sizeof k);
    for (int32_t row = 0; row < map->rows; ++row) {
        for (int32_t col = 0; col < map->cols; ++col) {
            double u = (col - camera->cx) / camera->fx, v = (row - camera->cy) / camera->fy;
            double r2 = u * u + v * v, scale = 1 + r2 * (k[0] + r2 * (k[1] + r2 * k[4]));
            double x = u * scale + 2 * k[2] * u * v + k[3] * (r2 + 2 * u * u);
            double y = v * scale + 2 * k[3] * u * v + k[2] * (r2 + 2 * v * v);
            int32_t i = row * map->cols + col;
            largest = fmax(largest, hypot(x * camera->fx + camera->cx - map->x[i],
                                          y * camera->fy + camera->cy - map->y[i]));
        }
    }
    return largest;
}
