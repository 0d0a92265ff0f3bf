// What memory an address takes on its road from the published status to the row that observers are
// told of, and gives back when it is withdrawn.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "TestKit/VirtualTime.h"
#include "TestMemory/TestMemory.h"
#include "Zin/Format.h"

namespace IpLib {
namespace {

constexpr std::uint32_t interfaces = 64;
constexpr std::uint32_t addressesEach = 8;

Nimb::IntfId nameOf(std::uint32_t intf) { return fmt::format("Ethernet{}/{}", intf / 8, intf % 8); }

// A primary address and seven secondary ones of one /28.
struct RoadOfIp {
    using Status = Ip::IpIntfStatus;

    static Zin::Ptr<Status> statusOf(std::uint32_t intf) {
        return Ip::ipIntfStatusFactory(nameOf(intf));
    }
    static Nimb::IpAddrWithMask addr(std::uint32_t intf, std::uint32_t host) {
        return {Nimb::Ip4Addr(0x0a000000 + intf * 16 + host + 1), 28};
    }
    static void add(Status& status, std::uint32_t intf, std::uint32_t host) {
        if (host == 0) {
            status.activeAddrWithMaskIs(addr(intf, host));
        } else {
            status.secondaryActiveAddrWithMaskIs(addr(intf, host));
        }
    }
    static void withdraw(Status& status, std::uint32_t intf, std::uint32_t host) {
        if (host == 0) {
            status.activeAddrWithMaskIs({});
        } else {
            status.secondaryActiveAddrWithMaskDel(addr(intf, host));
        }
    }

    Zin::Ptr<Ip::VrfIpIntfStatus> const vrf = Ip::vrfIpIntfStatusFactory();
    void put(Zin::Ptr<Status> const& status) const { vrf->ipIntfStatusIs(status); }
    void publishTo(IntfAddrVrfTable& table) const { table.vrfIpIntfStatusIs(vrf); }
};

// Eight addresses of one /64.
struct RoadOfIp6 {
    using Status = Ip6::IntfStatus;

    static Zin::Ptr<Status> statusOf(std::uint32_t intf) {
        return Ip6::intfStatusFactory(nameOf(intf));
    }
    static Nimb::Ip6AddrWithMask addr(std::uint32_t intf, std::uint32_t host) {
        Nimb::Ip6Bytes bytes{0x20, 0x01, 0x0d, 0xb8};
        bytes[7] = static_cast<std::uint8_t>(intf);
        bytes[15] = static_cast<std::uint8_t>(host + 1);
        return {Nimb::Ip6Addr(bytes), 64};
    }
    static void add(Status& status, std::uint32_t intf, std::uint32_t host) {
        status.addrIs(addr(intf, host), {});
    }
    static void withdraw(Status& status, std::uint32_t intf, std::uint32_t host) {
        status.addrDel(addr(intf, host));
    }

    Zin::Ptr<Ip6::VrfIp6IntfStatus> const vrf = Ip6::vrfIp6IntfStatusFactory();
    void put(Zin::Ptr<Status> const& status) const { vrf->intfStatusIs(status); }
    void publishTo(IntfAddrVrfTable& table) const { table.vrfIp6IntfStatusIs(vrf); }
};

class RowCounter final : public IntfAddrVrfTable::Notifiee {
public:
    std::size_t told = 0;

private:
    void handleIntfAddrEntry(IntfAddrEntryContent const&) override { ++told; }
};

// A VRF with its interfaces, all of whose addresses are in the table.
template <class Road>
class FullTable {
public:
    FullTable() {
        road_.publishTo(*table_);
        observer_.notifierIs(table_);
        for (std::uint32_t intf = 0; intf < interfaces; ++intf) {
            statuses_.push_back(Road::statusOf(intf));
            road_.put(statuses_.back());
        }
        forEach([this](std::uint32_t intf, std::uint32_t host) { add(intf, host); });
    }

    template <class Do>
    static void forEach(Do const& act) {
        for (std::uint32_t intf = 0; intf < interfaces; ++intf) {
            for (std::uint32_t host = 0; host < addressesEach; ++host) {
                act(intf, host);
            }
        }
    }
    void add(std::uint32_t intf, std::uint32_t host) { Road::add(*statuses_[intf], intf, host); }
    void withdraw(std::uint32_t intf, std::uint32_t host) {
        Road::withdraw(*statuses_[intf], intf, host);
    }
    std::size_t rows() const { return table_->intfAddrEntry().size(); }
    std::size_t told() const { return observer_.told; }

private:
    TestKit::VirtualTime time_;
    Road const road_;
    Zin::Ptr<IntfAddrVrfTable> const table_ = intfAddrVrfTableFactory();
    Zin::Ptr<IntfAddrVrfTableSm> const sm_ = intfAddrVrfTableSmFactory(
        "blue", Nimb::NamespaceName("ns-blue"), {.ignoreKernelInterfaceState = true},
        time_.scheduler(), VirtualIp::virtualIpStatusFactory(),
        VirtualIp::virtualIp6StatusFactory(), Interface::deviceIntfStatusDirFactory(), table_);
    RowCounter observer_;
    std::vector<Zin::Ptr<typename Road::Status>> statuses_;
};

struct Taken {
    std::size_t allocations;
    std::size_t blocks;  // those given back count less than none
    std::size_t bytes;
};
template <class Act>
Taken takenBy(Act const& act) {
    std::size_t const allocations = TestMemory::allocations;
    std::size_t const blocks = TestMemory::blocks;
    std::size_t const bytes = TestMemory::bytes;
    act();
    return {TestMemory::allocations - allocations, TestMemory::blocks - blocks,
            TestMemory::bytes - bytes};
}

template <class Road>
class RoadMemory : public testing::Test {};
using Roads = testing::Types<RoadOfIp, RoadOfIp6>;
TYPED_TEST_SUITE(RoadMemory, Roads);

// Where all containers have grown, an address that comes takes its row alone: content, count and
// observers of its own. Status, working record, both indexes and the subnet's set have places.
TYPED_TEST(RoadMemory, AnAddressTakesItsRowAndNothingElse) {
    constexpr std::size_t allocationsOfRow = 1;
    constexpr std::size_t bytesOfRow = 64;
    FullTable<TypeParam> full;
    std::size_t const told = full.told();
    FullTable<TypeParam>::forEach([&](std::uint32_t intf, std::uint32_t host) {
        if (this->HasFatalFailure()) {
            return;  // one is enough
        }
        Taken const back = takenBy([&] { full.withdraw(intf, host); });
        ASSERT_EQ(back.allocations, 0u) << intf << " " << host;
        TestMemory::Largest const largest;
        Taken const taken = takenBy([&] { full.add(intf, host); });
        ASSERT_EQ(taken.allocations, allocationsOfRow) << intf << " " << host;
        ASSERT_LE(largest.size(), bytesOfRow) << intf << " " << host;
        ASSERT_EQ(back.blocks + taken.blocks, 0u) << intf << " " << host;
    });
    EXPECT_EQ(full.rows(), interfaces * addressesEach);
    EXPECT_EQ(full.told(), told + 2 * interfaces * addressesEach);
}

// Where they have been emptied, containers grow again: of each interface and its subnet, those that
// hold eight, and those of the whole table.
TYPED_TEST(RoadMemory, AFillTakesRowsAndAFewPiecesForEachInterface) {
    constexpr std::size_t rows = interfaces * addressesEach;
    // The subnet's set; table, chunk of two and chunk of six of its rows, of the working records of
    // the interface and of what they are found by; and trees and groups that hold these.
    constexpr std::size_t ofInterface = 10;
    constexpr std::size_t ofTable = 25;  // chunks and segments of what holds all of them
    constexpr std::size_t bytesOfAddress = 340;
    FullTable<TypeParam> full;
    Taken const back = takenBy([&] {
        FullTable<TypeParam>::forEach(
            [&](std::uint32_t intf, std::uint32_t host) { full.withdraw(intf, host); });
    });
    EXPECT_EQ(full.rows(), 0u);
    EXPECT_LE(back.allocations, 28u);  // of indexes that shrink, which each may do by halves

    Taken const taken = takenBy([&] {
        FullTable<TypeParam>::forEach(
            [&](std::uint32_t intf, std::uint32_t host) { full.add(intf, host); });
    });
    EXPECT_EQ(full.rows(), rows);
    EXPECT_LE(taken.allocations, rows + interfaces * ofInterface + ofTable)
        << "an allocation for each address is " << rows << " more, one for each interface is "
        << interfaces << " more";
    EXPECT_LE(taken.bytes, rows * bytesOfAddress);
}

}  // namespace
}  // namespace IpLib
