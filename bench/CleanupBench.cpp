// What the clean-up of one interface costs, in a small table and in a large one: it should be what
// the interface has, not what the table holds. Both tables stand in one process, and their
// clean-ups take turns. The third row is what a walk over the large table's rows would cost by
// itself.
//
// Prints nanoseconds for each row that was cleaned up, and each contender's ratio to the first.
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <memory>
#include <vector>

#include "Velk/YieldPolicy.h"
#include "router/Router.h"

namespace {

constexpr std::uint32_t addressesEach = 8;
constexpr char vrf[] = "default";

// A VRF in which every interface has eight addresses in a subnet of its own.
class Bench {
public:
    explicit Bench(std::uint32_t rows) : intfs_(rows / addressesEach) {
        router_.managerStart().apply();
        auto& inputs = router_.inputs();
        inputs.ipVrfAdd(vrf).apply();
        for (std::uint32_t n = 0; n < intfs_; ++n) {
            Routing::IpIntf addressing{.primary = addr(n, 0)};
            for (std::uint32_t host = 1; host < addressesEach; ++host) {
                addressing.secondary.push_back(addr(n, host));
            }
            inputs.ipIntfAdd(vrf, intf(n), addressing).apply();
        }
        router_.tableAdd(vrf).apply();
    }

    std::uint32_t intfs() const { return intfs_; }

    // Seconds that the clean-up of interface n takes. Its rows stand in the table again afterwards.
    double cleanUp(std::uint32_t n) {
        auto const sm = router_.tableSm(vrf);
        auto const record = sm->allIntfAddrWithMask()->byIntfId(intf(n));
        auto const start = std::chrono::steady_clock::now();
        sm->processCleanupIntf(intf(n), Nimb::AddressFamily::ipv4);
        auto const end = std::chrono::steady_clock::now();
        for (auto const& member : record->byIntfId()) {
            sm->addIntfAddrWithMask(member.key);
        }
        return std::chrono::duration<double>(end - start).count();
    }

    // Seconds that it takes to find interface n's rows by looking at all of them.
    double walk(std::uint32_t n) const {
        auto const table = router_.table(vrf);
        auto const wanted = intf(n);
        std::uint32_t found = 0;
        auto const start = std::chrono::steady_clock::now();
        for (auto const& member : table->intfAddrEntryFromAddr()) {
            found += member.value->intfId() == wanted;
        }
        auto const end = std::chrono::steady_clock::now();
        if (found != addressesEach) {
            fmt::print("interface {} has {} rows\n", n, found);
        }
        return std::chrono::duration<double>(end - start).count();
    }

private:
    static Nimb::IntfId intf(std::uint32_t n) { return fmt::format("Ethernet{}", n); }
    static Nimb::IpAddrWithMask addr(std::uint32_t n, std::uint32_t host) {
        return {Nimb::Ip4Addr(0x0a000000 + n * 256 + host + 1), 24};
    }

    std::uint32_t const intfs_;
    Routing::Router router_{{.ignoreKernelInterfaceState = true},
                            Zin::make<Zin::VirtualClock>(),
                            std::make_unique<Velk::EveryNth>(0)};
};

double median(std::vector<double> samples) {
    std::nth_element(samples.begin(), samples.begin() + samples.size() / 2, samples.end());
    return samples[samples.size() / 2];
}

}  // namespace

int main() {
    constexpr std::uint32_t samples = 2000;
    constexpr std::uint32_t walks = 5;
    Bench small(1'000);
    Bench large(1'000'000);

    std::vector<double> inSmall, inLarge, walked;
    for (std::uint32_t i = 0; i < samples; ++i) {
        // Large strides, so that the large table's clean-ups find nothing in the caches that a
        // neighbour left there.
        inSmall.push_back(small.cleanUp(i * 7 % small.intfs()));
        inLarge.push_back(large.cleanUp(i * 7919 % large.intfs()));
    }
    for (std::uint32_t i = 0; i < walks; ++i) {
        walked.push_back(large.walk(i * 7919 % large.intfs()));
    }

    double const base = median(inSmall);
    auto const report = [base](char const* what, double seconds) {
        fmt::print("{:<42} {:>12.1f} ns a row {:>12.2f}\n", what, seconds * 1e9 / addressesEach,
                   seconds / base);
    };
    report("clean-up in a table of 1,000 rows", base);
    report("clean-up in a table of 1,000,000 rows", median(inLarge));
    report("walk over a table of 1,000,000 rows", median(walked));
}
