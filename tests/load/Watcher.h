// A client who watches, over connections that break at random moments, and keeps a replica.
#pragma once

#include <cstddef>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <utility>

#include "intfaddr/http/EventStream.h"
#include "load/Replica.h"

namespace Load {

class Watcher {
public:
    Watcher(std::string path, unsigned seed) : path_(std::move(path)), random_(seed) {
        beginWithNothing();
    }
    Watcher(Watcher const&) = delete;
    Watcher& operator=(Watcher const&) = delete;

    // Until his replica is whole and has the last address. Throws Contradiction, and
    // std::runtime_error where a connection broke that he did not break.
    void run();

    Replica const& replica() const { return *replica_; }
    struct Counts {
        std::size_t events = 0;
        std::size_t ofOthers = 0;  // changes that are none of virtual addresses
        std::size_t resumptions = 0;
        std::size_t tables = 0;  // begun with nothing
        std::size_t anew = 0;
    };
    Counts const& counts() const { return counts_; }

private:
    void beginWithNothing();
    void take(std::string_view data);
    void follow(std::size_t bytes);
    bool isDone() const;

    std::string const path_;
    std::mt19937 random_;
    std::optional<Replica> replica_;
    std::optional<IntfAddr::EventStream> stream_;
    Counts counts_;
};

// How many changes the agent had told by now, to whomever.
std::size_t toldChanges(std::string const& path);

}  // namespace Load
