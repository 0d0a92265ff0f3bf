// Whatever is done to a router: what is written down of an address is what was told of it, and says
// in the end what is so.
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <random>
#include <set>
#include <vector>

#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "Zin/Format.h"
#include "intfaddr/history/TestHistory.h"
#include "router/OperationError.h"

namespace IntfAddr {
namespace {

using Kind = AddressEvent::Kind;
using Row = IpLib::IntfAddrEntryContent;

// Of one VRF: each row that came and went, by address, and when.
class Book final : public Routing::TableFollower::Notifiee {
public:
    struct Entry {
        Zin::Seconds at;
        bool present;
        Nimb::IntfId intf;
        std::uint8_t prefixLength;
        bool virtualIp;

        friend bool operator==(Entry const&, Entry const&) = default;
    };

    Book(Routing::Router& router, Zin::Ptr<Routing::TableFollower const> follower)
        : router_(router) {
        notifierIs(std::move(follower));
    }

    std::map<Nimb::IpGenAddr, std::vector<Entry>> entries;
    std::map<Row, Zin::Seconds> there;
    // May do something to the router.
    std::function<void()> meddle = [] {};

private:
    void handleRow(L3::VrfName const&, Row const& row, bool present) override {
        Zin::Seconds const now = router_.scheduler()->now();
        if (present == there.contains(row)) {
            return;
        }
        if (present) {
            there[row] = now;
        } else {
            there.erase(row);
        }
        entries[row.key.addr].push_back(
            {now, present, row.intfId, row.subnet.prefixLength(), row.key.virtualIp});
        meddle();
    }

    Routing::Router& router_;
};

class Trial {
public:
    explicit Trial(std::uint32_t seed)
        : random_(seed),
          bench_({.ignoreKernelInterfaceState = seed % 4 == 0}, {.perSubject = 10'000}),
          book_(bench_.router, bench_.supervisor.follower()) {
        bench_.vrf("red");
        bench_.apply(bench_.inputs().ip6VrfAdd("red"));
        for (std::uint32_t before = chance(40); before > 0; --before) {
            change();
        }
        began_ = bench_.clock->now();
        book_.entries.clear();
        before_ = backlogs();
        bench_.recorder.begin();
        if (seed % 2 == 0) {
            book_.meddle = [this] {
                if (chance(8) == 0) {
                    attempt([this] { operation().apply(); });
                }
            };
        }
    }

    void step() {
        change();
        bench_.recorder.catchUp();
        judge();
    }

private:
    std::uint32_t chance(std::uint32_t limit) {
        return static_cast<std::uint32_t>(random_() % limit);
    }
    Nimb::IntfId intf() { return fmt::format("eth{}", chance(3)); }
    Nimb::IpAddrWithMask ip() {
        return Nimb::IpAddrWithMask(
            fmt::format("10.0.{}.{}/{}", chance(2), 1 + chance(3), chance(4) == 0 ? 23 : 24));
    }
    Nimb::Ip6AddrWithMask ip6() {
        return Nimb::Ip6AddrWithMask(
            fmt::format("{}::{}/64", chance(3) == 0 ? "fe80" : "2001:db8", 1 + chance(3)));
    }

    void attempt(std::function<void()> const& step) {
        try {
            step();
        } catch (Routing::OperationError const&) {
        } catch (Zin::RangeError const&) {
        }
    }

    void change() {
        if (chance(5) == 0) {
            attempt([this] { bench_.advance(1 + static_cast<int>(chance(3))); });
        } else {
            attempt([this] { bench_.apply(operation()); });
        }
    }

    Routing::Effect operation() {
        auto& inputs = bench_.inputs();
        L3::VrfName const red = "red";
        switch (chance(22)) {
            case 0:
            case 1:
                return inputs.ipPrimaryIs(red, intf(), ip());
            case 2:
                return inputs.ipPrimaryIs(red, intf(), {});
            case 3:
            case 4:
            case 5:
                return inputs.ipSecondaryAdd(red, intf(), ip());
            case 6:
            case 7:
                return inputs.ipSecondaryDel(red, intf(), ip());
            case 8:
            case 9:
                return inputs.ip6AddrSet(red, intf(),
                                         {.addr = ip6(), .deprecated = chance(4) == 0});
            case 10:
                return inputs.ip6AddrDel(red, intf(), ip6());
            case 11:
                return inputs.ipIntfAdd(red, intf(), {.primary = ip(), .secondary = {ip()}});
            case 12:
                return inputs.ipIntfDel(red, intf());
            case 13:
                return inputs.ip6IntfAdd(red, intf(), {{.addr = ip6()}});
            case 14:
                return inputs.ip6IntfDel(red, intf());
            case 15:
                return inputs.kernelAdd(red, intf(), {.active = chance(2) == 0});
            case 16:
                return inputs.kernelDel(red, intf());
            case 17:
                return inputs.vipAdd(red, ip());
            case 18:
                return inputs.vipDel(red, ip());
            case 19:
                return inputs.ipUnnumberedIs(red, intf(), chance(2) == 0 ? intf() : Nimb::IntfId());
            case 20:
                return chance(3) == 0 ? inputs.ipVrfAdd(red) : inputs.kernelAdd(red, intf(), {});
            default:
                switch (chance(8)) {
                    case 0:
                        return bench_.router.tableDel(red);
                    case 1:
                    case 2:
                        return bench_.router.tableAdd(red);
                    case 3:
                        return bench_.router.managerStop();
                    default:
                        return bench_.router.managerStart();
                }
        }
    }

    void judge() {
        for (auto const& [row, at] : book_.there) {
            ASSERT_EQ(bench_.recorder.since().of("red", row), at);
        }
        ASSERT_EQ(bench_.recorder.since().size(), book_.there.size());

        Backlogs written = before_;
        for (auto const& [addr, entries] : book_.entries) {
            judgeRows(addr, entries);
        }
        for (std::uint32_t host = 1; host <= 3; ++host) {
            for (auto const* const format :
                 {"10.0.0.{}", "10.0.1.{}", "2001:db8::{}", "fe80::{}"}) {
                judgeWaiting(Nimb::IpGenAddr(fmt::format(fmt::runtime(format), host)), written);
            }
        }
        Backlogs const are = backlogs();
        ASSERT_EQ(written.waits, are.waits);
        ASSERT_EQ(written.pending, are.pending);
    }

    struct Backlogs {
        std::set<IpLib::IntfAddrWithMaskKey> waits{};
        std::set<IpLib::IntfFamily> pending{};
    };
    Backlogs backlogs() const {
        Backlogs found;
        auto const sm = bench_.router.vrfs().empty() ? nullptr : bench_.router.tableSm("red");
        if (sm) {
            for (auto const& member : sm->deferredIntfAddBacklog()->backlog()) {
                found.waits.insert(member.key);
            }
            for (auto const& member : sm->intfCleanupBacklog()->backlog()) {
                found.pending.insert(member.key);
            }
        }
        return found;
    }

    void judgeRows(Nimb::IpGenAddr const& addr, std::vector<Book::Entry> const& entries) {
        std::vector<Book::Entry> written;
        for (auto const& event : bench_.recorder.history().of("red", addr).events) {
            if (event.kind == Kind::admitted || event.kind == Kind::left) {
                written.push_back({event.at, event.kind == Kind::admitted, event.intf,
                                   event.prefixLength, event.marks.virtualIp});
            }
        }
        ASSERT_EQ(written, entries);
    }

    // What waits by what is written, and that each came to wait before it waited no more.
    void judgeWaiting(Nimb::IpGenAddr const& addr, Backlogs& written) {
        bool const isIp6 = addr.family() == Nimb::AddressFamily::ipv6;
        Zin::Seconds last = began_;
        for (auto const& event :
             bench_.recorder.history().of("red", addr, {"eth0", "eth1", "eth2"}).events) {
            ASSERT_GE(event.at, last);
            last = event.at;
            IpLib::IntfFamily const whose{event.intf, addr.family()};
            if (event.kind == Kind::deferred) {
                ASSERT_TRUE(written.waits.insert({event.intf, {addr, event.prefixLength}}).second);
            } else if (event.kind == Kind::deferredNoMore) {
                ASSERT_EQ(written.waits.erase({event.intf, {addr, event.prefixLength}}), 1U);
            } else if (event.kind == Kind::cleanupPending && event.marks.ipv6 == isIp6) {
                written.pending.insert(whose);
            } else if (event.kind == Kind::cleanedUp && event.marks.ipv6 == isIp6) {
                written.pending.erase(whose);
            }
        }
    }

    std::mt19937 random_;
    TestHistory::Bench bench_;
    Book book_;
    Zin::Seconds began_ = 0.0;
    Backlogs before_;  // it began
};

TEST(RandomHistory, SaysWhatWasToldAndInTheEndWhatIsSo) {
    for (std::uint32_t seed = 0; seed < 30; ++seed) {
        Trial trial(seed);
        for (int step = 0; step < 120; ++step) {
            trial.step();
            if (testing::Test::HasFatalFailure()) {
                FAIL() << "seed " << seed << ", step " << step;
            }
        }
    }
}

}  // namespace
}  // namespace IntfAddr
