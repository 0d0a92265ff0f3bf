// The last operations on a router, behind the state that they start from: what led to a failure, as
// a list of operations that makes it again.
//
//   in     each operation, right before it takes effect, and whether tasks may have run since the
//          one before
//   out    recordings
//
// Bounded: when as many operations as `bound`, or as the state takes if that is more, have followed
// the state, a new state is written down, as a rebuild would publish it. The operations before it
// are kept until that happens again, so that something has always led there. A state holds what
// stands and what waits, by whom it was there first; of clean-ups that are pending it knows
// nothing.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "router/Router.h"
#include "router/repair/RecordedOperation.h"

namespace Routing {

// Cheap to copy: what is recorded is shared.
class Recording {
public:
    // Of operations on a router that is empty, and whose manager runs.
    std::size_t size() const;
    // Stays until something else is recorded.
    RecordedOperation const& operator[](std::size_t index) const;

private:
    friend class OperationHistory;
    using Operations = std::vector<RecordedOperation>;

    struct Generation {
        Operations state{};
        Operations operations{};
    };

    std::shared_ptr<Generation const> older_;  // null where the newer one is the first
    std::shared_ptr<Generation const> newer_;  // null where nothing is recorded
    std::size_t newerOperations_ = 0;
};

class OperationHistory {
public:
    // Borrows the router, which is empty yet.
    OperationHistory(Router const& router, std::size_t bound);

    // Tasks have run since the last operation; also where no time has passed.
    void tasksRan() { tasksRan_ = true; }
    void record(Operation const& operation);

    // What led to the present; stays as it is while more is recorded.
    Recording recording() const;

private:
    void writeState();

    Router const& router_;
    std::size_t const bound_;
    bool tasksRan_ = false;
    Zin::Seconds lastAt_ = 0.0;
    std::shared_ptr<Recording::Generation> older_;
    std::shared_ptr<Recording::Generation> newer_;
};

// The operations that make what is there of the router, by its succession.
std::vector<Operation> operationsOf(Router const& router);

}  // namespace Routing
