#include <memory>
#include <random>

#include "Zin/Format.h"
#include "intfaddr/answer/TestWatcher.h"
#include "intfaddr/answer/Watch.h"

namespace IntfAddr {
namespace {

// Some watch from the beginning, some come and go, some are slow, all are cut off and come back;
// VRFs come and go, tables are replaced.
struct RandomWatch : WatchTest {
    void change() {
        auto const host = number(1, 30);
        std::uint32_t const ifIndex = number(0, 1) ? 7 : 8;
        auto const text = number(0, 2) ? fmt::format("10.{}.0.{}/24", ifIndex, host)
                                       : fmt::format("2001:db8:{}::{}/64", ifIndex, host);
        Netlink::Fake::Place const link{own, ifIndex};
        switch (number(0, 40)) {
            case 0:
                kernel.links().setUp(link, number(0, 1) == 1);
                break;
            case 1:
                agent.router().tableAdd(L3::VrfName("default")).apply();
                break;
            case 2:
                if (red_) {
                    kernel.removeName("ns-red");
                    red_.reset();
                } else {
                    red_ = kernel.makeNamespace("ns-red");
                    kernel.settings(*red_).linkLocal = false;
                    add(*red_, 7, "eth0");
                    kernel.links().addAddress(
                        {*red_, 7}, {.own = Nimb::IpGenAddrWithMask("10.7.0.1/24"), .flags = {}});
                }
                break;
            default: {
                Netlink::Fake::Address const address{.own = Nimb::IpGenAddrWithMask(text),
                                                     .flags = IFA_F_NODAD};
                if (number(0, 1)) {
                    kernel.links().addAddress(link, address);
                } else {
                    kernel.links().removeAddress(link, {.own = address.own});
                }
            }
        }
    }
    Parameters query() {
        static std::vector<Parameters> const queries{{},
                                                     {{"prefix", "10.7.0.0/24"}},
                                                     {{"vrf", "default"}, {"family", "6"}},
                                                     {{"interface", "eth1"}},
                                                     {{"address", "10.7.0.1"}}};
        Parameters query = queries[static_cast<std::size_t>(number(0, 4))];
        query.emplace_back("initial", "");
        return query;
    }
    // At any moment, and maybe for long.
    void cutOff(Watcher& watcher, double& now) {
        if (number(0, 1)) {
            watcher.pull(static_cast<std::size_t>(number(0, 300)));
        }
        for (int count = number(0, 2) ? 0 : number(0, 150); count > 0; --count) {
            change();
        }
        runTo(now += 0.1);
        watcher.connect();
    }
    int number(int least, int most) {
        return std::uniform_int_distribution<int>(least, most)(random);
    }

    std::mt19937 random{1};

private:
    std::optional<Netlink::NamespaceId> red_;
};

TEST_F(RandomWatch, EveryReplicaIsTheFilteredTableWheneverItIsQuiet) {
    double now = 1.0;
    runTo(now);
    std::vector<std::unique_ptr<Watcher>> watchers;
    std::uint64_t losses = 0;
    std::uint64_t resumptions = 0;
    std::uint64_t refusals = 0;
    for (int round = 0; round < 20; ++round) {
        for (int turn = number(0, 60); turn > 0; --turn) {
            for (int count = number(0, 8); count > 0; --count) {
                change();
            }
            runTo(now += 0.05 * number(0, 10));
            if (number(0, 9) == 0 && watchers.size() < 6) {
                watchers.push_back(std::make_unique<Watcher>(*this, query()));
            }
            if (number(0, 30) == 0 && !watchers.empty()) {
                watchers.erase(watchers.begin());
            }
            for (std::size_t i = 0; i < watchers.size(); ++i) {
                // The first ones read next to nothing.
                for (int pulls = number(0, i < 2 ? 1 : 30); pulls > 0; --pulls) {
                    watchers[i]->pull();
                }
                if (number(0, 15) == 0) {
                    cutOff(*watchers[i], now);
                }
            }
        }
        runTo(now += 20.0);
        for (auto const& watcher : watchers) {
            watcher->pullAll();
            EXPECT_TRUE(watcher->isComplete());
            EXPECT_EQ(watcher->replica(), table(watcher->query())) << round;
            losses += watcher->losses();
            resumptions += watcher->resumptions();
            refusals += watcher->refusals();
        }
        ASSERT_FALSE(HasFailure()) << round;
    }
    EXPECT_GT(losses, 0U);
    EXPECT_GT(resumptions, 0U);
    EXPECT_GT(refusals, 0U);
    EXPECT_LE(changes.end() - changes.first(), heldChanges);
}

}  // namespace
}  // namespace IntfAddr
