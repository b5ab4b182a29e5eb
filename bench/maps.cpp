#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "benchmark_case.h"
#include "contenders.h"
#include "lens_model.h"

namespace {

struct MapSize {
    int32_t width;
    int32_t height;
    int32_t ratio;
};

constexpr MapSize largest = {4000, 3000, 1};
constexpr std::array sizes = {MapSize{320, 240, 1},  MapSize{640, 480, 1},
                              MapSize{1280, 960, 1}, largest,
                              MapSize{640, 480, 2},  MapSize{640, 480, 6}};

/** A map to compute: the lens in memory for the contenders, and as the library's file. */
struct MapJob {
    LensModel lens;
    int32_t ratio;
    TemporaryFile file;

    explicit MapJob(const MapSize& size)
        : lens(barrelLens(size.width, size.height)),
          ratio(size.ratio),
          file(calibrationImage(lens)) {}

    [[nodiscard]] int32_t rows() const { return lens.height / ratio; }
    [[nodiscard]] int32_t cols() const { return lens.width / ratio; }
    [[nodiscard]] std::size_t pixels() const {
        return static_cast<std::size_t>(rows()) * static_cast<std::size_t>(cols());
    }
    [[nodiscard]] std::string name() const {
        std::string text = "map " + std::to_string(lens.width) + "x" + std::to_string(lens.height);
        return ratio == 1 ? text : text + " ratio " + std::to_string(ratio);
    }
};

/** A way to fill the caller's two arrays. */
using Delivery = std::function<void(const MapJob& job, float* x, float* y)>;

void deliverOurs(const MapJob& job, float* x, float* y) {
    const CamDistortionLUT map = {x, y, job.rows(), job.cols()};
    std::strcpy(calibin, job.file.path().c_str());
    if (DistortionProcess(CALIBMAP_UNDISTORTION, job.ratio, nullptr, &map) != CALIBMAP_SUCCESS) {
        throw std::runtime_error("the library computes no " + job.name());
    }
}

struct NamedDelivery {
    std::string contender;
    Delivery deliver;
};

std::vector<NamedDelivery> deliveries() {
    std::vector<NamedDelivery> result = {{ours, deliverOurs}};
    for (const MapContender& contender : mapContenders()) {
        result.push_back({contender.name, [contender](const MapJob& job, float* x, float* y) {
                              contender.deliverFloats(job.lens, job.ratio, x, y);
                          }});
    }
    result.push_back({"floor", [](const MapJob& job, float* x, float* y) {
                          deliverFloor(job.lens, job.ratio, x, y);
                      }});
    return result;
}

void requireEqual(const MapJob& job, const std::string& contender, const double* map,
                  const double* other) {
    constexpr double tolerance = 1e-9;  // pixels
    for (std::size_t i = 0; i < job.pixels(); ++i) {
        // Written so that a NaN is a difference.
        if (!(std::abs(map[i] - other[i]) <= tolerance)) {
            throw std::runtime_error(
                job.name() + ", element " + std::to_string(i) + ": " + contender + " differs by " +
                std::to_string((other[i] - map[i]) / tolerance) + " times the tolerance");
        }
    }
}

/**
 * Compares the contenders before rounding to floats, which is coarser than the tolerance, and what
 * the library delivers with the map that it was compared by.
 */
void requireAgreement(const MapJob& job) {
    Mat* mapX = nullptr;
    Mat* mapY = nullptr;
    const auto image = calibrationImage(job.lens);
    if (calcMainCameraUnDistortionB(image.data() + CALIBMAP_MAIN_BLOCK, nullptr, job.ratio,
                                    job.lens.width, job.lens.height, &mapX,
                                    &mapY) != CALIBMAP_SUCCESS) {
        throw std::runtime_error("the library computes no " + job.name());
    }
    for (const MapContender& contender : mapContenders()) {
        const Buffer<double> x = allocate<double>(job.pixels());
        const Buffer<double> y = allocate<double>(job.pixels());
        contender.deliverDoubles(job.lens, job.ratio, x.get(), y.get());
        requireEqual(job, contender.name, mapX->data, x.get());
        requireEqual(job, contender.name, mapY->data, y.get());
    }
    const Buffer<float> x = allocate<float>(job.pixels());
    const Buffer<float> y = allocate<float>(job.pixels());
    deliverOurs(job, x.get(), y.get());
    for (std::size_t i = 0; i < job.pixels(); ++i) {
        if (x[i] != static_cast<float>(mapX->data[i]) ||
            y[i] != static_cast<float>(mapY->data[i])) {
            throw std::runtime_error(job.name() + ": the delivered map is another one");
        }
    }
    destroyMat(&mapX);
    destroyMat(&mapY);
}

double residentPeak() {
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) * 1024.0;
}

/** Growth of this process's peak while a map is delivered into arrays that are all touched. */
double peakBytesPerPixel(const MapJob& job, const Delivery& deliver) {
    const Buffer<float> x = allocate<float>(job.pixels());
    const Buffer<float> y = allocate<float>(job.pixels());
    std::fill_n(x.get(), job.pixels(), -1.0F);
    std::fill_n(y.get(), job.pixels(), -1.0F);
    const double before = residentPeak();
    deliver(job, x.get(), y.get());
    return (residentPeak() - before) / static_cast<double>(job.pixels());
}

}  // namespace

std::vector<BenchmarkCase> mapCases() {
    std::vector<BenchmarkCase> cases;
    for (const MapSize& size : sizes) {
        const auto job = std::make_shared<MapJob>(size);
        std::function<void()> check = [job] { requireAgreement(*job); };
        for (const NamedDelivery& way : deliveries()) {
            cases.push_back({job->name(), way.contender, "pixel",
                             static_cast<double>(job->pixels()),
                             [job, deliver = way.deliver] {
                                 const Buffer<float> x = allocate<float>(job->pixels());
                                 const Buffer<float> y = allocate<float>(job->pixels());
                                 deliver(*job, x.get(), y.get());
                             },
                             std::exchange(check, nullptr)});
        }
    }
    return cases;
}

std::vector<MemoryUse> mapMemory() {
    const MapJob job(largest);
    std::vector<MemoryUse> uses;
    for (const NamedDelivery& way : deliveries()) {
        int channel[2];
        if (pipe(channel) != 0) {
            throw std::runtime_error("no pipe");
        }
        const pid_t child = fork();
        if (child == 0) {
            const double peak = peakBytesPerPixel(job, way.deliver);
            _exit(write(channel[1], &peak, sizeof peak) == sizeof peak ? 0 : 1);
        }
        MemoryUse use = {way.contender, 0.0};
        const ssize_t got = read(channel[0], &use.bytesPerPixel, sizeof use.bytesPerPixel);
        int status = 0;
        close(channel[0]);
        close(channel[1]);
        if (waitpid(child, &status, 0) != child || status != 0 || got != sizeof use.bytesPerPixel) {
            throw std::runtime_error("no memory figure for " + way.contender);
        }
        uses.push_back(use);
    }
    return uses;
}
