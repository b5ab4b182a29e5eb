/** One thing that is measured, and memory as the contenders get it. */
#pragma once

#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

/** One contender's way to do one job. Cases of the same job are compared with each other. */
struct BenchmarkCase {
    std::string job;
    std::string contender;
    std::string unit;             ///< what the job's cost is divided by: pixel, site, ...
    double units;                 ///< how many of them one run handles
    std::function<void()> run;    ///< the whole job, allocation and release of results included
    std::function<void()> check;  ///< throws where the contenders for the job disagree; may be null
};

/** The contender that all others are compared with. */
inline const std::string ours = "calibmap";

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};

/** Memory as malloc gives it: fresh, and not touched before its user writes it. */
template <typename Value>
using Buffer = std::unique_ptr<Value[], Free>;

template <typename Value>
Buffer<Value> allocate(std::size_t count) {
    return Buffer<Value>(static_cast<Value*>(std::malloc(count * sizeof(Value))));
}

/** Whole maps, against the contenders and the floor. */
std::vector<BenchmarkCase> mapCases();

/** Collocation, products and quotients. */
std::vector<BenchmarkCase> toolkitCases();

/** What one contender took to compute the largest map. */
struct MemoryUse {
    std::string contender;
    double bytesPerPixel;  ///< peak over what the caller's own arrays take
};

/** Peak memory of every contender for the largest map, each in a process of its own. */
std::vector<MemoryUse> mapMemory();
