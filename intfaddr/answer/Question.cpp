#include "intfaddr/answer/Question.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <string_view>

#include "Zin/Format.h"

namespace IntfAddr {

namespace {

template <class Value>
Value parsed(std::string const& text, char const* what) {
    try {
        return Value(text);
    } catch (Zin::ParseError const& error) {
        throw BadQuestion(fmt::format("'{}' is not {}: {}", text, what, error.what()));
    }
}

Nimb::AddressFamily familyOf(std::string const& text) {
    if (text == "4") {
        return Nimb::AddressFamily::ipv4;
    }
    if (text == "6") {
        return Nimb::AddressFamily::ipv6;
    }
    throw BadQuestion(fmt::format("'{}' is no family: 4 or 6 is expected", text));
}

AddressState stateOf(std::string const& text) {
    std::vector<std::string_view> names;
    for (auto const state : addressStates) {
        names.push_back(toStrep(state));
        if (std::ranges::equal(text, names.back(), [](char given, char of) {
                return std::toupper(static_cast<unsigned char>(given)) == of;
            })) {
            return state;
        }
    }
    throw BadQuestion(
        fmt::format("'{}' is no state: {} is expected", text, fmt::join(names, " or ")));
}

void checkGiven(std::string const& name, std::string const& value) {
    if (value.empty()) {
        throw BadQuestion(fmt::format("the {} is empty", name));
    }
}

}  // namespace

Nimb::IpGenAddr addressOf(std::string const& text) {
    checkGiven("address", text);
    return parsed<Nimb::IpGenAddr>(text, "an address");
}

void checkParameters(Parameters const& parameters, std::set<std::string> const& allowed,
                     std::set<std::string> const& needed) {
    std::set<std::string> seen;
    for (auto const& [name, value] : parameters) {
        if (!allowed.contains(name)) {
            throw BadQuestion(fmt::format(
                "'{}' is unknown: {} is expected", name,
                allowed.empty() ? "nothing" : fmt::format("{}", fmt::join(allowed, " or "))));
        }
        if (!seen.insert(name).second) {
            throw BadQuestion(fmt::format("'{}' is given twice", name));
        }
    }
    for (auto const& name : needed) {
        if (!seen.contains(name)) {
            throw BadQuestion(fmt::format("'{}' is missing", name));
        }
    }
}

Filter filterOf(Parameters const& parameters) {
    checkParameters(parameters, {"address", "family", "interface", "prefix", "state", "vrf"});
    Filter filter;
    for (auto const& [name, value] : parameters) {
        checkGiven(name, value);
        if (name == "vrf") {
            filter.vrf = L3::VrfName(value);
        } else if (name == "interface") {
            filter.intf = Nimb::IntfId(value);
        } else if (name == "family") {
            filter.family = familyOf(value);
        } else if (name == "address") {
            filter.addr = addressOf(value);
        } else if (name == "state") {
            filter.state = stateOf(value);
        } else {
            filter.prefix = parsed<Nimb::IpGenPrefix>(value, "a prefix");
        }
    }
    return filter;
}

std::optional<std::string> takeValue(Parameters& parameters, std::string const& name) {
    auto const found = std::ranges::find(parameters, name, &Parameters::value_type::first);
    if (found == parameters.end()) {
        return std::nullopt;
    }
    std::string value = found->second;
    parameters.erase(found);
    return value;
}

std::uint64_t numberOf(std::string const& name, std::string const& text, Bounds const& bounds) {
    std::uint64_t number = 0;
    auto const* const end = text.data() + text.size();
    auto const [rest, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || rest != end || number < bounds.least || number > bounds.most) {
        throw BadQuestion(fmt::format("{} '{}': a number from {} to {} is expected", name, text,
                                      bounds.least, bounds.most));
    }
    return number;
}

bool takeFlag(Parameters& parameters, std::string const& name) {
    auto const value = takeValue(parameters, name);
    if (value && !value->empty() && *value != "true" && *value != "false") {
        throw BadQuestion(fmt::format("{} '{}': true or false is expected", name, *value));
    }
    return value && *value != "false";
}

Parameters parametersOf(Filter const& filter) {
    Parameters parameters;
    if (filter.addr) {
        parameters.emplace_back("address", filter.addr->toStrep());
    }
    if (filter.prefix) {
        parameters.emplace_back("prefix", filter.prefix->toStrep());
    }
    if (filter.vrf) {
        parameters.emplace_back("vrf", filter.vrf->bytes());
    }
    if (filter.intf) {
        parameters.emplace_back("interface", std::string(filter.intf->name()));
    }
    if (filter.family) {
        parameters.emplace_back("family", *filter.family == Nimb::AddressFamily::ipv4 ? "4" : "6");
    }
    if (filter.state) {
        parameters.emplace_back("state", toStrep(*filter.state));
    }
    return parameters;
}

Target targetOf(std::string const& name, Parameters parameters) {
    static std::set<std::string> const ofVrfs{"addresses", "state", "subnets"};
    auto const vrf = ofVrfs.contains(name) ? takeValue(parameters, "vrf") : std::nullopt;
    return {.segments = vrf ? std::vector<std::string>{"v1", "vrfs", *vrf, name}
                            : std::vector<std::string>{"v1", name},
            .query = std::move(parameters)};
}

}  // namespace IntfAddr
