// An observer of a fixture's table that does one thing, once, from within the first notification
// that it waits for.
//
//     Meddler const meddler(fixture, "FromAddr", [&] { fixture.ip("Ethernet1", ""); });
#pragma once

#include <functional>
#include <string>
#include <utility>

#include "IpLib/IntfAddrVrfTableSm/TestSmFixture.h"

namespace TestKit {

class Meddler final : public IpLib::IntfAddrVrfTable::Notifiee {
public:
    // `when`: a part of the notification as the fixture's recorder writes it; "" is part of any.
    Meddler(SmFixture const& fixture, std::string when, std::function<void()> act)
        : fixture_(fixture), when_(std::move(when)), act_(std::move(act)) {
        notifierIs(fixture.table);
    }
    bool done() const { return !act_; }

private:
    void handleIntfAddrEntry(IpLib::IntfAddrEntryContent const&) override { meddle(); }
    void handleIntfAddrEntryFromAddr(IpLib::IntfAddrEntryKey const&) override { meddle(); }
    void handleIntfAddrEntrySetFromSubnet(Nimb::IpGenPrefix const&) override { meddle(); }
    void handleLlIntfAddrEntryFromIntfId(Nimb::IntfId const&) override { meddle(); }
    // The recorder, which is older, has just written the notification down.
    void meddle() {
        if (act_ && fixture_.events.back().find(when_) != std::string::npos) {
            std::exchange(act_, nullptr)();
        }
    }

    SmFixture const& fixture_;
    std::string const when_;
    std::function<void()> act_;
};

}  // namespace TestKit
