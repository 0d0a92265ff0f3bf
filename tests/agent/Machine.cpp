#include "Machine.h"

#include <algorithm>
#include <limits>
#include <tuple>

#include "ExplanationJudge.h"
#include "Zin/Format.h"
#include "feeds/scenario/Output.h"
#include "feeds/scenario/Replayer.h"
#include "feeds/scenario/Snapshot.h"

namespace Simulated {
namespace {

// For lifetimes and delays to be over, and for faults of the tables to have been found.
constexpr double quiet = 60;
// An agent that runs more often without time passing has nothing to do any more, and does not know.
constexpr int maxRuns = 1000;
// What it waits for more, and not quite nothing.
constexpr double coalesce = 0.0011;
// After an operation the agent has read of it.
constexpr double settled = 0.01;
// How long what cannot be read holds up the others at the start.
constexpr double startPatience = 10;

// Of events and snapshots: what else a replay prints are its own words on repairs.
std::vector<std::string> linesOf(std::string const& text) {
    std::istringstream in(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
        if (line.find("\"event\"") != line.npos || line.find("\"snapshot\"") != line.npos) {
            lines.push_back(line);
        }
    }
    return lines;
}

bool has(WantedVrf const& vrf, IpLib::IntfAddrEntryContent const& row) {
    auto const intf = vrf.intfs.find(row.intfId);
    if (intf == vrf.intfs.end()) {
        return false;
    }
    auto const isRow = [&row](Nimb::IpGenAddrWithMask const& addr) {
        return addr.address() == row.key.addr && addr.prefix() == row.subnet;
    };
    auto const& [ip4, ip6] = std::tie(intf->second.ip4, intf->second.ip6);
    return (std::ranges::any_of(ip4, isRow) && intf->second.lenders.empty()) ||
           std::ranges::any_of(ip6, [&](auto const& addr) {
               return isRow(addr.first) && !intf->second.untold.contains(addr.first);
           });
}

std::string headOf(L3::VrfName const& vrf) { return vrf.bytes().substr(0, vrf.bytes().find('/')); }

}  // namespace

struct Machine::Running {
    explicit Running(Netlink::Kernel& kernel)
        : agent(
              kernel, options(), [](std::string const&) {}, nullptr),
          recorder(recording, options().config, agent.clock(),
                   std::numeric_limits<std::size_t>::max()),
          reader(agent.supervisor().follower(), agent.router().inputs()),
          output(events, agent.clock()),
          printer(agent.supervisor().follower(), output) {
        agent.router().inputs().effects().observerAdd(recorder);
        agent.batchBeginsIs([this] {
            recorder.batchBegins();
            reader.batchBegins();
        });
    }
    ~Running() { agent.router().inputs().effects().observerDel(recorder); }

    static IntfAddr::Agent::Options options() { return {}; }

    IntfAddr::Agent agent;
    std::ostringstream recording;
    Scenario::Recorder recorder;
    Reader reader;
    std::ostringstream events;
    Scenario::Output output;
    Scenario::FollowedEventPrinter printer;
    int runs = 0;
    double lastRun = -1;
};

Machine::Machine(History const& history, Faults& faults)
    : isPrompt_(history.isPrompt), faults_(faults) {
    kernel_.datagramLimitIs(history.datagramLimit);
    kernel_.receiveBufferLimit = history.receiveBuffer;
}

Machine::~Machine() = default;

void Machine::carryOut(Step const& step) {
    switch (step.kind) {
        case Step::Kind::operate:
            if (step.notice == Step::Notice::within) {
                return interloper_.plan(step.calls, step.operation);
            }
            performed(kernel_, step.operation);
            changed_ = kernel_.now();
            return follow(step.notice);
        case Step::Kind::start:
            start();
            return follow(step.notice);
        case Step::Kind::misfortune:
            return kernel_.faults().next(step.fault);
        case Step::Kind::plague:
            return kernel_.faults().follow(step.plan);
        case Step::Kind::overrun:
            if (std::ranges::count(kernel_.namespaces(), step.network) != 0) {
                kernel_.overrun(step.network);
            }
            return follow(step.notice);
        case Step::Kind::noMemory:
            return interloper_.failAllocation(step.calls);
        case Step::Kind::delay:
            if (std::ranges::count(kernel_.namespaces(), step.network) != 0) {
                kernel_.delayNotifications(step.network, kernel_.now() + step.seconds);
            }
            return;
        case Step::Kind::wait:
            runTo(kernel_.now() + step.seconds);
            return judgePromptly();
        case Step::Kind::settle:
            return settle();
    }
}

void Machine::start() {
    if (!running_) {
        for (auto const& [name, id] : kernel_.names()) {
            if (id) {
                thereAtStart_.emplace(name, *id);
            }
        }
        running_ = std::make_unique<Running>(interloper_);
        runAgent();
    }
}

void Machine::follow(Step::Notice notice) {
    if (notice == Step::Notice::delivered) {
        isDelivered_ = kernel_.deliver() || isDelivered_;
    } else if (notice == Step::Notice::handled) {
        serve();
    }
}

void Machine::serve() {
    while (kernel_.deliver() || std::exchange(isDelivered_, false)) {
        runAgent();
    }
    if (running_ && running_->agent.nextExpiry() <= kernel_.now()) {
        runAgent();
    }
}

void Machine::runTo(double time) {
    for (;;) {
        serve();
        double const next =
            std::min(kernel_.nextEvent(), running_ ? running_->agent.nextExpiry() : Velk::never);
        if (next > time || isDone_) {
            break;
        }
        kernel_.advanceTo(std::max(next, kernel_.now()));
    }
    kernel_.advanceTo(std::max(time, kernel_.now()));
    serve();
}

void Machine::runAgent() {
    if (!running_ || isDone_) {
        return;
    }
    double const now = kernel_.now();
    running_->runs = std::exchange(running_->lastRun, now) == now ? running_->runs + 1 : 0;
    if (running_->runs > maxRuns) {
        faults_.add("never sleeps", "at {}: feed {}, all {}", now,
                    running_->agent.feed().nextExpiry(), running_->agent.nextExpiry());
        isDone_ = true;
        return;
    }
    auto const before = tables();
    auto const done = interloper_.done();
    running_->agent.run(now);
    if (interloper_.done() != done) {
        changed_ = now;
    }
    judgeGone();
    running_->reader.batchEnds(interloper_.listed());
    judgeRun(before);
}

std::set<L3::VrfName> Machine::tables() const {
    auto const vrfs = running_->agent.router().vrfs();
    return {vrfs.begin(), vrfs.end()};
}

Wanted Machine::wanted() {
    std::set<std::string> refused;
    auto const leftOut = running_->agent.feed().leftOut();
    for (auto const& [name, id] : kernel_.names()) {
        if (leftOut.contains(fmt::format("namespace '{}'", name))) {
            refused.insert(name);
        }
    }
    return wantedOf(kernel_, refused);
}

// What holds at any time.
void Machine::judgeRun(std::set<L3::VrfName> const& before) {
    faults_.whereIs(fmt::format("at {}: ", kernel_.now()));
    auto const& feed = running_->agent.feed();
    auto const after = tables();
    if (!feed.isStarted() && !after.empty()) {
        faults_.add("too early", "{} tables", after.size());
    }
    if (isPrompt_ && before.empty() && !after.empty() && kernel_.now() < startPatience) {
        judgeStart(after);
    }
    auto const stale = feed.stale();
    auto const wanted = this->wanted();
    for (auto const& vrf : after) {
        auto const found = wanted.find(vrf);
        // At the start, it may have been whole before the others were; and a device of that name
        // may have been the VRF before the namespace was.
        bool const isHome = found != wanted.end() && found->second.home == vrf &&
                            !kernel_.link(kernel_.ownNamespace(), vrf.bytes());
        if (isPrompt_ && kernel_.now() < startPatience && isHome && !before.empty() &&
            !before.contains(vrf) && stale.contains(vrf)) {
            faults_.add("too early", "VRF {} is stale: {}", vrf, stale.at(vrf));
        }
        // Its own namespace may have devices that the kernel has not told of.
        auto const head = headOf(vrf);
        bool const isNamed = kernel_.names().contains("ns-" + head);
        if (isPrompt_ && found == wanted.end() && !isNamed && kernel_.nextEvent() > kernel_.now() &&
            !stale.contains("default") && vrf.bytes() != head) {
            faults_.add("outlives its namespace", "VRF {}", vrf);
        }
    }
    if (!isPrompt_) {
        return;
    }
    for (auto const& [id, network] : kernel_.links().networks()) {
        bool const isNamed = id == kernel_.ownNamespace() ||
                             std::ranges::any_of(kernel_.names(), [id = id](auto const& name) {
                                 return name.second == id;
                             });
        // Before the watcher is called, the agent has not been told.
        if (!isNamed && kernel_.nextEvent() > kernel_.now()) {
            faults_.add("kept alive", "namespace {}", id.inode);
        }
    }
}

// All that was there at the start has been read whole, or it is said why not.
void Machine::judgeStart(std::set<L3::VrfName> const& published) {
    for (auto const& [vrf, one] : wanted()) {
        auto const there = thereAtStart_.find("ns-" + vrf.bytes());
        auto const now = kernel_.names().find("ns-" + vrf.bytes());
        if (vrf == one.home && there != thereAtStart_.end() && now != kernel_.names().end() &&
            now->second == there->second && !published.contains(vrf) &&
            !running_->agent.feed().unreadable(vrf)) {
            faults_.add("too early", "VRF {} has not been read yet", vrf);
        }
    }
}

// What the kernel has all the time does not leave.
void Machine::judgeGone() {
    if (!isPrompt_ || changed_ + settled >= kernel_.now()) {
        return;
    }
    faults_.whereIs(fmt::format("at {}: ", kernel_.now()));
    auto const& gone = running_->reader.gone();
    if (gone.empty()) {
        return;
    }
    auto const wanted = this->wanted();
    for (auto const& [vrf, row] : gone) {
        auto const there = wanted.find(vrf);
        if (there != wanted.end() && has(there->second, row) &&
            there->second.intfs.at(row.intfId).ifIndex ==
                running_->reader.ifIndexBefore(vrf, row.intfId)) {
            faults_.add("withdrawn wrongly", "{}: {} on {}", vrf, row, row.intfId);
        }
    }
}

// What holds where nothing that the kernel tells is under way.
void Machine::judgePromptly() {
    if (!isPrompt_ || isDone_ || !running_ || !running_->agent.feed().isStarted() ||
        running_->agent.feed().nextExpiry() <= kernel_.now() + coalesce) {
        return;
    }
    faults_.whereIs(fmt::format("at {}, promptly: ", kernel_.now()));
    std::set<L3::VrfName> distrusted;
    for (auto const& [vrf, why] : running_->agent.feed().stale()) {
        distrusted.insert(vrf);
    }
    auto const there = tables();
    auto const wanted = this->wanted();
    for (auto const& [vrf, one] : wanted) {
        if (!there.contains(one.home)) {
            distrusted.insert(one.home);  // not read whole yet
        }
    }
    judgeStatus(wanted, running_->agent.router(), distrusted, faults_);
}

void Machine::settle() {
    kernel_.faults().end();
    interloper_.end();
    changed_ = kernel_.now();
    start();
    runTo(kernel_.now() + quiet);
    if (isDone_) {
        return;
    }
    faults_.whereIs(fmt::format("at {}, settled: ", kernel_.now()));
    auto& agent = running_->agent;
    running_->recorder.flush();
    for (auto const& [vrf, why] : agent.feed().stale()) {
        faults_.add("stays stale", "{}: {}", vrf, why);
    }
    // By the library's rules a deprecated address may fail an invariant, and the table be rebuilt.
    bool const isDeprecated =
        running_->recording.str().find("\"deprecated\":true") != std::string::npos;
    for (auto const& [reason, count] : agent.supervisor().repairsByReason()) {
        if (isDeprecated && reason == "IntfAddrVrfTableSm::removeIntfAddr") {
            continue;
        }
        faults_.add("repaired", "{} times: {}", count, reason);
    }
    auto const wanted = this->wanted();
    judgeStatus(wanted, agent.router(), {}, faults_);
    judgeOrder(wanted, agent.feed(), faults_);
    judgeTables(wanted, agent.router(), faults_);
    judgeExplanations(wanted, agent, faults_);
    running_->reader.find(*agent.router().tables(), faults_);
}

void Machine::end() {
    if (!running_) {
        return;
    }
    faults_.whereIs("in the end: ");
    if (!isDone_) {
        replay();
    }
    running_.reset();
    for (auto const& [id, network] : kernel_.links().networks()) {
        if (network.openSockets != 0) {
            faults_.add("left open", "{} sockets", network.openSockets);
        }
    }
}

void Machine::replay() {
    auto& agent = running_->agent;
    running_->recorder.flush();
    std::stringstream recording(running_->recording.str());
    recording.seekp(0, std::ios::end);
    recording << fmt::format("{{\"op\": \"snapshot\", \"at\": {}}}\n", agent.clock()->now());
    std::ostringstream replayed;
    Scenario::replay(recording, replayed, {.events = true, .heal = true});
    running_->output.print("snapshot", Scenario::snapshot(agent.router()));
    auto const recorded = linesOf(running_->events.str());
    auto const again = linesOf(replayed.str());
    auto const [one, other] = std::ranges::mismatch(recorded, again);
    if (one != recorded.end() || other != again.end()) {
        faults_.add("replayed otherwise", "{}\nand not {}",
                    other == again.end() ? "nothing" : *other,
                    one == recorded.end() ? "nothing" : *one);
    }
}

}  // namespace Simulated
