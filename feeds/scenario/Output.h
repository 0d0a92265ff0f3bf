// What a run prints: one line of JSON each, with the time of the scenario's clock.
#pragma once

#include <ostream>
#include <string_view>
#include <utility>

#include "Zin/Clock.h"
#include "Zin/Ptr.h"
#include "feeds/scenario/Json.h"

namespace Scenario {

class Output {
public:
    Output(std::ostream& out, Zin::Ptr<Zin::Clock const> clock)
        : out_(out), clock_(std::move(clock)) {}

    // {"t": TIME, MEMBER: CONTENT}
    void print(std::string_view member, OrderedJson content);

    // Nothing is printed from now on.
    void close() { closed_ = true; }

private:
    std::ostream& out_;
    Zin::Ptr<Zin::Clock const> const clock_;
    bool closed_ = false;
};

}  // namespace Scenario
