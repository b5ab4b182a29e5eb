/**
 * calibmap-bench --mode=warm|cold [Google Benchmark's options]
 * calibmap-bench --once=JOB/CONTENDER     one run, for a tool that counts instructions
 */
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <cstdio>
#include <exception>
#include <optional>
#include <string_view>

#include "benchmark_case.h"
#include "report.h"

/** What --once runs, under a name that a tool can be told. */
extern "C" [[gnu::noinline]] void measuredRun(const BenchmarkCase& benchmarkCase) {
    benchmarkCase.run();
    asm volatile("");  // no tail call, which would end this function before the run
}

namespace {

struct Options {
    HeapMode mode = HeapMode::warm;
    std::string once;
};

/** Takes our options out of the command line and leaves Google Benchmark's. */
Options takeOptions(std::vector<char*>& arguments) {
    constexpr std::string_view once = "--once=";
    Options options;
    std::erase_if(arguments, [&](const char* text) {
        const std::string_view argument = text;
        if (argument == "--mode=warm" || argument == "--mode=cold") {
            options.mode = argument == "--mode=warm" ? HeapMode::warm : HeapMode::cold;
            return true;
        }
        if (argument.starts_with(once)) {
            options.once = argument.substr(once.size());
            return true;
        }
        return false;
    });
    return options;
}

void setHeap(HeapMode mode) {
    if (mode == HeapMode::warm) {
        mallopt(M_MMAP_MAX, 0);
        mallopt(M_TRIM_THRESHOLD, -1);
    } else {
        // The threshold of a fresh process. Setting it stops its adaptation to what is freed, by
        // which a later iteration would find less cold memory than the first.
        mallopt(M_MMAP_THRESHOLD, 128 * 1024);
    }
}

std::vector<BenchmarkCase> allCases() {
    std::vector<BenchmarkCase> cases = mapCases();
    for (BenchmarkCase& added : toolkitCases()) {
        cases.push_back(std::move(added));
    }
    return cases;
}

int runOnce(const std::string& name) {
    for (const BenchmarkCase& candidate : allCases()) {
        if (caseName(candidate) == name) {
            measuredRun(candidate);
            std::printf("%s: %.0f %ss\n", name.c_str(), candidate.units, candidate.unit.c_str());
            return 0;
        }
    }
    std::fprintf(stderr, "there is no %s\n", name.c_str());
    return 2;
}

int runAll(HeapMode mode, int argumentCount, char** arguments) {
    benchmark::Initialize(&argumentCount, arguments);
    if (benchmark::ReportUnrecognizedArguments(argumentCount, arguments)) {
        return 2;
    }
    // Before anything else: a child's peak starts at what its parent holds.
    const std::vector<MemoryUse> memory =
        mode == HeapMode::cold ? mapMemory() : std::vector<MemoryUse>();
    const std::vector<BenchmarkCase> cases = allCases();
    for (const BenchmarkCase& added : cases) {
        if (added.check) {
            added.check();
        }
        benchmark::RegisterBenchmark(caseName(added).c_str(), [run = added.run](auto& state) {
            for ([[maybe_unused]] auto iteration : state) {
                run();
                benchmark::ClobberMemory();
            }
        });
    }
    std::printf("all contenders agree\n\n");
    Medians medians(cases);
    benchmark::RunSpecifiedBenchmarks(&medians);
    medians.printTable();
    for (const MemoryUse& use : memory) {
        std::printf("%-36s %-9s %29.2f bytes/pixel\n", "map 4000x3000, peak memory",
                    use.contender.c_str(), use.bytesPerPixel);
    }
    std::printf("\n");
    return printTargets(mode, medians, memory) ? 0 : 1;
}

}  // namespace

int main(int argumentCount, char** argumentList) {
    std::vector<char*> arguments(argumentList, argumentList + argumentCount);
    const Options options = takeOptions(arguments);
    // The repetitions of all cases are interleaved, so that a disturbance of the machine meets all
    // contenders alike. A later argument overrides these.
    char interleaving[] = "--benchmark_enable_random_interleaving=true";
    char repetitions[] = "--benchmark_repetitions=15";
    char minimum[] = "--benchmark_min_time=0.02";
    arguments.insert(arguments.begin() + 1, {interleaving, repetitions, minimum});
    setHeap(options.mode);
    try {
        return options.once.empty()
                   ? runAll(options.mode, static_cast<int>(arguments.size()), arguments.data())
                   : runOnce(options.once);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "%s\n", failure.what());
        return 2;
    }
}
