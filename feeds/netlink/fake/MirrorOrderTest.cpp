// A mirror that follows this machine's kernel has, after every step of random histories, each
// interface's IPv4 addresses in the order in which a fresh dump shows them.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "Zin/Format.h"
#include "feeds/netlink/Dump.h"
#include "feeds/netlink/Mirror.h"
#include "feeds/netlink/TestNamespace.h"
#include "feeds/netlink/fake/RandomOperations.h"
#include "feeds/netlink/fake/RealKernel.h"

namespace Netlink::Fake {
namespace {

class Followed {
public:
    explicit Followed(RealKernel& real) : real_(real) {
        networks_ = {fake_.ownNamespace(), fake_.makeNamespace("other")};
        for (std::size_t i = 0; i < networks_.size(); ++i) {
            fake_.settings(networks_[i]).linkLocal = false;
            mirrors_[i].replace(dump(i));
        }
    }

    // What can be done to the fake kernel can be done to the real one, and only that.
    void doOne(RandomOperations& operations) {
        auto const operation = operations.propose(fake_);
        history_ += text(operation) + '\n';
        Fake::perform(fake_, operation);
        fake_.advanceTo(fake_.now() + 2 * Links::linkWatchDelay);
        real_.perform(operation, [this](NamespaceId id) { return id == networks_[0] ? 0U : 1U; });
    }

    void compare() {
        SCOPED_TRACE("after\n" + history_);
        for (std::size_t i = 0; i < networks_.size(); ++i) {
            Mirror fresh;
            fresh.replace(dump(i));
            read(real_.notifications(i), [&](std::span<std::byte const> datagram) {
                readMessages(datagram, skipped_, [&](Message const& message) {
                    if (auto const* const change = std::get_if<Change>(&message.content)) {
                        mirrors_[i].apply(*change);
                    }
                });
            });
            EXPECT_EQ(ordersOf(mirrors_[i]), ordersOf(fresh)) << "in namespace " << i;
        }
        EXPECT_EQ(skipped_.damaged(), 0U);
    }

private:
    using Orders = std::map<std::uint32_t, std::vector<std::string>>;

    static Orders ordersOf(Mirror const& mirror) {
        Orders orders;
        for (auto const& [ifIndex, one] : mirror.links()) {
            for (Netlink::Address const& address : one.ip4.list()) {
                orders[ifIndex].push_back(fmt::format("{} peer {} {}", address.withMask(),
                                                      address.peer,
                                                      address.secondary ? "secondary" : "primary"));
            }
        }
        return orders;
    }

    template <class Each>
    static void read(Socket& socket, Each const& each) {
        std::vector<std::byte> buffer(1U << 16);
        while (auto const received = socket.receive(buffer)) {
            each(std::span<std::byte const>(buffer).first(received->size));
        }
    }

    Dumped dump(std::size_t network) {
        Socket& socket = real_.dumps(network);
        Netlink::Dump dump(socket, sequence_ += 2);
        while (!dump.isDone()) {
            RealKernel::waitFor(socket, 1000);
            read(socket,
                 [&](std::span<std::byte const> datagram) { dump.read(datagram, skipped_); });
        }
        return dump.dumped();
    }

    RealKernel& real_;
    FakeKernel fake_;
    std::vector<NamespaceId> networks_;
    std::array<Mirror, 2> mirrors_;
    Skipped skipped_;
    std::uint32_t sequence_ = 1000;
    std::string history_;
};

TEST(MirrorOrder, IsThatOfAFreshDumpAfterEveryStep) {
    if (!TestNamespace()) {
        GTEST_SKIP() << "no network namespaces may be made";
    }
    std::optional<RealKernel> real;
    char const* const more = std::getenv("IPLIB_KERNEL_HISTORIES");
    unsigned long const histories = more == nullptr ? 5 : std::stoul(more);
    for (unsigned long seed = 1; seed <= histories; ++seed) {
        SCOPED_TRACE(seed);
        real.emplace();
        Followed followed(*real);
        RandomOperations operations(seed, {.links = 3,
                                           .bridges = 0,
                                           .vrfs = 0,
                                           .dummies = 0,
                                           .states = 2,
                                           .renames = 1,
                                           .moves = 1,
                                           .addresses = 60,
                                           .duplicates = 0,
                                           .settings = 4,
                                           .namespaces = 0,
                                           .longestLifetime = 5000,
                                           .withoutDetection = true});
        for (int i = 0; i < 200; ++i) {
            followed.doOne(operations);
            followed.compare();
            ASSERT_FALSE(testing::Test::HasFailure());
        }
    }
}

}  // namespace
}  // namespace Netlink::Fake
