#include "intfaddr/TextReport.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

#include "intfaddr/ask/Printable.h"

namespace IntfAddr {

namespace {

template <std::size_t Columns>
using Table = std::vector<std::array<std::string, Columns>>;

// Columns as wide as their widest cell, two blanks apart; no blanks at the ends of lines.
template <std::size_t Columns>
std::string aligned(Table<Columns> const& table) {
    std::array<std::size_t, Columns> widths{};
    for (auto const& line : table) {
        for (std::size_t column = 0; column < Columns; ++column) {
            widths[column] = std::max(widths[column], line[column].size());
        }
    }
    std::string text;
    for (auto const& line : table) {
        for (std::size_t column = 0; column < Columns; ++column) {
            fmt::format_to(std::back_inserter(text), "{:<{}}", line[column], widths[column] + 2);
        }
        text.erase(text.find_last_not_of(' ') + 1);
        text += '\n';
    }
    return text;
}

std::string flagsOf(Routing::Row const& row) {
    std::string flags;
    auto const add = [&flags](bool is, std::string_view flag) {
        if (is) {
            flags += flags.empty() ? "" : ",";
            flags += flag;
        }
    };
    add(row.linkLocal(), "link-local");
    add(row.deprecated, "deprecated");
    add(row.virtualIp, "virtual");
    return flags;
}

std::string holderText(Routing::DeferredAddr const& deferred) {
    return deferred.holder ? fmt::format("{} on {}", deferred.holder->addrOrSubnet,
                                         printable(deferred.holder->intfId.name()))
                           : "the next try";
}

}  // namespace

std::string toText(Report const& report) {
    Table<5> rows{{"VRF", "ADDRESS", "INTERFACE", "SUBNET", "FLAGS"}};
    Table<4> deferred{{"VRF", "DEFERRED", "INTERFACE", "WAITS FOR"}};
    for (VrfReport const& one : report) {
        std::string const vrf = printable(one.vrf.text());
        for (Routing::Row const& row : one.rows) {
            rows.push_back({vrf, fmt::format("{}/{}", row.addr, row.prefixLength()),
                            row.virtualIp ? "-" : printable(row.intfId.name()),
                            row.virtualIp ? "-" : row.subnet.toStrep(), flagsOf(row)});
        }
        for (Routing::DeferredAddr const& addr : one.deferred) {
            deferred.push_back(
                {vrf, addr.addr.toStrep(), printable(addr.intfId.name()), holderText(addr)});
        }
    }
    std::string text = aligned(rows);
    if (deferred.size() > 1) {
        text += '\n' + aligned(deferred);
    }
    return text;
}

}  // namespace IntfAddr
