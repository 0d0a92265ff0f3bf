// For tests: who watches an agent, and what the tables are by another answer.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Zin/Format.h"
#include "intfaddr/answer/TestAnswers.h"
#include "intfaddr/http/EventStream.h"

namespace IntfAddr {

// "VRF ADDRESS/LENGTH INTERFACE"
inline std::string rowText(Json const& line) {
    return fmt::format("{} {}/{} {}", line["vrf"].get<std::string>(),
                       line["address"].get<std::string>(), line["prefixLength"].get<int>(),
                       line["interface"].is_null() ? "-" : line["interface"].get<std::string>());
}

// Who watches: each event that has come, and the replica that follows from them, over as many
// connections as it takes.
class Watcher {
public:
    Watcher(AnswersTest const& bench, Parameters query)
        : bench_(bench),
          query_(std::move(query)),
          stream_([this](std::string_view data) { apply(Json::parse(data)); }) {
        connect();
    }

    // With the id of the last event that came.
    void connect() {
        auto const id = stream_.lastEventId();
        connectWith(id.empty() ? std::nullopt : std::optional<std::string>(id));
    }
    void connectWith(std::optional<std::string> id) {
        reply_ = Reply();
        stream_.begin();
        hasBegun_ = false;
        sentId_ = id.value_or("");
        isRefusable_ = id.has_value();
        reply_ = bench_.reply("watch", query_, "GET", std::move(id));
        EXPECT_EQ(reply_.status, 200U);
        EXPECT_EQ(reply_.contentType, "text/event-stream");
        reply_.body->onMore([this] { ++woken; });
    }
    // Returns whether there is more. Of what came the first bytes alone arrive.
    bool pull(std::size_t most = std::string::npos) {
        std::string text;
        auto const progress = reply_.body->next(text);
        EXPECT_NE(progress, Body::Progress::ended);
        stream_.put(std::string_view(text).substr(0, most));
        return progress == Body::Progress::more;
    }
    // Leaves it in the middle of its walk.
    void pullFirstRow() {
        while (replica().empty()) {
            pull();
        }
    }
    void pullAll() {
        while (pull()) {
        }
    }
    std::vector<std::string> takeLines() { return std::exchange(lines_, {}); }
    std::set<std::string> const& replica() const { return replica_; }
    std::string const& lastEventId() const { return stream_.lastEventId(); }
    bool isComplete() const { return isComplete_; }
    // How often he was too slow for the log.
    std::uint64_t losses() const { return losses_; }
    // How often he could go on with what he had, and how often not.
    std::uint64_t resumptions() const { return resumptions_; }
    std::uint64_t refusals() const { return refusals_; }
    Parameters const& query() const { return query_; }

    int woken = 0;

private:
    void apply(Json const& event) {
        EXPECT_EQ(event["agent"], "me");
        auto const seq = event["seq"].get<std::uint64_t>();
        if (event.contains("begin")) {
            begin(event);
        } else if (event.contains("complete")) {
            EXPECT_FALSE(std::exchange(isComplete_, true));
            lines_.push_back("complete");
        } else {
            bool const present = event["present"].get<bool>();
            auto const row = rowText(event);
            EXPECT_TRUE(present ? replica_.insert(row).second : replica_.erase(row) == 1)
                << toLine(event);
            lines_.push_back((present ? "+ " : "- ") + row);
            // What is behind a filter is not told, but has its number.
            bool const isFiltered =
                std::ranges::any_of(query_, [](auto const& one) { return one.first != "initial"; });
            EXPECT_TRUE(!isComplete_ || seq == seq_ + 1 || (isFiltered && seq > seq_))
                << toLine(event);
        }
        EXPECT_GE(seq, seq_) << toLine(event);
        seq_ = seq;
        if (isComplete_) {
            EXPECT_EQ(stream_.lastEventId(), fmt::format("me.{}", seq));
        }
    }
    void begin(Json const& event) {
        auto const how = event["begin"].get<std::string>();
        EXPECT_EQ(event.contains("why"), how == "anew") << toLine(event);
        EXPECT_TRUE(isRefusable_ || hasBegun_ || how == "table" || how == "changes") << how;
        lines_.push_back("begin " + how);
        losses_ += event.contains("lost") && hasBegun_;
        refusals_ += how == "anew" && !hasBegun_;
        if (how == "resumed") {
            EXPECT_TRUE(isComplete_);
            EXPECT_EQ(sentId_, fmt::format("me.{}", event["seq"].get<std::uint64_t>()));
            ++resumptions_;
        } else {
            replica_.clear();
            isComplete_ = how == "changes";
        }
        if (event.contains("lost")) {
            EXPECT_GT(event["lost"], AnswersTest::heldChanges);
        }
        hasBegun_ = true;
    }

    AnswersTest const& bench_;
    Parameters const query_;
    EventStream stream_;
    Reply reply_;
    std::string sentId_;
    bool isRefusable_ = false;
    bool hasBegun_ = false;
    std::uint64_t seq_ = 0;
    std::vector<std::string> lines_;
    std::set<std::string> replica_;
    bool isComplete_ = false;
    std::uint64_t losses_ = 0;
    std::uint64_t resumptions_ = 0;
    std::uint64_t refusals_ = 0;
};

struct WatchTest : AnswersTest {
    void addTwenty() {
        for (int i = 1; i <= 20; ++i) {
            addAddress(7, fmt::format("10.0.{}.1/24", i).c_str());
        }
    }
    // What is in the tables, of what a filter admits, in the words of another answer.
    std::set<std::string> table(Parameters query) const {
        std::erase_if(query, [](auto const& one) { return one.first == "initial"; });
        std::set<std::string> rows;
        Json const answer = ask("addresses", query);
        for (auto const& address : answer["addresses"]) {
            if (address["place"] == "table") {
                EXPECT_TRUE(rows.insert(rowText(address)).second);
            }
        }
        return rows;
    }
};

}  // namespace IntfAddr
