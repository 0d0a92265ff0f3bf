#include "feeds/netlink/fake/FakeKernel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <system_error>

#include "feeds/netlink/fake/TestBench.h"

namespace Netlink::Fake {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct FakeKernelTest : testing::Test, Bench {
    FakeKernelTest() {
        kernel.watchNamespaces([this] { ++changes; });
    }
    NamespaceSockets open(char const* name, NamespaceId id) {
        return kernel.open({.name = name, .id = id}, 1000, {});
    }
    // The errno of opening it, 0 where it could be.
    int errorOfOpening(char const* name, NamespaceId id) {
        try {
            open(name, id);
            return 0;
        } catch (std::system_error const& error) {
            return error.code().value();
        }
    }
    void settle() {
        while (kernel.deliver()) {
        }
    }

    int changes = 0;
};

TEST_F(FakeKernelTest, NamesWithoutANamespaceAreNotListed) {
    kernel.makeName("early");
    NamespaceId const red = kernel.makeNamespace("red");
    kernel.nameNamespace("blue", red);

    EXPECT_THAT(kernel.namedNamespaces(),
                ElementsAre(NamedNamespace{"blue", red}, NamedNamespace{"red", red}));
    EXPECT_EQ(changes, 0);
    settle();
    EXPECT_EQ(changes, 1);
}

TEST_F(FakeKernelTest, ANameStandsForOneNamespaceAtATime) {
    NamespaceId const red = kernel.makeNamespace("red");
    auto const held = open("red", red);
    kernel.removeName("red");
    EXPECT_EQ(errorOfOpening("red", red), ENOENT);

    NamespaceId const again = kernel.makeNamespace("red");

    EXPECT_NE(again, red);
    EXPECT_EQ(errorOfOpening("red", red), ENOENT);
    EXPECT_EQ(errorOfOpening("red", again), 0);
}

TEST_F(FakeKernelTest, ANamespaceLivesWhileItHasANameOrASocketAndTakesPeersAlong) {
    NamespaceId const red = kernel.makeNamespace("red");
    kernel.nameNamespace("blue", red);
    kernel.links().addVeth({home, "near"}, {red, "far"});
    std::optional<NamespaceSockets> there = open("red", red);
    forget();

    kernel.removeName("red");
    kernel.removeName("blue");
    there->dumps.reset();
    EXPECT_THAT(told(), IsEmpty());
    there.reset();

    EXPECT_THAT(told(), ElementsAre("DELLINK 2 near state 2 kind veth"));
    EXPECT_THAT(kernel.namespaces(), ElementsAre(home));
    EXPECT_EQ(kernel.makeNamespace("red"), red);  // Another one under its number.
}

TEST_F(FakeKernelTest, AReaderIsCalledOnceUntilItHasReadToTheEnd) {
    addDummy("eth0");
    EXPECT_EQ(calls, 0);

    settle();
    addDummy("eth1");
    settle();
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(told().size(), 2U);
    addDummy("eth2");
    settle();
    EXPECT_EQ(calls, 2);
}

TEST_F(FakeKernelTest, AReaderMayCloseItsSocketsWhileItIsCalled) {
    std::optional<NamespaceSockets> second;
    int called = 0;
    second = kernel.openOwn(1000, [&] {
        ++called;
        second.reset();
    });
    second->dumps->send(dumpRequest(RTM_GETLINK));
    addDummy("eth0");

    settle();

    EXPECT_EQ(called, 1);
}

TEST_F(FakeKernelTest, AFullReceiveBufferLosesWhatComes) {
    kernel.receiveBufferLimit = 2 * (1000 + ReceiveQueue::overhead);
    sockets = kernel.openOwn(1U << 20, {});
    EXPECT_EQ(sockets.receiveBuffer, kernel.receiveBufferLimit);

    for (int i = 0; i < 5; ++i) {
        addDummy("eth" + std::to_string(i));
    }

    EXPECT_THAT(told(), testing::AllOf(testing::SizeIs(testing::Lt(6U)),
                                       testing::Contains("ENOBUFS").Times(1)));
}

TEST_F(FakeKernelTest, ListingAndOpeningFailWhereAFaultStrikes) {
    NamespaceId const red = kernel.makeNamespace("red");
    settle();
    kernel.faults().next(Fault::failListing, EMFILE);
    kernel.faults().next(Fault::failOpening, EPERM);
    kernel.faults().next(Fault::forgetName);

    EXPECT_THROW(kernel.namedNamespaces(), std::system_error);
    EXPECT_EQ(errorOfOpening("red", red), EPERM);
    EXPECT_THAT(kernel.namedNamespaces(), IsEmpty());
    settle();
    EXPECT_EQ(changes, 2);
    EXPECT_EQ(kernel.namedNamespaces().size(), 1U);
    EXPECT_EQ(errorOfOpening("red", red), 0);
}

TEST_F(FakeKernelTest, TheWatcherMayBeCalledLateButIsAtLast) {
    kernel.faults().next(Fault::delayNames);
    kernel.makeNamespace("red");
    double const due = kernel.nextEvent();
    EXPECT_LT(due, FaultPlan().longestDelay);

    kernel.runTo(due);

    EXPECT_EQ(changes, 1);
}

}  // namespace
}  // namespace Netlink::Fake
