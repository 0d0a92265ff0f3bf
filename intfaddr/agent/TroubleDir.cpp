#include "intfaddr/agent/TroubleDir.h"

#include <fcntl.h>
#include <fmt/chrono.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "Zin/Format.h"
#include "feeds/netlink/Descriptor.h"
#include "feeds/scenario/OperationWriter.h"

namespace IntfAddr {

namespace {

constexpr std::string_view nameBegin = "trouble-";
constexpr std::string_view nameEnd = ".jsonl";
constexpr std::size_t digits = 10;
// Not there but while a file is written.
constexpr char unfinished[] = "trouble.tmp";

struct Failure : std::runtime_error {
    Failure(std::string const& path, std::string_view what, int error)
        : std::runtime_error(
              fmt::format("{}: {}: {}", path, what, std::generic_category().message(error))),
          kind(fmt::format("{} {}", what, error)) {}

    std::string kind;
};

bool isOwn(std::string_view name) {
    if (name.size() <= nameBegin.size() + digits + nameEnd.size() || !name.starts_with(nameBegin) ||
        !name.ends_with(nameEnd) || name[nameBegin.size() + digits] != '-') {
        return false;
    }
    auto const number = name.substr(nameBegin.size(), digits);
    return number.find_first_not_of("0123456789") == std::string_view::npos;
}

std::uint64_t numberOf(std::string const& ownName) {
    std::uint64_t number = 0;
    char const* const begin = ownName.data() + nameBegin.size();
    std::from_chars(begin, begin + digits, number);
    return number;
}

// What a file's name may hold, of a VRF's that may be anything.
std::string safe(std::string const& vrf) {
    constexpr std::string_view harmless =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_.-";
    constexpr std::size_t longest = 100;
    std::string name;
    for (char const c : vrf) {
        if (name.size() >= longest) {
            break;
        }
        name += harmless.find(c) != std::string_view::npos
                    ? std::string(1, c)
                    : fmt::format("%{:02X}", static_cast<unsigned char>(c));
    }
    return name;
}

std::string scenarioOf(Routing::Repair const& repair, Scenario::Config const& config) {
    // An audit of a replay comes at full seconds, so it may find later what is wrong.
    Zin::Seconds const patience = std::max(config.machines.deferredIntfAddDelay, 0.0) + 5.0;
    std::ostringstream scenario;
    scenario << Scenario::commentLine(
        fmt::format("VRF {} was rebuilt {} s after the start, on {:%Y-%m-%d at %H:%M:%S} UTC: {}",
                    repair.vrf, repair.at, fmt::gmtime(std::time(nullptr)), repair.why));
    Scenario::writeScenario(scenario, config, repair.recording);
    scenario << Scenario::textOf({{"op", "advance"}, {"seconds", patience}, {"at", repair.at}});
    return std::move(scenario).str();
}

}  // namespace

TroubleDir::TroubleDir(std::string directory, Scenario::Config const& config, Log log)
    : directory_(std::move(directory)), config_(config), log_(std::move(log)) {}

void TroubleDir::handleRepair(Routing::Repair const& repair,
                              std::vector<IpLib::IntfAddrEntryContent> const&,
                              std::vector<IpLib::IntfAddrEntryContent> const&) {
    attempt([&] {
        write(repair);
        removeOldest();
    });
}

void TroubleDir::attempt(std::function<void()> const& step) {
    try {
        step();
    } catch (Failure const& failure) {
        if (told_.insert(failure.kind).second) {
            log_(failure.what());
        }
    } catch (std::exception const& error) {
        if (told_.insert("other").second) {
            log_(fmt::format("{}: {}", directory_, error.what()));
        }
    }
}

void TroubleDir::write(Routing::Repair const& repair) const {
    if (::mkdir(directory_.c_str(), 0755) != 0 && errno != EEXIST) {
        throw Failure(directory_, "cannot be made", errno);
    }
    auto const names = ownNames();
    std::uint64_t const number = names.empty() ? 1 : numberOf(names.back()) + 1;
    writeFile(
        fmt::format("{}{:0{}}-{}{}", nameBegin, number, digits, safe(repair.vrf.bytes()), nameEnd),
        scenarioOf(repair, config_));
}

std::vector<std::string> TroubleDir::ownNames() const {
    std::vector<std::string> names;
    std::error_code error;
    std::filesystem::directory_iterator entry(directory_, error);
    while (!error && entry != std::filesystem::directory_iterator()) {
        if (auto name = entry->path().filename().string(); isOwn(name)) {
            names.push_back(std::move(name));
        }
        entry.increment(error);
    }
    if (error) {
        throw Failure(directory_, "cannot be read", error.value());
    }
    std::ranges::sort(names);
    return names;
}

void TroubleDir::writeFile(std::string const& name, std::string const& content) const {
    std::string const path = pathOf(unfinished);
    ::unlink(path.c_str());
    Netlink::Descriptor const file(
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
    int error = file ? 0 : errno;
    std::string_view rest = content;
    while (error == 0 && !rest.empty()) {
        ssize_t const written = ::write(file.number(), rest.data(), rest.size());
        if (written >= 0) {
            rest.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EINTR) {
            error = errno;
        }
    }
    if (error == 0 && ::rename(path.c_str(), pathOf(name).c_str()) != 0) {
        error = errno;
    }
    if (error != 0) {
        ::unlink(path.c_str());
        throw Failure(pathOf(name), "cannot be written", error);
    }
}

void TroubleDir::removeOldest() {
    auto const names = ownNames();
    for (std::size_t i = 0; i + kept < names.size(); ++i) {
        attempt([&] {
            std::string const path = pathOf(names[i]);
            if (::unlink(path.c_str()) != 0) {
                throw Failure(path, "cannot be removed", errno);
            }
        });
    }
}

}  // namespace IntfAddr
