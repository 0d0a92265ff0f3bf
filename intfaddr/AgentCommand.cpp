#include "intfaddr/AgentCommand.h"

#include <grp.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <memory>
#include <ostream>
#include <sstream>
#include <system_error>
#include <utility>

#include "Pell/Trace.h"
#include "Tremlog/Record.h"
#include "Zin/Format.h"
#include "feeds/netlink/LiveKernel.h"
#include "feeds/scenario/FollowedEventPrinter.h"
#include "feeds/scenario/RepairPrinter.h"
#include "intfaddr/AskCommand.h"
#include "intfaddr/agent/Agent.h"
#include "intfaddr/agent/Identity.h"
#include "intfaddr/agent/Instance.h"
#include "intfaddr/agent/OutputQueue.h"
#include "intfaddr/agent/Privileges.h"
#include "intfaddr/agent/RingFile.h"
#include "intfaddr/agent/ServiceManager.h"
#include "intfaddr/agent/TroubleDir.h"
#include "intfaddr/answer/Answers.h"
#include "intfaddr/answer/Dumps.h"
#include "intfaddr/answer/Metrics.h"
#include "intfaddr/answer/Recordings.h"
#include "intfaddr/answer/Rights.h"
#include "intfaddr/answer/Routes.h"
#include "intfaddr/answer/TraceLevels.h"
#include "intfaddr/answer/VirtualAddresses.h"
#include "intfaddr/answer/VirtualChanges.h"
#include "intfaddr/ask/Printable.h"
#include "intfaddr/config/Configuration.h"
#include "intfaddr/history/HistoryRecorder.h"
#include "intfaddr/http/Server.h"
#include "intfaddr/http/TcpListener.h"
#include "intfaddr/http/UnixListener.h"
#include "intfaddr/loop/EventLoop.h"
#include "intfaddr/rehearsal/Rehearsals.h"

namespace IntfAddr {

namespace {

constexpr Zin::Seconds measurePeriod = 1.0;
// How long the agent works on an answer for the standard output before others have their turn.
constexpr Zin::Seconds answerSlice = 0.002;
// How long the end may wait for a reader that has not read yet.
constexpr Zin::Seconds lastWords = 0.5;

// A queue of output whose reader is waited for by the loop.
class Outlet {
public:
    Outlet(EventLoop& loop, int descriptor) : loop_(loop), queue_(descriptor) {}

    void put(std::string_view line) { queue_.put(line); }
    // The errno with which writing has failed, once.
    int failure() {
        return queue_.failed() == 0 ? 0 : std::exchange(toldFailure_, true) ? 0 : queue_.failed();
    }
    // Each line of it.
    void putLines(std::string_view text) {
        while (!text.empty()) {
            auto const end = std::min(text.find('\n'), text.size());
            put(text.substr(0, end));
            text.remove_prefix(std::min(end + 1, text.size()));
        }
    }
    void write() {
        if (!queue_.writeSome()) {
            watch_.reset();
        } else if (watch_) {
            watch_->again();
        } else {
            watch_ = loop_.watch(queue_.descriptor(), Netlink::Loop::Event::writable, [] {});
        }
    }
    bool isDone() const { return queue_.isEmpty() || queue_.failed() != 0; }

private:
    EventLoop& loop_;
    OutputQueue queue_;
    std::unique_ptr<Netlink::Watch> watch_;
    bool toldFailure_ = false;
};

// Traces go the way of notices, so that who does not read them holds up nobody.
class TraceLines final : public Pell::Sink {
public:
    explicit TraceLines(Netlink::Notice notice)
        : notice_(std::move(notice)), before_(Pell::sinkIs(this)) {}
    ~TraceLines() { Pell::sinkIs(before_); }
    TraceLines(TraceLines const&) = delete;
    TraceLines& operator=(TraceLines const&) = delete;

private:
    void trace(Pell::Trace const& trace) override {
        notice_(fmt::format("trace {} {}::{}: {}", trace.level, trace.className, trace.function,
                            trace.message));
    }

    Netlink::Notice const notice_;
    Pell::Sink* const before_;
};

// Who is told of repairs: the events, the recording, the directory of troubles and the operator.
class Repairs final : public Routing::RepairObserver {
public:
    explicit Repairs(Netlink::Notice notice) : notice_(std::move(notice)) {}

    std::unique_ptr<Scenario::RepairPrinter> printer;
    std::unique_ptr<TroubleDir> troubles;
    Recordings* recordings = nullptr;
    HistoryRecorder* history = nullptr;

private:
    void handleRepair(Routing::Repair const& repair,
                      std::vector<IpLib::IntfAddrEntryContent> const& added,
                      std::vector<IpLib::IntfAddrEntryContent> const& removed) override {
        auto const line = fmt::format("VRF '{}' was rebuilt: {}", repair.vrf, repair.why);
        Tremlog::record<"VRF {} was rebuilt: {}">(repair.vrf.bytes(), repair.why);
        notice_(line);
        history->handleRepair(repair, added, removed);
        recordings->comment(line);
        if (printer) {
            printer->handleRepair(repair, added, removed);
        }
        if (troubles) {
            troubles->handleRepair(repair, added, removed);
        }
    }

    Netlink::Notice const notice_;
};

Configuration configurationOf(AgentOptions const& options) {
    try {
        return Configuration(options.given, options.configFile);
    } catch (ConfigError const& error) {
        throw BadQuestion(error.what());
    }
}

Zin::Seconds coalesceOf(Config const& config) { return config.coalesce / 1000.0; }

Agent::Options agentOptions(Config const& config) {
    Agent::Options made;
    made.feed.follower = {.receiveBuffer = config.receiveBuffer, .coalesce = coalesceOf(config)};
    made.feed.policy = config.policy;
    made.feed.followsNew = !config.fixedNamespaces;
    made.config.yieldEvery = config.yieldEvery;
    return made;
}

// Of a request that may be larger than most; over TCP none may.
constexpr std::size_t largeBody = std::size_t{8} << 20;

std::unique_ptr<Listener> socketOf(Config const& config) {
    UnixListener::Options made{.path = socketPath(config.runDir.value_or(runDirectory()))};
    if (config.group) {
        auto const* const group = ::getgrnam(config.group->c_str());
        if (!group) {
            throw BadQuestion(fmt::format("there is no group '{}'", *config.group));
        }
        made.group = group->gr_gid;
    }
    return std::make_unique<UnixListener>(made);
}

double unixTime() {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

class Running {
public:
    explicit Running(AgentOptions const& options)
        : configuration_(configurationOf(options)),
          instance_(config().runDir.value_or(runDirectory())),
          out_(loop_, STDOUT_FILENO),
          err_(loop_, STDERR_FILENO),
          traces_([this](std::string const& line) { notice(line); }),
          kernel_(loop_),
          repairs_([this](std::string const& line) { notice(line); }),
          agent_(
              kernel_, listening(agentOptions(config())),
              [this](std::string const& line) { notice(line); }, &repairs_),
          history_(agent_.router(), agent_.supervisor().follower(), AddressHistory::Options()),
          changes_(agent_.router(), agent_.supervisor().follower()),
          recordings_(agent_, {.replayed = agentOptions(config()).config, .limit = config().limit},
                      rights_, [this](std::string const& line) { notice(line); }),
          answers_(agent_.router(), agent_.feed(), "agent", memory(), answering(options.version)),
          metrics_(agent_.router(), agent_.feed(), memory(), answering(options.version), traffic_,
                   unixTime),
          virtualAddresses_([this](auto const& operations) { agent_.apply(operations); },
                            [this](std::string const& line) { notice(line); }),
          virtualChanges_(agent_.router(), rights_, virtualAddresses_),
          dumps_(agent_.router()),
          traceLevels_(rights_),
          rehearsals_(loop_, {"/proc/self/exe", "what-if", "--json", "--run-dir",
                              config().runDir.value_or(runDirectory()), "-"}),
          output_(events_, agent_.clock()),
          server_(served(socketOf(config()), {.largerBodies = {{"/v1/whatif", largeBody}}})) {
        answers_.addTo(routes_);
        metrics_.addTo(routes_);
        virtualChanges_.addTo(routes_);
        recordings_.addTo(routes_);
        dumps_.addTo(routes_);
        traceLevels_.addTo(routes_);
        rehearsals_.addTo(routes_);
        if (auto const& listen = config().listen) {
            auto listener = std::make_unique<TcpListener>(listen->address, listen->port);
            notice(fmt::format("answers at {}", listener->name()));
            tcpServer_ = served(std::move(listener), {});
        }
        keepRing();
        repairs_.history = &history_;
        repairs_.recordings = &recordings_;
        auto const replayed = agentOptions(config()).config;
        if (config().record) {
            recordings_.start(*config().record, config().limit);
        }
        if (config().troubleDir) {
            repairs_.troubles = std::make_unique<TroubleDir>(
                *config().troubleDir, replayed, [this](std::string const& line) { notice(line); });
        }
        configure();
        loop_.onSignals({SIGTERM, SIGINT, SIGUSR1, SIGHUP},
                        [this](int signal) { handleSignal(signal); });
        // What else takes a right has been made.
        keepPrivileges(Privileges::toFollowNamespaces);
    }

    ~Running() { printer_ = nullptr; }

    void run() {
        while (!ends_) {
            Zin::Seconds const began = loop_.now();
            agent_.run(began);
            remember();
            recordings_.step(loop_.now());
            tell();
            manager_.run(loop_.now());
            longestStall_ = std::max(longestStall_, loop_.now() - began);
            loop_.wait(nextTurn());
        }
        manager_.stopping();
        Tremlog::record<"agent ends">();
        Tremlog::ring.measure();
        recordings_.end();
        Zin::Seconds const end = loop_.now() + lastWords;
        for (tell(); !(out_.isDone() && err_.isDone()) && loop_.now() < end; tell()) {
            loop_.wait(end);
        }
    }

private:
    // With what the kernel tells written down.
    Agent::Options listening(Agent::Options options) {
        options.feed.told = [this](auto const& vrf, auto const& intf, auto const& change,
                                   Zin::Seconds now) {
            history_.handleKernel(vrf, intf, change, now);
        };
        return options;
    }

    Config const& config() const { return configuration_.config(); }

    Memory memory() {
        return {.recorder = history_, .now = [this] { return loop_.now(); }};
    }
    AnsweringAgent answering(std::string const& version) {
        return {.identity = identity_,
                .changes = changes_,
                .operations = agent_.router().inputs().effects(),
                .supervisor = agent_.supervisor(),
                .recordings = recordings_,
                .version = version,
                .times = [this] {
                    return AnsweringAgent::Times{.up = loop_.now(), .longestStall = longestStall_};
                }};
    }

    // What may change while it runs is as the configuration has it.
    void configure() {
        agent_.coalesceIs(coalesceOf(config()));
        rights_.changersAre(config().changers);
        if (!config().events) {
            repairs_.printer = nullptr;
            printer_ = nullptr;
        } else if (!printer_) {
            repairs_.printer = std::make_unique<Scenario::RepairPrinter>(output_);
            printer_ = std::make_unique<Scenario::FollowedEventPrinter>(
                agent_.supervisor().follower(), output_, Scenario::RowDetail::owner);
        }
        virtualAddresses_.configuredAre(config().virtualAddresses);
        virtualAddresses_.keptAt(
            config().keepVirtual
                ? std::optional(config().stateDir.value_or(stateDirectory()) + "/virtual-addresses")
                : std::nullopt);
    }

    std::unique_ptr<Server> served(std::unique_ptr<Listener> listener,
                                   ConnectionLimits const& limits) {
        return std::make_unique<Server>(
            loop_, std::move(listener), ServerOptions{.limits = limits}, traffic_,
            [this](Request const& request) { return routes_.reply(request); },
            [this](std::string const& line) { notice(line); });
    }

    // Without a file the ring is lost with the process, and no more is.
    void keepRing() {
        try {
            moveRingTo(config().runDir.value_or(runDirectory()) + "/ring", identity_);
        } catch (RingFileError const& error) {
            notice(error.what());
        }
        Tremlog::record<"agent {} begins">(identity_);
    }

    void remember() {
        if (agent_.feed().isStarted() && !std::exchange(remembers_, true)) {
            Tremlog::record<"every namespace has been read">();
            history_.begin();
            if (config().fixedNamespaces) {
                keepPrivileges(Privileges::none);
            }
            auto const path = socketPath(config().runDir.value_or(runDirectory()));
            manager_.ready(printable("Answers at " + path));
        }
        history_.catchUp();
    }

    void reload() {
        manager_.reloading();
        auto const lines = configuration_.reload();
        for (auto const& line : lines) {
            notice(line);
        }
        configure();
        manager_.reloaded(printable(lines.back()));
    }

    void handleSignal(int signal) {
        if (signal == SIGUSR1) {
            isAsked_ = true;
        } else if (signal == SIGHUP) {
            reload();
        } else {
            ends_ = true;
        }
    }

    // Whoever asks however often while an answer is made gets one more. It is made little by
    // little, and goes in one line, whole or not at all.
    void answer() {
        if (!snapshot_ && std::exchange(isAsked_, false)) {
            Request request;
            request.method = "GET";
            request.target = targetOf("addresses", {});
            snapshot_ = routes_.reply(request).body;
        }
        for (Zin::Seconds const end = loop_.now() + answerSlice; snapshot_ && loop_.now() < end;) {
            if (snapshot_->next(snapshotText_) == Body::Progress::ended) {
                std::erase(snapshotText_, '\n');
                out_.put(std::exchange(snapshotText_, {}));
                snapshot_.reset();
            }
        }
    }

    Zin::Seconds nextTurn() const {
        return snapshot_ || isAsked_
                   ? loop_.now()
                   : std::min({agent_.nextExpiry(), recordings_.nextTurn(), manager_.nextTurn()});
    }

    void notice(std::string const& line) { err_.put("intfaddr: " + printable(line)); }

    void tell() {
        if (events_.tellp() > 0) {
            out_.putLines(events_.view());
            events_.str({});
        }
        if (loop_.now() >= nextMeasure_) {
            nextMeasure_ = loop_.now() + measurePeriod;
            Tremlog::ring.measure();
        }
        answer();
        out_.write();
        if (int const error = out_.failure(); error != 0) {
            notice("the standard output cannot be written any more: " +
                   std::generic_category().message(error));
        }
        err_.write();
    }

    Configuration configuration_;
    Instance const instance_;
    std::string const identity_ = startIdentity();
    ServiceManager manager_;
    EventLoop loop_;
    Outlet out_;
    Outlet err_;
    TraceLines const traces_;
    Netlink::LiveKernel kernel_;
    Repairs repairs_;
    Agent agent_;
    HistoryRecorder history_;
    ChangeLog changes_;
    Rights rights_;
    Recordings recordings_;
    Answers const answers_;
    Traffic traffic_;
    Metrics const metrics_;
    VirtualAddresses virtualAddresses_;
    VirtualChanges const virtualChanges_;
    Dumps const dumps_;
    TraceLevels const traceLevels_;
    Rehearsals rehearsals_;
    Routes routes_;
    std::ostringstream events_;
    Scenario::Output output_;
    // They go before what they ask.
    std::unique_ptr<Server> server_;
    std::unique_ptr<Server> tcpServer_;
    std::unique_ptr<Scenario::FollowedEventPrinter> printer_;
    Zin::Seconds nextMeasure_ = 0.0;
    bool remembers_ = false;
    Zin::Seconds longestStall_ = 0.0;
    bool isAsked_ = false;
    std::unique_ptr<Body> snapshot_;  // goes before what it is made of
    std::string snapshotText_;
    bool ends_ = false;
};

}  // namespace

int agent(AgentOptions const& options) {
    // A reader that has gone is an error of writing to it.
    std::signal(SIGPIPE, SIG_IGN);
    // Who asks too early gets no answer, and does no harm.
    std::signal(SIGHUP, SIG_IGN);
    std::signal(SIGUSR1, SIG_IGN);
    Running running(options);
    running.run();
    return 0;
}

}  // namespace IntfAddr
