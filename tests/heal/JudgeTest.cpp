// The judge finds what is planted: in a table, in its machine, or in the book, which then says that
// something was published of which the router knows nothing.

#include "Judge.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "TableView.h"
#include "Trial.h"

namespace Healing {
namespace {

using testing::ElementsAreArray;
using testing::IsEmpty;
using Addr = Nimb::IpGenAddrWithMask;
using Kind = Operation::Kind;
using Kinds = std::vector<std::string_view>;
using Row = IpLib::IntfAddrEntryContent;

constexpr char red[] = "red";

Operation ofRed(Kind kind, Nimb::IntfId const& intf = {}, std::vector<Address> const& addrs = {}) {
    return {.kind = kind, .vrf = red, .intf = intf, .addrs = addrs};
}

// Ethernet1 has an address of each kind, and one of Ethernet2 waits behind it.
std::vector<Operation> const operations{
    ofRed(Kind::tableAdd),
    ofRed(Kind::ipVrfAdd),
    ofRed(Kind::ip6VrfAdd),
    ofRed(Kind::kernelAdd, "Ethernet1"),
    ofRed(Kind::kernelAdd, "Ethernet2"),
    ofRed(Kind::ipIntfAdd, "Ethernet1", {{Addr("10.0.1.1/24")}}),
    ofRed(Kind::ipIntfAdd, "Ethernet2", {{}, {Addr("10.0.1.2/24")}}),
    ofRed(Kind::ip6IntfAdd, "Ethernet1",
          {{Addr("2001:db8::1/64")}, {Addr("2001:db8::2/64"), true}, {Addr("fe80::1/64")}}),
    ofRed(Kind::vipAdd, {}, {{Addr("10.9.0.1/24")}}),
};

Row row(std::string_view addr, Nimb::IntfId const& intf = "Ethernet1") {
    return TableView::rowOf(intf, Addr(addr));
}

struct Scene {
    Scene() { carryOut(operations, run, book); }

    IpLib::IntfAddrVrfTable& table() { return *run.router().table(red); }
    IpLib::IntfAddrVrfTableSm& machine() { return *run.router().tableSm(red); }
    IpLib::IntfAddrEntrySet& set(std::string_view subnet) {
        return *table().intfAddrEntrySetFromSubnet(Nimb::IpGenPrefix(subnet));
    }

    Kinds faults() {
        Faults faults;
        judge(book, run.router(), config.machines, faults);
        std::set<std::string_view> kinds;
        for (auto const& fault : faults.all()) {
            kinds.insert(fault.kind);
        }
        return {kinds.begin(), kinds.end()};
    }

    Scenario::Config const config{};
    std::ostream nowhere{nullptr};
    Scenario::Run run{nowhere, config, {}};
    Book book;
};

TEST(Judge, FindsNothingWhereNothingIsWrong) {
    Scene scene;
    EXPECT_EQ(scene.table().intfAddrEntry().size(), 5u);
    EXPECT_EQ(scene.machine().deferredIntfAddBacklog()->backlog().size(), 1u);
    EXPECT_THAT(scene.faults(), IsEmpty());
}

struct Plant {
    std::string name;
    void (*plant)(Scene&);
    Kinds found;  // sorted
};

void PrintTo(Plant const& plant, std::ostream* out) { *out << plant.name; }

class JudgeOf : public testing::TestWithParam<Plant> {};

TEST_P(JudgeOf, IsFound) {
    Scene scene;
    GetParam().plant(scene);
    EXPECT_THAT(scene.faults(), ElementsAreArray(GetParam().found));
}

// With all that a row has.
void admit(Scene& scene, Row const& content) {
    auto const entry = scene.table().intfAddrEntryIs(content);
    scene.table().intfAddrEntryFromAddrIs(entry);
    auto const set = IpLib::intfAddrEntrySetFactory(content.intfId, content.subnet);
    set->intfAddrEntryIs(entry);
    scene.table().intfAddrEntrySetFromSubnetIs(set);
}

void withdraw(Scene& scene, Row const& content) {
    scene.table().intfAddrEntryDel(content);
    scene.table().intfAddrEntryFromAddrDel(content.key);
    scene.table().intfAddrEntrySetFromSubnetDel(content.subnet);
}

std::vector<Plant> const inTheTable{
    {"ARowThatNothingPublishes",
     [](Scene& scene) { admit(scene, row("10.0.7.1/24")); },
     {"row unpublished"}},
    {"ARowOfAnotherLength",
     [](Scene& scene) { admit(scene, row("2001:db8:1::1/48")); },
     {"row unpublished"}},
    {"AVirtualRowThatNothingPublishes",
     [](Scene& scene) {
         scene.table().intfAddrEntryFromAddrIs(scene.table().intfAddrEntryIs(
             {IpLib::IntfAddrEntryKey::makeVirtualIpKey(Nimb::IpGenAddr("10.9.0.2")), {}, {}}));
     },
     {"virtual row unpublished"}},
    {"AnAddressWithoutRow",
     [](Scene& scene) {
         withdraw(scene, row("10.0.1.1/24"));
         scene.machine().deferredIntfAddBacklogDel();
         scene.machine().deferredIntfAddBacklogIs();
     },
     {"address lost"}},
    {"AnAddressThatWaitsForNothing",
     [](Scene& scene) { withdraw(scene, row("10.0.1.1/24")); },
     {"address lost", "address waits for nothing"}},
    {"ALinkLocalAddressWithoutRow",
     [](Scene& scene) {
         withdraw(scene, row("fe80::1/64"));
         scene.table().llIntfAddrEntryFromIntfIdDel("Ethernet1");
     },
     {"address lost"}},
    {"AVirtualAddressWithoutRow",
     [](Scene& scene) {
         withdraw(scene,
                  {IpLib::IntfAddrEntryKey::makeVirtualIpKey(Nimb::IpGenAddr("10.9.0.1")), {}, {}});
     },
     {"virtual address lost"}},
    {"TwoRowsOfOneAddress",
     [](Scene& scene) { scene.table().intfAddrEntryIs(row("10.0.1.1/24", "Ethernet2")); },
     {"row in no set", "row unpublished", "two rows of one key"}},
    {"ARowThatIsNotFoundByAddress",
     [](Scene& scene) { scene.table().intfAddrEntryFromAddrDel(row("10.0.1.1/24").key); },
     {"row not found by address"}},
    {"AnAddressThatLeadsToNoRow",
     [](Scene& scene) {
         scene.table().intfAddrEntryFromAddrIs(IpLib::intfAddrEntryFactory(row("10.0.7.1/24")));
     },
     {"address without row"}},
    {"AnEmptySet",
     [](Scene& scene) {
         scene.table().intfAddrEntrySetFromSubnetIs(
             IpLib::intfAddrEntrySetFactory("Ethernet1", Nimb::IpGenPrefix("10.0.7.0/24")));
     },
     {"set empty"}},
    {"AMissingSet",
     [](Scene& scene) {
         scene.table().intfAddrEntrySetFromSubnetDel(Nimb::IpGenPrefix("2001:db8::/64"));
     },
     {"row in no set"}},
    {"ASetOfAnotherInterface",
     [](Scene& scene) {
         auto const set =
             IpLib::intfAddrEntrySetFactory("Ethernet2", Nimb::IpGenPrefix("10.0.1.0/24"));
         set->intfAddrEntryIs(scene.table().intfAddrEntry(row("10.0.1.1/24")));
         scene.table().intfAddrEntrySetFromSubnetIs(set);
     },
     {"address waits for nothing", "row in no set", "set without row"}},
    {"ASetWithWhatIsNoRow",
     [](Scene& scene) {
         scene.set("10.0.1.0/24").intfAddrEntryIs(IpLib::intfAddrEntryFactory(row("10.0.1.7/24")));
     },
     {"set without row"}},
    {"ADeprecatedRowAmongTheUsableOnes",
     [](Scene& scene) {
         auto const key = row("2001:db8::2/64").key;
         auto& set = scene.set("2001:db8::/64");
         set.intfAddrEntryIs(set.deprecatedIntfAddrEntryDel(key));
     },
     {"row in wrong collection"}},
    {"AUsableRowAmongTheDeprecatedOnes",
     [](Scene& scene) {
         auto const key = row("2001:db8::1/64").key;
         auto& set = scene.set("2001:db8::/64");
         set.deprecatedIntfAddrEntryIs(set.intfAddrEntryDel(key));
     },
     {"row in wrong collection"}},
    {"ARowInBothCollections",
     [](Scene& scene) {
         auto& set = scene.set("2001:db8::/64");
         set.deprecatedIntfAddrEntryIs(set.intfAddrEntry(row("2001:db8::1/64").key));
     },
     {"row twice in set"}},
    {"ALinkLocalRowThatIsNotFound",
     [](Scene& scene) { scene.table().llIntfAddrEntryFromIntfIdDel("Ethernet1"); },
     {"link-local row not found"}},
    {"ALinkLocalAddressThatLeadsToNoRow",
     [](Scene& scene) {
         scene.table().llIntfAddrEntryFromIntfIdIs(
             IpLib::intfAddrEntryFactory(row("fe80::2/64", "Ethernet2")));
     },
     {"link-local without row"}},
};

std::vector<Plant> const inTheMachine{
    {"AWaitingAddressThatNothingPublishes",
     [](Scene& scene) {
         scene.machine().deferredIntfAddBacklog()->backlogIs({"Ethernet2", Addr("10.0.1.3/24")});
     },
     {"waits unpublished"}},
    {"ACleanupThatDoesNotCome",
     [](Scene& scene) {
         scene.machine().intfCleanupBacklog()->addBacklog("Ethernet1", Nimb::AddressFamily::ipv4,
                                                          -2.625);
     },
     {"clean-up overdue"}},
    {"AKernelDirectoryThatIsNotGivenBack",
     [](Scene& scene) {
         scene.run.router().inputs().kniIntfStatusHelper()->acquire(
             red, "IpLib::IntfAddrVrfTableSmFactory");
     },
     {"kernel directory"}},
    {"AManagerThatHasStopped",
     [](Scene& scene) { scene.run.router().managerStop().apply(); },
     {"kernel directory", "machine"}},
};

std::vector<Plant> const inTheBook{
    {"ADeviceThatIsGone",
     [](Scene& scene) { scene.book.note(ofRed(Kind::kernelDel, "Ethernet1")); },
     {"row without device"}},
    {"ADeviceOfAWaitingAddressThatIsGone",
     [](Scene& scene) { scene.book.note(ofRed(Kind::kernelDel, "Ethernet2")); },
     {"waits without device"}},
    {"AnInterfaceThatBecameUnnumbered",
     [](Scene& scene) {
         auto unnumbered = ofRed(Kind::ipUnnumbered, "Ethernet1");
         unnumbered.source = "Ethernet2";
         scene.book.note(unnumbered);
     },
     {"row unpublished"}},
    {"AnAddressThatNobodyHeardOf",
     [](Scene& scene) {
         scene.book.note(ofRed(Kind::ip6AddrSet, "Ethernet1", {{Addr("2001:db8::3/64")}}));
     },
     {"address lost"}},
    {"AVirtualAddressThatNobodyHeardOf",
     [](Scene& scene) { scene.book.note(ofRed(Kind::vip6Add, {}, {{Addr("2001:db8:9::1/128")}})); },
     {"virtual address lost"}},
    {"AStatusThatIsGone",
     [](Scene& scene) { scene.book.note(ofRed(Kind::ip6VrfDel)); },
     {"row unpublished"}},
    {"ATableThatIsGone",
     [](Scene& scene) { scene.book.note(ofRed(Kind::tableDel)); },
     {"kernel directory", "table"}},
};

auto const nameOf = [](auto const& info) { return info.param.name; };
INSTANTIATE_TEST_SUITE_P(Table, JudgeOf, testing::ValuesIn(inTheTable), nameOf);
INSTANTIATE_TEST_SUITE_P(Machine, JudgeOf, testing::ValuesIn(inTheMachine), nameOf);
INSTANTIATE_TEST_SUITE_P(Book, JudgeOf, testing::ValuesIn(inTheBook), nameOf);

// What is no fault, though it looks like one.

TEST(Judge, AcceptsALinkLocalRowOfAnotherLength) {
    Scene scene;
    scene.book.note(ofRed(Kind::ip6AddrSet, "Ethernet1", {{Addr("fe80::1/10")}}));
    EXPECT_THAT(scene.faults(), IsEmpty());
    scene.book.note(ofRed(Kind::ip6AddrDel, "Ethernet1", {{Addr("fe80::1/64")}}));
    EXPECT_THAT(scene.faults(), IsEmpty());
}

TEST(Judge, AcceptsADeprecatedLinkLocalAddressWithAndWithoutRow) {
    Scene scene;
    scene.book.note(ofRed(Kind::ip6AddrSet, "Ethernet1", {{Addr("fe80::1/64"), true}}));
    scene.book.note(ofRed(Kind::ip6AddrSet, "Ethernet1", {{Addr("fe80::2/64"), true}}));
    EXPECT_THAT(scene.faults(), IsEmpty());
}

TEST(Judge, AcceptsADeprecatedRowOutsideOfItsSet) {
    Scene scene;
    scene.set("2001:db8::/64").deprecatedIntfAddrEntryDel(row("2001:db8::2/64").key);
    EXPECT_THAT(scene.faults(), IsEmpty());
}

TEST(Judge, AcceptsACleanupThatIsASecondLate) {
    Scene scene;
    scene.machine().intfCleanupBacklog()->addBacklog("Ethernet1", Nimb::AddressFamily::ipv4, -2.5);
    EXPECT_THAT(scene.faults(), IsEmpty());
}

TEST(Judge, AsksForNoRowsOfAnInterfaceWithoutDevice) {
    Scene scene;
    scene.book.note(ofRed(Kind::ip6IntfAdd, "Ethernet3", {{Addr("2001:db8:3::1/64")}}));
    EXPECT_THAT(scene.faults(), IsEmpty());
}

}  // namespace
}  // namespace Healing
