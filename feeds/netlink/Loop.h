// What the live kernel needs of the event loop that it is in.
#pragma once

#include <functional>
#include <memory>

namespace Netlink {

// Ends when it is destroyed.
class Watch {
public:
    virtual ~Watch() = default;

    // Tells once more: when something comes, or at once where something has come that nobody has
    // taken.
    virtual void again() = 0;
};

class Loop {
public:
    virtual ~Loop() = default;

    enum class Event { readable, writable, exceptional };  // POLLIN, POLLOUT, POLLPRI
    // Calls `ready`, from the loop, as soon as the descriptor is ready; once, and once more after
    // each again(). Throws std::system_error. The watch goes before the descriptor is closed.
    virtual std::unique_ptr<Watch> watch(int descriptor, Event event,
                                         std::function<void()> ready) = 0;
};

}  // namespace Netlink
