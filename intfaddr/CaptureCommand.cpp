#include "intfaddr/CaptureCommand.h"

#include <cerrno>
#include <fstream>
#include <limits>
#include <memory>
#include <stdexcept>
#include <system_error>

#include "Zin/Format.h"
#include "feeds/scenario/Recorder.h"
#include "intfaddr/Machine.h"
#include "intfaddr/ask/Printable.h"

namespace IntfAddr {

namespace {

void captureTo(std::ostream& out, Netlink::Policy const& policy, std::ostream& err) {
    Scenario::Config const config;
    Routing::Router router(config.machines, Zin::make<Zin::VirtualClock>(),
                           std::make_unique<Velk::EveryNth>(config.yieldEvery));
    router.managerStart().apply();
    Scenario::Recorder recorder(out, config, router.scheduler()->clock(),
                                std::numeric_limits<std::size_t>::max());
    router.inputs().effects().observerAdd(recorder);
    Netlink::Notice const warn = [&](std::string const& line) {
        err << "intfaddr: warning: " << printable(line) << '\n';
        recorder.comment(line);
    };
    publishMachine(router, {.policy = policy}, warn, warn, [](Netlink::Feed const& feed) {
        if (auto const why = feed.unreadable("default")) {
            throw std::runtime_error("VRF 'default' cannot be read: " + *why);
        }
    });
    router.inputs().effects().observerDel(recorder);
}

}  // namespace

int capture(CaptureOptions const& options, std::ostream& out, std::ostream& err) {
    if (!options.file) {
        captureTo(out, options.policy, err);
        return 0;
    }
    errno = 0;
    std::ofstream file(*options.file, std::ios::binary | std::ios::trunc);
    if (file) {
        captureTo(file, options.policy, err);
        file.close();
    }
    if (!file) {
        throw std::runtime_error(fmt::format("{}: cannot be written: {}", *options.file,
                                             std::generic_category().message(errno)));
    }
    return 0;
}

}  // namespace IntfAddr
