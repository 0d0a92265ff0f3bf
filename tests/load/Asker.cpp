#include "load/Asker.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>
#include <random>
#include <stdexcept>

#include "load/Addresses.h"

namespace Load {

namespace {

using Json = nlohmann::json;

// Whether the address, and nothing else, is there.
bool isThere(std::size_t address, Json const& answer) {
    auto const& owners = answer.at("owners");
    bool const isTold = !owners.empty();
    bool const isSound =
        answer.at("notKnown").empty() &&
        (!isTold || (owners.size() == 1 && owners[0].at("address") == addressOf(address) &&
                     owners[0].at("vrf") == "default" && owners[0].at("virtual") == true &&
                     owners[0].at("place") == "table"));
    if (!isSound) {
        throw std::runtime_error(
            fmt::format("{} was looked up: {}", addressOf(address), answer.dump()));
    }
    return isTold;
}

}  // namespace

void Asker::run(Time begin, Time end) {
    std::mt19937 random(seed_);
    std::uniform_int_distribution<std::size_t> choose(0, addressCount - 1);
    for (Time now = begin; now < end; now = Clock::now()) {
        bool const isOfAgent = (now - begin) / slice % 2 == 0;
        auto const address = choose(random);
        auto const target = targetOf("lookup", address);
        Time const asked = Clock::now();
        auto const [status, body] = (isOfAgent ? agent_ : smallest_).ask("GET", target);
        Interval const interval{asked, Clock::now()};
        if (status != 200) {
            throw std::runtime_error(fmt::format("{} was answered {}: {}", target, status, body));
        }
        // Both cost the asker the same.
        auto const answer = Json::parse(body);
        if (isOfAgent) {
            lookups_.push_back({address, interval, isThere(address, answer)});
        } else {
            smallestTimes_.push_back(interval.ended - interval.began);
        }
    }
}

}  // namespace Load
