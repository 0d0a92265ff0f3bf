// Tells the service manager that has started this process how it fares, as sd_notify(3) has it:
// that it is ready, reads its configuration anew, ends; and, as often as the manager wants to hear
// of it, that its loop turns.
//
//   in     NOTIFY_SOCKET, WATCHDOG_USEC and WATCHDOG_PID of the environment; nothing is told where
//          there is no such socket
//   out    datagrams
//   timers when to tell that the loop turns; when to try again what could not be sent
//
//     starting --ready--> running --reloading--> reloading --reloaded--> running --stopping--> end
//
// Nothing blocks, which libsystemd's sd_notify does where the manager does not read. What could not
// be sent is tried again, until something newer takes its place.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "Zin/Seconds.h"
#include "feeds/netlink/Descriptor.h"

namespace IntfAddr {

// Names the variable, and what is wrong with it.
class ServiceManagerError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class ServiceManager {
public:
    // Throws ServiceManagerError.
    ServiceManager();

    // A status is one line for the operator.
    void ready(std::string_view status);
    // Before it is ready neither is told.
    void reloading();
    void reloaded(std::string_view status);
    void stopping();

    // In seconds of any clock that does not go backwards.
    Zin::Seconds nextTurn() const;
    void run(Zin::Seconds now);

private:
    void tell(std::string state);
    bool send(std::string_view state) const;

    std::string address_;  // as the kernel has it; empty for none
    Netlink::Descriptor socket_;
    std::optional<Zin::Seconds> watchdogPeriod_;
    Zin::Seconds nextSign_ = 0.0;
    Zin::Seconds nextTry_ = 0.0;
    bool isReady_ = false;
    std::string unsent_;
};

}  // namespace IntfAddr
