#include "intfaddr/Command.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <limits>
#include <memory>
#include <optional>
#include <ostream>

#include "Pell/Assertion.h"
#include "Pell/TraceHandle.h"
#include "feeds/scenario/Operations.h"
#include "intfaddr/AgentCommand.h"
#include "intfaddr/CaptureCommand.h"
#include "intfaddr/JsonReport.h"
#include "intfaddr/Machine.h"
#include "intfaddr/ask/Printable.h"
#include "intfaddr/ReplayCommand.h"
#include "intfaddr/TextReport.h"
#include "intfaddr/agent/Instance.h"
#include "router/OperationError.h"

namespace IntfAddr {

namespace {

enum ExitStatus { ok = 0, nothingOwnsIt = 1, badArgument = 2, broken = 70 };

// How long a task may run before it must let others have their turn.
constexpr Zin::Seconds taskSlice = 0.01;

class BadArgument : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct ShowOptions {
    std::optional<std::string> address{};
    std::optional<std::string> vrf{};
    bool json = false;
    Netlink::Policy policy{};
};

Question questionOf(ShowOptions const& options) {
    Question question;
    if (options.vrf) {
        question.vrf = L3::VrfName(*options.vrf);
    }
    if (options.address) {
        try {
            question.addr = Nimb::IpGenAddr(*options.address);
        } catch (Zin::ParseError const& error) {
            throw BadArgument("'" + *options.address + "' is not an address: " + error.what());
        }
        if (question.addr->family() == Nimb::AddressFamily::unset) {
            throw BadArgument("the address is empty");
        }
    }
    return question;
}

ExitStatus show(ShowOptions const& options, std::ostream& out, std::ostream& err) {
    Question const question = questionOf(options);
    Routing::Router router({}, Zin::make<Zin::SteadyClock>(),
                           std::make_unique<Velk::TimeSlice>(taskSlice));
    router.managerStart().apply();
    Netlink::Notice const warn = [&err](std::string const& message) {
        err << "intfaddr: warning: " << printable(message) << '\n';
    };
    Report report;
    publishMachine(router, question.vrf, options.policy, warn, [&](Netlink::Feed const& feed) {
        try {
            report = makeReport(router, question);
        } catch (Routing::OperationError const& error) {
            throw BadArgument(error.what());
        }
        addFromFeed(report, feed, question.addr);
    });
    router.managerStop().apply();  // what fails in that is told, as it is not where the router goes
    out << (options.json ? toJson(report) : toText(report));
    if (!question.addr || hasRow(report)) {
        return ok;
    }
    err << "intfaddr: nothing owns " << *question.addr << '\n';
    return nothingOwnsIt;
}

void addLeaveOut(CLI::App& command, Netlink::Policy& policy) {
    command
        .add_option("--leave-out", policy.leftOut,
                    "Leave out interfaces of this name, in which * and ? stand for any\n"
                    "characters; may be given again")
        ->type_name("NAME")
        ->allow_extra_args(false);
    command.add_flag(
        "!--no-unnumbered", policy.borrows,
        "Also where an interface's only address is a /32 that a loopback, dummy or VRF\n"
        "device of its VRF has too, take it for the interface's own");
}

void addShow(CLI::App& app, ShowOptions& options) {
    CLI::App* const command =
        app.add_subcommand("show", "Print the addresses, or who owns one of them.");
    command->add_option("ADDRESS", options.address, "Only who owns this address")->type_name("");
    command->add_option("--vrf", options.vrf, "Only this VRF")->type_name("NAME");
    command->add_flag("--json", options.json, "Print one JSON document");
    addLeaveOut(*command, options.policy);
    command->footer(
        "VRF \"default\" is the network namespace that the program runs in; as root, each\n"
        "namespace that is named ns-NAME is VRF NAME. A VRF device is a VRF of its name, in\n"
        "namespace ns-NAME it is VRF NAME/DEVICE.\n"
        "Exit status: 0; 1 if nothing owns ADDRESS; 2 for a bad argument; 70 if something else\n"
        "went wrong.");
}

void addAgent(CLI::App& app, AgentOptions& options) {
    CLI::App* const command = app.add_subcommand(
        "agent", "Follow the kernel, and keep the tables of every VRF right, until told to end.");
    command->add_flag("--events", options.events, "Print each change of a table as it happens");
    command->add_option("--record", options.record, "Record what is published, as a scenario")
        ->type_name("FILE");
    command->add_option("--limit", options.recordLimit, "End the recording at this size (1 GiB)")
        ->type_name("BYTES")
        ->check(CLI::Range(std::uint64_t{4096}, std::numeric_limits<std::uint64_t>::max()));
    command
        ->add_option("--trouble-dir", options.troubleDir,
                     "Leave a scenario of what led to each repair there, the last 100")
        ->type_name("DIR");
    command
        ->add_option("--run-dir", options.runDir,
                     "Where the one agent that runs is known (" + runDirectory() + ")")
        ->type_name("DIR");
    command
        ->add_option("--coalesce", options.coalesceMilliseconds,
                     "Wait so long for more after a change, for one publication (1)")
        ->type_name("MILLISECONDS")
        ->check(CLI::Range(0.0, 1000.0));
    command
        ->add_option("--yield-every", options.yieldEvery,
                     "How many items a task does before others have their turn (1000)")
        ->type_name("N")
        ->check(CLI::Range(std::uint32_t{1}, std::numeric_limits<std::uint32_t>::max()));
    command
        ->add_option("--receive-buffer", options.receiveBuffer,
                     "Of each namespace's notifications (16 MiB)")
        ->type_name("BYTES")
        ->check(CLI::Range(std::uint64_t{4096}, std::uint64_t{1} << 30));
    addLeaveOut(*command, options.policy);
    command->footer(
        "What is a VRF is what `intfaddr show` shows. Needs root for other namespaces than its "
        "own.\n"
        "SIGUSR1 prints the JSON of `show --json`; SIGTERM and SIGINT end it.\n"
        "Exit status: 0; 2 for a bad argument; 70 if it cannot begin, or another agent runs.");
}

void addCapture(CLI::App& app, CaptureOptions& options) {
    CLI::App* const command = app.add_subcommand(
        "capture", "Write this machine's addresses as they stand, as a scenario.");
    command
        ->add_option("FILE", options.file, "The scenario; the standard output where none is given")
        ->type_name("");
    addLeaveOut(*command, options.policy);
    command->footer(
        "Replay it with `intfaddr replay FILE`.\nExit status: 0; 2 for a bad argument; 70 if "
        "something went wrong.");
}

std::string checkTraceClass(std::string const& name) {
    auto const known = Pell::traceClassNames();
    return std::ranges::find(known, name) != known.end()
               ? std::string()
               : fmt::format("no class traces as '{}'; these do: {}", name, fmt::join(known, ", "));
}

void addReplay(CLI::App& app, ReplayOptions& options) {
    CLI::App* const command =
        app.add_subcommand("replay", "Replay a scenario file on a router with a virtual clock.");
    command->add_option("FILE", options.file, "The scenario, JSON Lines; - is the standard input")
        ->type_name("")
        ->required();
    command->add_flag("--heal", options.run.heal,
                      "Contain invariants that fail, audit and repair the tables, and go on:\n"
                      "  "
                      "{\"t\":2.0,\"healed\":{\"vrf\":\"red\",\"why\":\"...\",\"added\":[...],"
                      "\"removed\":[...]}}");
    command->add_flag(
        "--events", options.run.events,
        "Print each change of a table:\n"
        "  {\"t\":0.0,\"event\":{\"vrf\":\"red\",\"attribute\":\"intfAddrEntry\",...}}");
    CLI::Option* const trace =
        command
            ->add_option(
                "--trace", options.run.traceLevel,
                "Print the traces of level N (0 to 9) and lower: 3 has noteworthy\n"
                "events, 8 every decision, 9 every item; --trace 3:\n"
                "  {\"t\":0.0,\"trace\":{\"level\":3,\"class\":\"IntfAddrVrfTableSm\",...}}")
            ->type_name("N")
            ->check(CLI::Range(0, 9));
    command
        ->add_option("--class", options.run.traceClasses,
                     "Only the traces of this class; may be given again:\n"
                     "  --trace 9 --class IntfCleanupSm --class DeferredIntfAddSm")
        ->type_name("NAME")
        ->allow_extra_args(false)
        ->needs(trace)
        ->check(checkTraceClass);
    std::string operations;
    for (auto const& operation : Scenario::operations()) {
        operations += fmt::format("  {}{}{}\n", operation.name,
                                  operation.fields.empty() ? "" : ": ", toText(operation.fields));
    }
    command->footer(
        "Prints JSON Lines: what the file asks for (snapshot, lowest6, dump), what fails, and\n"
        "what the options ask for, each with the scenario's time t. The same file prints the\n"
        "same everywhere. Example:\n"
        "  echo '{\"op\":\"snapshot\"}' | intfaddr replay -\n"
        "Exit status: 0; 1 if an expectation of the file failed; 2 for a bad argument, or where\n"
        "the file is wrong, which is told as FILE:LINE: MESSAGE; 3 if an invariant of the library\n"
        "failed; 70 if something else went wrong.\n"
        "\n"
        "Operations and their fields, the optional ones in brackets; each may have a time, at:\n" +
        operations);
}

}  // namespace

int runCommand(std::vector<std::string> const& args, Streams const& streams) {
    CLI::App app("The IP addresses that stand on a router's interfaces, per VRF.", "intfaddr");
    app.set_version_flag("--version", "intfaddr " INTFADDR_VERSION);
    app.require_subcommand(0, 1);
    ShowOptions showOptions;
    addShow(app, showOptions);
    ReplayOptions replayOptions;
    addReplay(app, replayOptions);
    AgentOptions agentOptions;
    addAgent(app, agentOptions);
    CaptureOptions captureOptions;
    addCapture(app, captureOptions);

    auto const& [in, out, err, errIsTerminal] = streams;
    try {
        // A failed assertion says what is wrong and ends this command, not more.
        Pell::ThrowOnAssertion const throwOnAssertion;
        app.parse(std::vector<std::string>(args.rbegin(), args.rend()));
        if (app.get_subcommands().empty()) {
            throw CLI::RequiredError("A command");
        }
        int const status = app.got_subcommand("show")      ? show(showOptions, out, err)
                           : app.got_subcommand("agent")   ? agent(agentOptions)
                           : app.got_subcommand("capture") ? capture(captureOptions, out, err)
                                                           : replay(replayOptions, streams);
        if (!out.flush()) {
            throw std::runtime_error("cannot write the output");
        }
        return status;
    } catch (CLI::ParseError const& error) {
        return app.exit(error, out, err) == 0 ? ok : badArgument;
    } catch (BadArgument const& error) {
        err << "intfaddr: " << printable(error.what()) << '\n';
        return badArgument;
    } catch (std::exception const& error) {
        err << "intfaddr: " << printable(error.what()) << '\n';
        return broken;
    }
}

}  // namespace IntfAddr
