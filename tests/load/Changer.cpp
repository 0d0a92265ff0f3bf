#include "load/Changer.h"

#include <fmt/format.h>

#include <algorithm>
#include <random>
#include <stdexcept>
#include <thread>

#include "load/Addresses.h"

namespace Load {

void change(KeptTalk& talk, std::size_t address, bool isThere) {
    auto const [status, body] = talk.ask(isThere ? "PUT" : "DELETE", targetOf("virtual", address));
    if (status != 200 || body != "{\"changed\":true}\n") {
        throw std::runtime_error(fmt::format("{} {} was answered {}: {}", addressOf(address),
                                             isThere ? "comes, and" : "goes, and", status, body));
    }
}

void Changer::run(Time end) {
    std::mt19937 random(static_cast<std::mt19937::result_type>(first_));
    std::uniform_int_distribution<std::size_t> choose(0, addressCount / count - 1);
    std::vector<char> isThere(addressCount, false);
    for (Time next = Clock::now(); next < end;) {
        std::this_thread::sleep_until(next);
        auto const address = first_ + count * choose(random);
        bool const comes = !isThere[address];
        Time const began = Clock::now();
        try {
            change(talk_, address, comes);
        } catch (std::exception const&) {
            truths_[address].add({began, Time::max()}, comes);
            throw;
        }
        truths_[address].add({began, Clock::now()}, comes);
        isThere[address] = comes;
        ++changes_;
        next = std::max(next + pace, Clock::now());
    }
}

}  // namespace Load
