// An agent with an epoll loop: two VRFs, IPv4 and IPv6, a virtual address. It reads commands from
// its standard input, and a timerfd wakes it when the library has something to do.
//
//     up VRF INTF PREFIX     an address is configured; its device is there
//     down VRF INTF          the interface goes with all that it has
//     show                   the rows
//
// Any other line comes back, so that who asks knows where an answer ends.
#include <sys/epoll.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <map>
#include <sstream>
#include <string>
#include <system_error>

#include "Interface/DeviceIntfStatus.h"
#include "Ip/Status.h"
#include "Ip6/Status.h"
#include "IpLib/IntfAddrVrfTableManager/AllIntfAddrVrfTable.h"
#include "IpLib/IntfAddrVrfTableManager/IntfAddrVrfTableManager.h"
#include "IpLib/IntfAddrVrfTableManager/IntfAddrVrfTableSmFactory.h"
#include "Nimb/IpGenAddrWithMask.h"
#include "Velk/TaskScheduler.h"
#include "Zin/Format.h"
#include "Zin/HashKey.h"

namespace {

int checked(int result, char const* what) {
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return result;
}

// Keeps a timerfd at the time at which the scheduler wants to run next. That is CLOCK_MONOTONIC, as
// SteadyClock is.
class Alarm final : public Velk::TaskScheduler::Notifiee {
public:
    explicit Alarm(Zin::Ptr<Velk::TaskScheduler> const& scheduler) {
        notifierIs(scheduler);
        handleNextExpiry();
    }
    ~Alarm() override { close(descriptor); }

    void handleNextExpiry() override {
        itimerspec when{};
        if (Zin::Seconds const next = notifier()->nextExpiry(); std::isfinite(next)) {
            Zin::Seconds const whole = std::floor(next);
            when.it_value.tv_sec = static_cast<time_t>(whole);
            // All zeros would turn it off.
            when.it_value.tv_nsec = std::max(1L, std::lround(std::ceil((next - whole) * 1e9)));
            if (when.it_value.tv_nsec >= 1'000'000'000) {
                ++when.it_value.tv_sec;
                when.it_value.tv_nsec -= 1'000'000'000;
            }
        }
        checked(timerfd_settime(descriptor, TFD_TIMER_ABSTIME, &when, nullptr), "timerfd_settime");
    }

    int const descriptor =
        checked(timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC), "timerfd_create");
};

class Agent {
public:
    Agent() {
        tables_->intfAddrVrfTableIs("default", IpLib::intfAddrVrfTableFactory());
        tables_->intfAddrVrfTableIs("red", IpLib::intfAddrVrfTableFactory());
        for (L3::VrfName const vrf : {"default", "red"}) {
            ip_->vrfIpIntfStatusIs(vrf, Ip::vrfIpIntfStatusFactory());
            ip6_->vrfIp6IntfStatusIs(vrf, Ip6::vrfIp6IntfStatusFactory());
        }
        virtualIps_->virtualIpIs({"default", Nimb::IpAddrWithMask("192.0.2.254/32")});
    }

    Zin::Ptr<Velk::TaskScheduler> const& scheduler() const { return scheduler_; }

    void up(L3::VrfName const& vrf, Nimb::IntfId const& intf, Nimb::IpGenAddrWithMask const& addr) {
        kernel_->deviceIntfStatusDir(vrf)->deviceIntfStatusIs(Interface::deviceIntfStatusFactory(
            intf, std::string(intf.name()), ++lastIndex_, Interface::OperStatus::up, true));
        if (addr.address().family() == Nimb::AddressFamily::ipv4) {
            auto const all = ip_->vrfIpIntfStatus(vrf);
            auto status = all->ipIntfStatus(intf);
            if (!status) {
                status = Ip::ipIntfStatusFactory(intf);
                all->ipIntfStatusIs(status);
            }
            status->activeAddrWithMaskIs(Nimb::IpAddrWithMask(fmt::to_string(addr)));
        } else {
            auto const all = ip6_->vrfIp6IntfStatus(vrf);
            auto status = all->intfStatus(intf);
            if (!status) {
                status = Ip6::intfStatusFactory(intf);
                all->intfStatusIs(status);
            }
            status->addrIs(Nimb::Ip6AddrWithMask(fmt::to_string(addr)), {});
        }
    }
    // Addresses go before the device.
    void down(L3::VrfName const& vrf, Nimb::IntfId const& intf) {
        ip_->vrfIpIntfStatus(vrf)->ipIntfStatusDel(intf);
        ip6_->vrfIp6IntfStatus(vrf)->intfStatusDel(intf);
        kernel_->deviceIntfStatusDir(vrf)->deviceIntfStatusDel(intf);
    }
    void show() const {
        for (L3::VrfName const vrf : {"default", "red"}) {
            for (auto const& row : tables_->intfAddrVrfTable(vrf)->intfAddrEntry()) {
                fmt::print("{} {} {}\n", vrf, row.key.key.addr,
                           row.key.key.virtualIp ? "is virtual" : row.value->intfId().name());
            }
        }
        std::fflush(stdout);
    }

private:
    Zin::Ptr<Ip::Status> const ip_ = Ip::statusFactory();
    Zin::Ptr<Ip6::Status> const ip6_ = Ip6::statusFactory();
    Zin::Ptr<VirtualIp::VirtualIpStatus> const virtualIps_ = VirtualIp::virtualIpStatusFactory();
    Zin::Ptr<Interface::KniIntfStatusHelper> const kernel_ =
        Interface::kniIntfStatusHelperFactory();
    Zin::Ptr<IpLib::AllIntfAddrVrfTable> const tables_ = IpLib::allIntfAddrVrfTableFactory();
    Zin::Ptr<Velk::TaskScheduler> const scheduler_ = Velk::taskSchedulerFactory(
        Zin::make<Zin::SteadyClock>(), std::make_unique<Velk::TimeSlice>(0.01));
    Zin::Ptr<IpLib::IntfAddrVrfTableManager> const manager_ = IpLib::intfAddrVrfTableManagerFactory(
        ip_, ip6_,
        IpLib::intfAddrVrfTableSmFactoryFactory({.intfCleanupDelay = 0.1}, scheduler_, virtualIps_,
                                                nullptr, kernel_),
        tables_);
    std::uint32_t lastIndex_ = 0;
};

void obey(Agent& agent, std::string const& line) {
    std::istringstream words(line);
    std::string command, vrf, intf, addr;
    words >> command >> vrf >> intf >> addr;
    if (command == "up") {
        agent.up(vrf.c_str(), Nimb::IntfId(intf), Nimb::IpGenAddrWithMask(addr));
    } else if (command == "down") {
        agent.down(vrf.c_str(), Nimb::IntfId(intf));
    } else if (command == "show") {
        agent.show();
    } else {
        fmt::print("{}\n", line);
        std::fflush(stdout);
    }
}

}  // namespace

int main() {
    Zin::hashKeyIs(Zin::drawnHashKey());
    Agent agent;
    Alarm const alarm(agent.scheduler());

    int const loop = checked(epoll_create1(EPOLL_CLOEXEC), "epoll_create1");
    for (int const descriptor : {STDIN_FILENO, alarm.descriptor}) {
        epoll_event event{.events = EPOLLIN, .data = {.fd = descriptor}};
        checked(epoll_ctl(loop, EPOLL_CTL_ADD, descriptor, &event), "epoll_ctl");
    }
    std::string read;
    for (bool reads = true; reads;) {
        epoll_event event{};
        if (epoll_wait(loop, &event, 1, -1) < 1) {
            continue;
        }
        if (event.data.fd == alarm.descriptor) {
            agent.scheduler()->run();
            continue;
        }
        char piece[4096];
        auto const size = ::read(STDIN_FILENO, piece, sizeof piece);
        reads = size > 0;
        read.append(piece, reads ? static_cast<std::size_t>(size) : 0);
        for (std::size_t end; (end = read.find('\n')) != std::string::npos;) {
            obey(agent, read.substr(0, end));
            read.erase(0, end + 1);
        }
    }
    close(loop);
}
