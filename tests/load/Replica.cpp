#include "load/Replica.h"

#include <fmt/format.h>

#include <utility>

namespace Load {

using Json = nlohmann::json;

std::string rowOf(Json const& json) {
    auto const& intf = json.at("interface");
    return fmt::format("{} {}/{} {}", json.at("vrf").get<std::string>(),
                       json.at("address").get<std::string>(), json.at("prefixLength").get<int>(),
                       intf.is_null() ? "-" : intf.get<std::string>());
}

void Replica::apply(Json const& event) {
    auto const agent = event.at("agent").get<std::string>();
    if (agent_.value_or(agent) != agent) {
        throw Contradiction(fmt::format("this is another agent: {}", event.dump()));
    }
    agent_ = agent;
    if (event.contains("begin")) {
        begin(event);
    } else if (event.contains("complete")) {
        complete(event.at("seq").get<std::uint64_t>());
    } else {
        change(event);
    }
}

void Replica::begin(Json const& event) {
    auto const how = event.at("begin").get<std::string>();
    auto const seq = event.at("seq").get<std::uint64_t>();
    walk_.reset();
    if (how == "resumed" && position_) {
        if (seq != *position_) {
            throw Contradiction(fmt::format("resumed at {} instead of {}", seq, *position_));
        }
        ++resumptions_;
    } else if (how == "table" && !position_) {
        walk_.emplace(Walk{.position = seq, .rows = {}});
    } else if (how == "anew" && position_ && event.value("lost", std::uint64_t{0}) > kept) {
        ++anew_;
        walk_.emplace(Walk{.position = seq, .rows = {}});
    } else {
        throw Contradiction(fmt::format("there is no reason to begin so: {}", event.dump()));
    }
}

void Replica::complete(std::uint64_t seq) {
    if (!walk_ || seq < walk_->position) {
        throw Contradiction(fmt::format("this cannot be complete, with {}", seq));
    }
    rows_ = std::move(walk_->rows);
    position_ = seq;
    walk_.reset();
}

void Replica::change(Json const& event) {
    auto const seq = event.at("seq").get<std::uint64_t>();
    if (walk_ ? seq < walk_->position : seq != position_.value_or(seq) + 1) {
        throw Contradiction(fmt::format(
            "behind {} comes {}", walk_ ? walk_->position : position_.value_or(0), event.dump()));
    }
    Rows& rows = walk_ ? walk_->rows : rows_;
    auto const row = rowOf(event);
    bool const isNews =
        event.at("present").get<bool>() ? rows.insert(row).second : rows.erase(row) == 1;
    if (!isNews) {
        throw Contradiction(fmt::format("this was so already: {}", event.dump()));
    }
    (walk_ ? walk_->position : *position_) = seq;
}

}  // namespace Load
