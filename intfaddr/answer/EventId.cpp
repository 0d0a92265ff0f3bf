#include "intfaddr/answer/EventId.h"

#include <utility>

#include "Zin/Format.h"

namespace IntfAddr {

namespace {

constexpr std::string_view ofAgents =
    "-0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

}  // namespace

EventId::EventId(std::string agent, std::uint64_t position)
    : agent_(std::move(agent)), position_(position) {}

EventId::EventId(std::string_view text) {
    agent_ = text.substr(0, text.find_first_not_of(ofAgents));
    Zin::TextReader reader(text);
    reader.literal(agent_);
    if (agent_.empty()) {
        reader.fail("the name of an agent");
    }
    reader.literal(".");
    position_ = reader.number<std::uint64_t>();
    reader.end();
}

std::string EventId::text() const { return fmt::format("{}.{}", agent_, position_); }

}  // namespace IntfAddr
