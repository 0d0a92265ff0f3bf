#include "intfaddr/answer/Document.h"

#include <utility>

namespace IntfAddr {

std::string drained(Body& body) {
    std::string text;
    while (body.next(text) == Body::Progress::more) {
    }
    return text;
}

std::string toLine(Json const& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

Document& Document::member(std::string name, std::function<Json()> value) {
    members_.push_back({.name = std::move(name), .value = std::move(value), .step = nullptr});
    return *this;
}

Document& Document::list(std::string name, Step step) {
    members_.push_back({.name = std::move(name), .value = nullptr, .step = std::move(step)});
    return *this;
}

void Document::begin(Member const& member, std::string& buffer) {
    buffer += current_ == 0 ? "{" : ",";
    buffer += toLine(member.name) + ":";
    if (member.step) {
        buffer += "[";
        isFirstItem_ = true;
    } else {
        buffer += toLine(member.value());
    }
}

Body::Progress Document::next(std::string& buffer) {
    if (current_ == members_.size()) {
        buffer += members_.empty() ? "{}\n" : "}\n";
        return Progress::ended;
    }
    Member const& member = members_[current_];
    if (!std::exchange(isBegun_, true)) {
        begin(member, buffer);
    }
    if (member.step) {
        Items items(buffer, isFirstItem_);
        if (member.step(items)) {
            return Progress::more;
        }
        buffer += isFirstItem_ ? "]" : "\n]";
    }
    ++current_;
    isBegun_ = false;
    return Progress::more;
}

}  // namespace IntfAddr
