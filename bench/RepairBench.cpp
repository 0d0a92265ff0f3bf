// What it costs to put a table right: a rebuild of a whole VRF, beside the agent's putting a new
// table there, which a machine fills as well, but for which nobody keeps what they had; and an
// audit, with the longest of its slices. With eight addresses an interface, and with a follower
// that hears of all.
//
//   bench_repair [--smallest]
//
// Prints processor time, the cost of an address, and the ratio to the agent's new table.
#include <algorithm>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "Result.h"
#include "Velk/YieldPolicy.h"
#include "Zin/Format.h"
#include "router/repair/Supervisor.h"

namespace {

constexpr std::uint32_t addressesEach = 8;
constexpr char vrf[] = "default";
constexpr int samples = 5;

using Bench::median;
using Bench::secondsOf;

class Follower final : public Routing::TableFollower::Notifiee {
public:
    explicit Follower(Routing::Supervisor& supervisor) { notifierIs(supervisor.follower()); }
    void handleRow(L3::VrfName const&, IpLib::IntfAddrEntryContent const&, bool) override {
        ++told;
    }

    std::uint64_t told = 0;
};

class RepairedVrf {
public:
    explicit RepairedVrf(std::uint32_t rows) {
        supervisor_.apply(router_.managerStart());
        auto& inputs = router_.inputs();
        supervisor_.apply(inputs.ipVrfAdd(vrf));
        for (std::uint32_t n = 0; n < rows / addressesEach; ++n) {
            auto const intf = fmt::format("Ethernet{}", n);
            Routing::IpIntf addressing{.primary = addr(n, 0)};
            for (std::uint32_t host = 1; host < addressesEach; ++host) {
                addressing.secondary.push_back(addr(n, host));
            }
            supervisor_.apply(inputs.kernelAdd(vrf, intf, {}));
            supervisor_.apply(inputs.ipIntfAdd(vrf, intf, addressing));
        }
        supervisor_.apply(router_.tableAdd(vrf));
    }

    double rebuild() {
        // A failure a minute, so that each is repaired at once.
        clock_->nowIs(clock_->now() + 100.0);
        supervisor_.handleFailure({.className = "Bench",
                                   .condition = "",
                                   .function = "rebuild",
                                   .message = "asked for",
                                   .domain = vrf});
        supervisor_.contain([] {});
        return secondsOf([this] { supervisor_.repair(); });
    }

    double newTable() {
        return secondsOf([this] { supervisor_.apply(router_.tableAdd(vrf)); });
    }

    double audit() {
        return secondsOf([this] { supervisor_.audit(); });
    }

    // The longest slice of one audit.
    double longestSlice() {
        double longest = 0.0;
        bool more = true;
        clock_->nowIs(clock_->now() + 100.0);
        while (more) {
            longest = std::max(longest, secondsOf([&] { more = supervisor_.auditSlice(); }));
        }
        return longest;
    }

    std::uint64_t told() const { return follower_.told; }
    std::uint64_t repairs() const { return supervisor_.repairsByReason().at("Bench::rebuild"); }

private:
    static Nimb::IpAddrWithMask addr(std::uint32_t n, std::uint32_t host) {
        return {Nimb::Ip4Addr(0x0a000000 + n * 256 + host + 1), 24};
    }

    Zin::Ptr<Zin::VirtualClock> const clock_ = Zin::make<Zin::VirtualClock>();
    Routing::Router router_{{}, clock_, std::make_unique<Velk::EveryNth>(0)};
    Routing::Supervisor supervisor_{router_};
    Follower follower_{supervisor_};
};

}  // namespace

int main(int argc, char** argv) {
    bool const smallest = argc == 2 && std::string_view(argv[1]) == "--smallest";
    std::vector<std::uint32_t> const sizes =
        smallest ? std::vector{1'000U} : std::vector{1'000U, 10'000U, 100'000U};
    fmt::print("{:<34} {:>10} {:>14} {:>8}\n", "", "ms", "ns an address", "ratio");
    for (std::uint32_t const rows : sizes) {
        RepairedVrf bench(rows);
        std::vector<double> fresh, rebuilt, audited, slices;
        for (int i = 0; i < samples; ++i) {
            fresh.push_back(bench.newTable());
            rebuilt.push_back(bench.rebuild());
            audited.push_back(bench.audit());
            slices.push_back(bench.longestSlice());
        }
        double const base = median(fresh);
        auto const report = [&](char const* what, double seconds) {
            fmt::print("{:<34} {:>10.2f} {:>14.0f} {:>8.2f}\n",
                       fmt::format("{}, {} rows", what, rows), seconds * 1e3, seconds * 1e9 / rows,
                       seconds / base);
        };
        report("new table", base);
        report("rebuild", median(rebuilt));
        report("audit", median(audited));
        fmt::print("{:<34} {:>10.2f}\n", "longest slice of an audit", median(slices) * 1e3);
        Bench::check("rows that the follower was told of", bench.told(), rows);
        Bench::check("repairs", bench.repairs(), samples);
    }
}
