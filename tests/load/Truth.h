// Says what may have been answered about one row, by the changes of it that were asked for.
//
//   in     the changes, one after the other: when each was asked for, when that was answered, and
//          whether the row is there then
//   out    for a question and its answer: whether the row may be told there, or not there
//
// A change happens at some moment between its request and its answer, and an answer tells the table
// as it was at some moment between question and answer. So allowed is what the last change left
// that was over before the question, and what each change left that went on at the same time.
// All times are of one monotonic clock. At first the row is not there.
#pragma once

#include <chrono>
#include <vector>

namespace Load {

using Clock = std::chrono::steady_clock;
using Time = Clock::time_point;

// Of a request and its answer. Where the answer never came, it ends with Time::max().
struct Interval {
    Time began;
    Time ended;
};

class Truth {
public:
    struct Allowed {
        bool there = false;
        bool notThere = false;

        bool allows(bool isThere) const { return isThere ? there : notThere; }
        bool operator==(Allowed const&) const = default;
    };

    // None begins before the one before it has ended.
    void add(Interval const& interval, bool isThere);
    Allowed during(Interval const& question) const;

private:
    struct Change {
        Interval interval;
        bool isThere;
    };

    std::vector<Change> changes_;
};

}  // namespace Load
