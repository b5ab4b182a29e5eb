/** What a run of the benchmarks says: medians, ratios to the library, and what they must show. */
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

#include "benchmark_case.h"

/** Memory as a process finds it. */
enum class HeapMode {
    warm,  ///< the heap keeps what was freed, as in a process that has computed a map before
    cold   ///< large blocks come fresh from the kernel, page by page, as for a first map
};

/** Gathers what Google Benchmark measures, case by case. Times are nanoseconds of one run. */
class Medians : public benchmark::BenchmarkReporter {
  public:
    explicit Medians(const std::vector<BenchmarkCase>& cases) : cases_(cases) {}

    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override;

    /** Prints every job with its contenders. */
    void printTable() const;

    /** The median of one contender for one job; NaN where it was not measured. */
    [[nodiscard]] double median(const std::string& job, const std::string& contender) const;
    /** The same for each of the job's units. */
    [[nodiscard]] double perUnit(const std::string& job, const std::string& contender) const;

  private:
    const std::vector<BenchmarkCase>& cases_;
    std::map<std::string, double> medians_;
};

/** The name under which Google Benchmark knows a case. */
std::string caseName(const BenchmarkCase& benchmarkCase);

/** Prints which of the library's promises hold; true when none of the measured ones is broken. */
bool printTargets(HeapMode mode, const Medians& medians, const std::vector<MemoryUse>& memory);
