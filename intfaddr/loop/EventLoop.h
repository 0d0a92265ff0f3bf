// The program's event loop: sleeps until a descriptor is ready, a signal comes, or the time that it
// is told has come.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "Zin/Seconds.h"
#include "feeds/netlink/Loop.h"

namespace boost::asio {
class io_context;
}

namespace IntfAddr {

class EventLoop final : public Netlink::Loop {
public:
    // Throws std::system_error.
    EventLoop();
    ~EventLoop() override;
    EventLoop(EventLoop const&) = delete;
    EventLoop& operator=(EventLoop const&) = delete;

    // Seconds since the loop was made.
    Zin::Seconds now() const;

    std::unique_ptr<Netlink::Watch> watch(int descriptor, Event event,
                                          std::function<void()> ready) override;
    // Instead of what the signals do by themselves.
    void onSignals(std::vector<int> const& signals, std::function<void(int signal)> handle);

    // Handles what is there; where that is nothing, sleeps until something is, and until `time` at
    // the latest. Where there is always more, it returns after `longestTurn`, and what is left has
    // its turn next time, in the order in which it came.
    void wait(Zin::Seconds time);
    static constexpr Zin::Seconds longestTurn = 0.005;

    // For those whose sockets and timers this loop runs. They go before it.
    boost::asio::io_context& context();

private:
    struct State;

    std::unique_ptr<State> const state_;
};

}  // namespace IntfAddr
