#include "intfaddr/rehearsal/WhatIf.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "Zin/Format.h"
#include "feeds/scenario/LineReader.h"
#include "feeds/scenario/Operations.h"
#include "intfaddr/rehearsal/Rehearsal.h"
#include "intfaddr/rehearsal/WhyNot.h"

namespace IntfAddr {

namespace {

// Of all lines, which are kept until the last: what never ends shall not take all of the memory.
constexpr std::size_t mostBytes = std::size_t{16} * 1024 * 1024;

struct Line {
    std::uint64_t number;
    std::string text;
    std::optional<L3::VrfName> vrf;
};

void checkChanges(Scenario::Json const& object) {
    constexpr std::array<std::string_view, 5> others{Scenario::configOp, "snapshot", "lowest6",
                                                     "dump", "expect"};
    auto const op = object.value("op", Scenario::Json());
    if (op.is_string() && std::ranges::find(others, op.get<std::string>()) != others.end()) {
        throw Scenario::LineError(fmt::format(
            "'{}' changes nothing: an operation that does is expected", op.get<std::string>()));
    }
}

std::vector<Line> linesOf(std::istream& file) {
    std::vector<Line> lines;
    std::size_t size = 0;
    Scenario::LineReader reader(file);
    try {
        while (reader.next()) {
            if (Scenario::isSkipped(reader.line())) {
                continue;
            }
            size += reader.line().size();
            if (size > mostBytes) {
                throw Scenario::LineError(
                    fmt::format("the file has more than {} bytes", mostBytes));
            }
            auto const object = Scenario::readObject(reader.line());
            checkChanges(object);
            auto const vrf = object.value("vrf", Scenario::Json());
            bool const isNamed = vrf.is_string() && !vrf.get<std::string>().empty();
            lines.push_back(
                {reader.number(), reader.line(),
                 isNamed ? std::optional<L3::VrfName>(vrf.get<std::string>()) : std::nullopt});
        }
    } catch (Scenario::LineError const& error) {
        throw Scenario::FileError(reader.number(), error.what());
    }
    return lines;
}

// In the order in which the file names them; "default" where it names none.
std::vector<L3::VrfName> vrfsOf(std::vector<Line> const& lines) {
    std::vector<L3::VrfName> vrfs;
    for (auto const& line : lines) {
        if (line.vrf && std::ranges::find(vrfs, *line.vrf) == vrfs.end()) {
            vrfs.push_back(*line.vrf);
        }
    }
    return vrfs.empty() ? std::vector<L3::VrfName>{"default"} : vrfs;
}

}  // namespace

Json whatIf(std::istream& file, StateOf const& stateOf) {
    auto const lines = linesOf(file);
    std::vector<Rehearsal::Change> changes;
    Json remarks = Json::array();
    for (auto const& vrf : vrfsOf(lines)) {
        Rehearsal rehearsal(stateOf(vrf));
        for (auto const& [number, text, itsVrf] : lines) {
            if (itsVrf && itsVrf != vrf) {
                continue;
            }
            try {
                rehearsal.handleLine(number, Scenario::readObject(text));
            } catch (Scenario::LineError const& error) {
                throw Scenario::FileError(number, error.what());
            }
        }
        rehearsal.goOnToTheEnd();
        changes.insert(changes.end(), rehearsal.changes().begin(), rehearsal.changes().end());
        for (auto const& remark : rehearsal.remarks()) {
            remarks.push_back(remark);
        }
    }
    std::ranges::stable_sort(changes, {}, &Rehearsal::Change::at);
    Json answer{{"changes", Json::array()}, {"remarks", std::move(remarks)}};
    for (auto const& change : changes) {
        answer["changes"].push_back(jsonOf(change));
    }
    return answer;
}

}  // namespace IntfAddr
