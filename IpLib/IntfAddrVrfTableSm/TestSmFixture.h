// For the tests of the machines of one VRF: published status, kernel directory, virtual time, table
// and machine, wired together; short ways to publish; and what came of it as short sorted texts.
//
//     SmFixture fixture;
//     fixture.ip("Ethernet1", "10.0.0.1/24");
//     EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
//
// An interface is in the kernel's directory from its first mention, unless it was taken out of it.
// A failed assertion throws.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "IpLib/IntfAddrVrfTableTestKit/TableRecorder.h"
#include "Pell/Assertion.h"
#include "TestKit/TraceRecorder.h"
#include "TestKit/VirtualTime.h"
#include "Tremlog/Ring.h"
#include "Zin/Format.h"

namespace TestKit {

using Texts = std::vector<std::string>;

class SmFixture {
public:
    using Config = IpLib::IntfAddrVrfTableSmConfig;

    // Within one run of a task every `yieldEvery`-th question whether to yield is answered yes.
    explicit SmFixture(Config const& smConfig = {}, std::uint32_t yieldEvery = 0)
        : config(smConfig), time(yieldEvery) {
        Tremlog::clear();
        table->vrfIpIntfStatusIs(vrfIp);
        table->vrfIp6IntfStatusIs(vrfIp6);
        smIs();
        clear();
    }

    // The machine. The fixture makes one; this one takes its place.
    void smIs() {
        sm = IpLib::intfAddrVrfTableSmFactory("blue", Nimb::NamespaceName("ns-blue"), config,
                                              time.scheduler(), virtualIp, virtualIp6, kernel,
                                              table);
    }
    void smDel() { sm = nullptr; }

    // The IPv4 status of an interface, published when it is first asked for.
    Zin::Ptr<Ip::IpIntfStatus> ipStatus(Nimb::IntfId const& intfId) {
        mention(intfId);
        if (!vrfIp->ipIntfStatusHas(intfId)) {
            vrfIp->ipIntfStatusIs(Ip::ipIntfStatusFactory(intfId));
        }
        return vrfIp->ipIntfStatus(intfId);
    }
    void ipStatusDel(Nimb::IntfId const& intfId) { vrfIp->ipIntfStatusDel(intfId); }
    // The primary address; "" for none.
    void ip(Nimb::IntfId const& intfId, std::string_view addr) {
        ipStatus(intfId)->activeAddrWithMaskIs(addr.empty() ? Nimb::IpAddrWithMask()
                                                            : Nimb::IpAddrWithMask(addr));
    }
    void secondary(Nimb::IntfId const& intfId, std::string_view addr) {
        ipStatus(intfId)->secondaryActiveAddrWithMaskIs(Nimb::IpAddrWithMask(addr));
    }
    void secondaryDel(Nimb::IntfId const& intfId, std::string_view addr) {
        ipStatus(intfId)->secondaryActiveAddrWithMaskDel(Nimb::IpAddrWithMask(addr));
    }
    // The interface whose address this one borrows; "" for none.
    void unnumbered(Nimb::IntfId const& intfId, Nimb::IntfId const& source) {
        ipStatus(intfId)->unnumberedIntfIdIs(source);
    }

    // The same of IPv6.
    Zin::Ptr<Ip6::IntfStatus> ip6Status(Nimb::IntfId const& intfId) {
        mention(intfId);
        if (!vrfIp6->intfStatusHas(intfId)) {
            vrfIp6->intfStatusIs(Ip6::intfStatusFactory(intfId));
        }
        return vrfIp6->intfStatus(intfId);
    }
    void ip6StatusDel(Nimb::IntfId const& intfId) { vrfIp6->intfStatusDel(intfId); }
    void ip6(Nimb::IntfId const& intfId, std::string_view addr, bool deprecated = false) {
        ip6Status(intfId)->addrIs(Nimb::Ip6AddrWithMask(addr), {.deprecated = deprecated});
    }
    void ip6Del(Nimb::IntfId const& intfId, std::string_view addr) {
        ip6Status(intfId)->addrDel(Nimb::Ip6AddrWithMask(addr));
    }

    // The kernel's view. An interface that was taken out stays out until it is put in again.
    void kernelIs(Nimb::IntfId const& intfId) {
        mention(intfId);
        kernel->deviceIntfStatusIs(Interface::deviceIntfStatusFactory(
            intfId, std::string(intfId.name()), 1, Interface::OperStatus::up, true));
    }
    void kernelDel(Nimb::IntfId const& intfId) {
        mention(intfId);
        kernel->deviceIntfStatusDel(intfId);
    }

    // The table. "10.0.0.1/24 Ethernet1" for a row and for its entry of the by-address index;
    // "10.0.0.0/24 Ethernet1 10.0.0.1 10.0.0.2" for a set, deprecated rows in brackets;
    // "fe80::1/64 Ethernet1" for a link-local row.
    Texts rows() const {
        return sorted(table->intfAddrEntry(), [](auto const& row) { return text(*row.value); });
    }
    Texts rowsByAddr() const {
        return sorted(table->intfAddrEntryFromAddr(),
                      [](auto const& row) { return text(*row.value); });
    }
    Texts sets() const {
        return sorted(table->intfAddrEntrySetFromSubnet(), [](auto const& member) {
            std::string set = fmt::format("{} {}", member.key, member.value->intfId());
            for (auto const& row : member.value->intfAddrEntry()) {
                set += fmt::format(" {}", row.key.addr);
            }
            for (auto const& row : member.value->deprecatedIntfAddrEntry()) {
                set += fmt::format(" ({})", row.key.addr);
            }
            return set;
        });
    }
    Texts linkLocals() const {
        return sorted(table->llIntfAddrEntryFromIntfId(),
                      [](auto const& row) { return text(*row.value); });
    }

    // What the interfaces' machines have published ("10.0.0.1/24 Ethernet1", " deprecated" behind),
    // and which of it waits.
    Texts published() const {
        return sorted(sm->allIntfAddrWithMask()->all(), [](auto const& member) {
            return text(member.key) + (member.value.deprecated() ? " deprecated" : "");
        });
    }
    Texts deferred() const {
        return sorted(sm->deferredIntfAddBacklog()->backlog(),
                      [](auto const& member) { return text(member.key); });
    }

    // The traces of one class, "8 handleIntfAddrWithMask ip ...": its name is left out.
    Texts tracesOf(std::string_view className) const {
        std::string const mark = fmt::format(" {}::", className);
        Texts texts;
        for (std::string const& line : traces.messages()) {
            if (line.compare(1, mark.size(), mark) == 0) {
                texts.push_back(line.substr(0, 2) + line.substr(1 + mark.size()));
            }
        }
        return texts;
    }
    Texts traceTexts() const { return tracesOf("IntfAddrVrfTableSm"); }

    // Forgets traces, records and notifications.
    void clear() {
        traces.clear();
        Tremlog::clear();
        events.clear();
    }

    static std::string text(IpLib::IntfAddrEntry const& row) {
        return fmt::format("{}/{} {}", row.key().addr, row.subnet().prefixLength(), row.intfId());
    }
    static std::string text(IpLib::IntfAddrWithMaskKey const& key) {
        return fmt::format("{} {}", key.addrWithMask, key.intfId);
    }

    Pell::ThrowOnAssertion const throwOnAssertion;
    TraceRecorder traces;
    Config const config;
    VirtualTime time;
    Zin::Ptr<Ip::VrfIpIntfStatus> const vrfIp = Ip::vrfIpIntfStatusFactory();
    Zin::Ptr<Ip6::VrfIp6IntfStatus> const vrfIp6 = Ip6::vrfIp6IntfStatusFactory();
    Zin::Ptr<VirtualIp::VirtualIpStatus> const virtualIp = VirtualIp::virtualIpStatusFactory();
    Zin::Ptr<VirtualIp::VirtualIp6Status> const virtualIp6 = VirtualIp::virtualIp6StatusFactory();
    Zin::Ptr<Interface::DeviceIntfStatusDir> const kernel = Interface::deviceIntfStatusDirFactory();
    Zin::Ptr<IpLib::IntfAddrVrfTable> const table = IpLib::intfAddrVrfTableFactory();
    // What an observer of the table, older than the machine, is told.
    Events events;
    Recorder<IpLib::IntfAddrVrfTable> const recorder{table, events};
    Zin::Ptr<IpLib::IntfAddrVrfTableSm> sm;

private:
    template <class Map, class Text>
    static Texts sorted(Map const& map, Text const& text) {
        Texts texts;
        for (auto const& member : map) {
            texts.push_back(text(member));
        }
        std::sort(texts.begin(), texts.end());
        return texts;
    }

    void mention(Nimb::IntfId const& intfId) {
        if (std::find(mentioned_.begin(), mentioned_.end(), intfId) == mentioned_.end()) {
            mentioned_.push_back(intfId);
            kernelIs(intfId);
        }
    }

    std::vector<Nimb::IntfId> mentioned_;
};

}  // namespace TestKit
