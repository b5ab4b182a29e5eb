#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <stdexcept>

#include "contenders.h"
#include "measure.h"

namespace {

/** A map to compute, of a barrel lens. */
struct MapJob {
    std::string name;
    Image image;
    LensModel lens;
    int32_t ratio;
    std::shared_ptr<FILE> file;  ///< the image on disk, without a name of its own

    [[nodiscard]] int32_t rows() const { return lens.height / ratio; }
    [[nodiscard]] int32_t cols() const { return lens.width / ratio; }
    [[nodiscard]] std::size_t pixels() const {
        return static_cast<std::size_t>(rows()) * static_cast<std::size_t>(cols());
    }
};

std::shared_ptr<const MapJob> mapJob(int32_t width, int32_t height, int32_t ratio) {
    const auto focal = 0.66F * static_cast<float>(width);
    const Image image =
        calibrationImage({.width = width,
                          .height = height,
                          .camera = {focal, focal, 0.498F * static_cast<float>(width),
                                     0.505F * static_cast<float>(height)},
                          .undistortionWarp = -0.2});
    const std::shared_ptr<FILE> file(std::tmpfile(), std::fclose);
    if (file == nullptr || std::fwrite(image.data(), image.size(), 1, file.get()) != 1 ||
        std::fflush(file.get()) != 0) {
        throw std::runtime_error("cannot write a calibration file");
    }
    std::string name = "map " + std::to_string(width) + "x" + std::to_string(height);
    if (ratio != 1) {
        name += " ratio " + std::to_string(ratio);
    }
    return std::make_shared<const MapJob>(
        MapJob{std::move(name), image, LensModel(image), ratio, file});
}

std::shared_ptr<const MapJob> largestMap() {
    return mapJob(4000, 3000, 1);
}

void require(const MapJob& job, bool condition) {
    if (!condition) {
        throw std::runtime_error(job.name + ": the library does not compute it");
    }
}

// NOLINTNEXTLINE(readability-non-const-parameter): the library writes through the record
void deliverOurs(const MapJob& job, float* x, float* y) {
    std::snprintf(calibin, sizeof calibin, "/proc/self/fd/%d", fileno(job.file.get()));
    const CamDistortionLUT map = {x, y, job.rows(), job.cols()};
    require(job, DistortionProcess(CALIBMAP_UNDISTORTION, job.ratio, nullptr, &map) == 0);
}

/** Our maps before they are rounded to floats. */
struct OurMaps {
    Mat* x = nullptr;
    Mat* y = nullptr;

    explicit OurMaps(const MapJob& job) {
        require(job, calcMainCameraUnDistortionB(job.image.data() + CALIBMAP_MAIN_BLOCK, nullptr,
                                                 job.ratio, job.lens.width, job.lens.height, &x,
                                                 &y) == 0);
    }
    ~OurMaps() {
        destroyMat(&x);
        destroyMat(&y);
    }
    OurMaps(const OurMaps&) = delete;
    OurMaps& operator=(const OurMaps&) = delete;
};

/** Compares what the library delivers with the maps that the contenders are compared with. */
void checkOurs(const MapJob& job) {
    const OurMaps maps(job);
    const Buffer<float> x = allocate<float>(job.pixels());
    const Buffer<float> y = allocate<float>(job.pixels());
    deliverOurs(job, x.get(), y.get());
    for (std::size_t i = 0; i < job.pixels(); ++i) {
        require(job, x[i] == static_cast<float>(maps.x->data[i]) &&
                         y[i] == static_cast<float>(maps.y->data[i]));
    }
}

void checkContender(const MapJob& job, const Contender& contender) {
    constexpr double tolerance = 1e-9;  // pixels
    const OurMaps maps(job);
    const Buffer<double> x = allocate<double>(job.pixels());
    const Buffer<double> y = allocate<double>(job.pixels());
    contender.mapToDoubles(job.lens, job.ratio, x.get(), y.get());
    requireEqual(job.name, maps.x->data, x.get(), job.pixels(), tolerance);
    requireEqual(job.name, maps.y->data, y.get(), job.pixels(), tolerance);
}

/** Fills the caller's two arrays. */
using Delivery = std::function<void(float* x, float* y)>;

Case mapCase(const std::shared_ptr<const MapJob>& job, const std::string& contender,
             const Delivery& deliver, std::function<void()> check) {
    const std::size_t pixels = job->pixels();
    const auto run = [pixels, deliver] {
        const Buffer<float> x = allocate<float>(pixels);
        const Buffer<float> y = allocate<float>(pixels);
        deliver(x.get(), y.get());
    };
    return {job->name, contender, "pixel", static_cast<double>(pixels), run, std::move(check)};
}

void addMapCases(const std::shared_ptr<const MapJob>& job, std::vector<Case>& cases) {
    cases.push_back(mapCase(
        job, ours, [job](float* x, float* y) { deliverOurs(*job, x, y); },
        [job] { checkOurs(*job); }));
    for (const Contender& c : contenders()) {
        cases.push_back(mapCase(
            job, c.name,
            [job, c](float* x, float* y) { c.mapToFloats(job->lens, job->ratio, x, y); },
            [job, c] {
                if (c.mapToDoubles != nullptr) {
                    checkContender(*job, c);
                }
            }));
    }
}

double residentPeak() {
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) * 1024.0;
}

}  // namespace

std::vector<Case> mapCases() {
    std::vector<Case> cases;
    addMapCases(mapJob(320, 240, 1), cases);
    addMapCases(mapJob(640, 480, 1), cases);
    addMapCases(mapJob(1280, 960, 1), cases);
    addMapCases(largestMap(), cases);
    addMapCases(mapJob(640, 480, 2), cases);
    addMapCases(mapJob(640, 480, 6), cases);
    return cases;
}

double peakBytesPerPixel() {
    const auto job = largestMap();
    int channel[2];
    if (pipe(channel) != 0) {
        throw std::runtime_error("no pipe");
    }
    const pid_t child = fork();
    if (child == 0) {
        const Buffer<float> x = allocate<float>(job->pixels());
        const Buffer<float> y = allocate<float>(job->pixels());
        std::fill_n(x.get(), job->pixels(), -1.0F);
        std::fill_n(y.get(), job->pixels(), -1.0F);
        const double before = residentPeak();
        deliverOurs(*job, x.get(), y.get());
        const double peak = (residentPeak() - before) / static_cast<double>(job->pixels());
        _exit(write(channel[1], &peak, sizeof peak) == sizeof peak ? 0 : 1);
    }
    double peak = 0.0;
    int status = 0;
    const bool received = read(channel[0], &peak, sizeof peak) == sizeof peak;
    close(channel[0]);
    close(channel[1]);
    if (waitpid(child, &status, 0) != child || status != 0 || !received) {
        throw std::runtime_error("cannot measure the peak memory");
    }
    return peak;
}
