#include <cmath>
#include <cstdio>

#include "measure.h"

namespace {

/** Prints a promise and whether it holds; returns whether it does. */
bool print(const std::string& promise, double value, bool holds) {
    if (std::isnan(value)) {
        std::printf("| %s | | not measured |\n", promise.c_str());
        return true;
    }
    std::printf("| %s | %.2f | %s |\n", promise.c_str(), value, holds ? "holds" : "DOES NOT HOLD");
    return holds;
}

/** That `job` is done at least `times` as fast by us as by another contender, by the minima. */
bool printSpeed(const Results& results, const std::string& job, const std::string& other,
                double times) {
    const double ratio = results.minimum(job + "/" + other) / results.minimum(job + "/" + ours);
    char promise[128];
    std::snprintf(promise, sizeof promise, "%s: at least %.1f times as fast as %s", job.c_str(),
                  times, other.c_str());
    return print(promise, ratio, ratio >= times);
}

}  // namespace

void printTable(const std::vector<Case>& cases, const Results& results) {
    std::printf("| job | | minimum, us | median, us | minimum, ns each | minimum / ours |\n");
    std::printf("|---|---|---:|---:|---:|---:|\n");
    for (const Case& c : cases) {
        const double least = results.minimum(c.name());
        if (!std::isnan(least)) {
            std::printf("| %s | %s | %.1f | %.1f | %.2f a %s | %.2f |\n", c.job.c_str(),
                        c.contender.c_str(), least / 1e3, results.median(c.name()) / 1e3,
                        least / c.units, c.unit.c_str(),
                        least / results.minimum(c.job + "/" + ours));
        }
    }
}

bool printTargets(const Results& results) {
    std::printf("| promise | measured | |\n|---|---:|---|\n");
    bool allHold = true;
    const auto speed = [&](const std::string& job, const std::string& other, double times) {
        allHold = printSpeed(results, job, other, times) && allHold;
    };
    for (const std::string other : {"OpenCV", "Eigen"}) {
        speed("map 320x240", other, 1.7);
        for (const std::string size : {"640x480", "1280x960", "4000x3000"}) {
            speed("map " + size, other, 2.2);
        }
    }
    speed("map 640x480", "GSL", 6.0);
    for (const std::string other : {"OpenCV", "Eigen", "GSL"}) {
        speed("map 640x480 ratio 6", other, 1.0);
    }
    speed("collocationMatrix 1120 sites", "GSL", 2.0);
    const double peak = peakBytesPerPixel();
    allHold = print("map 4000x3000: at most 0.5 bytes a pixel beside the caller's arrays", peak,
                    peak <= 0.5) &&
              allHold;
    return allHold;
}
