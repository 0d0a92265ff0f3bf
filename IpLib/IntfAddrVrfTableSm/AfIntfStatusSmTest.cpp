// What the machines of one interface do alike for both families. The rest: IpIntfStatusSmTest.cpp,
// Ip6IntfStatusSmTest.cpp.

#include <gmock/gmock.h>

#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "IpLib/IntfAddrVrfTableSm/Ip6IntfStatusSm.h"
#include "IpLib/IntfAddrVrfTableSm/IpIntfStatusSm.h"
#include "IpLib/IntfAddrVrfTableSm/TestAfParent.h"
#include "TestKit/TraceRecorder.h"
#include "Zin/Format.h"

namespace IpLib::IntfAddrVrfTableImpl {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using Texts = std::vector<std::string>;

// A primary address and two secondaries.
struct OfIp {
    using Sm = IpIntfStatusSm;
    static constexpr char const* family = "IPv4";
    static constexpr char const* traced = "IpIntfStatusSm";

    static auto makeStatus() { return Ip::ipIntfStatusFactory("Ethernet1"); }
    static constexpr auto makeSm = ipIntfStatusSmFactory;
    static void addrIs(Ip::IpIntfStatus& status, char const* addr) {
        status.secondaryActiveAddrWithMaskIs(Nimb::IpAddrWithMask(addr));
    }
    static void fill(Ip::IpIntfStatus& status) {
        addrIs(status, "10.0.2.1/24");
        addrIs(status, "10.0.1.1/24");
        status.activeAddrWithMaskIs(Nimb::IpAddrWithMask("10.0.9.1/24"));
    }
    static void empty(Ip::IpIntfStatus& status) {
        status.activeAddrWithMaskIs({});
        status.secondaryActiveAddrWithMaskDelAll();
    }
    static void handleEach(Sm& sm) {
        sm.handlePrimaryAddr();
        sm.handleSecondaryAddr(Nimb::IpAddrWithMask("10.0.1.1/24"));
        sm.handleAllSecondaryAddr();
    }

    inline static Texts const comings{"10.0.9.1/24 Ethernet1 present",
                                      "10.0.1.1/24 Ethernet1 present",
                                      "10.0.2.1/24 Ethernet1 present"};
    inline static Texts const goings{"10.0.9.1/24 Ethernet1 absent", "10.0.1.1/24 Ethernet1 absent",
                                     "10.0.2.1/24 Ethernet1 absent"};
    inline static Texts const tracesOfStart{
        "8 IpIntfStatusSm::handleInitialized on Ethernet1",
        "8 IpIntfStatusSm::handlePrimaryAddr 10.0.9.1/24 on Ethernet1 isUnnumbered false",
        "8 IpIntfStatusSm::handleAllSecondaryAddr on Ethernet1",
        "8 IpIntfStatusSm::handleSecondaryAddr 10.0.1.1/24 isPresent true on Ethernet1",
        "8 IpIntfStatusSm::handleSecondaryAddr 10.0.2.1/24 isPresent true on Ethernet1"};

    // A status with addresses that its dump lists.
    inline static Texts const listed{"10.0.1.1/24", "10.0.2.1/24", "10.0.3.1/24"};
    inline static Texts const headOfDump{"IpIntfStatus intfId=Ethernet1",
                                         "maybeShadowPrimaryAddr <None>",
                                         "maybeShadowIsUnnumbered <Nome>",
                                         "activeAddrWithMask 0.0.0.0/0",
                                         "unnumberedIntfId ",
                                         "secondaryActiveAddrWithMask count 3"};
};

// Three addresses in the order in which they joined, a link-local and a deprecated one among them.
struct OfIp6 {
    using Sm = Ip6IntfStatusSm;
    static constexpr char const* family = "IPv6";
    static constexpr char const* traced = "Ip6IntfStatusSm";

    static auto makeStatus() { return Ip6::intfStatusFactory("Ethernet1"); }
    static constexpr auto makeSm = ip6IntfStatusSmFactory;
    static void addrIs(Ip6::IntfStatus& status, char const* addr) {
        status.addrIs(Nimb::Ip6AddrWithMask(addr), {});
    }
    static void fill(Ip6::IntfStatus& status) {
        addrIs(status, "2001:db8::2/64");
        addrIs(status, "fe80::1/64");
        status.addrIs(Nimb::Ip6AddrWithMask("2001:db8::1/64"), {.deprecated = true});
    }
    static void empty(Ip6::IntfStatus& status) { status.addrDelAll(); }
    static void handleEach(Sm& sm) {
        sm.handleAddr(Nimb::Ip6AddrWithMask("2001:db8::2/64"));
        sm.handleAllAddr();
    }

    inline static Texts const comings{"2001:db8::2/64 Ethernet1 present",
                                      "fe80::1/64 Ethernet1 present",
                                      "2001:db8::1/64 Ethernet1 deprecated"};
    inline static Texts const goings{"2001:db8::2/64 Ethernet1 absent",
                                     "fe80::1/64 Ethernet1 absent",
                                     "2001:db8::1/64 Ethernet1 absent"};
    inline static Texts const tracesOfStart{
        "8 Ip6IntfStatusSm::handleInitialized on Ethernet1",
        "8 Ip6IntfStatusSm::handleAllAddr on Ethernet1",
        "8 Ip6IntfStatusSm::handleAddr 2001:db8::2/64 on Ethernet1 isPresent true isDeprecated "
        "false",
        "8 Ip6IntfStatusSm::handleAddr fe80::1/64 on Ethernet1 isPresent true isDeprecated false",
        "8 Ip6IntfStatusSm::handleAddr 2001:db8::1/64 on Ethernet1 isPresent true isDeprecated "
        "true"};

    inline static Texts const listed{"2001:db8::3/64", "2001:db8::1/64", "2001:db8::2/64"};
    inline static Texts const headOfDump{"Ip6IntfStatus intfId=Ethernet1", "addr count 3"};
};

template <class Family>
class AfIntfStatusSm : public testing::Test {
protected:
    void start() {
        sm = Family::makeSm(status, parent, all);
        clear();
    }
    void clear() {
        events.clear();
        traces.clear();
    }
    // The lines of the dump, each without its indent.
    Texts dump(std::uint32_t indent, bool verbose, std::uint32_t maxEntries) {
        auto const context = Velk::textDumpContextFactory(verbose, maxEntries);
        sm->dumpState(context, indent);
        std::string const blanks(indent, ' ');
        std::istringstream text(context->text());
        Texts lines;
        for (std::string line; std::getline(text, line);) {
            EXPECT_EQ(line.substr(0, indent), blanks);
            lines.push_back(line.substr(indent));
        }
        return lines;
    }

    TestKit::TraceRecorder traces{Family::traced};
    TestKit::Events events;
    decltype(Family::makeStatus()) const status = Family::makeStatus();
    Zin::Ptr<AllIntfAddrWithMask> const all = allIntfAddrWithMaskFactory();
    TestKit::Recorder<AllIntfAddrWithMask> const recorder{all, events};
    Zin::Ptr<TestKit::TestAfParent> const parent = Zin::make<TestKit::TestAfParent>(events);
    Zin::Ptr<typename Family::Sm> sm;
};
using Families = testing::Types<OfIp, OfIp6>;
TYPED_TEST_SUITE(AfIntfStatusSm, Families);

TYPED_TEST(AfIntfStatusSm, SettlesAPendingCleanupThenPublishesTheAddressesInTheirOrder) {
    TypeParam::fill(*this->status);
    this->sm = TypeParam::makeSm(this->status, this->parent, this->all);
    EXPECT_EQ(this->sm->intfId(), Nimb::IntfId("Ethernet1"));
    EXPECT_EQ(this->sm->afIntfStatusParent(), this->parent);
    EXPECT_EQ(this->sm->allIntfAddrWithMask(), this->all);
    Texts expected = TypeParam::comings;
    expected.insert(expected.begin(),
                    fmt::format("processPendingDeferredCleanup Ethernet1 {}", TypeParam::family));
    EXPECT_THAT(this->events, ElementsAreArray(expected));
    EXPECT_THAT(this->traces.messages(), ElementsAreArray(TypeParam::tracesOfStart));
}

TYPED_TEST(AfIntfStatusSm, DestructionRequestsTheCleanupThenRemovesEveryRow) {
    TypeParam::fill(*this->status);
    this->start();
    this->sm = nullptr;
    Texts expected = TypeParam::goings;
    expected.insert(expected.begin(),
                    fmt::format("addDeferredCleanup Ethernet1 {}", TypeParam::family));
    EXPECT_THAT(this->events, ElementsAreArray(expected));
    EXPECT_THAT(
        this->traces.messages(),
        ElementsAre(fmt::format("8 {}::handleDestruction on Ethernet1", TypeParam::traced)));
}

TYPED_TEST(AfIntfStatusSm, AFailingParentKeepsNoRowFromBeingRemoved) {
    TypeParam::fill(*this->status);
    this->start();
    this->parent->onAddDeferredCleanup = [] { throw std::runtime_error("no clean-up"); };
    EXPECT_THROW(this->sm->retire(), std::runtime_error);
    EXPECT_TRUE(this->all->all().empty());
}

TYPED_TEST(AfIntfStatusSm, ARetiredMachineHandlesNothing) {
    this->start();
    this->sm->retire();
    this->clear();
    TypeParam::fill(*this->status);
    TypeParam::handleEach(*this->sm);
    EXPECT_THAT(this->events, IsEmpty());
    EXPECT_THAT(this->traces.messages(), IsEmpty());
    this->sm = nullptr;
    EXPECT_THAT(this->events, IsEmpty());
}

TYPED_TEST(AfIntfStatusSm, AMutedMachineMissesWhatHappensUntilItHandlesAllAgain) {
    this->start();
    this->sm->hasNotificationActiveIs(false);
    TypeParam::fill(*this->status);
    EXPECT_THAT(this->events, IsEmpty());
    this->sm->hasNotificationActiveIs(true);
    EXPECT_THAT(this->events, IsEmpty());
    TypeParam::handleEach(*this->sm);
    EXPECT_THAT(this->events, ElementsAreArray(TypeParam::comings));

    this->clear();
    TypeParam::empty(*this->status);
    EXPECT_THAT(this->events, ElementsAreArray(TypeParam::goings));
}

TYPED_TEST(AfIntfStatusSm, DumpCutsLongListsUnlessItIsVerbose) {
    for (std::string const& addr : TypeParam::listed) {
        TypeParam::addrIs(*this->status, addr.c_str());
    }
    this->start();
    Texts cut = TypeParam::headOfDump;
    cut.insert(cut.end(),
               {"-- The following list will be truncated, use verbose option to display all 3 "
                "entries --",
                TypeParam::listed[0], TypeParam::listed[1],
                "-- This list has been truncated, use verbose option to display all 3 entries --"});
    Texts whole = TypeParam::headOfDump;
    whole.insert(whole.end(), TypeParam::listed.begin(), TypeParam::listed.end());
    EXPECT_EQ(this->dump(2, false, 2), cut);
    EXPECT_EQ(this->dump(2, true, 2), whole);
    EXPECT_EQ(this->dump(0, true, 2), whole);
    EXPECT_EQ(this->dump(2, false, 3), whole);
}

}  // namespace
}  // namespace IpLib::IntfAddrVrfTableImpl
