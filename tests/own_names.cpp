// A program with functions of its own under names that the library also has. The library's results
// must not depend on them, and the library must read the program's copy of its data.
#include <dlfcn.h>

#include <cstdlib>

#include "support.h"

// Each stands in for whatever a program may have under such a name: being called is the fault.
// clang-format off
VectorDouble* diff(const VectorDouble* /*src*/) { std::abort(); }
double sorted(const VectorDouble* /*mesh*/, double /*site*/) { std::abort(); }
Mat* spcol(const VectorDouble* /*knots*/, double /*k*/, double /*x*/) { std::abort(); }
Mat* matMul(const Mat* /*a*/, const Mat* /*b*/) { std::abort(); }
void destroyMat(Mat** /*handle*/) { std::abort(); }
int32_t isFileExists(const char* /*path*/) { std::abort(); }
// clang-format on

namespace {

TEST(OwnNames, AreNotCalledByTheLibrary) {
    // Unless the program's names come first for the loader, this proves nothing.
    ASSERT_EQ(dlsym(RTLD_DEFAULT, "diff"), reinterpret_cast<void*>(&diff));
    ASSERT_EQ(dlsym(RTLD_DEFAULT, "calibin"), calibin);
    const CalibrationOnDisk file(calibrationImage());
    const CallerMap map(24, 32);
    EXPECT_EQ(DistortionProcess(CALIBMAP_UNDISTORTION, 1, nullptr, &map.lut), 0);
    for (size_t i = 0; i < map.x.size(); ++i) {
        const size_t row = i / 32;
        EXPECT_NEAR(map.x[i], static_cast<double>(i % 32), 1e-5);
        EXPECT_NEAR(map.y[i], static_cast<double>(row), 1e-5);
    }
    CameraIntrinsics main = {};
    EXPECT_EQ(GetCameraIntrinsicAndExtrinsic(&main, nullptr, nullptr), 0);
    EXPECT_EQ(main.imageWidth, 32);
}

}  // namespace
