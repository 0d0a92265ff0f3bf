// Histories that have shown a fault once.

#include <gmock/gmock.h>

#include "Trial.h"
#include "Zin/Format.h"

namespace Simulated {
namespace {

using namespace Netlink::Fake;

// As the fake kernel numbers its first one, which is the agent's own.
constexpr Netlink::NamespaceId own{.device = 4, .inode = 4026531840};

Step addressStep(Operation::Kind kind, std::string_view addr,
                 Step::Notice notice = Step::Notice::none, std::uint32_t calls = 0) {
    return {.notice = notice,
            .operation = {.kind = kind,
                          .place = {.network = own, .ifIndex = 1},
                          .address = {.own = Nimb::IpGenAddrWithMask(addr), .flags = IFA_F_NODAD}},
            .calls = calls};
}

std::vector<std::string> wrongOf(History const& history) {
    std::vector<std::string> texts;
    for (Fault const& fault : tried(history)) {
        texts.push_back(fmt::format("{}: {}", fault.kind, fault.what));
    }
    return texts;
}

// A dump goes on by position, and the kernel does not notice it where the last of a list is missed.
TEST(Agent, FindsTheAddressBehindOneThatGoesInTheMidstOfADump) {
    for (std::uint32_t calls = 1; calls < 20; ++calls) {
        History const history{.isPrompt = true,
                              .datagramLimit = 100,
                              .receiveBuffer = 1U << 20,
                              .steps = {addressStep(Operation::Kind::addAddress, "fd00::1/64"),
                                        addressStep(Operation::Kind::addAddress, "fd00::2/64"),
                                        addressStep(Operation::Kind::addAddress, "fd00::3/64"),
                                        addressStep(Operation::Kind::removeAddress, "fd00::3/64",
                                                    Step::Notice::within, calls),
                                        {.kind = Step::Kind::start},
                                        {.kind = Step::Kind::settle}}};
        EXPECT_THAT(wrongOf(history), testing::IsEmpty()) << "within " << calls << " calls";
    }
}

}  // namespace
}  // namespace Simulated
