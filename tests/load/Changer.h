// A client who lets addresses of his own come and go, at a steady pace, over one connection.
#pragma once

#include <cstddef>
#include <vector>

#include "load/KeptTalk.h"
#include "load/Truth.h"

namespace Load {

class Changer {
public:
    static constexpr std::size_t count = 4;
    static constexpr auto pace = std::chrono::milliseconds(4);  // of each

    // His addresses are those from `first` on, a step of `count` apart. Borrows the truths, one an
    // address, and writes those of his own alone.
    Changer(std::string const& path, std::size_t first, std::vector<Truth>& truths)
        : talk_(path), first_(first), truths_(truths) {}

    // Throws std::runtime_error where he is not told that it has changed.
    void run(Time end);
    std::size_t changes() const { return changes_; }

private:
    KeptTalk talk_;
    std::size_t const first_;
    std::vector<Truth>& truths_;
    std::size_t changes_ = 0;
};

// Has a row come, or go, which was not so before; the same of who asks for it once.
void change(KeptTalk& talk, std::size_t address, bool isThere);

}  // namespace Load
