/**
 * calibmap-bench [--heap=standard|keeping] [--rounds=N] [--filter=PART]: measures and compares the
 * cases whose names contain PART, and says which promises hold. Our maps of all shapes are measured
 * where PART begins with "shape", and only there.
 * calibmap-bench --once=JOB/CONTENDER: a single run, for a tool that counts instructions.
 */
#include <algorithm>
#include <cstdio>
#include <exception>
#include <iterator>
#include <string>
#include <string_view>

#include "measure.h"

/** What --once runs, under a name that a tool can be told. */
extern "C" [[gnu::noinline]] void measuredRun(const std::function<void()>& run) {
    run();
    touchMemory();  // no tail call: this function ends after the run
}

namespace {

struct Options {
    Heap heap = Heap::standard;
    int rounds = 15;
    std::string filter;
    std::string once;
};

/** Throws where an argument is not one of the above. */
Options parse(int count, char** arguments) {
    Options options;
    for (int i = 1; i < count; ++i) {
        const std::string_view argument = arguments[i];
        const std::size_t middle = argument.find('=');
        const std::string_view name = argument.substr(0, middle);
        const std::string value(middle == std::string_view::npos ? ""
                                                                 : argument.substr(middle + 1));
        if (name == "--heap" && (value == "standard" || value == "keeping")) {
            options.heap = value == "standard" ? Heap::standard : Heap::keeping;
        } else if (name == "--rounds") {
            options.rounds = std::stoi(value);
        } else if (name == "--filter") {
            options.filter = value;
        } else if (name == "--once") {
            options.once = value;
        } else {
            throw std::invalid_argument("no such option: " + std::string(argument));
        }
    }
    return options;
}

std::vector<Case> allCases(const std::string& filter) {
    if (filter.starts_with("shape")) {
        return shapeCases();
    }
    std::vector<Case> cases = mapCases();
    std::ranges::move(toolkitCases(), std::back_inserter(cases));
    return cases;
}

int runOnce(const std::string& name) {
    for (const Case& candidate : allCases(name)) {
        if (candidate.name() == name) {
            const std::function<void()> run = candidate.prepare();
            run();  // binds what is bound lazily
            measuredRun(run);
            std::printf("%s: %.0f %s\n", name.c_str(), candidate.units, candidate.unit.c_str());
            return 0;
        }
    }
    throw std::invalid_argument("no such case: " + name);
}

int runAll(const Options& options) {
    std::vector<Case> cases = allCases(options.filter);
    std::erase_if(cases,
                  [&](const Case& c) { return c.job.find(options.filter) == std::string::npos; });
    if (!checkAll(cases)) {
        return 2;
    }
    const Results results = measure(cases, options.heap, options.rounds);
    printTable(cases, results);
    if (options.filter.starts_with("shape")) {
        return 0;  // there is nobody to compare with
    }
    std::printf("\n");
    return printTargets(results) ? 0 : 1;
}

}  // namespace

int main(int argumentCount, char** argumentList) {
    try {
        const Options options = parse(argumentCount, argumentList);
        return options.once.empty() ? runAll(options) : runOnce(options.once);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "%s\n", failure.what());
        return 2;
    }
}
