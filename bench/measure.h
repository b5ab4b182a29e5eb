/** What is measured, how the contenders get memory, and what a run of the benchmarks says. */
#pragma once

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

/** The contender that all others are compared with. */
inline const std::string ours = "calibmap";

/** One contender's way to do one job. */
struct Case {
    std::string job;
    std::string contender;
    std::string unit;             ///< what the job's cost is divided by: pixel, site, ...
    double units;                 ///< how many of them one run handles
    std::function<void()> run;    ///< the whole job, allocation and release of results included
    std::function<void()> check;  ///< throws where the result is wrong or not the library's

    [[nodiscard]] std::string name() const { return job + "/" + contender; }
};

/** Whole maps, against the contenders and the floor. */
std::vector<Case> mapCases();

/** Collocation, products and quotients. */
std::vector<Case> toolkitCases();

/** Our peak memory for the map of 4000x3000 over the caller's own arrays, in a fresh process. */
double peakBytesPerPixel();

/** Throws unless all elements agree within the tolerance; a NaN agrees with nothing. */
void requireEqual(const std::string& job, const double* expected, const double* actual,
                  std::size_t count, double tolerance);

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};

/** Memory as malloc gives it: not touched before its user writes it. */
template <typename Value>
using Buffer = std::unique_ptr<Value[], Free>;

template <typename Value>
Buffer<Value> allocate(std::size_t count) {
    return Buffer<Value>(static_cast<Value*>(std::malloc(count * sizeof(Value))));
}

/** How a process finds its heap. */
enum class HeapMode {
    warm,  ///< the heap keeps what was freed, as in a process that has computed a map before
    cold   ///< large blocks come fresh from the kernel, page by page, as for a first map
};

/** Median times as Google Benchmark reports them, in nanoseconds of one run. */
class Medians : public benchmark::BenchmarkReporter {
  public:
    bool ReportContext(const Context& /*context*/) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override;

    /** NaN for a case that was not measured. */
    [[nodiscard]] double of(const std::string& caseName) const;

  private:
    std::map<std::string, double> medians_;
};

/** Prints every measured case, each with its ratio to ours. */
void printTable(const std::vector<Case>& cases, const Medians& medians);

/** Prints which of the library's promises hold; true when no measured one is broken. */
bool printTargets(HeapMode mode, const Medians& medians);
