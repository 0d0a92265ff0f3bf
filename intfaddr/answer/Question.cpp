#include "intfaddr/answer/Question.h"

#include <fmt/format.h>

#include <algorithm>

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

Filter filterOf(Parameters const& parameters) {
    return filterOf(parameters, {"address", "family", "interface", "prefix", "vrf"});
}

Filter filterOf(Parameters const& parameters, std::set<std::string> const& allowed,
                std::string const& needed) {
    Filter filter;
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
        checkGiven(name, value);
        if (name == "vrf") {
            filter.vrf = L3::VrfName(value);
        } else if (name == "interface") {
            filter.intf = Nimb::IntfId(value);
        } else if (name == "family") {
            filter.family = familyOf(value);
        } else if (name == "address") {
            filter.addr = addressOf(value);
        } else {
            filter.prefix = parsed<Nimb::IpGenPrefix>(value, "a prefix");
        }
    }
    if (!needed.empty() && !seen.contains(needed)) {
        throw BadQuestion(fmt::format("'{}' is missing", needed));
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
    return parameters;
}

}  // namespace IntfAddr
