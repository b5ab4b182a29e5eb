#include "report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

std::string caseName(const BenchmarkCase& benchmarkCase) {
    return benchmarkCase.job + "/" + benchmarkCase.contender;
}

void Medians::ReportRuns(const std::vector<Run>& runs) {
    for (const Run& run : runs) {
        if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median") {
            medians_[run.run_name.function_name] =
                run.GetAdjustedCPUTime() / benchmark::GetTimeUnitMultiplier(run.time_unit) * 1e9;
        }
    }
}

double Medians::median(const std::string& job, const std::string& contender) const {
    const auto found = medians_.find(job + "/" + contender);
    return found == medians_.end() ? NAN : found->second;
}

double Medians::perUnit(const std::string& job, const std::string& contender) const {
    for (const BenchmarkCase& candidate : cases_) {
        if (candidate.job == job && candidate.contender == contender) {
            return median(job, contender) / candidate.units;
        }
    }
    return NAN;
}

void Medians::printTable() const {
    std::printf("%-36s %-9s %12s %16s %10s\n", "", "", "median us", "ns each", "/ ours");
    std::string previous;
    for (const BenchmarkCase& c : cases_) {
        const double time = median(c.job, c.contender);
        if (std::isnan(time)) {
            continue;
        }
        std::printf("%-36s %-9s %12.1f %9.3f %-7s %9.2f\n", c.job == previous ? "" : c.job.c_str(),
                    c.contender.c_str(), time / 1e3, time / c.units, c.unit.c_str(),
                    time / median(c.job, ours));
        previous = c.job;
    }
}

namespace {

struct Target {
    std::string what;
    double value;
    double atMost;
};

bool print(const Target& target) {
    const bool met = target.value <= target.atMost;
    const char* verdict = std::isnan(target.value) ? "not measured" : met ? "met" : "MISSED";
    std::printf("%-12s %7.3f, at most %6.3f  %s\n", verdict, target.value, target.atMost,
                target.what.c_str());
    return met || std::isnan(target.value);
}

}  // namespace

bool printTargets(HeapMode mode, const Medians& medians, const std::vector<MemoryUse>& memory) {
    std::vector<Target> targets;
    const auto ratio = [&](const std::string& job, const std::string& contender) {
        return medians.median(job, ours) / medians.median(job, contender);
    };
    if (mode == HeapMode::warm) {
        for (const char* map : {"map 320x240", "map 640x480", "map 1280x960"}) {
            targets.push_back({std::string(map) + ", time of GSL's", ratio(map, "GSL"), 1 / 2.4});
            targets.push_back({std::string(map) + ", time of Eigen's", ratio(map, "Eigen"), 1.0});
        }
        targets.push_back(
            {"cost per pixel at 1280x960 of that at 320x240",
             medians.perUnit("map 1280x960", ours) / medians.perUnit("map 320x240", ours), 1.25});
        const std::string sites = "collocationMatrix 1120 sites";
        targets.push_back({sites + ", time of GSL's", ratio(sites, "GSL"), 1.5});
        targets.push_back(
            {"cost per site at 17920 sites of that at 1120",
             medians.perUnit("collocationMatrix 17920 sites", ours) / medians.perUnit(sites, ours),
             1.25});
    } else {
        targets.push_back(
            {"map 4000x3000, time of the floor's", ratio("map 4000x3000", "floor"), 1.25});
    }
    for (const MemoryUse& use : memory) {
        if (use.contender == ours) {
            targets.push_back({"map 4000x3000, peak bytes a pixel over the caller's arrays",
                               use.bytesPerPixel, 17.5});
        }
    }
    bool allMet = true;
    for (const Target& target : targets) {
        allMet = print(target) && allMet;
    }
    return allMet;
}
