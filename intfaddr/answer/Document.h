// A JSON document that is written little by little: a list may have a million items, of which no
// more than a few are held at a time. Each item stands on a line of its own.
//
//   {"from":"agent","addresses":[
//   {...},
//   {...}
//   ],"notKnown":[]}
#pragma once

#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "intfaddr/http/Reply.h"

namespace IntfAddr {

using Json = nlohmann::ordered_json;

// The whole of a body that never waits.
std::string drained(Body& body);

// In one line; what is not UTF-8 is replaced.
std::string toLine(Json const& json);

class Document final : public Body {
public:
    class Items {
    public:
        explicit Items(std::string& out, bool& isFirst) : out_(out), isFirst_(isFirst) {}
        // What comes behind belongs to a new item.
        std::string& next() {
            out_ += isFirst_ ? "\n" : ",\n";
            isFirst_ = false;
            return out_;
        }
        // What comes behind belongs to the last item.
        std::string& more() { return out_; }

    private:
        std::string& out_;
        bool& isFirst_;
    };
    // Writes what one step finds. Returns whether there is more to do.
    using Step = std::function<bool(Items& items)>;

    // The members in this order.
    Document& member(std::string name, std::function<Json()> value);
    Document& list(std::string name, Step step);

    Progress next(std::string& buffer) override;

private:
    struct Member {
        std::string name;
        std::function<Json()> value;
        Step step;
    };

    void begin(Member const& member, std::string& buffer);

    std::vector<Member> members_;
    std::size_t current_ = 0;
    bool isBegun_ = false;
    bool isFirstItem_ = true;
};

}  // namespace IntfAddr
