#include "Trial.h"

#include <algorithm>
#include <exception>

#include "Machine.h"

namespace Simulated {

std::vector<Fault> tried(History const& history) {
    Faults faults;
    try {
        Machine machine(history, faults);
        for (Step const& step : history.steps) {
            machine.carryOut(step);
        }
        machine.end();
    } catch (std::exception const& error) {
        faults.add("thrown", "{}", error.what());
    }
    return faults.all();
}

History shrunk(History history, std::string_view kind) {
    auto const isStillWrong = [kind](History const& fewer) {
        return std::ranges::any_of(tried(fewer),
                                   [kind](Fault const& fault) { return fault.kind == kind; });
    };
    for (auto size = history.steps.size() + 1; history.steps.size() < size;) {
        size = history.steps.size();
        for (auto i = size; i-- > 0;) {
            History fewer = history;
            fewer.steps.erase(fewer.steps.begin() + static_cast<std::ptrdiff_t>(i));
            if (isStillWrong(fewer)) {
                history = std::move(fewer);
            }
        }
    }
    return history;
}

}  // namespace Simulated
