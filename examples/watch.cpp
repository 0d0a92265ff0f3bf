// Keeps a copy of an agent's tables, over broken connections too, and prints what changes in it.
//
//     example_watch [SOCKET]
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>

#include "intfaddr/http/Client.h"
#include "intfaddr/http/EventStream.h"

namespace {

// "VRF ADDRESS/LENGTH INTERFACE"
using Rows = std::set<std::string>;

class Copy {
public:
    void apply(nlohmann::json const& event) {
        auto const begin = event.value("begin", "");
        if (begin == "table" || begin == "anew") {
            coming_.emplace();
        } else if (event.contains("complete")) {
            printMissing('-', rows_, *coming_);
            printMissing('+', *coming_, rows_);
            rows_ = std::move(*coming_);
            coming_.reset();
        } else if (event.contains("present")) {
            change(textOf(event), event["present"].get<bool>());
        }
    }

private:
    static std::string textOf(nlohmann::json const& event) {
        auto const& intf = event["interface"];
        return fmt::format("{} {}/{} {}", event["vrf"].get<std::string>(),
                           event["address"].get<std::string>(), event["prefixLength"].get<int>(),
                           intf.is_null() ? "-" : intf.get<std::string>());
    }
    void change(std::string const& row, bool present) {
        Rows& rows = coming_ ? *coming_ : rows_;
        bool const isNews = present ? rows.insert(row).second : rows.erase(row) == 1;
        if (!isNews) {
            throw std::logic_error("this was told before: " + row);
        }
        if (!coming_) {
            print(present ? '+' : '-', row);
        }
    }
    static void printMissing(char sign, Rows const& from, Rows const& in) {
        for (auto const& row : from) {
            if (!in.contains(row)) {
                print(sign, row);
            }
        }
    }
    static void print(char sign, std::string const& row) {
        fmt::print("{} {}\n", sign, row);
        std::fflush(stdout);
    }

    Rows rows_;
    std::optional<Rows> coming_;  // while a table is told: what of it has come
};

}  // namespace

int main(int count, char** arguments) {
    IntfAddr::Client client(count > 1 ? arguments[1] : "/run/intfaddr/intfaddr.sock",
                            IntfAddr::Client::noLimit);
    Copy copy;
    bool isTold = false;  // anything, on this connection
    IntfAddr::EventStream stream([&](std::string_view data) {
        isTold = true;
        copy.apply(nlohmann::json::parse(data));
    });
    std::chrono::milliseconds wait(0);
    while (true) {
        stream.begin();
        isTold = false;
        try {
            client.follow("/v1/watch?initial", stream.lastEventId(), [&](std::string_view piece) {
                if (client.status() == 200) {
                    stream.put(piece);
                }
            });
        } catch (std::runtime_error const& error) {
            fmt::print(stderr, "example_watch: {}\n", error.what());
        }
        wait = isTold ? std::chrono::milliseconds(100)
                      : std::clamp(2 * wait, std::chrono::milliseconds(100),
                                   std::chrono::milliseconds(5000));
        std::this_thread::sleep_for(wait);
    }
}
