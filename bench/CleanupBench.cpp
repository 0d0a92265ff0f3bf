// What the clean-up of one interface costs in a table of a million rows, beside what it costs in
// one of a thousand: it should be what the interface has, not what the table holds.
//
//   bench_cleanup [--smallest]     prints a line of JSON (Result.h), with the small table as floor
//   bench_cleanup ROWS CLEANUPS    for scripts/bench, which counts the instructions that this runs:
//                                  those of the clean-ups are the difference between two runs
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "Library.h"
#include "Result.h"
#include "Zin/Format.h"

namespace {

using Bench::addressesEach;
using Bench::check;

class Table {
public:
    explicit Table(std::uint32_t rows) : intfs_(rows / addressesEach), library_(rows) {
        for (std::uint32_t intf = 0; intf < intfs_; ++intf) {
            library_.interfaceWithAddressesIs();
        }
        check("rows", library_.rows(), rows);
    }

    std::size_t rows() const { return library_.rows(); }
    // Large strides, so that the clean-ups of a large table find nothing in the caches that a
    // neighbour left there.
    std::uint32_t chosen(std::uint32_t turn) const { return turn * 7919 % intfs_; }
    void cleanUp(std::uint32_t intf) {
        library_.machine()->processCleanupIntf(Bench::nameOf(intf), Nimb::AddressFamily::ipv4);
    }
    // With its rows.
    void comeBack(std::uint32_t intf) {
        library_.take(Bench::nameOf(intf));
        library_.pass(Bench::cleanupDelay);
        library_.put(intf);
    }

private:
    std::uint32_t const intfs_;
    Bench::Library<Bench::Ipv4> library_;
};

std::uint32_t numberOf(char const* text) {
    std::uint32_t number = 0;
    std::from_chars(text, text + std::strlen(text), number);
    return number;
}

[[noreturn]] void onlyCleanUp(std::uint32_t rows, std::uint32_t cleanUps) {
    Table table(rows);
    for (std::uint32_t turn = 0; turn < cleanUps; ++turn) {
        table.cleanUp(table.chosen(turn));
    }
    check("rows that are left", table.rows(), rows - cleanUps * addressesEach);
    std::_Exit(EXIT_SUCCESS);  // the rows that are left go without being counted
}

}  // namespace

int main(int argc, char** argv) {
    bool const smallest = argc == 2 && std::string_view(argv[1]) == "--smallest";
    if (argc == 3) {
        onlyCleanUp(numberOf(argv[1]), numberOf(argv[2]));
    }
    if (argc > 1 && !smallest) {
        fmt::print(stderr, "usage: bench_cleanup [--smallest | ROWS CLEANUPS]\n");
        return 2;
    }
    std::uint32_t const rows = smallest ? 10'000 : 1'000'000;
    Table small(1'000);
    Table large(rows);
    Bench::Samples samples(addressesEach);
    for (std::uint32_t turn = 0; turn < (smallest ? 1U : 2'000U); ++turn) {
        samples.ours([&] { large.cleanUp(large.chosen(turn)); });
        samples.floor([&] { small.cleanUp(small.chosen(turn)); });
        check("rows when an interface is cleaned up", large.rows(), rows - addressesEach);
        large.comeBack(large.chosen(turn));
        small.comeBack(small.chosen(turn));
        check("rows when it has come back", large.rows(), rows);
    }
    samples.print("clean-up of an interface, beside 1 k", rows, Bench::none);
    return EXIT_SUCCESS;
}
