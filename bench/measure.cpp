#include "measure.h"

#include <cmath>
#include <cstdio>
#include <stdexcept>

void requireEqual(const std::string& job, const double* expected, const double* actual,
                  std::size_t count, double tolerance) {
    for (std::size_t i = 0; i < count; ++i) {
        const bool agree = std::abs(expected[i] - actual[i]) <= tolerance;
        if (!agree) {
            throw std::runtime_error(job + ": the results differ in element " + std::to_string(i));
        }
    }
}

void Medians::ReportRuns(const std::vector<Run>& runs) {
    for (const Run& run : runs) {
        if (run.aggregate_name == "median") {
            medians_[run.run_name.function_name] =
                run.GetAdjustedCPUTime() / benchmark::GetTimeUnitMultiplier(run.time_unit) * 1e9;
        }
    }
}

double Medians::of(const std::string& caseName) const {
    const auto found = medians_.find(caseName);
    return found == medians_.end() ? NAN : found->second;
}

void printTable(const std::vector<Case>& cases, const Medians& medians) {
    std::printf("%-36s %-9s %12s %16s %10s\n", "", "", "median us", "ns each", "/ ours");
    for (const Case& c : cases) {
        const double time = medians.of(c.name());
        if (!std::isnan(time)) {
            std::printf("%-36s %-9s %12.1f %9.3f %-7s %9.2f\n", c.job.c_str(), c.contender.c_str(),
                        time / 1e3, time / c.units, c.unit.c_str(),
                        time / medians.of(c.job + "/" + ours));
        }
    }
}

bool printTargets(HeapMode mode, const Medians& medians) {
    bool allMet = true;
    const auto print = [&](const std::string& what, double value, double limit) {
        const bool met = value <= limit;
        const char* verdict = std::isnan(value) ? "not measured" : met ? "met" : "MISSED";
        std::printf("%-12s %6.3f, at most %6.3f  %s\n", verdict, value, limit, what.c_str());
        allMet = allMet && (met || std::isnan(value));
    };
    const auto ratio = [&](const std::string& job, const std::string& contender) {
        return medians.of(job + "/" + ours) / medians.of(job + "/" + contender);
    };
    const auto growth = [&](const std::string& job, const std::string& smaller, double unitsRatio) {
        return medians.of(job + "/" + ours) / medians.of(smaller + "/" + ours) / unitsRatio;
    };
    if (mode == HeapMode::cold) {
        print("time for 4000x3000 / the floor's", ratio("map 4000x3000", "floor"), 1.25);
        print("peak bytes a pixel for 4000x3000", peakBytesPerPixel(), 17.5);
        return allMet;
    }
    for (const std::string size : {"320x240", "640x480", "1280x960"}) {
        print("time for " + size + " / GSL's", ratio("map " + size, "GSL"), 1 / 2.4);
        print("time for " + size + " / Eigen's", ratio("map " + size, "Eigen"), 1.0);
    }
    print("time a pixel for 1280x960 / for 320x240", growth("map 1280x960", "map 320x240", 16),
          1.25);
    print("time of collocationMatrix / GSL's", ratio("collocationMatrix 1120 sites", "GSL"), 1.5);
    print("time a site for 17920 sites / for 1120",
          growth("collocationMatrix 17920 sites", "collocationMatrix 1120 sites", 16), 1.25);
    return allMet;
}
