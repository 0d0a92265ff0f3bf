#include "intfaddr/answer/KeptAddresses.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

#include "Zin/Format.h"
#include "intfaddr/answer/Question.h"
#include "intfaddr/config/WholeFile.h"
#include "intfaddr/http/Target.h"

namespace IntfAddr {

namespace {

std::string lineOf(VirtualAddress const& address) {
    return target({"v1", "virtual"},
                  parametersOf(Filter{.vrf = address.vrf, .addr = address.addr})) +
           "\n";
}

VirtualAddress addressIn(std::string const& line) {
    auto const parameters = readTarget(line).query;
    checkParameters(parameters, {"address", "vrf"}, {"address", "vrf"});
    auto const filter = filterOf(parameters);
    VirtualAddress const address{.vrf = *filter.vrf, .addr = *filter.addr};
    if (lineOf(address) != line + "\n") {
        throw std::runtime_error("is not what was written");
    }
    return address;
}

}  // namespace

KeptAddresses::KeptAddresses(std::string path, Notice notice)
    : path_(std::move(path)), notice_(std::move(notice)) {}

VirtualAddressSet KeptAddresses::get() const {
    VirtualAddressSet addresses;
    std::string text;
    try {
        text = readWhole(path_);
    } catch (std::runtime_error const& error) {
        auto const* const failure = dynamic_cast<std::system_error const*>(&error);
        if (!failure || failure->code().value() != ENOENT) {
            setAside(fmt::format("{}: cannot be read: {}", path_, error.what()));
        }
    }
    std::string damage;
    std::string_view rest = text;
    for (std::size_t number = 1; !rest.empty(); ++number) {
        auto const end = rest.find('\n');
        try {
            if (end == std::string_view::npos) {
                throw std::runtime_error("has no end");
            }
            addresses.insert(addressIn(std::string(rest.substr(0, end))));
        } catch (std::exception const& error) {
            damage =
                damage.empty() ? fmt::format("{}:{}: {}", path_, number, error.what()) : damage;
        }
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    }
    if (!damage.empty()) {
        setAside(damage);
        put(addresses);
    }
    return addresses;
}

void KeptAddresses::setAside(std::string const& why) const {
    std::string const aside = path_ + ".damaged";
    notice_(std::rename(path_.c_str(), aside.c_str()) == 0
                ? fmt::format("{}; what is good of it counts, and all of it is {}", why, aside)
                : fmt::format("{}; nor can it be set aside: {}", why,
                              std::generic_category().message(errno)));
}

bool KeptAddresses::put(VirtualAddressSet const& addresses) const {
    std::string text;
    for (auto const& address : addresses) {
        text += lineOf(address);
    }
    try {
        writeWhole(path_, text);
        return true;
    } catch (std::system_error const& error) {
        notice_(fmt::format("{}: cannot be written: {}; virtual addresses are not kept", path_,
                            error.code().message()));
        return false;
    }
}

std::string stateDirectory() {
    auto const below = [](char const* variable, char const* path) {
        char const* const value = std::getenv(variable);
        return value && *value == '/' ? std::string(value) + path : std::string();
    };
    if (::geteuid() != 0) {
        for (auto const& directory :
             {below("XDG_STATE_HOME", "/intfaddr"), below("HOME", "/.local/state/intfaddr")}) {
            if (!directory.empty()) {
                return directory;
            }
        }
    }
    return "/var/lib/intfaddr";
}

}  // namespace IntfAddr
