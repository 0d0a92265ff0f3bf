#include "intfaddr/config/ConfigFile.h"

#include <grp.h>
#include <pwd.h>

#include <toml++/toml.h>
#include <algorithm>
#include <functional>
#include <limits>
#include <numeric>
#include <optional>
#include <sstream>
#include <system_error>
#include <utility>

#include "Zin/Errors.h"
#include "Zin/Format.h"
#include "intfaddr/config/WholeFile.h"

namespace IntfAddr {

namespace {

// What is wrong, and where; whoever knows the file tells it.
struct Wrong {
    std::size_t line;
    std::string what;
};

std::string wordOf(toml::node const& node) {
    if (node.is_array() || node.is_table()) {
        return node.is_array() ? "a list" : "a table";
    }
    if (auto const* const text = node.as_string()) {
        return fmt::format("'{}'", text->get());
    }
    std::ostringstream word;
    word << toml::toml_formatter(node);
    return word.str();
}

// A key's value.
struct Place {
    std::string_view key;
    toml::node const& node;

    [[noreturn]] void fail(std::string_view what) const {
        throw Wrong{node.source().begin.line, fmt::format("'{}': {}", key, what)};
    }
    [[noreturn]] void refuse(std::string_view expected) const {
        fail(fmt::format("{} is not expected: {} is", wordOf(node), expected));
    }
    template <class Each>
    void forEach(std::string_view expected, Each const& each) const {
        auto const* const list = node.as_array();
        if (!list) {
            refuse(expected);
        }
        for (toml::node const& member : *list) {
            each(Place{key, member});
        }
    }
};

bool toBool(Place const& place) {
    auto const value = place.node.value_exact<bool>();
    return value ? *value : (place.refuse("true or false"), false);
}

template <class Number>
Number toInteger(Place const& place, std::uint64_t least, std::uint64_t most) {
    auto const value = place.node.value_exact<std::int64_t>();
    if (!value || *value < 0 || static_cast<std::uint64_t>(*value) < least ||
        static_cast<std::uint64_t>(*value) > most) {
        place.refuse(fmt::format("an integer from {} to {}", least, most));
    }
    return static_cast<Number>(*value);
}

double toMilliseconds(Place const& place) {
    auto const value = place.node.is_number() ? place.node.value<double>() : std::nullopt;
    if (!value || !(*value >= 0.0 && *value <= Limits::mostCoalesce)) {
        place.refuse(fmt::format("a number from 0 to {}", Limits::mostCoalesce));
    }
    return *value;
}

std::string toText(Place const& place, std::string_view expected) {
    auto const* const value = place.node.as_string();
    if (!value || value->get().empty()) {
        place.refuse(expected);
    }
    return value->get();
}

std::string toPath(Place const& place) { return toText(place, "a path"); }

std::string toGroup(Place const& place) {
    auto const name = toText(place, "the name of a group");
    return ::getgrnam(name.c_str()) ? name
                                    : (place.fail(fmt::format("there is no group '{}'", name)), "");
}

ListenAddress toListenAddress(Place const& place) {
    auto const text = toText(place, "an address and a port");
    try {
        return readListenAddress(text);
    } catch (std::runtime_error const& error) {
        place.fail(error.what());
    }
}

uid_t toUser(Place const& place) {
    if (place.node.is_integer()) {
        return toInteger<uid_t>(place, 0, std::numeric_limits<uid_t>::max() - 1);
    }
    auto const name = toText(place, "the name of a user, or his number,");
    auto const* const user = ::getpwnam(name.c_str());
    if (!user) {
        place.fail(fmt::format("there is no user '{}'", name));
    }
    return user->pw_uid;
}

std::set<uid_t> toUsers(Place const& place) {
    std::set<uid_t> users;
    place.forEach("a list of users", [&users](Place const& one) { users.insert(toUser(one)); });
    return users;
}

std::vector<std::string> toInterfaces(Place const& place) {
    std::vector<std::string> names;
    place.forEach("a list of names", [&names](Place const& one) {
        names.push_back(toText(one, "the name of an interface"));
    });
    return names;
}

Nimb::IpGenAddr toAddress(Place const& place) {
    auto const text = toText(place, "an address");
    try {
        return Nimb::IpGenAddr(text);
    } catch (Zin::ParseError const& error) {
        place.fail(fmt::format("'{}' is not an address: {}", text, error.what()));
    }
}

struct Member {
    toml::key const* key;
    toml::node const* node;

    std::size_t line() const { return key->source().begin.line; }
};

// In the order in which they stand, so that the first that is wrong is told of.
std::vector<Member> membersOf(toml::table const& table) {
    std::vector<Member> members;
    for (auto const& [key, node] : table) {
        members.push_back({&key, &node});
    }
    std::ranges::stable_sort(members, {}, [](Member const& member) {
        auto const begin = member.key->source().begin;
        return std::pair(begin.line, begin.column);
    });
    return members;
}

VirtualAddressSet toVirtualAddresses(Place const& place) {
    auto const* const table = place.node.as_table();
    if (!table) {
        place.refuse("a table with a list of addresses for each VRF");
    }
    VirtualAddressSet addresses;
    for (auto const& member : membersOf(*table)) {
        if (member.key->empty()) {
            throw Wrong{member.line(), fmt::format("'{}': the name of a VRF is empty", place.key)};
        }
        L3::VrfName const vrf(member.key->str());
        Place{member.key->str(), *member.node}.forEach(
            fmt::format("a list of addresses (below [{}] each key is a VRF)", place.key),
            [&](Place const& one) { addresses.insert({.vrf = vrf, .addr = toAddress(one)}); });
    }
    return addresses;
}

enum class Change { live, atStart };

struct Key {
    std::string_view name;
    Change change;
    std::function<void(Place const& place, Config& config)> read;
    std::function<bool(Config const& a, Config const& b)> isAlike;
    std::function<void(Config const& from, Config& to)> copy;
};

// `member` is, or gives, a member of the config that it is invoked with.
template <class Member, class Read>
Key keyOf(std::string_view name, Change change, Member member, Read read) {
    return {.name = name,
            .change = change,
            .read = [=](Place const& place,
                        Config& config) { std::invoke(member, config) = read(place); },
            .isAlike =
                [=](Config const& a, Config const& b) {
                    return std::invoke(member, a) == std::invoke(member, b);
                },
            .copy = [=](Config const& from,
                        Config& to) { std::invoke(member, to) = std::invoke(member, from); }};
}

std::vector<Key> const& keys() {
    using enum Change;
    static std::vector<Key> const all{
        keyOf("events", live, &Config::events, toBool),
        keyOf("record", atStart, &Config::record, toPath),
        keyOf("limit", atStart, &Config::limit,
              [](Place const& place) {
                  return toInteger<std::uint64_t>(place, Limits::least,
                                                  std::numeric_limits<std::int64_t>::max());
              }),
        keyOf("trouble-dir", atStart, &Config::troubleDir, toPath),
        keyOf("run-dir", atStart, &Config::runDir, toPath),
        keyOf("group", atStart, &Config::group, toGroup),
        keyOf("listen", atStart, &Config::listen, toListenAddress),
        keyOf("coalesce", live, &Config::coalesce, toMilliseconds),
        keyOf("yield-every", atStart, &Config::yieldEvery,
              [](Place const& place) {
                  return toInteger<std::uint32_t>(place, 1,
                                                  std::numeric_limits<std::uint32_t>::max());
              }),
        keyOf("receive-buffer", atStart, &Config::receiveBuffer,
              [](Place const& place) {
                  return toInteger<std::uint64_t>(place, Limits::least, Limits::mostReceiveBuffer);
              }),
        keyOf(
            "leave-out", atStart, [](auto& c) -> auto& { return c.policy.leftOut; }, toInterfaces),
        keyOf(
            "no-unnumbered", atStart, [](auto& c) -> auto& { return c.policy.borrows; },
            [](Place const& place) { return !toBool(place); }),
        keyOf("fixed-namespaces", atStart, &Config::fixedNamespaces, toBool),
        keyOf("changers", live, &Config::changers, toUsers),
        keyOf("keep-virtual", live, &Config::keepVirtual, toBool),
        keyOf("state-dir", live, &Config::stateDir, toPath),
        keyOf("virtual", live, &Config::virtualAddresses, toVirtualAddresses),
    };
    return all;
}

// How many letters have to be put in, taken out or replaced to make the one of the other.
std::size_t distance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < b.size(); ++j) {
            std::size_t const replaced = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, diagonal + 1, row[j] + 1});
        }
    }
    return row.back();
}

Wrong unknown(Member const& member) {
    constexpr std::size_t typo = 2;
    std::string_view const name = member.key->str();
    auto const near = std::ranges::find_if(
        keys(), [&](Key const& key) { return distance(name, key.name) <= typo; });
    std::vector<std::string_view> names;
    std::ranges::transform(keys(), std::back_inserter(names), &Key::name);
    return {member.line(),
            near != keys().end()
                ? fmt::format("'{}' is unknown: is '{}' meant?", name, near->name)
                : fmt::format("'{}' is unknown: {} are expected", name, fmt::join(names, ", "))};
}

Config configOf(toml::table const& table, Given const& given) {
    Config config = given.config;
    Config overruled;
    for (auto const& member : membersOf(table)) {
        auto const key = std::ranges::find(keys(), member.key->str(), &Key::name);
        if (key == keys().end()) {
            throw unknown(member);
        }
        bool const holds = !given.names.contains(std::string(key->name));
        key->read({key->name, *member.node}, holds ? config : overruled);
    }
    return config;
}

}  // namespace

ConfigError::ConfigError(std::string const& file, std::size_t line, std::string_view what)
    : std::runtime_error(line == 0 ? fmt::format("{}: {}", file, what)
                                   : fmt::format("{}:{}: {}", file, line, what)),
      line_(line) {}

Config readConfig(std::string_view text, std::string const& file, Given const& given) {
    try {
        return configOf(toml::parse(text), given);
    } catch (toml::parse_error const& error) {
        throw ConfigError(file, error.source().begin.line, error.description());
    } catch (Wrong const& wrong) {
        throw ConfigError(file, wrong.line, wrong.what);
    }
}

Config readConfigFile(std::string const& path, Given const& given) {
    std::string text;
    try {
        text = readWhole(path);
    } catch (std::runtime_error const& error) {
        throw ConfigError(path, 0, fmt::format("cannot be read: {}", error.what()));
    }
    return readConfig(text, path, given);
}

std::vector<std::string> holdBack(Config const& running, Config& next) {
    std::vector<std::string> names;
    for (auto const& key : keys()) {
        if (key.change == Change::atStart && !key.isAlike(running, next)) {
            key.copy(running, next);
            names.emplace_back(key.name);
        }
    }
    return names;
}

}  // namespace IntfAddr
