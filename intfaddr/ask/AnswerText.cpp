#include "intfaddr/ask/AnswerText.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <tuple>
#include <utility>
#include <vector>

#include "Nimb/IpGenAddr.h"
#include "Zin/Format.h"
#include "intfaddr/ask/TextTable.h"
#include "router/Router.h"

namespace IntfAddr {

namespace {

std::string textOf(Json const& value) { return value.is_null() ? "-" : value.get<std::string>(); }

std::string withLength(Json const& address) {
    return fmt::format("{}/{}", address["address"].get<std::string>(),
                       address["prefixLength"].get<int>());
}

std::string detailOf(Json const& address) {
    if (auto const why = address.find("why"); why != address.end()) {
        return textOf(*why);
    }
    auto const found = address.find("waitsFor");
    if (found == address.end()) {
        return address["virtual"].get<bool>() ? "virtual" : "";
    }
    if (found->is_null()) {
        return "waits for the next try";
    }
    return fmt::format("behind {} on {}",
                       textOf(found->contains("subnet") ? (*found)["subnet"] : (*found)["address"]),
                       textOf((*found)["interface"]));
}

// "default" first, the others by name; then by address, or by the address of a subnet.
std::vector<Json const*> sorted(Json const& list, char const* address) {
    using Key = std::tuple<bool, std::string, Nimb::IpGenAddr, std::string>;
    std::vector<std::pair<Key, Json const*>> keyed;
    for (auto const& one : list) {
        L3::VrfName const vrf(one["vrf"].get<std::string>());
        auto const text = one[address].get<std::string>();
        keyed.emplace_back(
            Key(!vrf.isDefault(), vrf.bytes(), Nimb::IpGenAddr(text.substr(0, text.find('/'))),
                textOf(one["interface"])),
            &one);
    }
    std::ranges::stable_sort(keyed, {}, &decltype(keyed)::value_type::first);
    std::vector<Json const*> ordered;
    for (auto const& [key, one] : keyed) {
        ordered.push_back(one);
    }
    return ordered;
}

std::string joined(Json const& list) {
    std::string text;
    for (auto const& one : list) {
        text += text.empty() ? "" : ",";
        text += one.get<std::string>();
    }
    return text;
}

}  // namespace

std::string addressText(Json const& answer) {
    TextTable table({"VRF", "ADDRESS", "INTERFACE", "PLACE", "STATE", "DETAIL"});
    for (auto const* const one : sorted(answer["addresses"], "address")) {
        table.add({textOf((*one)["vrf"]), withLength(*one), textOf((*one)["interface"]),
                   textOf((*one)["place"]), textOf((*one)["state"]), detailOf(*one)});
    }
    return table.text();
}

std::string briefText(Json const& answer) {
    std::vector<std::pair<std::pair<std::string, std::string>, std::string>> lines;
    std::map<std::pair<std::string, std::string>, std::size_t> lineOf;
    for (auto const* const one : sorted(answer["addresses"], "address")) {
        std::pair const key(textOf((*one)["vrf"]), textOf((*one)["interface"]));
        auto const [found, isNew] = lineOf.emplace(key, lines.size());
        if (isNew) {
            lines.emplace_back(key, "");
        }
        bool const isRow = (*one)["place"] == "table";
        auto const addr = withLength(*one);
        std::string& text = lines[found->second].second;
        text += text.empty() ? "" : " ";
        text += isRow ? addr : fmt::format("[{}]", addr);
    }
    TextTable table({"VRF", "INTERFACE", "ADDRESSES"});
    for (auto const& [key, text] : lines) {
        table.add({key.first, key.second, text});
    }
    return table.text();
}

std::string lookupText(Json const& answer) {
    TextTable owners({"VRF", "ADDRESS", "INTERFACE", "SUBNET", "STATE", "DETAIL"});
    for (auto const* const one : sorted(answer["owners"], "address")) {
        owners.add({textOf((*one)["vrf"]), withLength(*one), textOf((*one)["interface"]),
                    textOf((*one)["subnet"]), textOf((*one)["state"]), detailOf(*one)});
    }
    TextTable connected({"VRF", "CONNECTED", "INTERFACE"});
    for (auto const* const one : sorted(answer["connected"], "subnet")) {
        connected.add(
            {textOf((*one)["vrf"]), textOf((*one)["subnet"]), textOf((*one)["interface"])});
    }
    return answer["owners"].empty() ? connected.text() : owners.text();
}

std::string statusText(Json const& answer) {
    std::string text;
    for (char const* const name :
         {"version", "agent", "process", "uptime", "longestStall", "memory", "watchers"}) {
        auto const& value = answer[name];
        fmt::format_to(std::back_inserter(text), "{:<12}  {}\n", name,
                       value.is_string() ? textOf(value) : toLine(value));
    }
    TextTable recordings({"RECORDING", "BYTES", "STATE", "WHY"});
    if (auto const& one = answer["recording"]; !one.is_null()) {
        recordings.add(
            {textOf(one["file"]), toLine(one["bytes"]), textOf(one["state"]), textOf(one["why"])});
    }
    TextTable vrfs({"VRF", "ROWS", "WAITING"});
    for (auto const& one : answer["vrfs"]) {
        vrfs.add({textOf(one["vrf"]), toLine(one["rows"]), toLine(one["waiting"])});
    }
    TextTable namespaces({"NAMESPACE OF", "LOSSES", "DUMPS"});
    for (auto const& one : answer["namespaces"]) {
        namespaces.add({textOf(one["vrf"]), toLine(one["losses"]), toLine(one["dumps"])});
    }
    TextTable rebuilds({"REBUILDS", "WHY"});
    for (auto const& one : answer["rebuilds"]) {
        rebuilds.add({toLine(one["count"]), textOf(one["why"])});
    }
    TextTable leftOut({"LEFT OUT", "WHY"});
    for (auto const& one : answer["leftOut"]) {
        leftOut.add({textOf(one["what"]), textOf(one["why"])});
    }
    TextTable unknown({"NOT KNOWN", "WHY"});
    for (auto const& one : answer["notKnown"]) {
        unknown.add({textOf(one["what"]), textOf(one["why"])});
    }
    for (auto const* const table :
         {&recordings, &vrfs, &namespaces, &rebuilds, &leftOut, &unknown}) {
        auto const lines = table->text();
        text += (lines.empty() ? "" : "\n") + lines;
    }
    return text;
}

std::string subnetText(Json const& answer) {
    TextTable table({"VRF", "SUBNET", "INTERFACE", "ADDRESSES", "DEPRECATED"});
    for (auto const* const one : sorted(answer["subnets"], "subnet")) {
        table.add({textOf((*one)["vrf"]), textOf((*one)["subnet"]), textOf((*one)["interface"]),
                   joined((*one)["addresses"]), joined((*one)["deprecated"])});
    }
    return table.text();
}

}  // namespace IntfAddr
