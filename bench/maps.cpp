#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <limits>
#include <stdexcept>
#include <utility>

#include "contenders.h"
#include "measure.h"

namespace {

/** A map to compute, of a barrel lens. */
struct MapJob {
    std::string name;
    Image image;
    LensModel lens;
    int32_t ratio;
    std::shared_ptr<const std::string> file;  ///< names the image on disk

    [[nodiscard]] int32_t rows() const { return lens.height / ratio; }
    [[nodiscard]] int32_t cols() const { return lens.width / ratio; }
    [[nodiscard]] std::size_t pixels() const {
        return static_cast<std::size_t>(rows()) * static_cast<std::size_t>(cols());
    }
};

/** A file in a path as short as a device's: opening it is a part of the job. */
std::shared_ptr<const std::string> temporaryFile(const Image& image) {
    std::string name = "/tmp/lens-XXXXXX";
    const int descriptor = mkstemp(name.data());
    const auto remove = [](const std::string* file) {
        unlink(file->c_str());
        delete file;
    };
    std::shared_ptr<const std::string> file(new std::string(name), remove);
    if (descriptor < 0 ||
        write(descriptor, image.data(), image.size()) != static_cast<ssize_t>(image.size()) ||
        close(descriptor) != 0) {
        throw std::runtime_error("cannot write a calibration file");
    }
    return file;
}

std::shared_ptr<const MapJob> mapJob(int32_t width, int32_t height, int32_t ratio) {
    const Image image = lensImage(width, height);
    std::string name = "map " + std::to_string(width) + "x" + std::to_string(height);
    if (ratio != 1) {
        name += " ratio " + std::to_string(ratio);
    }
    return std::make_shared<const MapJob>(
        MapJob{std::move(name), image, LensModel(image), ratio, temporaryFile(image)});
}

/** The same camera with the worst coefficients that a file can hold. */
Image hostileImage(Image image) {
    std::vector<float> coefficients;
    constexpr std::size_t count = std::size_t{CALIBMAP_CORRECTION_ROWS} * CALIBMAP_CORRECTION_COLS;
    for (std::size_t i = 0; i < count; ++i) {
        constexpr float worst[] = {std::numeric_limits<float>::infinity(),
                                   std::numeric_limits<float>::quiet_NaN(),
                                   std::numeric_limits<float>::denorm_min(), 1.0F};
        coefficients.push_back(worst[i % std::size(worst)]);
    }
    put(image.data(), "undistortion.x", coefficients);
    put(image.data(), "undistortion.y", coefficients);
    seal(image.data());
    return image;
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
    std::snprintf(calibin, sizeof calibin, "%s", job.file->c_str());
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
    const OurMaps maps(job);
    const auto compare = [&]<typename Value>(auto deliver, Value /*kind*/) {
        const Buffer<Value> x = allocate<Value>(job.pixels());
        const Buffer<Value> y = allocate<Value>(job.pixels());
        deliver(job.lens, job.ratio, x.get(), y.get());
        requireEqual(job.name, maps.x->data, x.get(), job.pixels(), contender.tolerance);
        requireEqual(job.name, maps.y->data, y.get(), job.pixels(), contender.tolerance);
    };
    if (contender.mapToDoubles != nullptr) {
        compare(contender.mapToDoubles, 0.0);
    } else {
        compare(contender.mapToFloats, 0.0F);
    }
}

/** Fills the caller's two arrays. */
using Delivery = std::function<void(float* x, float* y)>;

Case mapCase(const std::shared_ptr<const MapJob>& job, const std::string& contender,
             const Delivery& deliver, std::function<void()> check) {
    const std::size_t pixels = job->pixels();
    const auto prepare = [pixels, deliver]() -> std::function<void()> {
        const std::shared_ptr<float[]> x(new float[pixels]());
        const std::shared_ptr<float[]> y(new float[pixels]());
        return [x, y, deliver] { deliver(x.get(), y.get()); };
    };
    return {job->name,
            contender,
            "pixel",
            static_cast<double>(pixels),
            prepare,
            std::move(check),
            contender == openCvThreads ? Clock::wall : Clock::processor};
}

void addMapCases(const std::shared_ptr<const MapJob>& job, std::vector<Case>& cases) {
    cases.push_back(mapCase(
        job, ours, [job](float* x, float* y) { deliverOurs(*job, x, y); },
        [job] { checkOurs(*job); }));
    for (const Contender& c : contenders()) {
        cases.push_back(mapCase(
            job, c.name,
            [job, c](float* x, float* y) { c.mapToFloats(job->lens, job->ratio, x, y); },
            [job, c] { checkContender(*job, c); }));
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
    addMapCases(mapJob(640, 480, 6), cases);
    return cases;
}

std::vector<Case> shapeCases() {
    std::vector<Case> cases;
    for (const auto& [width, height] : {std::pair(1280, 960),
                                        {12288, 100},
                                        {100, 12288},
                                        {122880, 10},
                                        {10, 122880},
                                        {1228800, 1},
                                        {1, 1228800}}) {
        const Image ordinary = lensImage(width, height);
        const std::string shape =
            "shape " + std::to_string(width) + "x" + std::to_string(height) + ", ";
        for (const auto& [kind, image] :
             {std::pair("ordinary", ordinary), {"hostile", hostileImage(ordinary)}}) {
            const auto job = std::make_shared<const MapJob>(
                MapJob{shape + kind, image, LensModel(image), 1, temporaryFile(image)});
            cases.push_back(mapCase(
                job, ours, [job](float* x, float* y) { deliverOurs(*job, x, y); }, [] {}));
        }
    }
    return cases;
}

double peakBytesPerPixel() {
    const auto job = largestMap();
    return valueApart([&] {
        const Buffer<float> x = allocate<float>(job->pixels());
        const Buffer<float> y = allocate<float>(job->pixels());
        std::fill_n(x.get(), job->pixels(), -1.0F);
        std::fill_n(y.get(), job->pixels(), -1.0F);
        const double before = residentPeak();
        deliverOurs(*job, x.get(), y.get());
        return (residentPeak() - before) / static_cast<double>(job->pixels());
    });
}
