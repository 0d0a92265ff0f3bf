// What is wrong with a router: each of one kind, and a text that names what it is wrong with.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Zin/Format.h"

namespace Healing {

struct Fault {
    std::string_view kind;  // a literal
    std::string what;
};

class Faults {
public:
    template <class... Args>
    void add(std::string_view kind, fmt::format_string<Args...> format, Args&&... args) {
        all_.push_back({kind, where_ + fmt::format(format, std::forward<Args>(args)...)});
    }
    // Said in front of those that follow.
    void whereIs(std::string where) { where_ = std::move(where); }

    bool empty() const { return all_.empty(); }
    std::vector<Fault> const& all() const { return all_; }

private:
    std::string where_;
    std::vector<Fault> all_;
};

}  // namespace Healing
