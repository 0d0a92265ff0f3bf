// What a VRF's machine shows of itself.
#include <gmock/gmock.h>

#include <limits>

#include "IpLib/IntfAddrVrfTableSm/TestSmFixture.h"
#include "Zin/Format.h"

namespace IpLib {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr std::uint32_t minusTwo = std::numeric_limits<std::uint32_t>::max() - 1;

class Fixture : public TestKit::SmFixture {
public:
    using SmFixture::SmFixture;

    std::string dump(std::uint32_t indent = 0) const { return written(true, 0, indent); }
    std::string cutDump(std::uint32_t maxEntries, std::uint32_t indent = 0) const {
        return written(false, maxEntries, indent);
    }

private:
    std::string written(bool verbose, std::uint32_t maxEntries, std::uint32_t indent) const {
        auto const context = Velk::textDumpContextFactory(verbose, maxEntries);
        sm->dumpState(context, indent);
        return context->text();
    }
};

// The lines of a dump from the one that begins with `first`, so many of them.
std::string linesFrom(std::string const& dump, std::string const& first, std::size_t count) {
    std::size_t const begin = dump.find(first);
    if (begin == std::string::npos) {
        return {};
    }
    std::size_t end = begin;
    for (; count > 0 && end < dump.size(); --count) {
        end = dump.find('\n', end) + 1;
    }
    return dump.substr(begin, end - begin);
}

std::size_t countOf(std::string const& text, std::string const& part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

std::string const notice =
    "-- The following list will be truncated, use verbose option to display all ";
std::string const lastNotice =
    "-- This list has been truncated, use verbose option to display all ";

// The dump of a machine with one address of each family; `own` goes ahead of the machine's own
// lines, `child` ahead of those of its children.
std::string smallDump(Fixture const& fixture, std::string const& own, std::string const& child,
                      std::string const& grandchild) {
    auto const row = [&](char const* addr) {
        return fixture.table->intfAddrEntryFromAddr(
            IntfAddrEntryKey::makeIpKey(Nimb::IpGenAddr(addr)));
    };
    auto const set = [&](char const* subnet) {
        return fixture.table->intfAddrEntrySetFromSubnet(Nimb::IpGenPrefix(subnet));
    };
    return fmt::format(
        "{0}IntfAddVrfTableSm VRF=blue netns=ns-blue\n"
        "{0}SmConfig [ intfCleanupDelay 1.5;deferredIntfAddDelay 2;ignoreKernelInterfaceState "
        "false;taskPriority normal ]\n"
        "{0}vrfIpIntfStatus {3} count 1\n"
        "{0}Ethernet1 active is 10.0.0.1/24 with 1 secondary addresses\n"
        "{0}vrfIp6IntfStatus {4} count 1\n"
        "{0}Ethernet1 has 1 addresses: 2001:db8::1/64\n"
        "{0}kernelIntfDir {5} count 1\n"
        "{0}Ethernet1 deviceName=Ethernet1 ifIndex=1 operStatus=up active=true\n"
        "{0}kniKernelHistory with size 1 and count 1\n"
        "{0}  0.000000 Ethernet1 present\n"
        "{0}IntfAddrVrfTable\n"
        "{1}intfAddrEntry count 3\n"
        "{2}{6} = [ intfId=;addr=10.0.0.1;virtualIp=false;subnet=10.0.0.0/24 ]\n"
        "{2}{7} = [ intfId=;addr=10.0.0.2;virtualIp=false;subnet=10.0.0.0/24 ]\n"
        "{2}{8} = [ intfId=;addr=2001:db8::1;virtualIp=false;subnet=2001:db8::/64 ]\n"
        "{1}intfAddrEntryFromAddr count 3\n"
        "{2}{6} = [ intfId=;addr=10.0.0.1;virtualIp=false ]\n"
        "{2}{7} = [ intfId=;addr=10.0.0.2;virtualIp=false ]\n"
        "{2}{8} = [ intfId=;addr=2001:db8::1;virtualIp=false ]\n"
        "{1}intfAddrEntrySetFromSubnet count 2\n"
        "{2}{9} = [ 10.0.0.0/24 ][ Ethernet1 ][ count 2 ]\n"
        "{2}  {6} = [ intfId=;addr=10.0.0.1;virtualIp=false;subnet=10.0.0.0/24 ]\n"
        "{2}  {7} = [ intfId=;addr=10.0.0.2;virtualIp=false;subnet=10.0.0.0/24 ]\n"
        "{2}{10} = [ 2001:db8::/64 ][ Ethernet1 ][ count 1 ]\n"
        "{2}  {8} = [ intfId=;addr=2001:db8::1;virtualIp=false;subnet=2001:db8::/64 ]\n"
        "{1}llIntfAddrEntryFromIntfId count 0\n"
        "{0}AllIntfAddrWithMask\n"
        "{1}AllIntfAddrWithMask all count 3 byIntfId count 1\n"
        "{1}intfId=Ethernet1;addrWithMask=10.0.0.1/24;deprecated=false"
        "{1}intfId=Ethernet1;addrWithMask=10.0.0.2/24;deprecated=false"
        "{1}intfId=Ethernet1;addrWithMask=2001:db8::1/64;deprecated=false"
        "{2}IntfAddWithMaskByIntfId for Ethernet1 with count 3\n"
        "{2}intfId=Ethernet1;addrWithMask=10.0.0.1/24"
        "{2}intfId=Ethernet1;addrWithMask=10.0.0.2/24"
        "{2}intfId=Ethernet1;addrWithMask=2001:db8::1/64"
        "{1}IpIntfStatus intfId=Ethernet1\n"
        "{1}maybeShadowPrimaryAddr 10.0.0.1/24\n"
        "{1}maybeShadowIsUnnumbered false\n"
        "{1}activeAddrWithMask 10.0.0.1/24\n"
        "{1}unnumberedIntfId \n"
        "{1}secondaryActiveAddrWithMask count 1\n"
        "{1}10.0.0.2/24\n"
        "{1}Ip6IntfStatus intfId=Ethernet1\n"
        "{1}addr count 1\n"
        "{1}2001:db8::1/64\n"
        "{1}backlog has 0 items\n"
        "{1}backlogQueue has 0 items\n"
        "{1}backlog has 0 items\n"
        "{1}IntfCleanupSm VRF=blue with delay 1\n"
        "{2}task IntfCleanup-VRF-blue priority normal scheduled false work pending 0 work done 0\n"
        "{1}DeferredIntfSm VRF=blue with delay 2\n"
        "{1}bookmark is \n"
        "{2}task DeferredIntfAdd-VRF-blue priority normal scheduled false work pending 0 work done "
        "0\n",
        own, child, grandchild, fixture.vrfIp, fixture.vrfIp6, fixture.kernel, row("10.0.0.1"),
        row("10.0.0.2"), row("2001:db8::1"), set("10.0.0.0/24"), set("2001:db8::/64"));
}

void publishSmall(Fixture& fixture) {
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.secondary("Ethernet1", "10.0.0.2/24");
    fixture.ip6("Ethernet1", "2001:db8::1/64");
}

TEST(IntfAddrVrfTableSmDump, HasInputsThenTableThenWorkingRowsThenChildren) {
    Fixture fixture;
    publishSmall(fixture);
    EXPECT_EQ(fixture.dump(), smallDump(fixture, "", "  ", "    "));
}

TEST(IntfAddrVrfTableSmDump, IndentsEveryLine) {
    Fixture fixture;
    publishSmall(fixture);
    EXPECT_EQ(fixture.dump(3), smallDump(fixture, "   ", "     ", "       "));
}

TEST(IntfAddrVrfTableSmDump, WrapsTheIndentationOfItsChildrenAround) {
    Fixture fixture;
    publishSmall(fixture);
    EXPECT_EQ(fixture.dump(minusTwo), smallDump(fixture, "  ", "", "  "));
}

TEST(IntfAddrVrfTableSmDump, GoesToStandardOutputInFullWithoutAContext) {
    Fixture fixture;
    publishSmall(fixture);
    testing::internal::CaptureStdout();
    fixture.sm->dumpState(nullptr, 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), smallDump(fixture, "", "  ", "    "));
}

TEST(IntfAddrVrfTableSmDump, OfAMachineWithoutInputsAndDelays) {
    TestKit::VirtualTime const time;
    auto const sm = intfAddrVrfTableSmFactory(
        "default", L3::VrfName("default").nsName(),
        {.intfCleanupDelay = 0.0, .deferredIntfAddDelay = 0.0, .ignoreKernelInterfaceState = true},
        time.scheduler(), nullptr, nullptr, nullptr, nullptr);
    auto const context = Velk::textDumpContextFactory(false, 0);
    sm->dumpState(context, 0);
    EXPECT_EQ(context->text(),
              fmt::format("IntfAddVrfTableSm VRF=default netns={}\n"
                          "SmConfig [ intfCleanupDelay 0;deferredIntfAddDelay 0;"
                          "ignoreKernelInterfaceState true;taskPriority normal ]\n"
                          "vrfIpIntfStatus null count 0\n"
                          "vrfIp6IntfStatus null count 0\n"
                          "kernelIntfDir null count 0\n"
                          "kniKernelHistory with size 0 and count 0\n"
                          "IntfAddrVrfTable\n"
                          "AllIntfAddrWithMask\n"
                          "  AllIntfAddrWithMask all count 0 byIntfId count 0\n"
                          "  backlog has 0 items\n"
                          "  DeferredIntfSm VRF=default with delay 0\n"
                          "  bookmark is \n"
                          "    task DeferredIntfAdd-VRF-default priority normal scheduled false "
                          "work pending 0 work done 0\n",
                          L3::VrfName("default").nsName()));
}

TEST(IntfAddrVrfTableSmDump, LeavesOutTheChildrenThatAreNotThere) {
    Fixture fixture;
    fixture.sm->intfCleanupSmDel();
    fixture.sm->intfCleanupBacklogDel();
    fixture.sm->deferredIntfAddSmDel();
    fixture.sm->deferredIntfAddBacklogDel();
    fixture.sm->allIntfAddrWithMaskDel();
    EXPECT_THAT(fixture.dump(), testing::EndsWith("llIntfAddrEntryFromIntfId count 0\n"
                                                  "AllIntfAddrWithMask\n"));
}

TEST(IntfAddrVrfTableSmDump, SaysWhereAnInterfaceHasNoAddress) {
    Fixture fixture;
    fixture.ipStatus("Ethernet1");
    fixture.ip6Status("Ethernet1");
    auto const dump = fixture.dump();
    EXPECT_THAT(dump, HasSubstr("Ethernet1 active is none with 0 secondary addresses\n"));
    EXPECT_THAT(dump, HasSubstr("Ethernet1 has 0 addresses\n"));
    EXPECT_THAT(dump, HasSubstr("maybeShadowPrimaryAddr <None>\n"));
}

TEST(IntfAddrVrfTableSmDump, HasTheAddressesOfAnInterfaceOnItsLine) {
    Fixture fixture;
    fixture.ip6("Ethernet1", "fe80::1/64");
    fixture.ip6("Ethernet1", "2001:db8::2/64", true);
    fixture.ip6("Ethernet1", "2001:db8::1/128");
    EXPECT_THAT(fixture.cutDump(1),
                HasSubstr("Ethernet1 has 3 addresses: fe80::1/64, 2001:db8::2/64, "
                          "2001:db8::1/128\n"));
}

TEST(IntfAddrVrfTableSmDump, ListsInterfacesInOrderOfTheBytesOfTheirNames) {
    Fixture fixture;
    for (char const* name : {"lo", "Ethernet2", "Ethernet10", "a"}) {
        fixture.ipStatus(name);
        fixture.ip6Status(name);
    }
    auto const dump = fixture.dump();
    EXPECT_EQ(linesFrom(dump, "Ethernet10 active", 4),
              "Ethernet10 active is none with 0 secondary addresses\n"
              "Ethernet2 active is none with 0 secondary addresses\n"
              "a active is none with 0 secondary addresses\n"
              "lo active is none with 0 secondary addresses\n");
    EXPECT_EQ(linesFrom(dump, "Ethernet10 has", 4),
              "Ethernet10 has 0 addresses\n"
              "Ethernet2 has 0 addresses\n"
              "a has 0 addresses\n"
              "lo has 0 addresses\n");
    EXPECT_EQ(linesFrom(dump, "Ethernet10 deviceName", 4),
              "Ethernet10 deviceName=Ethernet10 ifIndex=1 operStatus=up active=true\n"
              "Ethernet2 deviceName=Ethernet2 ifIndex=1 operStatus=up active=true\n"
              "a deviceName=a ifIndex=1 operStatus=up active=true\n"
              "lo deviceName=lo ifIndex=1 operStatus=up active=true\n");
    EXPECT_LT(dump.find("  IpIntfStatus intfId=Ethernet10"),
              dump.find("  IpIntfStatus intfId=Ethernet2"));
    EXPECT_LT(dump.find("  IpIntfStatus intfId=lo"),
              dump.find("  Ip6IntfStatus intfId=Ethernet10"));
    EXPECT_LT(dump.find("  Ip6IntfStatus intfId=a"), dump.find("  Ip6IntfStatus intfId=lo"));
}

TEST(IntfAddrVrfTableSmDump, SaysWhatTheKernelSaysOfItsInterfaces) {
    Fixture fixture;
    fixture.kernel->deviceIntfStatusIs(Interface::deviceIntfStatusFactory(
        "Ethernet1", "et1", 4294967295, Interface::OperStatus::lowerLayerDown, false));
    EXPECT_THAT(fixture.dump(), HasSubstr("Ethernet1 deviceName=et1 ifIndex=4294967295 "
                                          "operStatus=lowerLayerDown active=false\n"));
}

TEST(IntfAddrVrfTableSmDump, HasTheKernelsChangesNewestFirstWithTheirAges) {
    Fixture fixture;
    EXPECT_EQ(linesFrom(fixture.dump(), "kniKernelHistory", 2),
              "kniKernelHistory with size 0 and count 0\nIntfAddrVrfTable\n");
    fixture.kernelIs("Ethernet1");  // joins, and is reported again
    fixture.time.advance(1234.5);
    fixture.kernelDel("Ethernet1");
    fixture.time.advance(0.0625);
    fixture.kernelIs("Ethernet1");
    EXPECT_EQ(linesFrom(fixture.dump(1), " kniKernelHistory", 6),
              " kniKernelHistory with size 4 and count 4\n"
              "   0.000000 Ethernet1 present\n"
              "   0.062500 Ethernet1 not present\n"
              " 1234.562500 Ethernet1 present\n"
              " 1234.562500 Ethernet1 present\n"
              " IntfAddrVrfTable\n");
}

TEST(IntfAddrVrfTableSmDump, HasTheLast256OfThreeHundredChanges) {
    Fixture fixture;
    fixture.kernelIs("Ethernet1");
    fixture.smIs();
    for (int i = 0; i < 300; ++i) {
        fixture.kernelIs("Ethernet1");
    }
    EXPECT_EQ(fixture.sm->kniKernelHistory().count(), 300u);
    EXPECT_THAT(fixture.dump(), HasSubstr("kniKernelHistory with size 256 and count 300\n"));
    EXPECT_EQ(countOf(fixture.dump(), " Ethernet1 present\n"), 256u);

    // All of them, also where lists are cut.
    EXPECT_EQ(countOf(fixture.cutDump(2), " Ethernet1 present\n"), 256u);
}

TEST(IntfAddrVrfTableSmDump, HasTenOfTwelveWorkingRowsWhereTenAreWanted) {
    Fixture fixture;
    for (int i = 1; i <= 12; ++i) {
        fixture.secondary("Ethernet1", fmt::format("10.0.0.{}/24", i));
    }
    auto const dump = fixture.cutDump(10);
    auto const rows = linesFrom(dump, "  AllIntfAddrWithMask all count 12 byIntfId count 1\n", 3);
    EXPECT_THAT(rows, HasSubstr(fmt::format("  {}12 entries --\n  intfId=Ethernet1;"
                                            "addrWithMask=10.0.0.1/24;deprecated=false",
                                            notice)));
    EXPECT_THAT(rows,
                testing::EndsWith(fmt::format(
                    "addrWithMask=10.0.0.10/24;deprecated=false  {}12 entries --\n", lastNotice)));
    EXPECT_EQ(countOf(dump, "deprecated="), 10u);
    EXPECT_THAT(fixture.cutDump(12), Not(HasSubstr(notice)));
}

TEST(IntfAddrVrfTableSmDump, CutsEachOfItsListsWhereItIsTooLong) {
    Fixture fixture;
    for (char const* name : {"Ethernet1", "Ethernet2", "Ethernet3"}) {
        fixture.ipStatus(name);
        fixture.ip6Status(name);
    }
    auto const dump = fixture.cutDump(1, 2);
    auto const begin = fmt::format("  {}3 entries --\n", notice);
    auto const end = fmt::format("  {}3 entries --\n", lastNotice);
    // Status of both families, directory, machines of both families.
    EXPECT_EQ(countOf(dump, begin), 5u);
    EXPECT_EQ(countOf(dump, end), 5u);
    EXPECT_THAT(dump,
                HasSubstr(fmt::format("count 3\n{}"
                                      "  Ethernet1 active is none with 0 secondary addresses\n{}",
                                      begin, end)));
    EXPECT_THAT(dump,
                HasSubstr(fmt::format("count 3\n{}  Ethernet1 has 0 addresses\n{}", begin, end)));
    EXPECT_THAT(dump, HasSubstr(fmt::format("{}    Ip6IntfStatus intfId=Ethernet1\n"
                                            "    addr count 0\n{}",
                                            begin, end)));
    EXPECT_EQ(countOf(dump, "IpIntfStatus intfId="), 1u);
}

}  // namespace
}  // namespace IpLib
