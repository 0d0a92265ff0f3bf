// What an address costs on its road through the library, from the published status to the row that
// eight observers are told of, and what it costs to find: in time, in memory and in allocations, at
// 1,000 to 1,000,000 addresses, beside the floor (Floor.h) in the same process, both in turn.
//
//   bench_road [--smallest] [--sizes N,...] [--only TEXT]
//
// --smallest: the smallest size, once. --only: what has TEXT in its name.
// Prints lines of JSON (Result.h); ends with a failure where a table does not hold what it should.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Allocations.h"
#include "Floor.h"
#include "Library.h"
#include "Population.h"
#include "Result.h"

namespace {

using Bench::addressesEach;
using Bench::check;
using Bench::cleanupDelay;
using Bench::deferredDelay;
using Bench::Floor;
using Bench::Ipv4;
using Bench::Ipv6;
using Bench::Library;
using Bench::Samples;

struct Run {
    std::uint32_t size;
    int repetitions;

    std::uint32_t intfs() const { return size / addressesEach; }
    // How often what takes a few nanoseconds is done, to be measured.
    std::uint32_t passes() const { return std::max(1U, 100'000 / size); }
};

// The results must be used, or the work could be left out.
std::uint64_t volatile used = 0;

// What has a function of its own shows in a profile.

template <class Family>
void interfaces(Library<Family>& library, Run const& run) {
    for (std::uint32_t intf = 0; intf < run.intfs(); ++intf) {
        library.interfaceIs();
    }
}

template <class Holder>
[[gnu::noinline]] void addAll(Holder& holder, Run const& run) {
    for (std::uint32_t number = 0; number < run.size; ++number) {
        holder.add(number);
    }
}
template <class Holder>
[[gnu::noinline]] void delAll(Holder& holder, Run const& run) {
    for (std::uint32_t number = 0; number < run.size; ++number) {
        holder.del(number);
    }
}
template <class Family>
void oneAtATime(Run const& run, char const* road, char const* withdrawal) {
    Samples added(run.size);
    Samples withdrawn(run.size);
    for (int repetition = 0; repetition < run.repetitions; ++repetition) {
        Library<Family> library(run.size);
        interfaces(library, run);
        Floor<Family> floor;
        added.ours([&] { addAll(library, run); });
        added.floor([&] { addAll(floor, run); });
        check("rows", library.rows(), run.size);
        check("rows of the floor", floor.rows(), run.size);
        library.checkTold(run.size);

        withdrawn.ours([&] { delAll(library, run); });
        withdrawn.floor([&] { delAll(floor, run); });
        check("rows after withdrawal", library.rows(), 0);
        check("rows of the floor after withdrawal", floor.rows(), 0);
        library.checkTold(2 * run.size);
    }
    added.print(road, run.size, 2.5);
    withdrawn.print(withdrawal, run.size, 4);
}

void road(Run const& run) { oneAtATime<Ipv4>(run, "whole road, one at a time", "withdrawal"); }
void road6(Run const& run) { oneAtATime<Ipv6>(run, "whole road, IPv6", "withdrawal, IPv6"); }

void atOnce(Run const& run) {
    Samples samples(run.size);
    for (int repetition = 0; repetition < run.repetitions; ++repetition) {
        Library<Ipv4> library(run.size);
        Floor<Ipv4> floor;
        samples.ours([&] {
            for (std::uint32_t intf = 0; intf < run.intfs(); ++intf) {
                library.interfaceWithAddressesIs();
            }
        });
        samples.floor([&] { addAll(floor, run); });
        check("rows", library.rows(), run.size);
        library.checkTold(run.size);
    }
    samples.print("whole road, at once", run.size, 2.0);
}

// The numbers from `first` on, in some order.
std::vector<std::uint32_t> shuffled(std::uint32_t first, std::uint32_t count) {
    std::vector<std::uint32_t> numbers(count);
    std::iota(numbers.begin(), numbers.end(), first);
    std::shuffle(numbers.begin(), numbers.end(), std::mt19937(count));
    return numbers;
}

// Each is asked for, in an order that no cache knows; `present` of them are there.
void has(Run const& run, Library<Ipv4> const& library, Floor<Ipv4> const& floor, char const* work,
         std::uint32_t first, std::uint32_t present) {
    std::vector<IpLib::IntfAddrEntryKey> ourKeys;
    std::vector<Bench::FloorKey> floorKeys;
    for (std::uint32_t const number : shuffled(first, run.size)) {
        ourKeys.push_back(Bench::keyOf<Ipv4>(number));
        floorKeys.push_back(Bench::floorRowOf<Ipv4>(number).address);
    }
    std::size_t const expected = std::size_t{present} * run.passes();
    Samples samples(std::size_t{run.size} * run.passes());
    for (int repetition = 0; repetition < run.repetitions; ++repetition) {
        std::size_t found = 0;
        samples.ours([&] {
            for (std::uint32_t pass = 0; pass < run.passes(); ++pass) {
                for (auto const& key : ourKeys) {
                    found += library.table().intfAddrEntryFromAddrHas(key);
                }
            }
        });
        check("addresses found", found, expected);
        found = 0;
        samples.floor([&] {
            for (std::uint32_t pass = 0; pass < run.passes(); ++pass) {
                for (auto const& key : floorKeys) {
                    found += floor.contains(key);
                }
            }
        });
        check("addresses found in the floor", found, expected);
    }
    samples.print(work, run.size, 1.5);
}

// What a look-up has answered chooses what is asked next, so that none begins before the one before
// it has ended.
template <class Answer>
void chain(Run const& run, Answer answer) {
    std::uint64_t state = 1;
    for (std::uint32_t step = 0; step < run.size * run.passes(); ++step) {
        state =
            state * 6364136223846793005 + 1442695040888963407 + answer((state >> 33) % run.size);
    }
    used = state;
}

void owner(Run const& run, Library<Ipv4> const& library, Floor<Ipv4> const& floor) {
    Samples samples(std::size_t{run.size} * run.passes());
    for (int repetition = 0; repetition < run.repetitions; ++repetition) {
        samples.ours([&] {
            chain(run, [&](std::uint64_t number) {
                auto const key = Bench::keyOf<Ipv4>(static_cast<std::uint32_t>(number));
                auto const row = library.table().intfAddrEntryFromAddr(key);
                auto const& intf = row->intfId();
                // Some of its bytes: to compare or to hash it is not what is measured.
                std::uint32_t bytes = 0;
                std::memcpy(&bytes, static_cast<void const*>(&intf), sizeof bytes);
                return bytes;
            });
        });
        samples.floor([&] {
            chain(run, [&](std::uint64_t number) {
                auto const key =
                    Bench::floorRowOf<Ipv4>(static_cast<std::uint32_t>(number)).address;
                return floor.row(key).intf;
            });
        });
    }
    samples.print("owner's name, chained", run.size, 1.2);
}

void walk(Run const& run, Library<Ipv4> const& library) {
    std::vector<IpLib::IntfAddrEntry const*> rows;
    for (auto const& member : library.table().intfAddrEntry()) {
        rows.push_back(member.value.get());
    }
    std::size_t const expected = std::size_t{run.size} * run.passes() * Ipv4::length;
    Samples samples(std::size_t{run.size} * run.passes());
    for (int repetition = 0; repetition < run.repetitions; ++repetition) {
        std::size_t lengths = 0;
        samples.ours([&] {
            for (std::uint32_t pass = 0; pass < run.passes(); ++pass) {
                for (auto const& member : library.table().intfAddrEntry()) {
                    lengths += member.value->subnet().prefixLength();
                }
            }
        });
        check("lengths", lengths, expected);
        lengths = 0;
        samples.floor([&] {
            for (std::uint32_t pass = 0; pass < run.passes(); ++pass) {
                for (auto const* const row : rows) {
                    lengths += row->subnet().prefixLength();
                }
            }
        });
        check("lengths of the floor", lengths, expected);
    }
    samples.print("walk over the rows", run.size, 1.5);
}

void reading(Run const& run) {
    Library<Ipv4> library(run.size);
    interfaces(library, run);
    addAll(library, run);
    Floor<Ipv4> floor;
    addAll(floor, run);
    check("rows", library.rows(), run.size);

    for (std::uint32_t const number : shuffled(0, run.size)) {
        auto const row = library.table().intfAddrEntryFromAddr(Bench::keyOf<Ipv4>(number));
        check("row of its interface", row->intfId() == Bench::nameOf(Bench::intfOf(number)), true);
    }
    has(run, library, floor, "has, hit", 0, run.size);
    has(run, library, floor, "has, miss", run.size, 0);
    owner(run, library, floor);
    walk(run, library);
}

// Each event's time, at the least of all repetitions: that of the machine is left out, and what an
// event costs each time remains.
class EventTimes {
public:
    template <class Event>
    void take(std::uint32_t count, Event event) {
        for (std::uint32_t number = 0; number < count; ++number) {
            auto const taken = static_cast<float>(Bench::secondsOf([&] { event(number); }));
            if (at_ == least_.size()) {
                least_.push_back(taken);
            }
            least_[at_] = std::min(least_[at_], taken);
            ++at_;
        }
    }
    void startAgain() { at_ = 0; }
    double longest() const { return double{*std::max_element(least_.begin(), least_.end())}; }

private:
    std::size_t at_ = 0;
    std::vector<float> least_;
};

void longestEvent(Run const& run) {
    EventTimes ours;
    EventTimes floors;
    for (int repetition = 0; repetition < run.repetitions; ++repetition) {
        Library<Ipv4> library(run.size);
        interfaces(library, run);
        ours.startAgain();
        ours.take(run.size, [&](std::uint32_t number) { library.add(number); });
        check("rows", library.rows(), run.size);
        ours.take(run.size, [&](std::uint32_t number) { library.del(number); });
        check("rows after withdrawal", library.rows(), 0);

        Floor<Ipv4> floor;
        floors.startAgain();
        floors.take(run.size, [&](std::uint32_t number) { floor.add(number); });
        floors.take(run.size, [&](std::uint32_t number) { floor.del(number); });
    }
    Bench::print({.work = "longest single event",
                  .size = run.size,
                  .unit = "us",
                  .ours = ours.longest() * 1e6,
                  .floor = floors.longest() * 1e6,
                  .limit = 2000});
}

// What the tables hold, written as an admission writes it, and nothing beside them.
void fillTables(IpLib::IntfAddrVrfTable& table, Run const& run) {
    for (std::uint32_t number = 0; number < run.size; ++number) {
        auto const content = Bench::contentOf<Ipv4>(number);
        auto const row = table.intfAddrEntryIs(content);
        table.intfAddrEntryFromAddrIs(row);
        auto set = table.intfAddrEntrySetFromSubnet(content.subnet);
        if (!set) {
            set = IpLib::intfAddrEntrySetFactory(content.intfId, content.subnet);
            table.intfAddrEntrySetFromSubnetIs(set);
        }
        set->intfAddrEntryIs(row);
    }
}

struct Held {
    double bytes;
    double allocations;
};

template <class Work>
Held held(Run const& run, Work work) {
    Bench::Allocations const allocations;
    work();
    return {static_cast<double>(allocations.bytes()) / run.size,
            static_cast<double>(allocations.made()) / run.size};
}

void memory(Run const& run) {
    Library<Ipv4> library(run.size);
    Floor<Ipv4> floor;
    auto const table = IpLib::intfAddrVrfTableFactory();
    Held const all = held(run, [&] {
        interfaces(library, run);
        addAll(library, run);
    });
    Held const floors = held(run, [&] { addAll(floor, run); });
    Held const tables = held(run, [&] { fillTables(*table, run); });
    check("rows", library.rows(), run.size);
    check("rows of a lone table", table->intfAddrEntry().size(), run.size);

    // Where the interface and its subnet have other addresses.
    double beside = 0;
    double floorsBeside = 0;
    for (std::uint32_t number = 0; number < run.size; ++number) {
        library.del(number);
        beside += held(run, [&] { library.add(number); }).allocations;
        floor.del(number);
        floorsBeside += held(run, [&] { floor.add(number); }).allocations;
    }
    check("rows after each was withdrawn and added again", library.rows(), run.size);

    // Where the interfaces are there, and what is the VRF's has grown.
    delAll(library, run);
    delAll(floor, run);
    Held const again = held(run, [&] { addAll(library, run); });
    Held const floorsAgain = held(run, [&] { addAll(floor, run); });
    check("rows after all were withdrawn and added again", library.rows(), run.size);

    auto const print = [&](char const* work, char const* unit, double ours, double theirs,
                           double limit) {
        Bench::print({.work = work,
                      .size = run.size,
                      .unit = unit,
                      .ours = ours,
                      .floor = theirs,
                      .limit = limit});
    };
    print("memory, all that is held", "bytes", all.bytes, floors.bytes, 450);
    print("memory, tables alone", "bytes", tables.bytes, floors.bytes, 200);
    print("allocations, filled again", "", again.allocations, floorsAgain.allocations, Bench::none);
    print("allocations, beside others", "", beside, floorsBeside, 2);
}

// As in the library, what is emptied gives its memory back, and what is filled grows.
void eraseAndInsert(Samples& samples, Run const& run) {
    Floor<Ipv4> before;
    addAll(before, run);
    samples.floor([&] {
        delAll(before, run);
        Floor<Ipv4> after;
        addAll(after, run);
        std::swap(before, after);
    });
    check("rows of the floor", before.rows(), run.size);
}

void flap(Run const& run) {
    Samples samples(run.size);
    Library<Ipv4> library(run.size);
    for (std::uint32_t intf = 0; intf < run.intfs(); ++intf) {
        library.interfaceWithAddressesIs();
    }
    std::size_t told = run.size;
    for (int repetition = 0; repetition < run.repetitions; ++repetition) {
        std::size_t left = run.size;
        samples.ours([&] {
            library.takeAll();
            library.pass(cleanupDelay);
            left = library.rows();
            library.putAll();
        });
        eraseAndInsert(samples, run);
        check("rows when interfaces are down", left, 0);
        check("rows when interfaces are up again", library.rows(), run.size);
        library.checkTold(told += 2 * run.size);
    }
    samples.print("flap of all interfaces", run.size, 3.5);
}

void waiting(Run const& run) {
    Samples samples(run.size);
    for (int repetition = 0; repetition < run.repetitions; ++repetition) {
        Library<Ipv4> library(run.size);
        auto const status = Ip::ipIntfStatusFactory("Ethernet0");
        for (std::uint32_t number = 0; number < run.size; ++number) {
            status->secondaryActiveAddrWithMaskIs(Ipv4::withMask(number));
        }
        library.put(status);
        for (std::uint32_t intf = 0; intf < run.intfs(); ++intf) {
            library.interfaceWithAddressesIs();
        }
        library.checkTold(run.size);
        std::size_t left = run.size;
        samples.ours([&] {
            library.take("Ethernet0");
            library.pass(cleanupDelay);
            left = library.rows();
            library.pass(deferredDelay);
        });
        eraseAndInsert(samples, run);
        check("rows when the owner has gone", left, 0);
        check("rows when all are admitted", library.rows(), run.size);
        library.checkTold(3 * run.size);
    }
    samples.print("all wait behind one owner that goes", run.size, 3);
}

int repetitionsOf(std::uint32_t size) {
    return size > 100'000 ? 3 : size > 10'000 ? 7 : size > 1'000 ? 15 : 51;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::uint32_t> sizes{1'000, 10'000, 100'000, 1'000'000};
    std::string only;
    bool smallest = false;
    CLI::App app("Measures what an address costs on its road through the library.", "bench_road");
    app.add_flag("--smallest", smallest, "The smallest size, once");
    app.add_option("--sizes", sizes, "Addresses, multiples of 8")->delimiter(',');
    app.add_option("--only", only, "What has this in its name");
    CLI11_PARSE(app, argc, argv);
    if (smallest) {
        sizes = {1'000};
    }

    std::vector<std::pair<std::string_view, void (*)(Run const&)>> const works{
        {"road", road},          {"once", atOnce},   {"ip6", road6}, {"reading", reading},
        {"event", longestEvent}, {"memory", memory}, {"flap", flap}, {"waiting", waiting}};
    for (std::uint32_t const size : sizes) {
        for (auto const& [name, work] : works) {
            if (name.find(only) != std::string_view::npos) {
                work({size, smallest ? 1 : repetitionsOf(size)});
            }
        }
    }
    return EXIT_SUCCESS;
}
