// A program with functions of its own under names that the library also has. The library's results
// must not depend on them, and the library must read the program's copy of its data.
#include <dlfcn.h>

#include <cstdlib>

#include "support.h"

// Each stands in for whatever a program may have under such a name: being called is the fault.
VectorDouble* diff(const VectorDouble*) {
    std::abort();
}
double sorted(const VectorDouble*, double) {
    std::abort();
}
Mat* spcol(const VectorDouble*, double, double) {
    std::abort();
}
Mat* matMul(const Mat*, const Mat*) {
    std::abort();
}
void destroyMat(Mat**) {
    std::abort();
}
int32_t isFileExists(const char*) {
    std::abort();
}

namespace {

TEST(OwnNames, AreNotCalledByTheLibrary) {
    // Unless the program's names come first for the loader, this proves nothing.
    ASSERT_EQ(dlsym(RTLD_DEFAULT, "diff"), reinterpret_cast<void*>(&diff));
    ASSERT_EQ(dlsym(RTLD_DEFAULT, "calibin"), calibin);
    const CalibrationOnDisk file(calibrationImage());
    const CallerMap map(24, 32);
    EXPECT_EQ(DistortionProcess(CALIBMAP_UNDISTORTION, 1, nullptr, &map.lut), 0);
    for (size_t i = 0; i < map.x.size(); ++i) {
        EXPECT_NEAR(map.x[i], static_cast<double>(i % 32), 1e-5);
        EXPECT_NEAR(map.y[i], static_cast<double>(i / 32), 1e-5);
    }
    CameraIntrinsics main = {};
    EXPECT_EQ(GetCameraIntrinsicAndExtrinsic(&main, nullptr, nullptr), 0);
    EXPECT_EQ(main.imageWidth, 32);
}

}  // namespace
