#include "Zin/Attribute.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <utility>

#include "Zin/TestLamp.h"

namespace Zin {
namespace {

// Holds a pointer attribute.
class Socket final : public Entity {
public:
    class Notifiee : public NotifieeOf<Socket> {
    public:
        virtual void handleLamp() {}
    };

    Ptr<TestLamp> const& lamp() const { return lamp_(); }
    void lampIs(Ptr<TestLamp> lamp) { lamp_.is(std::move(lamp)); }

    NotifieeList<Notifiee>& notifieeList() const { return notifieeList_; }

private:
    mutable NotifieeList<Notifiee> notifieeList_;
    Attribute<&Notifiee::handleLamp, Ptr<TestLamp>> lamp_{*this};
};

class SocketWatcher final : public Socket::Notifiee {
public:
    SocketWatcher(Ptr<Socket const> socket, std::function<void()> handler)
        : handler_(std::move(handler)) {
        notifierIs(std::move(socket));
    }
    void handleLamp() override { handler_(); }

private:
    std::function<void()> const handler_;
};

TEST(Attribute, TellsOfEachChangeOnce) {
    TestLife life;
    Ptr<TestLamp> const lamp = make<TestLamp>(life);
    int told = 0;
    TestWatcher const watcher(lamp, [&] { ++told; });

    lamp->levelIs(1);
    EXPECT_EQ(told, 1);
    lamp->levelIs(1);
    EXPECT_EQ(told, 1);
    lamp->levelIs(0);
    EXPECT_EQ(told, 2);
}

TEST(Attribute, HasItsNewValueWhenItTells) {
    TestLife life;
    Ptr<TestLamp> const lamp = make<TestLamp>(life);
    int seen = 0;
    TestWatcher const watcher(lamp, [&] { seen = lamp->level(); });
    lamp->levelIs(4);
    EXPECT_EQ(seen, 4);
}

TEST(Attribute, LetsGoOfAnOldPointerAfterItsChangeWasTold) {
    TestLife life;
    Ptr<Socket> const socket = make<Socket>();
    socket->lampIs(make<TestLamp>(life));
    int destroyedWhenTold = -1;
    SocketWatcher const watcher(socket, [&] { destroyedWhenTold = life.destroyed; });

    socket->lampIs(nullptr);

    EXPECT_EQ(destroyedWhenTold, 0);
    EXPECT_EQ(life.destroyed, 1);
    EXPECT_TRUE(socket->lamp() == nullptr);
}

TEST(Attribute, LetsGoOfAnOldPointerWithinTheTurnOfItsChange) {
    TestLife life;
    life.onTeardown = [](Entity&) { throw std::runtime_error("teardown failed"); };
    Ptr<Socket> const socket = make<Socket>();
    socket->lampIs(make<TestLamp>(life));

    EXPECT_THROW(socket->lampIs(nullptr), std::runtime_error);

    EXPECT_EQ(life.destroyed, 1);
    EXPECT_TRUE(socket->lamp() == nullptr);
}

}  // namespace
}  // namespace Zin
