/**
 * calibmap-bench [--mode=warm|cold] [Google Benchmark's options]: measures and compares.
 * calibmap-bench --once=JOB/CONTENDER: a single run, for a tool that counts instructions.
 */
#include <malloc.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <iterator>
#include <string_view>

#include "measure.h"

/** What --once runs, under a name that a tool can be told. */
extern "C" [[gnu::noinline]] void measuredRun(const Case& measured) {
    measured.run();
    benchmark::ClobberMemory();  // no tail call: this function ends after the run
}

namespace {

void setHeap(HeapMode mode) {
    if (mode == HeapMode::warm) {
        mallopt(M_MMAP_MAX, 0);
        mallopt(M_TRIM_THRESHOLD, -1);
    } else {
        // A fresh process's threshold. Setting it stops its adaptation, by which the later of many
        // runs would find their memory less cold than the first.
        mallopt(M_MMAP_THRESHOLD, 128 * 1024);
    }
}

std::vector<Case> allCases() {
    std::vector<Case> cases = mapCases();
    std::ranges::move(toolkitCases(), std::back_inserter(cases));
    return cases;
}

int runOnce(std::string_view name) {
    for (const Case& candidate : allCases()) {
        if (candidate.name() == name) {
            candidate.run();  // binds what is bound lazily
            measuredRun(candidate);
            std::printf("%s: %.0f %s\n", candidate.name().c_str(), candidate.units,
                        candidate.unit.c_str());
            return 0;
        }
    }
    std::fprintf(stderr, "no such case\n");
    return 2;
}

int runAll(HeapMode mode, std::vector<char*> arguments) {
    // The repetitions of all cases are interleaved, so that what disturbs the machine meets all
    // contenders alike. Further arguments override these.
    char interleaving[] = "--benchmark_enable_random_interleaving=true";
    char repetitions[] = "--benchmark_repetitions=15";
    char minimum[] = "--benchmark_min_time=0.02";
    arguments.insert(arguments.begin() + 1, {interleaving, repetitions, minimum});
    auto count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) {
        return 2;
    }
    setHeap(mode);
    const std::vector<Case> cases = allCases();
    for (const Case& added : cases) {
        added.check();
#ifndef __clang_analyzer__  // which cannot see that what is registered is kept, not leaked
        benchmark::RegisterBenchmark(added.name().c_str(), [&](benchmark::State& state) {
            for ([[maybe_unused]] auto iteration : state) {
                added.run();
                benchmark::ClobberMemory();
            }
        });
#endif
    }
    std::printf("All contenders agree.\n\n");
    Medians medians;
    benchmark::RunSpecifiedBenchmarks(&medians);
    printTable(cases, medians);
    std::printf("\n");
    return printTargets(mode, medians) ? 0 : 1;
}

}  // namespace

int main(int argumentCount, char** argumentList) {
    constexpr std::string_view once = "--once=";
    std::vector<char*> arguments(argumentList, argumentList + argumentCount);
    HeapMode mode = HeapMode::warm;
    try {
        for (auto argument = arguments.begin(); argument != arguments.end();) {
            const std::string_view text = *argument;
            if (text.starts_with(once)) {
                return runOnce(text.substr(once.size()));
            }
            const bool isMode = text == "--mode=warm" || text == "--mode=cold";
            if (isMode) {
                mode = text == "--mode=cold" ? HeapMode::cold : HeapMode::warm;
            }
            argument = isMode ? arguments.erase(argument) : argument + 1;
        }
        return runAll(mode, std::move(arguments));
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "%s\n", failure.what());
        return 2;
    }
}
