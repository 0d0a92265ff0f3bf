// What it costs to arm a task that was not armed, with 10,000 others armed, beside a
// std::priority_queue that takes the same deadlines.
//
//   bench_scheduler [--smallest]
//
// Prints a line of JSON (Result.h).
#include <algorithm>
#include <cstdint>
#include <memory>
#include <queue>
#include <random>
#include <string_view>
#include <tuple>
#include <vector>

#include "Result.h"
#include "Velk/TimerTask.h"
#include "Zin/Format.h"

namespace {

constexpr std::uint32_t armed = 10'000;
constexpr std::uint32_t fresh = 1'000;

// What has to be known to run the first one, in order of arming where two are due at one time.
struct Due {
    Zin::Seconds expiry;
    std::uint64_t arming;
    Velk::TimerTask* task;

    friend bool operator<(Due const& a, Due const& b) {
        return std::tie(b.expiry, b.arming) < std::tie(a.expiry, a.arming);
    }
};

}  // namespace

int main(int argc, char** argv) {
    bool const smallest = argc == 2 && std::string_view(argv[1]) == "--smallest";
    if (argc > 1 && !smallest) {
        fmt::print(stderr, "usage: bench_scheduler [--smallest]\n");
        return 2;
    }
    auto const clock = Zin::make<Zin::VirtualClock>();
    auto const scheduler = Velk::taskSchedulerFactory(clock, std::make_unique<Velk::EveryNth>(0));
    std::mt19937 random(2018);
    std::uniform_real_distribution<Zin::Seconds> delays(0.001, 1000.0);
    std::vector<Zin::Ptr<Velk::TimerTask>> tasks;
    std::vector<Zin::Seconds> delay;
    std::vector<Due> others;
    for (std::uint32_t number = 0; number < armed + fresh; ++number) {
        tasks.push_back(Zin::make<Velk::TimerTask>(scheduler, Velk::TaskPriority(3), "bench"));
        delay.push_back(delays(random));
        if (number < armed) {
            tasks.back()->scheduleTaskDelay(delay.back());
            others.push_back({delay.back(), number, tasks.back().get()});
        }
    }

    Bench::Samples samples(fresh);
    for (int repetition = 0; repetition < (smallest ? 1 : 101); ++repetition) {
        std::priority_queue<Due> queue({}, others);
        samples.ours([&] {
            for (std::uint32_t number = armed; number < armed + fresh; ++number) {
                tasks[number]->scheduleTaskLowestDelay(delay[number]);
            }
        });
        samples.floor([&] {
            for (std::uint32_t number = armed; number < armed + fresh; ++number) {
                queue.push({delay[number], number, tasks[number].get()});
            }
        });
        Bench::check("tasks in the queue", queue.size(), armed + fresh);
        Bench::check("that both run first the same", scheduler->nextExpiry() == queue.top().expiry,
                     true);
        for (std::uint32_t number = armed; number < armed + fresh; ++number) {
            Bench::check("that a task is armed", tasks[number]->taskScheduled(), true);
            tasks[number]->unschedule();
        }
    }
    samples.print("arming a task, lowest delay", armed, 2);
    return EXIT_SUCCESS;
}
