#include "intfaddr/rehearsal/Rehearsal.h"

#include <algorithm>
#include <utility>

#include "Zin/Format.h"
#include "router/EffectOf.h"

namespace IntfAddr {

namespace {

// An audit finds what is wrong, and has it mended once it has stayed so.
constexpr Zin::Seconds untilAudited = 5.0;

}  // namespace

Rehearsal::Rehearsal(std::string_view state) {
    Scenario::forEachLine(state, [this](std::string_view line) { read(line); });
    began_ = replayer_.now();
    replayer_.originIs(began_);
    saidBefore_ = said_.view().size();
    notifierIs(replayer_.run().supervisor()->follower());
}

Rehearsal::~Rehearsal() = default;

void Rehearsal::read(std::string_view line) {
    try {
        replayer_.handleLine(0, Scenario::readObject(line));
    } catch (Scenario::LineError const&) {
        ++leftOut_;
    }
}

void Rehearsal::handleLine(std::uint64_t number, Scenario::Json object) {
    replayer_.handleLine(number, std::move(object));
}

void Rehearsal::apply(Routing::Operation const& operation) {
    auto& run = replayer_.run();
    run.carryOut(run.line(), std::nullopt,
                 [&] { return Routing::effectOf(run.router(), operation); });
}

void Rehearsal::goOn(Zin::Seconds duration) {
    replayer_.run().advanceTo(replayer_.now() + duration);
}

void Rehearsal::goOnToTheEnd() {
    auto const& config = router().config();
    goOn(config.intfCleanupDelay + 2 * config.deferredIntfAddDelay + untilAudited);
}

std::vector<std::string> Rehearsal::remarks() const {
    std::vector<std::string> remarks;
    if (leftOut_ > 0) {
        remarks.push_back(fmt::format("{} lines of the state made no sense", leftOut_));
    }
    std::istringstream lines(said_.str().substr(saidBefore_));
    for (std::string line; std::getline(lines, line);) {
        auto const said = Scenario::Json::parse(line);
        auto const after = fmt::format("after {:.1f} s", said["t"].get<double>() - began_);
        if (said.contains("healed")) {
            remarks.push_back(fmt::format("{} the table of VRF '{}' would be rebuilt: {}", after,
                                          said["healed"]["vrf"].get<std::string>(),
                                          said["healed"]["why"].get<std::string>()));
        } else if (said.contains("error")) {
            remarks.push_back(fmt::format("{} the library would refuse that: {}", after,
                                          said["error"]["message"].get<std::string>()));
        } else if (said.contains("assert")) {
            remarks.push_back(fmt::format("{} an invariant would fail: {}", after,
                                          said["assert"]["message"].get<std::string>()));
        }
    }
    return remarks;
}

void Rehearsal::handleRow(L3::VrfName const& vrf, IpLib::IntfAddrEntryContent const& row,
                          bool present) {
    changes_.push_back({replayer_.now() - began_, vrf, present, row});
}

}  // namespace IntfAddr
