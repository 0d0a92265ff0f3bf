// Prints the first invariant that fails while it lives, at once, and closes the output: what runs
// from there to the end of its turn is not to be relied upon. Where a supervisor contains what
// fails, prints each and passes it on. Each failure throws Pell::AssertionError.
#pragma once

#include <cstdint>

#include "Pell/Assertion.h"
#include "feeds/scenario/Output.h"
#include "router/repair/Supervisor.h"

namespace Scenario {

// One at a time in each thread.
class AssertionPrinter {
public:
    // Borrows both; `line` is the line of the file that is being carried out.
    AssertionPrinter(Output& output, std::uint64_t const& line);
    ~AssertionPrinter();
    AssertionPrinter(AssertionPrinter const&) = delete;
    AssertionPrinter& operator=(AssertionPrinter const&) = delete;

    // Borrowed; null for none.
    void supervisorIs(Routing::Supervisor* supervisor) { supervisor_ = supervisor; }

    // Whether an invariant failed that nobody contained.
    bool hasFailed() const { return failed_; }

private:
    static void handle(Pell::AssertionFailure const& failure);
    void print(Pell::AssertionFailure const& failure);

    Output& output_;
    std::uint64_t const& line_;
    Routing::Supervisor* supervisor_ = nullptr;
    bool failed_ = false;
    Pell::AssertionHandler const handlerBefore_;
};

}  // namespace Scenario
