// What it costs to replay a scenario of a million operations, beside parsing each of its lines as
// JSON and doing nothing with them.
//
//   bench_replay [--smallest]
//
// Prints a line of JSON (Result.h).
#include <cstdint>
#include <iterator>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>

#include "Population.h"
#include "Result.h"
#include "Zin/Format.h"
#include "feeds/scenario/Replayer.h"

namespace {

// Each interface comes with a device and eight addresses, of which one goes again. In the end the
// file says itself what must be there of the last one.
constexpr std::uint32_t operationsEach = 10;

std::string scenarioOf(std::uint32_t operations) {
    std::string text =
        "{\"op\":\"table.add\",\"vrf\":\"default\"}\n{\"op\":\"ip.vrf.add\",\"vrf\":\"default\"}\n";
    auto const out = std::back_inserter(text);
    for (std::uint32_t intf = 0; intf < operations / operationsEach; ++intf) {
        auto const name = Bench::nameOf(intf);
        auto const addr = [intf](std::uint32_t host) {
            return Bench::Ipv4::withMask(intf * Bench::addressesEach + host);
        };
        auto const secondary = [&](char const* change, std::uint32_t host) {
            fmt::format_to(out,
                           R"({{"op":"ip.secondary.{}","vrf":"default","intf":"{}","addr":"{}"}})"
                           "\n",
                           change, name, addr(host));
        };
        fmt::format_to(out,
                       R"({{"op":"kernel.add","vrf":"default","intf":"{}"}})"
                       "\n"
                       R"({{"op":"ip.intf.add","vrf":"default","intf":"{}","primary":"{}"}})"
                       "\n",
                       name, name, addr(0));
        for (std::uint32_t host = 1; host < Bench::addressesEach; ++host) {
            secondary("add", host);
        }
        secondary("del", 7);
    }
    std::uint32_t const last = operations / operationsEach - 1;
    for (auto const& [host, owner] : {std::pair(6, fmt::format("\"{}\"", Bench::nameOf(last))),
                                      std::pair(7, std::string("null"))}) {
        fmt::format_to(
            out,
            R"({{"op":"expect","lookup":{{"vrf":"default","addr":"{}","intf":{}}}}})"
            "\n",
            Bench::Ipv4::addr(last * Bench::addressesEach + static_cast<std::uint32_t>(host)),
            owner);
    }
    return text;
}

}  // namespace

int main(int argc, char** argv) {
    bool const smallest = argc == 2 && std::string_view(argv[1]) == "--smallest";
    if (argc > 1 && !smallest) {
        fmt::print(stderr, "usage: bench_replay [--smallest]\n");
        return 2;
    }
    std::uint32_t const operations = smallest ? 1'000 : 1'000'000;
    std::string const text = scenarioOf(operations);
    Bench::Samples samples(operations);
    for (int repetition = 0; repetition < (smallest ? 1 : 5); ++repetition) {
        std::istringstream in(text);
        std::ostringstream out;
        Scenario::Options const options;
        samples.ours([&] {
            Bench::check("outcome",
                         Scenario::replay(in, out, options) == Scenario::Outcome::completed, true);
        });
        Bench::check("what a replay without questions prints", out.str().size(), 0);

        std::size_t parsed = 0;
        samples.floor([&] {
            std::istringstream lines(text);
            for (std::string line; std::getline(lines, line);) {
                parsed += nlohmann::json::parse(line).size();
            }
        });
        Bench::check("members of all objects", parsed > operations, true);
    }
    samples.print("replay", operations, 2);
    return EXIT_SUCCESS;
}
