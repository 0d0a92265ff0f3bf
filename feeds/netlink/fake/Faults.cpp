#include "feeds/netlink/fake/Faults.h"

#include <cerrno>
#include <initializer_list>

namespace Netlink::Fake {

FaultPlan FaultPlan::all(std::uint64_t seed, double chance) {
    FaultPlan plan{.seed = seed};
    plan.chance.fill(chance);
    return plan;
}

void Faults::next(Fault fault, int error, std::size_t times) {
    auto& ordered = ordered_[static_cast<std::size_t>(fault)];
    ordered.insert(ordered.end(), times, error);
}

void Faults::follow(FaultPlan const& plan) {
    plan_ = plan;
    random_.seed(plan.seed);
}

void Faults::end() {
    plan_.chance.fill(0);
    for (auto& ordered : ordered_) {
        ordered.clear();
    }
}

std::optional<int> Faults::strikes(Fault fault) {
    if (auto& ordered = ordered_[static_cast<std::size_t>(fault)]; !ordered.empty()) {
        int const error = ordered.front();
        ordered.pop_front();
        return error != 0 ? error : anyError(fault);
    }
    double const chance = plan_.chance[static_cast<std::size_t>(fault)];
    if (chance <= 0 || any(1U << 20) >= chance * (1U << 20)) {
        return std::nullopt;
    }
    return anyError(fault);
}

double Faults::delay() { return plan_.longestDelay * any(1000) / 1000; }

// The standard's distributions are another in each library, and a seed tells of one history.
std::uint32_t Faults::any(std::uint32_t limit) {
    return static_cast<std::uint32_t>(random_() % limit);
}

int Faults::anyError(Fault fault) {
    auto const oneOf = [this](std::initializer_list<int> errors) {
        return errors.begin()[any(static_cast<std::uint32_t>(errors.size()))];
    };
    switch (fault) {
        case Fault::refuseDump:
            return oneOf({EPERM, ENOMEM, ENOBUFS, EBUSY});
        case Fault::failDump:
            return oneOf({ENOMEM, EMSGSIZE, EINTR});
        case Fault::failListing:
            return oneOf({EMFILE, ENFILE, EPERM, EACCES});
        case Fault::failOpening:
            return oneOf({EMFILE, ENFILE, EPERM, ENOENT, ENOMEM});
        case Fault::failSending:
            return oneOf({ENOBUFS, EAGAIN, ENOMEM});
        default:
            return 1;
    }
}

}  // namespace Netlink::Fake
