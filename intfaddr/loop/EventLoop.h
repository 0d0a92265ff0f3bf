// The program's event loop: sleeps until a descriptor is ready, a signal comes, or the time that it
// is told has come.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "Zin/Seconds.h"
#include "feeds/netlink/Loop.h"

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
    // the latest.
    void wait(Zin::Seconds time);

private:
    struct State;

    std::unique_ptr<State> const state_;
};

}  // namespace IntfAddr
