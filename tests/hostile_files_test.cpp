// What a crafted file may cost. Each request runs in a process of its own, whose time and memory
// the kernel measures. What the refusals print stands in maps.txt.
#include <sys/resource.h>
#include <sys/wait.h>

#include <functional>

#include "support.h"

namespace {

constexpr float inf = std::numeric_limits<float>::infinity();
constexpr float nan = std::numeric_limits<float>::quiet_NaN();

/** How much more a call may cost than on the machine it is compiled for. */
#if defined(CALIBMAP_EMULATED)
constexpr double allowance = 8;  // The emulator spends time and memory of its own.
#elif defined(__SANITIZE_ADDRESS__)
constexpr double allowance = inf;  // The sanitizer touches a part of what is only reserved.
#else
constexpr double allowance = 1;
#endif

/** What became of a process. */
struct Outcome {
    int status;      ///< what the call returned; -1 when a signal ended the process
    double seconds;  ///< of the processor
    double megabytes;
};

Outcome alone(const std::function<int()>& call) {
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        const bool silent = std::freopen("/dev/null", "w", stdout) != nullptr;
        _exit(silent ? call() : -1);
    }
    int state = 0;
    rusage used = {};
    EXPECT_EQ(wait4(child, &state, 0, &used), child);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
    };
    return {WIFEXITED(state) ? WEXITSTATUS(state) : -1,
            seconds(used.ru_utime) + seconds(used.ru_stime),
            static_cast<double>(used.ru_maxrss) / 1024};
}

/** A change to a valid file of 640 x 480 pixels, and the status of a request with fitting arrays.
 */
struct Hostile {
    const char* name;
    int32_t status;
    std::function<void(uint8_t* image)> change;
};

Hostile sized(const char* name, int32_t width, int32_t height, int32_t status = 7) {
    return {name, status, [=](uint8_t* image) {
                put(image, CALIBMAP_MAIN_BLOCK + CALIBMAP_IMAGE_WIDTH, width);
                put(image, CALIBMAP_MAIN_BLOCK + CALIBMAP_IMAGE_HEIGHT, height);
            }};
}

Hostile withOrders(const char* name, uint8_t x, uint8_t y) {
    return {name, 7, [=](uint8_t* image) {
                put(image, CALIBMAP_MAIN_BLOCK + CALIBMAP_X_ORDER, std::array{x, y});
                // So large that nothing but a refusal ends soon.
                put(image, CALIBMAP_MAIN_BLOCK + CALIBMAP_IMAGE_HEIGHT, std::array{12000, 16000});
            }};
}

/** Changes numbers from an offset in the main block on, such as the focal lengths. */
Hostile numbers(const char* name, int32_t status, size_t offset, const std::vector<float>& values) {
    return {name, status, [=](uint8_t* image) {
                for (size_t i = 0; i < values.size(); ++i) {
                    put(image, CALIBMAP_MAIN_BLOCK + offset + 4 * i, values[i]);
                }
            }};
}

constexpr size_t xBreaks = CALIBMAP_DISTORTION_MODEL + CALIBMAP_X_BREAKS;
constexpr size_t yBreaks = CALIBMAP_DISTORTION_MODEL + CALIBMAP_Y_BREAKS;
constexpr size_t correction = CALIBMAP_DISTORTION_MODEL + CALIBMAP_X_CORRECTION;

const std::vector<Hostile> hostileFiles = {
    sized("no width", 0, 480),
    sized("negative", 640, -480),
    sized("most negative", INT32_MIN, INT32_MIN),
    sized("widest", INT32_MAX, 1),
    sized("highest", 1, INT32_MAX),
    sized("widest and highest", INT32_MAX, INT32_MAX),
    sized("ten gigapixels", 100000, 100000),
    sized("just too wide for a map", 1 << 28, 1),
    sized("just too wide for its spline values", (1 << 28) / 12 + 1, 1),
    sized("just too high for its products", 1, (1 << 28) / 12 + 1),
    withOrders("order 0", 0, 7),
    withOrders("order 1", 1, 1),
    withOrders("order 6", 6, 7),
    withOrders("order 8", 7, 8),
    withOrders("orders 6 and 8", 6, 8),
    withOrders("order 255", 255, 255),
    numbers("no focal length", 7, CALIBMAP_FX, {0}),
    numbers("negative zero focal length", 7, CALIBMAP_FY, {-0.0F}),
    numbers("infinite focal lengths", 0, CALIBMAP_FX, {inf, -inf}),
    numbers("denormal focal lengths", 0, CALIBMAP_FX, {1e-45F, 1e-45F}),
    numbers("principal point nowhere", 0, CALIBMAP_CX, {nan, inf}),
    numbers("decreasing", 7, xBreaks, {1, 0.5F}),
    numbers("decreasing at the end", 7, yBreaks, {-1, 0, 1, 2, 1.5F}),
    numbers("all equal", 7, yBreaks, {1, 1, 1, 1, 1}),
    numbers("all NaN", 0, xBreaks, {nan, nan, nan, nan, nan, nan, nan}),
    numbers("all infinite", 0, yBreaks, {inf, inf, inf, inf, inf}),
    numbers("infinite ends", 0, xBreaks, {-inf, -1, 0, 1e-45F, 0.5F, 1, inf}),
    numbers("denormal steps", 0, yBreaks, {0, 1e-45F, 3e-45F, 4e-45F, 6e-45F}),
    numbers("repeated first", 0, xBreaks, {-2, -2, -2, -2, -2, -2, 2}),
    numbers("repeated last", 0, yBreaks, {-2, 2, 2, 2, 2}),
    numbers("repeated at both ends", 0, xBreaks, {-2, -2, -2, 0, 2, 2, 2}),
    numbers("infinities among the coefficients", 0, correction, {inf, -inf, nan}),
    numbers("denormal coefficients", 0, correction, std::vector<float>(120, 3e-45F)),
    // Accepted, and with the most work for each sample.
    sized("one row", 200000, 1, 0),
    sized("one column", 1, 200000, 0),
};

TEST(HostileFiles, EndInTheirStatusWithinASecondAndAFewMegabytes) {
    for (const Hostile& hostile : hostileFiles) {
        SCOPED_TRACE(hostile.name);
        Image image =
            calibrationImage({.width = 640, .height = 480, .camera = {420, 430, 318, 242}});
        hostile.change(image.data());
        seal(image.data());
        const CalibrationOnDisk file(image);
        const CameraIntrinsics camera = extractMainCameraIntrn(image.data());
        // Arrays of the shape in the file, as a caller has them who believes it. Where a refusal is
        // due they are nowhere, so that writing one byte to them ends the process.
        const bool delivers = hostile.status == 0;
        const CallerMap map(delivers ? camera.imageHeight : 0, delivers ? camera.imageWidth : 0);
        const CamDistortionLUT fitting = {map.lut.x, map.lut.y, camera.imageHeight,
                                          camera.imageWidth};
        const CamDistortionLUT other = {nullptr, nullptr, 24, 16000};
        const double idle = alone([] { return 0; }).megabytes;
        const auto expect = [&](const CamDistortionLUT& lut, int32_t status, double megabytes) {
            const Outcome outcome = alone([&] {
                return doDistortionProcess(calibin, CALIBMAP_DISTORTION, 1, nullptr, &lut);
            });
            EXPECT_EQ(outcome.status, status);
            EXPECT_LT(outcome.seconds, allowance);
            EXPECT_LT(outcome.megabytes - idle, allowance * megabytes);
        };
        // Maps of doubles, and the spline values of each row and column.
        expect(fitting, hostile.status, 8 + static_cast<double>(map.x.size()) * 320e-6);
        expect(other, CALIBMAP_STEP_FAILED, 8);
    }
}

}  // namespace
