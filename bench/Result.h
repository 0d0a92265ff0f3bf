// What a benchmark has measured, as a line of JSON on the standard output: scripts/bench makes its
// table of these. And how it is measured: in the CPU time of the thread, by medians.
//
// `ours` and `floor` are in `unit`, each of what was done or held once. `aim` is how many times the
// floor this project may be at most, `limit` what it may be whatever the floor is. What is nan is
// left out.
#pragma once

#include <time.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string_view>
#include <vector>

#include "Zin/Format.h"

namespace Bench {

inline constexpr double none = std::numeric_limits<double>::quiet_NaN();

struct Result {
    std::string_view work;
    std::size_t size;
    std::string_view unit;
    double ours;
    double floor = none;
    double aim = none;
    double limit = none;
};

inline void print(Result const& result) {
    fmt::print(R"({{"work": "{}", "size": {}, "unit": "{}", "ours": {:.3f})", result.work,
               result.size, result.unit, result.ours);
    auto const number = [](char const* name, double value) {
        if (!std::isnan(value)) {
            fmt::print(R"(, "{}": {:.3f})", name, value);
        }
    };
    number("floor", result.floor);
    number("aim", result.aim);
    number("limit", result.limit);
    fmt::print("}}\n");
    std::fflush(stdout);
}

// Ends the program where what was done is not what was to be done.
inline void check(std::string_view what, std::size_t is, std::size_t expected) {
    if (is != expected) {
        fmt::print(stderr, "{}: {} where {} are expected\n", what, is, expected);
        std::exit(EXIT_FAILURE);
    }
}

// Of this thread alone: what else the machine does counts only where it takes our caches.
inline double cpuSeconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

template <class Work>
double secondsOf(Work&& work) {
    double const start = cpuSeconds();
    work();
    return cpuSeconds() - start;
}

inline double median(std::vector<double> samples) {
    auto const middle = samples.begin() + static_cast<std::ptrdiff_t>(samples.size() / 2);
    std::nth_element(samples.begin(), middle, samples.end());
    return *middle;
}

// What was measured of ours and of the floor in turn; in ns for each of `count`.
class Samples {
public:
    explicit Samples(std::size_t count) : count_(static_cast<double>(count)) {}
    template <class Work>
    void ours(Work&& work) {
        ours_.push_back(secondsOf(work));
    }
    template <class Work>
    void floor(Work&& work) {
        floor_.push_back(secondsOf(work));
    }
    void print(std::string_view work, std::size_t size, double aim) const {
        Bench::print({.work = work,
                      .size = size,
                      .unit = "ns",
                      .ours = median(ours_) * 1e9 / count_,
                      .floor = median(floor_) * 1e9 / count_,
                      .aim = aim});
    }

private:
    double const count_;
    std::vector<double> ours_;
    std::vector<double> floor_;
};

}  // namespace Bench
