/* A plug-in host: it is not linked with the library and looks every name up. */
#include <dlfcn.h>

#include "../lens.h"

int main(int argc, char** argv) {
    static float x[480 * 640], y[480 * 640];
    const CamDistortionLUT map = {x, y, 480, 640};
    CameraIntrinsics camera;
    int32_t (*query)(CameraIntrinsics*, CameraIntrinsics*, CameraExtrinsics*);
    int32_t (*process)(int32_t, int32_t, const CamDistortionLUT*, const CamDistortionLUT*);
    void* library = dlopen("libcalibmap.so.1", RTLD_NOW | RTLD_LOCAL);
    *(void**)&query = dlsym(library, "GetCameraIntrinsicAndExtrinsic");
    *(void**)&process = dlsym(library, "DistortionProcess");
    /* The two read the file that the exported array names. */
    strncpy(dlsym(library, "calibin"), argv[argc - 1], sizeof calibin - 1);
    return query(&camera, NULL, NULL) != 0 ||
           process(CALIBMAP_UNDISTORTION, 1, NULL, &map) != CALIBMAP_SUCCESS ||
           !(distanceFromLens(&camera, &map) < 0.001) || dlclose(library) != 0;
}
