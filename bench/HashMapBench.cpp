// HashMap2018 beside the hash maps that one would otherwise take: the same keys, the same hash, the
// same pointers as values, in one run, with the repetitions of all contenders interleaved.
//
// Prints the medians as Google Benchmark does, and then one table: nanoseconds an operation for
// HashMap2018, the other maps' as multiples of it, how it compares with the best of them, and its
// own time by the hash that the keys have in the program, as a multiple too.
//
//   bench_hashmap [--smallest] [--benchmark_...]
#include <absl/container/flat_hash_map.h>
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <array>
#include <bit>
#include <boost/unordered/unordered_flat_map.hpp>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "IpLib/IntfAddrVrfTableSmTypes/IntfAddrWithMaskKey.h"
#include "Result.h"
#include "Zin/Format.h"
#include "Zin/HashMap2018.h"

namespace {

using Bench::cpuSeconds;
using Key = IpLib::IntfAddrWithMaskKey;

// Plain and quick: of keys that nobody chooses, of short interface names.
struct KeyHasher {
    std::uint32_t seed = 0x5eed2018;
    std::uint32_t operator()(Key const& key) const {
        constexpr std::size_t nameWords = (sizeof key.intfId + 7) / 8;
        std::uint64_t words[nameWords + 2] = {};
        std::memcpy(words, static_cast<void const*>(&key.intfId), sizeof key.intfId);
        std::memcpy(words + nameWords, &key.addrWithMask.address().bytes(), 2 * sizeof *words);
        std::uint64_t hash = seed;
        for (std::uint64_t const word : words) {
            hash = (hash ^ word) * 0x9e3779b97f4a7c15;
            hash ^= hash >> 32;
        }
        return static_cast<std::uint32_t>(hash * 0xd6e8feb86659fd93 >> 32);
    }
};

struct Row {
    Key key;
};

Key keyOf(std::size_t number) {
    std::array<std::uint64_t, 2> const words{0x20010db8, number * 256 + 1};
    Nimb::Ip6Addr const addr(std::bit_cast<Nimb::Ip6Bytes>(words));
    return {fmt::format("Ethernet{}/{}", number / 64, number % 64), {addr, 64}};
}

// The members under test, the same for every map, and the orders in which they are asked for.
struct Members {
    explicit Members(std::size_t count) : absent(count) {
        rows.reserve(count);
        for (std::size_t number = 0; number < count; ++number) {
            rows.push_back(Row{keyOf(number)});
            absent[number] = keyOf(count + number);
        }
        std::mt19937 random(static_cast<std::mt19937::result_type>(count));
        for (Row& row : rows) {
            order.push_back(&row);
        }
        std::shuffle(order.begin(), order.end(), random);
        std::shuffle(absent.begin(), absent.end(), random);
        for (std::size_t look = 0; look < std::max<std::size_t>(count, 1 << 16); ++look) {
            asked.push_back(random() % count);
        }
    }
    std::vector<Row> rows;
    std::vector<Row*> order;
    std::vector<Key> absent;
    std::vector<std::size_t> asked;
};

Members const& members(std::size_t count) {
    static std::map<std::size_t, std::unique_ptr<Members>> all;
    auto& some = all[count];
    if (!some) {
        some = std::make_unique<Members>(count);
    }
    return *some;
}

// The contenders behind one face.
template <class Hasher>
struct OursBy {
    Zin::HashMap2018<Key, Row*, Hasher> map{0x5eed2018};
    void insert(Row* row) { map.emplace(row->key, row); }
    Row* find(Key const& key) const {
        Row* const* const found = map.find(key);
        return found != nullptr ? *found : nullptr;
    }
    void erase(Key const& key) { map.erase(key); }
    template <class Visit>
    void forEach(Visit visit) const {
        for (auto const& member : map) {
            visit(member.value);
        }
    }
};
struct Ours : OursBy<KeyHasher> {
    static constexpr char const* name = "HashMap2018";
};
struct OursByKeyHash : OursBy<Zin::KeyHash<Key>> {
    static constexpr char const* name = "HashMap2018 by the keys' hash";
};

template <class Map>
struct StdLike {
    Map map;
    void insert(Row* row) { map.emplace(row->key, row); }
    Row* find(Key const& key) const {
        auto const found = map.find(key);
        return found != map.end() ? found->second : nullptr;
    }
    void erase(Key const& key) { map.erase(key); }
    template <class Visit>
    void forEach(Visit visit) const {
        for (auto const& member : map) {
            visit(member.second);
        }
    }
};
struct Absl : StdLike<absl::flat_hash_map<Key, Row*, KeyHasher>> {
    static constexpr char const* name = "absl::flat_hash_map";
};
struct Boost : StdLike<boost::unordered_flat_map<Key, Row*, KeyHasher>> {
    static constexpr char const* name = "boost::unordered_flat_map";
};
struct Std : StdLike<std::unordered_map<Key, Row*, KeyHasher>> {
    static constexpr char const* name = "std::unordered_map";
};

template <class Map>
void fill(Map& map, Members const& some) {
    for (Row* row : some.order) {
        map.insert(row);
    }
}

// Full maps are kept from repetition to repetition; building them is what takes long.
template <class Map>
Map const& filled(std::size_t count) {
    static std::map<std::size_t, std::unique_ptr<Map>> all;
    auto& map = all[count];
    if (!map) {
        map = std::make_unique<Map>();
        fill(*map, members(count));
        std::size_t found = 0;
        for (Row const& row : members(count).rows) {
            found += map->find(row.key) == &row;
        }
        Bench::check("members found", found, count);
    }
    return *map;
}

// Reports the mean time of one of the `count` operations that `run` does in each iteration.
template <class Prepare, class Run>
void measure(benchmark::State& state, std::size_t count, Prepare prepare, Run run) {
    for (auto _ : state) {
        auto prepared = prepare();
        double const start = cpuSeconds();
        run(*prepared);
        benchmark::ClobberMemory();
        state.SetIterationTime((cpuSeconds() - start) / static_cast<double>(count));
    }
}

template <class Map>
void findHit(benchmark::State& state, std::size_t count) {
    Members const& some = members(count);
    measure(
        state, some.asked.size(), [count] { return &filled<Map>(count); },
        [&some](Map const& map) {
            for (std::size_t const number : some.asked) {
                benchmark::DoNotOptimize(map.find(some.rows[number].key));
            }
        });
}

template <class Map>
void findMiss(benchmark::State& state, std::size_t count) {
    Members const& some = members(count);
    measure(
        state, some.asked.size(), [count] { return &filled<Map>(count); },
        [&some](Map const& map) {
            for (std::size_t const number : some.asked) {
                benchmark::DoNotOptimize(map.find(some.absent[number]));
            }
        });
}

template <class Map>
void insert(benchmark::State& state, std::size_t count) {
    Members const& some = members(count);
    measure(
        state, count, [] { return std::make_unique<Map>(); },
        [&some](Map& map) { fill(map, some); });
}

template <class Map>
void erase(benchmark::State& state, std::size_t count) {
    Members const& some = members(count);
    auto const full = [&some] {
        auto map = std::make_unique<Map>();
        fill(*map, some);
        return map;
    };
    measure(state, count, full, [&some](Map& map) {
        for (Row const& row : some.rows) {
            map.erase(row.key);
        }
    });
}

template <class Map>
void iterate(benchmark::State& state, std::size_t count) {
    measure(
        state, count, [count] { return &filled<Map>(count); },
        [](Map const& map) { map.forEach([](Row* row) { benchmark::DoNotOptimize(row); }); });
}

std::size_t bytesInUse() {
    auto const heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
}

template <class Map>
double bytesPerMember(std::size_t count) {
    Members const& some = members(count);
    std::size_t const before = bytesInUse();
    Map map;
    fill(map, some);
    return static_cast<double>(bytesInUse() - before) / static_cast<double>(count);
}

// One line of the table: what was measured, for each contender in order of registration, which are
// HashMap2018, its rivals, and HashMap2018 by the keys' hash.
struct Line {
    std::string what;
    std::vector<double> measured;
};

class Table final : public benchmark::ConsoleReporter {
public:
    void ReportRuns(std::vector<Run> const& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (Run const& run : runs) {
            if (run.aggregate_name == "median") {
                medians_[run.run_name.function_name] = run.GetAdjustedRealTime();
            }
        }
    }
    double median(std::string const& name) const {
        auto const found = medians_.find(name);
        return found != medians_.end() ? found->second : 0;
    }

private:
    std::map<std::string, double> medians_;
};

struct Subject {
    std::string what;
    std::vector<std::string> runs;
};

template <class... Maps>
void addSubject(std::vector<Subject>& subjects, char const* what, std::size_t count,
                std::vector<void (*)(benchmark::State&, std::size_t)> const& runs) {
    Subject subject{fmt::format("{} {}", what, count), {}};
    std::size_t at = 0;
    for (char const* const map : {Maps::name...}) {
        subject.runs.push_back(fmt::format("{} {}", subject.what, map));
        auto const run = runs[at++];
        benchmark::RegisterBenchmark(subject.runs.back().c_str(),
                                     [run, count](benchmark::State& state) { run(state, count); })
            ->UseManualTime()
            ->Unit(benchmark::kNanosecond);
    }
    subjects.push_back(std::move(subject));
}

void print(Line const& line) {
    double const ours = line.measured.front();
    double const best = *std::min_element(line.measured.begin() + 1, line.measured.end() - 1);
    if (ours <= 0 || best <= 0) {
        return;  // filtered out
    }
    fmt::print("{:<26}{:>12.1f}", line.what, ours);
    for (std::size_t at = 1; at + 1 < line.measured.size(); ++at) {
        fmt::print("{:>12.2f}", line.measured[at] / ours);
    }
    fmt::print("{:>16.2f}{:>16.2f}\n", ours / best, line.measured.back() / ours);
}

template <class... Maps>
void runAll(int argc, char** argv) {
    bool const smallest = argc > 1 && std::string_view(argv[1]) == "--smallest";
    std::vector<std::size_t> counts{1'000, 100'000, 700'000, 1'000'000};
    if (smallest) {
        counts = {1'000};
    }
    std::vector<Subject> subjects;
    for (std::size_t const count : counts) {
        addSubject<Maps...>(subjects, "find hit", count, {findHit<Maps>...});
        addSubject<Maps...>(subjects, "find miss", count, {findMiss<Maps>...});
        addSubject<Maps...>(subjects, "insert", count, {insert<Maps>...});
        addSubject<Maps...>(subjects, "erase", count, {erase<Maps>...});
        addSubject<Maps...>(subjects, "iterate", count, {iterate<Maps>...});
    }

    // What the command line says comes last and wins.
    std::vector<std::string> defaults{
        argv[0], smallest ? "--benchmark_repetitions=2" : "--benchmark_repetitions=5",
        "--benchmark_enable_random_interleaving=true", "--benchmark_report_aggregates_only=true",
        // Manual times are those of one operation of thousands.
        "--benchmark_min_time=0.0000001"};
    defaults.insert(defaults.end(), argv + (smallest ? 2 : 1), argv + argc);
    std::vector<char*> arguments;
    for (std::string& argument : defaults) {
        arguments.push_back(argument.data());
    }
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) {
        std::exit(1);
    }
    Table table;
    benchmark::RunSpecifiedBenchmarks(&table);

    fmt::print("\n{:<26}{:>12}{:>12}{:>12}{:>12}{:>16}{:>16}\n", "", "HashMap2018", "absl", "boost",
               "std", "HashMap2018", "by keys' hash");
    fmt::print("{:<26}{:>12}{:>12}{:>12}{:>12}{:>16}{:>16}\n", "members", "ns", "x", "x", "x",
               "x of the best", "x");
    for (Subject const& subject : subjects) {
        Line line{subject.what, {}};
        for (std::string const& run : subject.runs) {
            line.measured.push_back(table.median(run));
        }
        print(line);
    }
    for (std::size_t const each : counts) {
        print(Line{fmt::format("bytes/member {}", each), {bytesPerMember<Maps>(each)...}});
    }
}

}  // namespace

int main(int argc, char** argv) { runAll<Ours, Absl, Boost, Std, OursByKeyHash>(argc, argv); }
