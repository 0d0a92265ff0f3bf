#include "feeds/netlink/Feed.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>

#include "TestMemory/TestMemory.h"
#include "Zin/Format.h"
#include "feeds/netlink/fake/FakeKernel.h"
#include "router/TestOperations.h"

namespace Netlink {
namespace {

using Fake::FakeKernel;
using Fake::Fault;
using Fake::LinkKind;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::Optional;
using testing::Pair;

struct FeedTest : testing::Test {
    void start(Feed::Options options = {}) {
        options.follower.receiveBuffer = 100'000;
        feed.emplace(
            watched, options,
            [this](std::vector<Routing::Operation> const& operations) {
                batches.emplace_back();
                for (auto const& operation : operations) {
                    batches.back().push_back(Routing::text(operation));
                }
            },
            [this](std::string const& line) { notices.push_back(line); });
    }
    void runTo(Zin::Seconds time) {
        for (int turn = 0; turn < 10'000; ++turn) {
            while (kernel.deliver()) {
            }
            feed->run(kernel.now());
            Zin::Seconds const next = std::min(kernel.nextEvent(), feed->nextExpiry());
            if (next > time) {
                kernel.advanceTo(time);
                return;
            }
            kernel.advanceTo(std::max(next, kernel.now()));
        }
        FAIL() << "it never rests";
    }
    void runOn() { runTo(kernel.now() + 1.0); }
    std::vector<std::string> all() {
        std::vector<std::string> together;
        for (auto const& batch : std::exchange(batches, {})) {
            together.insert(together.end(), batch.begin(), batch.end());
        }
        return together;
    }
    void add(NamespaceId in, std::uint32_t ifIndex, char const* addr) {
        ASSERT_EQ(kernel.links().addAddress({in, ifIndex}, {.own = Nimb::IpGenAddrWithMask(addr)}),
                  0);
    }

    // One whose watch may be had or not.
    struct Watched final : Kernel {
        explicit Watched(FeedTest& test) : test_(test) {}
        NamespaceId ownNamespace() override { return test_.kernel.ownNamespace(); }
        std::vector<NamedNamespace> namedNamespaces() override {
            return test_.kernel.namedNamespaces();
        }
        void watchNamespaces(std::function<void()> changed) override {
            if (changed && test_.unwatchable) {
                throw std::system_error(EMFILE, std::generic_category(), "inotify");
            }
            test_.kernel.watchNamespaces(std::move(changed));
        }
        NamespaceSockets openOwn(std::size_t size, Readable const& readable) override {
            return test_.kernel.openOwn(size, readable);
        }
        NamespaceSockets open(NamedNamespace const& named, std::size_t size,
                              Readable const& readable) override {
            return test_.kernel.open(named, size, readable);
        }

        FeedTest& test_;
    };

    FakeKernel kernel;
    Watched watched{*this};
    bool unwatchable = false;
    NamespaceId const own = kernel.ownNamespace();
    std::vector<std::vector<std::string>> batches;
    std::vector<std::string> notices;
    std::optional<Feed> feed;
};

TEST_F(FeedTest, EveryNamespaceThatIsNamedSoIsAVrfAndAllComeAtOnce) {
    kernel.makeNamespace("ns-red");
    kernel.makeNamespace("blue");
    kernel.makeNamespace("ns-");
    start();
    runTo(1.0);

    ASSERT_EQ(batches.size(), 1U);
    EXPECT_THAT(batches[0],
                ElementsAre("TableAdd default", "IpVrfAdd default", "Ip6VrfAdd default",
                            "TableAdd red", "IpVrfAdd red", "Ip6VrfAdd red",
                            HasSubstr("KernelAdd default lo"), HasSubstr("IpIntfAdd default lo"),
                            HasSubstr("Ip6IntfAdd default lo"), HasSubstr("KernelAdd red lo"),
                            HasSubstr("IpIntfAdd red lo"), HasSubstr("Ip6IntfAdd red lo")));
    EXPECT_TRUE(feed->isStarted());
    EXPECT_THAT(notices, IsEmpty());
}

TEST_F(FeedTest, NothingIsPublishedBeforeAllHaveBeenReadWhole) {
    auto const red = kernel.makeNamespace("ns-red");
    kernel.faults().next(Fault::interruptDump, 0, 3);
    start();
    runTo(0.005);
    EXPECT_THAT(batches, IsEmpty());
    EXPECT_FALSE(feed->isStarted());
    add(red, 1, "10.0.0.1/32");
    runTo(5.0);

    ASSERT_EQ(batches.size(), 1U);
    EXPECT_THAT(batches[0], Contains(HasSubstr("IpIntfAdd red lo 10.0.0.1/32")));
}

TEST_F(FeedTest, WaitsAsLongAsItIsToldLastInEachNamespace) {
    start();
    runTo(1.0);
    feed->coalesceIs(0.5);
    auto const red = kernel.makeNamespace("ns-red");
    runTo(2.0);
    all();
    add(own, 1, "10.0.0.1/32");
    add(red, 1, "10.0.0.2/32");
    runTo(2.4);
    EXPECT_THAT(batches, IsEmpty());
    runTo(2.6);
    EXPECT_THAT(all(),
                AllOf(Contains(HasSubstr("10.0.0.1/32")), Contains(HasSubstr("10.0.0.2/32"))));
}

TEST_F(FeedTest, WhatCannotBeReadHoldsNobodyUpForLong) {
    kernel.makeNamespace("ns-red");
    start();
    kernel.faults().next(Fault::interruptDump, 0, 100'000);
    runTo(9.9);
    EXPECT_FALSE(feed->isStarted());
    runTo(10.1);
    EXPECT_TRUE(feed->isStarted());
    // As far as it has been seen, and with a word of warning.
    EXPECT_THAT(all(), AllOf(Contains("TableAdd default"), Contains("TableAdd red")));
    EXPECT_THAT(feed->stale(), Contains(Pair(L3::VrfName("red"), HasSubstr("interrupted"))));
    EXPECT_THAT(notices, Contains(HasSubstr("interrupted")));
    kernel.faults().end();
    runTo(30.0);

    EXPECT_THAT(feed->stale(), IsEmpty());
}

TEST_F(FeedTest, OneThatMayNotBeEnteredIsLeftOutAndTheOthersAreNot) {
    start();
    kernel.makeNamespace("ns-red");
    runTo(0.0005);
    ASSERT_TRUE(feed->isStarted());
    kernel.makeNamespace("ns-blue");
    kernel.faults().next(Fault::failOpening, EPERM, 3);
    runTo(0.02);

    EXPECT_THAT(feed->leftOut(), Contains(Pair("VRF 'blue'", HasSubstr("not permitted"))));
    EXPECT_THAT(notices, ElementsAre(HasSubstr("VRF 'blue' is left out")));
    runOn();
    EXPECT_THAT(all(), Contains("TableAdd blue"));
}

TEST_F(FeedTest, ANamespaceThatGoesIsWithdrawnAtOnceAndNotKeptAlive) {
    auto const red = kernel.makeNamespace("ns-red");
    start();
    runTo(1.0);
    add(red, 1, "10.0.0.1/32");
    runTo(2.0);
    all();
    ASSERT_EQ(kernel.removeName("ns-red"), 0);
    while (kernel.deliver()) {
    }
    feed->run(kernel.now());

    EXPECT_THAT(all(),
                ElementsAre("IpPrimaryIs red lo 0.0.0.0/0", "IpIntfDel red lo", "Ip6IntfDel red lo",
                            "KernelDel red lo", "Ip6VrfDel red", "IpVrfDel red", "TableDel red"));
    EXPECT_THAT(kernel.namespaces(), ElementsAre(own));
}

TEST_F(FeedTest, WhereNamespacesAreFixedThoseThatComeLaterAreLeftOutAndSaidOnce) {
    auto const red = kernel.makeNamespace("ns-red");
    start({.followsNew = false});
    runTo(1.0);
    EXPECT_THAT(all(), Contains("TableAdd red"));
    kernel.makeNamespace("ns-blue");
    add(red, 1, "10.0.0.1/32");
    runTo(2.0);
    kernel.makeNamespace("ns-green");
    runTo(3.0);

    EXPECT_THAT(notices,
                ElementsAre("namespace 'ns-blue' is left out: it came after the start, and is not "
                            "followed: namespaces are fixed",
                            HasSubstr("'ns-green' is left out")));
    EXPECT_THAT(feed->unreadable("blue"), Optional(HasSubstr("namespaces are fixed")));
    EXPECT_THAT(all(),
                AllOf(Contains(HasSubstr("red lo 10.0.0.1/32")), Not(Contains(HasSubstr("blue")))));
    // One that is made again is another one.
    kernel.removeName("ns-red");
    runTo(4.0);
    kernel.makeNamespace("ns-red");
    runTo(5.0);
    EXPECT_THAT(all(), AllOf(Contains("TableDel red"), Not(Contains("TableAdd red"))));
}

std::string text(L3::VrfName const& vrf, Nimb::IntfId const& intf, Change const& change) {
    std::string what;
    if (auto const* const is = std::get_if<AddressIs>(&change)) {
        what = fmt::format("{}{}", is->address.local, is->address.deprecated ? " deprecated" : "");
    } else if (auto const* const gone = std::get_if<AddressGone>(&change)) {
        what = fmt::format("{} gone", gone->address.local);
    } else if (auto const* const link = std::get_if<LinkIs>(&change)) {
        what = link->link.up ? "up" : "down";
    } else {
        what = "gone";
    }
    return fmt::format("{} {} {}", vrf, intf, what);
}

TEST_F(FeedTest, WhatIsNotifiedIsToldInItsVrfAsItComesWhereItBringsAnythingNew) {
    std::vector<std::string> told;
    std::vector<Zin::Seconds> times;
    add(own, 1, "10.0.0.9/32");
    start({.told = [&](auto const& vrf, auto const& intf, auto const& change, Zin::Seconds now) {
        told.push_back(text(vrf, intf, change));
        times.push_back(now);
    }});
    runTo(1.0);
    EXPECT_THAT(told, IsEmpty()) << "dumps tell nothing";
    ASSERT_EQ(kernel.links().add(LinkKind::vrf, {own, "blue", 2}), 0);
    ASSERT_EQ(kernel.links().add(LinkKind::dummy, {own, "eth0", 3}), 0);
    runTo(2.0);
    ASSERT_EQ(kernel.links().setMaster({own, 3}, 2), 0);
    runTo(3.0);
    told.clear();
    times.clear();

    add(own, 3, "10.0.0.1/24");
    runTo(4.0);
    EXPECT_THAT(told, ElementsAre("blue eth0 10.0.0.1"));
    EXPECT_THAT(times, ElementsAre(testing::AllOf(testing::Ge(3.0), testing::Lt(4.0))));
    ASSERT_EQ(
        kernel.links().replaceAddress({own, 3}, {.own = Nimb::IpGenAddrWithMask("10.0.0.1/24")}),
        0);
    runTo(5.0);
    EXPECT_EQ(told.size(), 1U) << "it is there as it was";
    ASSERT_EQ(
        kernel.links().removeAddress({own, 3}, {.own = Nimb::IpGenAddrWithMask("10.0.0.1/24")}), 0);
    runTo(6.0);
    EXPECT_THAT(told, ElementsAre("blue eth0 10.0.0.1", "blue eth0 10.0.0.1 gone"));
    ASSERT_EQ(kernel.links().remove({own, 3}), 0);
    runTo(7.0);
    EXPECT_THAT(told, Contains(HasSubstr("eth0 gone")));
}

TEST_F(FeedTest, WhatIsPublishedStaysWhereMemoryFailsUntilAllHasBeenReadAnew) {
    start();
    add(own, 1, "10.0.0.1/32");
    add(own, 1, "10.0.0.2/32");
    kernel.links().add(LinkKind::vrf, {own, "blue", 5});
    runTo(20.0);
    all();
    kernel.links().removeAddress({own, 1}, {.own = Nimb::IpGenAddrWithMask("10.0.0.1/32")});
    add(own, 1, "10.0.0.3/32");
    kernel.deliver();
    feed->run(20.0);
    kernel.advanceTo(20.001);
    {
        TestMemory::OneFailure const failure(0);
        feed->run(20.001);
        ASSERT_TRUE(failure.happened());
    }
    EXPECT_THAT(feed->stale(), Contains(Pair(L3::VrfName("default"), HasSubstr("no memory"))));
    EXPECT_THAT(feed->stale(), Contains(Pair(L3::VrfName("blue"), HasSubstr("no memory"))));
    kernel.faults().next(Fault::interruptDump, 0, 3);
    runTo(20.02);
    EXPECT_THAT(feed->stale(), Contains(Pair(L3::VrfName("default"), HasSubstr("interrupted"))));
    EXPECT_THAT(all(), IsEmpty());
    runTo(22.0);

    EXPECT_THAT(feed->stale(), IsEmpty());
    EXPECT_THAT(
        all(),
        ElementsAre("IpPrimaryIs default lo 0.0.0.0/0", "IpSecondaryDel default lo 10.0.0.2/32",
                    "IpPrimaryIs default lo 10.0.0.2/32", "IpSecondaryAdd default lo 10.0.0.3/32"));
}

TEST_F(FeedTest, ANamespaceThatIsMadeAgainIsNewAndItsPredecessorDoesNotWaitForIt) {
    kernel.makeNamespace("ns-red");
    start();
    runTo(1.0);
    all();
    kernel.removeName("ns-red");
    auto const red = kernel.makeNamespace("ns-red");
    add(red, 1, "10.0.0.1/32");
    kernel.faults().next(Fault::interruptDump);
    while (kernel.deliver()) {
    }
    feed->run(kernel.now());
    EXPECT_THAT(all(), Contains("TableDel red"));
    runOn();

    EXPECT_THAT(all(), AllOf(Contains("TableAdd red"), Contains(HasSubstr("lo 10.0.0.1/32"))));
}

TEST_F(FeedTest, AFileIsNoNamespaceBeforeOneIsMountedOnIt) {
    kernel.makeName("ns-red");
    start();
    runTo(1.0);
    EXPECT_THAT(all(), Not(Contains("TableAdd red")));
    kernel.makeNamespace("ns-red");
    runOn();

    EXPECT_THAT(all(), Contains("TableAdd red"));
}

TEST_F(FeedTest, TwoNamesOfOneNamespaceAreOneVrfAndOneThatIsLeftOut) {
    auto const red = kernel.makeNamespace("ns-red");
    kernel.nameNamespace("ns-blue", red);
    kernel.nameNamespace("ns-own", own);
    start();
    runTo(1.0);
    EXPECT_THAT(all(), AllOf(Contains("TableAdd blue"), Not(Contains("TableAdd red")),
                             Not(Contains("TableAdd own"))));
    EXPECT_THAT(notices,
                ElementsAre("namespace 'ns-own' is left out: it is the program's own namespace",
                            "namespace 'ns-red' is left out: it is ns-blue under another name"));
    kernel.removeName("ns-blue");
    runOn();

    EXPECT_THAT(all(), AllOf(Contains("TableDel blue"), Contains("TableAdd red")));
}

TEST_F(FeedTest, NamesThatMakeNoVrfAreLeftOutAndSaidOnce) {
    std::string const tooLong(150, 'x');
    kernel.makeNamespace("ns-default");
    kernel.makeNamespace("ns-" + tooLong);
    start();
    runTo(1.0);
    kernel.makeNamespace("ns-red");
    runTo(2.0);

    EXPECT_THAT(notices, ElementsAre(HasSubstr("namespace 'ns-default' is left out: "),
                                     AllOf(HasSubstr(tooLong), HasSubstr("150 not allowed"))));
    EXPECT_EQ(feed->leftOut().size(), 2U);
}

TEST_F(FeedTest, AVrfDeviceIsAVrfWithWhatBelongsToIt) {
    auto const red = kernel.makeNamespace("ns-red");
    kernel.links().add(LinkKind::vrf, {own, "green", 5});
    kernel.links().add(LinkKind::dummy, {own, "eth0", 6});
    kernel.links().add(LinkKind::vrf, {red, "green", 5});
    kernel.links().setMaster({own, 6}, 5);
    start();
    runTo(1.0);
    EXPECT_THAT(all(), AllOf(Contains("TableAdd green"), Contains("TableAdd red/green"),
                             Contains(HasSubstr("KernelAdd green green")),
                             Contains(HasSubstr("KernelAdd green eth0")),
                             Contains(HasSubstr("KernelAdd red/green green"))));
    kernel.links().setMaster({own, 6}, 0);
    runOn();
    EXPECT_THAT(all(), AllOf(Contains("KernelDel green eth0"),
                             Contains(HasSubstr("KernelAdd default eth0"))));
    kernel.links().remove({own, 5});
    runOn();

    EXPECT_THAT(all(), Contains("TableDel green"));
}

TEST_F(FeedTest, AVrfDeviceWhoseNameIsTakenIsLeftOutUntilItIsFree) {
    kernel.links().add(LinkKind::vrf, {own, "red", 5});
    kernel.links().add(LinkKind::vrf, {own, "default", 6});
    start();
    runTo(1.0);
    EXPECT_THAT(all(), Contains(HasSubstr("KernelAdd red red")));
    EXPECT_THAT(feed->leftOut(), ElementsAre(Pair("device of VRF 'default'", testing::_)));
    kernel.makeNamespace("ns-red");
    runOn();
    EXPECT_THAT(all(),
                AllOf(Contains("KernelDel red red"), Contains(HasSubstr("KernelAdd red lo"))));
    EXPECT_THAT(feed->leftOut(), Contains(Pair("device of VRF 'red'", HasSubstr("namespace"))));
    kernel.removeName("ns-red");
    runOn();

    EXPECT_THAT(all(), Contains(HasSubstr("KernelAdd red red")));
}

TEST_F(FeedTest, WhatIsStaleSaysWhy) {
    start();
    kernel.links().add(LinkKind::vrf, {own, "green", 5});
    runTo(1.0);
    EXPECT_THAT(feed->stale(), IsEmpty());
    kernel.faults().next(Fault::interruptDump, 0, 2);
    kernel.overrun(own);
    kernel.links().setUp({own, 5}, true);
    runTo(1.002);
    EXPECT_THAT(feed->stale(), ElementsAre(Pair(L3::VrfName("default"), HasSubstr("interrupted")),
                                           Pair(L3::VrfName("green"), HasSubstr("interrupted"))));
    runTo(3.0);

    EXPECT_THAT(feed->stale(), IsEmpty());
}

TEST_F(FeedTest, WhereNamesCannotBeReadNothingGoes) {
    kernel.makeNamespace("ns-red");
    start();
    runTo(1.0);
    all();
    kernel.faults().next(Fault::failListing, EMFILE);
    kernel.makeNamespace("ns-blue");
    runTo(1.5);
    EXPECT_THAT(all(), IsEmpty());
    runTo(3.0);

    EXPECT_THAT(all(), Contains("TableAdd blue"));
}

TEST_F(FeedTest, TheNameOfTheOwnVrfForAnotherNamespaceHarmsNobody) {
    kernel.makeNamespace("ns-default");
    start();
    runTo(1.0);

    EXPECT_FALSE(feed->unreadable("default"));
    EXPECT_THAT(all(), Contains("TableAdd default"));
}

TEST_F(FeedTest, WithoutAWatchNamesAreLookedAtEachSecond) {
    start({.watches = false});
    runTo(1.0);
    all();
    kernel.makeNamespace("ns-red");
    runTo(5.0);
    EXPECT_THAT(all(), IsEmpty());  // nor is it of interest

    unwatchable = true;
    start();
    runTo(6.0);
    EXPECT_THAT(notices, ElementsAre(HasSubstr("looked at each second")));
    kernel.makeNamespace("ns-blue");
    runTo(7.5);
    EXPECT_THAT(all(), Contains("TableAdd blue"));
}

TEST_F(FeedTest, OnlyWhatIsAskedForIsRead) {
    kernel.makeNamespace("ns-red");
    kernel.makeNamespace("ns-blue");
    start({.only = "red/green"});
    runTo(1.0);

    EXPECT_THAT(all(), AllOf(Contains("TableAdd red"), Not(Contains("TableAdd blue"))));
}

TEST_F(FeedTest, EachAddressSaysWhetherItIsPublished) {
    add(own, 1, "10.0.0.1/32");
    start({.policy = {.leftOut = {"lo"}}});
    runTo(1.0);
    std::vector<std::string> told;
    feed->forEachAddress([&told](auto const& vrf, auto const& intf, AddressPicture const& address) {
        told.push_back(fmt::format("{} {} {} {}", vrf, intf, address.addr, toStrep(address.place)));
    });

    EXPECT_THAT(told, ElementsAre("default lo 10.0.0.1/32 left out"));
}

}  // namespace
}  // namespace Netlink
