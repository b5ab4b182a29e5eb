// What a crafted file may cost: each file of hostile.txt, where its status and its reports stand,
// with a larger image. Each request runs in a process of its own, whose time and memory the kernel
// measures.
#include <sys/resource.h>
#include <sys/wait.h>

#include <functional>

#include "support.h"

namespace {

/** How much more a call may cost than on the machine it is compiled for. */
#if defined(CALIBMAP_EMULATED)
constexpr double allowance = 8;  // The emulator spends time and memory of its own.
#elif defined(__SANITIZE_ADDRESS__)
constexpr double allowance = infinity;  // The sanitizer touches a part of what is only reserved.
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

TEST(HostileFiles, EndInTheirStatusWithinASecondAndAFewMegabytes) {
    std::istringstream transcript(testData("hostile.txt"));
    int files = 0;
    for (std::string line; std::getline(transcript, line);) {
        const size_t with = line.find(" with ");
        const size_t equals = line.find(" = ");
        if (with == std::string::npos || equals == std::string::npos) {
            continue;
        }
        SCOPED_TRACE(line);
        ++files;
        const int32_t flag = std::stoi(wordsOf(line)[1]);
        const int32_t status = std::stoi(line.substr(equals + 3));
        const Recipe large = {.width = 640, .height = 480, .camera = {420, 430, 318, 242}};
        const CalibrationOnDisk file(
            changedImage(large, wordsOf(line.substr(with + 6, equals - with - 6))));
        CalibrationFile image;
        ASSERT_EQ(readCalibrationDataC(calibin, image), 0);
        const CameraIntrinsics camera = extractMainCameraIntrn(image);
        // Arrays of the shape in the file, as a caller has them who believes it. Where a refusal is
        // due they are nowhere, so that writing one byte to them ends the process.
        const bool delivers = status == 0;
        const CallerMap map(delivers ? camera.imageHeight : 0, delivers ? camera.imageWidth : 0);
        const CamDistortionLUT fitting = {map.lut.x, map.lut.y, camera.imageHeight,
                                          camera.imageWidth};
        const CamDistortionLUT other = {nullptr, nullptr, 24, 16000};
        const double idle = alone([] { return 0; }).megabytes;
        const auto expect = [&](const CamDistortionLUT& lut, int32_t due, double megabytes) {
            const Outcome outcome =
                alone([&] { return doDistortionProcess(calibin, flag, 1, nullptr, &lut); });
            EXPECT_EQ(outcome.status, due);
            EXPECT_LT(outcome.seconds, allowance);
            EXPECT_LT(outcome.megabytes - idle, allowance * megabytes);
        };
        // Maps of doubles, and the spline values of each row and column.
        expect(fitting, status, 8 + static_cast<double>(map.x.size()) * 320e-6);
        expect(other, CALIBMAP_STEP_FAILED, 8);
    }
    EXPECT_GT(files, 40);
}

}  // namespace
