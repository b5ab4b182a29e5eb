#include "measure.h"

#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <exception>
#include <numeric>
#include <random>
#include <stdexcept>

namespace {

double nanoseconds(Clock clock) {
    timespec now = {};
    clock_gettime(clock == Clock::wall ? CLOCK_MONOTONIC : CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

void setHeap(Heap heap) {
    if (heap == Heap::keeping) {
        constexpr int everything = 1 << 30;
        mallopt(M_MMAP_THRESHOLD, everything);
        mallopt(M_MMAP_MAX, 0);  // the threshold has an upper limit
        mallopt(M_TRIM_THRESHOLD, everything);
        mallopt(M_TOP_PAD, 1 << 20);
    }
}

/** Times of single runs after one that pays for what only the first one has to do. */
std::vector<double> timesOf(const Case& measured) {
    constexpr double turn = 30e6;
    constexpr double readableInterval = 50e3;
    constexpr std::size_t fewest = 3;
    const std::function<void()> run = measured.prepare();
    run();
    std::vector<double> times;
    int repetitions = 1;
    for (const double start = nanoseconds(Clock::wall);
         times.size() < fewest || nanoseconds(Clock::wall) - start < turn;) {
        const double before = nanoseconds(measured.clock);
        for (int i = 0; i < repetitions; ++i) {
            run();
            touchMemory();
        }
        const double interval = nanoseconds(measured.clock) - before;
        if (interval < readableInterval && repetitions < 1'000'000) {
            repetitions *= 2;  // too short for the clock
        } else {
            times.push_back(interval / repetitions);
        }
    }
    return times;
}

/** Sends through `channel` what `job` returns, from a process of its own. */
template <typename Job>
void runApart(int channel, const Job& job) {
    int result = 1;
    try {
        const std::vector<double> values = job();
        const auto size = values.size() * sizeof(double);
        result = write(channel, values.data(), size) == static_cast<ssize_t>(size) ? 0 : 1;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "%s\n", failure.what());
    }
    _exit(result);
}

template <typename Job>
std::vector<double> resultApart(const Job& job) {
    int channel[2];
    if (pipe(channel) != 0) {
        throw std::runtime_error("no pipe");
    }
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        runApart(channel[1], job);
    }
    close(channel[1]);
    std::vector<double> values;
    double value = 0.0;
    while (read(channel[0], &value, sizeof value) == sizeof value) {
        values.push_back(value);
    }
    close(channel[0]);
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child || status != 0) {
        throw std::runtime_error("a case has failed");
    }
    return values;
}

}  // namespace

void Results::add(const Case& measured, const std::vector<double>& times) {
    std::vector<double>& all = times_[measured.name()];
    all.insert(all.end(), times.begin(), times.end());
}

double Results::minimum(const std::string& caseName) const {
    const auto found = times_.find(caseName);
    return found == times_.end() ? NAN : *std::ranges::min_element(found->second);
}

double Results::median(const std::string& caseName) const {
    const auto found = times_.find(caseName);
    if (found == times_.end()) {
        return NAN;
    }
    std::vector<double> times = found->second;
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::ranges::nth_element(times, middle);
    return *middle;
}

Results measure(const std::vector<Case>& cases, Heap heap, int rounds) {
    std::vector<std::size_t> order(cases.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::minstd_rand chance(1);
    Results results;
    for (int round = 0; round < rounds; ++round) {
        std::ranges::shuffle(order, chance);
        for (const std::size_t i : order) {
            results.add(cases[i], resultApart([&] {
                            setHeap(heap);
                            return timesOf(cases[i]);
                        }));
        }
    }
    return results;
}

bool checkAll(const std::vector<Case>& cases) {
    bool allAgree = true;
    for (const Case& each : cases) {
        try {
            resultApart([&] {
                each.check();
                return std::vector<double>();
            });
        } catch (const std::exception&) {
            std::fprintf(stderr, "%s: wrong\n", each.name().c_str());
            allAgree = false;
        }
    }
    return allAgree;
}

double valueApart(const std::function<double()>& job) {
    return resultApart([&] { return std::vector<double>{job()}; }).front();
}
