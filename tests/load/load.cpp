// Loads an agent, and judges all that it says:
//
//     load [--seconds N] PROGRAM
//
// starts `PROGRAM agent` in a folder of its own. Askers look up addresses, watchers keep replicas
// over connections that break, and changers let addresses come and go, all at once. Each answer to
// a look-up has to be the table's at some moment between question and answer, and no watcher may
// miss an event or be told one twice.
//
// The askers ask the smallest server that can be written with the same libraries as well, in turns;
// how long both take stands side by side, and fails nothing.
#include <fmt/format.h>
#include <stdlib.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <list>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "load/Addresses.h"
#include "load/Asker.h"
#include "load/Changer.h"
#include "load/Child.h"
#include "load/SmallestServer.h"
#include "load/Watcher.h"

namespace Load {

namespace {

using Json = nlohmann::json;
using Times = std::vector<Clock::duration>;

constexpr unsigned askerCount = 8;
constexpr unsigned watcherCount = 4;

struct Folder {
    Folder() {
        auto pattern = (std::filesystem::temp_directory_path() / "load-XXXXXX").string();
        path = ::mkdtemp(pattern.data());
    }
    ~Folder() { std::filesystem::remove_all(path); }
    Folder(Folder const&) = delete;
    Folder& operator=(Folder const&) = delete;

    std::string operator/(std::string const& name) const { return path + "/" + name; }

    std::string path;
};

double seconds(Clock::duration time) { return std::chrono::duration<double>(time).count(); }

// What is wrong, of any thread; the first few are printed.
class Faults {
public:
    explicit Faults(Time begin) : begin_(begin) {}

    void add(std::string const& what, Time at = Clock::now()) {
        std::lock_guard const lock(mutex_);
        if (++count_ <= 20) {
            fmt::print(stderr, "load: at {:.6f} s: {}\n", seconds(at - begin_), what);
        }
    }
    std::size_t count() const { return count_; }

private:
    Time const begin_;
    std::mutex mutex_;
    std::size_t count_ = 0;
};

class Agent {
public:
    // With a configuration of its own: the machine's may have virtual addresses too.
    Agent(std::string const& program, Folder const& folder)
        : socket(folder / "run/intfaddr.sock"), child_([&] {
              std::ofstream(folder / "config");
              ::execl(program.c_str(), program.c_str(), "agent", "--config",
                      (folder / "config").c_str(), "--run-dir", (folder / "run").c_str(), nullptr);
              std::perror(program.c_str());
          }) {
        for (Time const end = Clock::now() + std::chrono::seconds(10); !isReady();) {
            if (Clock::now() > end) {
                throw std::runtime_error("the agent does not begin");
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }

    bool endsWell() { return child_.endsWell(); }

    std::string const socket;

private:
    bool isReady() const {
        try {
            return KeptTalk(socket).ask("GET", "/healthz").status == 200;
        } catch (std::exception const&) {
            return false;
        }
    }

    Child child_;
};

// Of an address that is there.
std::string sampleAnswer(std::string const& socket) {
    KeptTalk talk(socket);
    change(talk, lastAddress, true);
    auto answer = talk.ask("GET", targetOf("lookup", lastAddress)).body;
    change(talk, lastAddress, false);
    return answer;
}

Rows rowsOfDefault(KeptTalk& talk) {
    Rows rows;
    auto const answer = Json::parse(talk.ask("GET", "/v1/vrfs/default/addresses").body);
    for (auto const& address : answer.at("addresses")) {
        if (address.at("place") == "table") {
            rows.insert(rowOf(address));
        }
    }
    return rows;
}

Rows ofDefault(Rows rows) {
    std::erase_if(rows, [](std::string const& row) { return !row.starts_with("default "); });
    return rows;
}

// How many could have been answered either way.
std::size_t judge(std::list<Asker> const& askers, std::vector<Truth> const& truths,
                  Faults& faults) {
    std::size_t either = 0;
    for (auto const& asker : askers) {
        for (auto const& [address, interval, isThere] : asker.lookups()) {
            auto const allowed = truths[address].during(interval);
            either += allowed.there && allowed.notThere;
            if (!allowed.allows(isThere)) {
                faults.add(fmt::format("{} was told {}there, which it was at no time until {:.6f} "
                                       "s later",
                                       addressOf(address), isThere ? "" : "not ",
                                       seconds(interval.ended - interval.began)),
                           interval.began);
            }
        }
    }
    return either;
}

double percentile(Times& times, double share) {
    auto const at =
        times.begin() + static_cast<std::ptrdiff_t>(share * static_cast<double>(times.size() - 1));
    std::ranges::nth_element(times, at);
    return 1e6 * seconds(*at);
}

void print(Times agent, Times smallest, double time) {
    fmt::print("{:26}{:>12}{:>12}{:>8}\n", "", "agent", "smallest", "ratio");
    auto const line = [](std::string const& name, double one, double other) {
        fmt::print("{:26}{:12.0f}{:12.0f}{:8.2f}\n", name, one, other, one / other);
    };
    for (auto const& [name, share] :
         {std::pair("look-up, us: 50 % within", 0.5), std::pair("             99 % within", 0.99),
          std::pair("           99.9 % within", 0.999)}) {
        line(name, percentile(agent, share), percentile(smallest, share));
    }
    line("look-ups a second", static_cast<double>(agent.size()) / time,
         static_cast<double>(smallest.size()) / time);
}

int run(std::string const& program, int duration) {
    Folder const folder;
    Agent agent(program, folder);
    auto const smallest = folder / "smallest.sock";
    Child const server([&, body = sampleAnswer(agent.socket)] { serveSmallest(smallest, body); });
    while (!std::filesystem::exists(smallest)) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    auto const toldBefore = toldChanges(agent.socket);

    std::vector<Truth> truths(addressCount);
    std::list<Asker> askers;
    std::list<Watcher> watchers;
    std::list<Changer> changers;
    for (unsigned i = 0; i < askerCount; ++i) {
        askers.emplace_back(agent.socket, smallest, i);
    }
    for (unsigned i = 0; i < watcherCount; ++i) {
        watchers.emplace_back(agent.socket, i);
    }
    for (unsigned i = 0; i < Changer::count; ++i) {
        changers.emplace_back(agent.socket, i, truths);
    }

    Time const begin = Clock::now();
    Time const end = begin + std::chrono::seconds(duration);
    Faults faults(begin);
    auto const started = [&faults](auto work) {
        return std::jthread([&faults, work] {
            try {
                work();
            } catch (std::exception const& error) {
                faults.add(error.what());
            }
        });
    };
    std::list<std::jthread> watching;
    {
        std::list<std::jthread> others;
        for (auto& watcher : watchers) {
            watching.push_back(started([&watcher] { watcher.run(); }));
        }
        for (auto& asker : askers) {
            others.push_back(started([&asker, begin, end] { asker.run(begin, end); }));
        }
        for (auto& changer : changers) {
            others.push_back(started([&changer, end] { changer.run(end); }));
        }
    }
    double const changingTime = seconds(Clock::now() - begin);
    KeptTalk talk(agent.socket);
    change(talk, lastAddress, true);
    watching.clear();

    std::size_t changes = 1;
    for (auto const& changer : changers) {
        changes += changer.changes();
    }
    Watcher::Counts all;
    std::size_t others = 0;  // changes: who began later knows of less
    auto const table = rowsOfDefault(talk);
    for (auto const& watcher : watchers) {
        auto const& counts = watcher.counts();
        all.events += counts.events;
        all.resumptions += counts.resumptions;
        all.tables += counts.tables;
        all.anew += counts.anew;
        others = std::max(others, counts.ofOthers);
        if (ofDefault(watcher.replica().rows()) != table) {
            faults.add("in the end a replica is not the table");
        }
    }
    auto const told = toldChanges(agent.socket) - toldBefore;
    if (told != changes + others) {
        faults.add(fmt::format("{} changes were told, but {} were made", told, changes + others));
    }
    auto const either = judge(askers, truths, faults);
    if (!agent.endsWell()) {
        faults.add("the agent did not end well");
    }

    Times ofAgent;
    Times ofSmallest;
    for (auto const& asker : askers) {
        for (auto const& lookup : asker.lookups()) {
            ofAgent.push_back(lookup.interval.ended - lookup.interval.began);
        }
        ofSmallest.insert(ofSmallest.end(), asker.smallestTimes().begin(),
                          asker.smallestTimes().end());
    }
    fmt::print("{} changes, {:.0f} a second\n", changes,
               static_cast<double>(changes) / changingTime);
    fmt::print("{} look-ups judged, {} of them while their address changed\n", ofAgent.size(),
               either);
    fmt::print("{} events, over {} resumptions, {} beginnings with nothing, {} anew\n", all.events,
               all.resumptions, all.tables, all.anew);
    if (!ofAgent.empty() && !ofSmallest.empty()) {
        print(std::move(ofAgent), std::move(ofSmallest), duration / 2.0);
    }
    fmt::print("{} faults\n", faults.count());
    return faults.count() == 0 ? 0 : 1;
}

}  // namespace

}  // namespace Load

int main(int count, char** arguments) {
    CLI::App app("Loads an agent, and judges all that it says.");
    int duration = 60;
    std::string program;
    app.add_option("--seconds", duration)->check(CLI::Range(1, 3600));
    app.add_option("PROGRAM", program)->required()->check(CLI::ExistingFile);
    CLI11_PARSE(app, count, arguments);
    try {
        return Load::run(program, duration);
    } catch (std::exception const& error) {
        fmt::print(stderr, "load: {}\n", error.what());
        return 1;
    }
}
