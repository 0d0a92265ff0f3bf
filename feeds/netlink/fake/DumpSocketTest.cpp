#include "feeds/netlink/fake/DumpSocket.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <system_error>

#include "feeds/netlink/fake/TestBench.h"

namespace Netlink::Fake {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct DumpSocketTest : testing::Test, Bench {
    DumpSocketTest() {
        addDummy("eth0", 2);
        addDummy("eth1", 3);
        kernel.links().addAddress({home, 2}, address("10.0.0.1/24"));
        kernel.links().addAddress({home, 2}, address("fd00::1/64"));
        kernel.links().addAddress({home, 3}, address("10.1.0.1/24"));
    }
    void ask(std::uint16_t type) { sockets.dumps->send(dumpRequest(type)); }
    // Of one datagram.
    Lines receive() {
        std::array<std::byte, 8192> buffer{};
        auto const received = sockets.dumps->receive(buffer);
        return received ? messageTexts(std::span(buffer).first(received->size)) : Lines();
    }
};

TEST_F(DumpSocketTest, LinksComeInOrderOfTheirIndexes) {
    EXPECT_THAT(dump(RTM_GETLINK),
                ElementsAre("NEWLINK 1 lo state 2", "NEWLINK 2 eth0 state 2 kind dummy",
                            "NEWLINK 3 eth1 state 2 kind dummy", "DONE"));
}

TEST_F(DumpSocketTest, Ip4AddressesComeFirst) {
    EXPECT_THAT(dump(RTM_GETADDR), ElementsAre("NEWADDR 2 10.0.0.1/24 flags 80 label eth0",
                                               "NEWADDR 3 10.1.0.1/24 flags 80 label eth1",
                                               "NEWADDR 2 fd00::1/64 flags 80", "DONE"));
}

TEST_F(DumpSocketTest, EachDatagramTellsWhatIsThereWhenTheOneBeforeIsRead) {
    kernel.datagramLimitIs(1);
    ask(RTM_GETLINK);
    EXPECT_THAT(receive(), ElementsAre("NEWLINK 1 lo state 2"));

    // The second one is made by now.
    kernel.links().rename({home, 2}, "late");
    kernel.links().rename({home, 3}, "early");

    EXPECT_THAT(receive(), ElementsAre("NEWLINK 2 eth0 state 2 kind dummy"));
    EXPECT_THAT(receive(), ElementsAre("NEWLINK 3 early state 2 kind dummy"));
    EXPECT_THAT(receive(), ElementsAre("DONE"));
    EXPECT_THAT(receive(), IsEmpty());
}

TEST_F(DumpSocketTest, WhatAppearsOrGoesMeanwhileInterruptsADump) {
    kernel.datagramLimitIs(1);
    ask(RTM_GETADDR);
    receive();

    kernel.links().addAddress({home, 2}, address("10.2.0.1/24"));

    EXPECT_THAT(receive(), ElementsAre("NEWADDR 3 10.1.0.1/24 flags 80 label eth1"));
    // Of IPv4 there is nothing left, of IPv6 nothing has changed.
    EXPECT_THAT(receive(), ElementsAre("NEWADDR 2 fd00::1/64 flags 80"));
    EXPECT_THAT(receive(), ElementsAre("DONE"));
    ask(RTM_GETLINK);
    receive();
    kernel.links().remove({home, 2});
    receive();
    EXPECT_THAT(receive(), ElementsAre("interrupted NEWLINK 3 eth1 state 2 kind dummy"));
}

TEST_F(DumpSocketTest, ASecondRequestIsRefusedWhileOneIsAnswered) {
    kernel.datagramLimitIs(1);
    ask(RTM_GETLINK);
    ask(RTM_GETADDR);

    EXPECT_THAT(receiveTexts(*sockets.dumps),
                ElementsAre("NEWLINK 1 lo state 2", testing::EndsWith("ERROR errno 16"),
                            "NEWLINK 2 eth0 state 2 kind dummy",
                            "NEWLINK 3 eth1 state 2 kind dummy", "DONE"));
}

TEST_F(DumpSocketTest, OtherRequestsAreRefused) {
    sockets.dumps->send(Messages::message(RTM_DELLINK, Messages::linkInfo(2),
                                          {.flags = NLM_F_REQUEST, .sequence = 5}));

    EXPECT_THAT(receiveTexts(*sockets.dumps), ElementsAre(testing::EndsWith("ERROR errno 95")));
    EXPECT_NE(kernel.link(home, "eth0"), nullptr);
}

TEST_F(DumpSocketTest, FaultsStrikeOnceEach) {
    auto const afterwards = dump(RTM_GETADDR);
    auto const withFault = [this](Fault fault, int error = 0) {
        kernel.faults().next(fault, error);
        return dump(RTM_GETADDR);
    };

    EXPECT_THAT(withFault(Fault::refuseDump, EPERM),
                ElementsAre(testing::EndsWith("ERROR errno 1")));
    EXPECT_THAT(withFault(Fault::failDump, EINTR), ElementsAre("DONE errno 4"));
    EXPECT_THAT(withFault(Fault::interruptDump),
                testing::Contains("interrupted NEWADDR 2 10.0.0.1/24 flags 80 label eth0"));
    EXPECT_THAT(withFault(Fault::truncate), ElementsAre("truncated"));
    EXPECT_THAT(withFault(Fault::unknownType), testing::Contains(testing::EndsWith("type 4000")));
    EXPECT_THAT(withFault(Fault::foreignSender),
                testing::Contains(testing::StartsWith("stranger: ")));
    EXPECT_THAT(withFault(Fault::strayReply), testing::Contains(testing::HasSubstr(" stray ")));
    EXPECT_THAT(withFault(Fault::unknownAttribute), testing::ElementsAreArray(afterwards));
    kernel.faults().next(Fault::failSending, ENOBUFS);
    EXPECT_THROW(dump(RTM_GETADDR), std::system_error);
    EXPECT_THAT(dump(RTM_GETADDR), testing::ElementsAreArray(afterwards));
}

}  // namespace
}  // namespace Netlink::Fake
