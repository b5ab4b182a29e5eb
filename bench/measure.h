/** What is measured, how a process gets its memory meanwhile, and what came out. */
#pragma once

#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

/** The contender that all others are compared with. */
inline const std::string ours = "calibmap";

enum class Clock {
    processor,  ///< what the one thread of a case uses
    wall        ///< for a case that uses threads of its own
};

/** One contender's way to do one job. */
struct Case {
    std::string job;
    std::string contender;
    std::string unit;  ///< what the job's cost is divided by: pixel, site, ...
    double units;      ///< how many of them one run handles
    /** Allocates what belongs to the caller of the job and returns what does the job once. */
    std::function<std::function<void()>()> prepare;
    std::function<void()> check;  ///< throws where the result is wrong or not the library's
    Clock clock = Clock::processor;

    [[nodiscard]] std::string name() const { return job + "/" + contender; }
};

/** Whole maps, against the contenders and the floor. */
std::vector<Case> mapCases();

/**
 * Our maps of every shape, from an ordinary lens and from a file whose coefficients are infinite,
 * NaN and denormal, so that no zero is skipped.
 */
std::vector<Case> shapeCases();

/** Collocation, products and quotients. */
std::vector<Case> toolkitCases();

/** Our peak memory for the map of 4000x3000 beside the caller's own arrays, in a fresh process. */
double peakBytesPerPixel();

/** Throws unless all elements agree within the tolerance; a NaN agrees with nothing. */
template <typename Value>
void requireEqual(const std::string& job, const double* expected, const Value* actual,
                  std::size_t count, double tolerance) {
    for (std::size_t i = 0; i < count; ++i) {
        const double difference = expected[i] - static_cast<double>(actual[i]);
        if (!(difference <= tolerance && difference >= -tolerance)) {
            throw std::runtime_error(job + ": the results differ in element " + std::to_string(i));
        }
    }
}

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

/** Keeps the compiler from leaving out what writes memory that nobody reads. */
inline void touchMemory() {
    asm volatile("" : : : "memory");
}

/** How the heap treats what a run has released. */
enum class Heap {
    standard,  ///< as the C library does by itself
    keeping    ///< nothing goes back to the kernel
};

/** Times of single runs, in nanoseconds. */
class Results {
  public:
    void add(const Case& measured, const std::vector<double>& times);

    /** Of all runs; NaN for a case that was not measured, here and below. */
    [[nodiscard]] double minimum(const std::string& caseName) const;
    [[nodiscard]] double median(const std::string& caseName) const;

  private:
    std::map<std::string, std::vector<double>> times_;
};

/**
 * Measures all cases by turns, in another order in every round, so that what disturbs the machine
 * meets all contenders alike. Each turn is a process of its own, so no case finds a heap that
 * another one has left.
 */
Results measure(const std::vector<Case>& cases, Heap heap, int rounds);

/** What `job` returns in a process of its own. */
double valueApart(const std::function<double()>& job);

/** Runs the check of each case; false where one has failed, which is reported. */
bool checkAll(const std::vector<Case>& cases);

/** Prints every measured case, each with its ratio to ours. */
void printTable(const std::vector<Case>& cases, const Results& results);

/** Prints which of the library's promises hold; true when no measured one is broken. */
bool printTargets(const Results& results);
