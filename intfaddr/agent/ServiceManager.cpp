#include "intfaddr/agent/ServiceManager.h"

#include <fmt/format.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <system_error>

#include "Velk/TaskScheduler.h"

namespace IntfAddr {

namespace {

constexpr Zin::Seconds tryPeriod = 0.5;

std::string variable(char const* name) {
    char const* const value = std::getenv(name);
    return value ? value : "";
}

std::uint64_t number(char const* name, std::string const& text) {
    std::uint64_t value = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value == 0) {
        throw ServiceManagerError(fmt::format("{}: '{}' is not a positive number", name, text));
    }
    return value;
}

// The kernel's name of an abstract socket begins with a zero.
std::string addressOf(std::string path) {
    if (path.empty()) {
        return path;
    }
    if ((path[0] != '/' && path[0] != '@') || path.size() >= sizeof(sockaddr_un::sun_path)) {
        throw ServiceManagerError(
            fmt::format("NOTIFY_SOCKET: '{}' is no unix socket's name", path));
    }
    if (path[0] == '@') {
        path[0] = '\0';
    }
    return path;
}

// Half of what the manager allows; nothing where it waits for nobody, or for another process.
std::optional<Zin::Seconds> watchdogPeriod() {
    auto const period = variable("WATCHDOG_USEC");
    auto const process = variable("WATCHDOG_PID");
    if (period.empty() || (!process.empty() && number("WATCHDOG_PID", process) !=
                                                   static_cast<std::uint64_t>(::getpid()))) {
        return std::nullopt;
    }
    return static_cast<double>(number("WATCHDOG_USEC", period)) / 1e6 / 2;
}

}  // namespace

ServiceManager::ServiceManager() : address_(addressOf(variable("NOTIFY_SOCKET"))) {
    if (address_.empty()) {
        return;
    }
    watchdogPeriod_ = watchdogPeriod();
    socket_ = Netlink::Descriptor(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!socket_) {
        throw ServiceManagerError(fmt::format("NOTIFY_SOCKET: no socket can be made: {}",
                                              std::generic_category().message(errno)));
    }
}

void ServiceManager::ready(std::string_view status) {
    isReady_ = true;
    tell(fmt::format("READY=1\nSTATUS={}", status));
}

void ServiceManager::reloading() {
    if (isReady_) {
        // The manager's clock, which tells this reload from those before it.
        auto const now = std::chrono::steady_clock::now().time_since_epoch();
        tell(fmt::format("RELOADING=1\nMONOTONIC_USEC={}",
                         std::chrono::duration_cast<std::chrono::microseconds>(now).count()));
    }
}

void ServiceManager::reloaded(std::string_view status) {
    if (isReady_) {
        ready(status);
    }
}

void ServiceManager::stopping() { tell("STOPPING=1"); }

Zin::Seconds ServiceManager::nextTurn() const {
    return std::min(watchdogPeriod_ ? nextSign_ : Velk::never,
                    unsent_.empty() ? Velk::never : nextTry_);
}

void ServiceManager::run(Zin::Seconds now) {
    if (!unsent_.empty() && nextTry_ <= now) {
        nextTry_ = now + tryPeriod;
        tell(std::move(unsent_));
    }
    if (watchdogPeriod_ && nextSign_ <= now) {
        nextSign_ = now + *watchdogPeriod_;
        send("WATCHDOG=1");
    }
}

void ServiceManager::tell(std::string state) {
    if (!address_.empty()) {
        unsent_ = send(state) ? std::string() : std::move(state);
    }
}

bool ServiceManager::send(std::string_view state) const {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    address_.copy(address.sun_path, sizeof address.sun_path);
    auto const size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + address_.size());
    return ::sendto(socket_.number(), state.data(), state.size(), MSG_NOSIGNAL,
                    reinterpret_cast<sockaddr const*>(&address), size) >= 0;
}

}  // namespace IntfAddr
