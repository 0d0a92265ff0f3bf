// A scenario, carried out by a run that repairs its tables, and judged once nothing has changed for
// long.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Book.h"
#include "Faults.h"
#include "RandomScenario.h"

namespace Healing {

// How long nothing has to change before the tables are judged.
Zin::Seconds timeToSettle(Scenario::Config const& config);

// Carries out what the book accepts, and enters it there.
void carryOut(std::vector<Operation> const& operations, Scenario::Run& run, Book& book);

enum class Repair { on, off };

struct Trial {
    std::vector<Fault> faults{};  // in the end
    std::uint64_t repairs = 0;
};

Trial tried(RandomScenario const& scenario, Repair repair = Repair::on);

// The scenario with as few operations, and as few times of theirs, as still leave something of that
// kind wrong.
RandomScenario shrunk(RandomScenario scenario, std::string_view kind);

// The lines of a scenario file, those alone that make sense, with the time to settle and a look at
// the tables behind them.
std::string toLines(RandomScenario const& scenario);

}  // namespace Healing
