// For tests: a supervised router on a clock that the test moves, with a recorder, and what has
// happened to an address as short texts.
#pragma once

#include "Zin/Format.h"
#include "intfaddr/history/HistoryRecorder.h"
#include "router/repair/TestSupervisor.h"

namespace IntfAddr::TestHistory {

struct Bench : Routing::TestSupervisor::Fixture {
    explicit Bench(IpLib::IntfAddrVrfTableSmConfig const& config = {},
                   AddressHistory::Options const& options = {})
        : Fixture(config), recorder(router, supervisor.follower(), options) {}

    // Catches up each time, as the owner does.
    void advance(int seconds) {
        recorder.catchUp();
        for (int second = 0; second < seconds; ++second) {
            Fixture::advance(1);
            recorder.catchUp();
        }
    }

    // "1.5 was published as primary on eth0", oldest first.
    Routing::Texts of(char const* addr, L3::VrfName const& vrf = "red") {
        recorder.catchUp();
        Routing::Texts texts;
        for (auto const& event : recorder.history().of(vrf, Nimb::IpGenAddr(addr)).events) {
            texts.push_back(fmt::format("{} {}", event.at, textOf(event)));
        }
        return texts;
    }

    void handleRepair(Routing::Repair const& repair,
                      std::vector<IpLib::IntfAddrEntryContent> const& added,
                      std::vector<IpLib::IntfAddrEntryContent> const& removed) override {
        recorder.handleRepair(repair, added, removed);
        Fixture::handleRepair(repair, added, removed);
    }

    HistoryRecorder recorder;
};

}  // namespace IntfAddr::TestHistory
