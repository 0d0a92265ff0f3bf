#include "intfaddr/Command.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <limits>
#include <memory>
#include <optional>
#include <ostream>

#include "Pell/Assertion.h"
#include "Pell/TraceHandle.h"
#include "Zin/Format.h"
#include "feeds/scenario/Operations.h"
#include "intfaddr/AgentCommand.h"
#include "intfaddr/AskCommand.h"
#include "intfaddr/CaptureCommand.h"
#include "intfaddr/DumpCommand.h"
#include "intfaddr/MonitorCommand.h"
#include "intfaddr/RecordCommand.h"
#include "intfaddr/RehearsalCommand.h"
#include "intfaddr/ReplayCommand.h"
#include "intfaddr/RingCommand.h"
#include "intfaddr/StatusCommand.h"
#include "intfaddr/TraceCommand.h"
#include "intfaddr/VipCommand.h"
#include "intfaddr/agent/Instance.h"
#include "intfaddr/ask/Printable.h"
#include "intfaddr/config/Configuration.h"
#include "intfaddr/http/Client.h"

namespace IntfAddr {

namespace {

enum ExitStatus { ok = 0, badArgument = 2, noAgent = 3, broken = 70 };

void addRunDir(CLI::App& command, std::optional<std::string>& runDir) {
    command
        .add_option("--run-dir", runDir,
                    "Where the one agent that runs is known (" + runDirectory() + ")")
        ->type_name("DIR");
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

void addAsked(CLI::App& command, AskOptions& options) {
    command.add_flag("--json", options.json, "Print one JSON document");
    command.add_flag("--kernel", options.kernel, "Ask the kernel, whether an agent runs or not");
    addRunDir(command, options.runDir);
    addLeaveOut(command, options.policy);
}

void addAsk(CLI::App& app, AskCommand const& ask, AskOptions& options) {
    CLI::App* const command = app.add_subcommand(ask.name, ask.description);
    command->add_option("WORDS", options.words, toText(ask.grammar))->type_name("");
    if (ask.name == "show") {
        command->add_flag("--brief", options.brief, "Print a line for each interface");
    }
    if (ask.name == "explain") {
        command->add_flag("--scenario", options.scenario,
                          "Print a scenario that shows it: what is published, and what happened");
    }
    addAsked(*command, options);
    command->footer(
        "VRF \"default\" is the network namespace that the agent runs in; each namespace that is\n"
        "named ns-NAME is VRF NAME. A VRF device is a VRF of its name, in namespace ns-NAME it\n"
        "is VRF NAME/DEVICE. Where no agent runs, the kernel is read, which needs root for other\n"
        "namespaces than one's own; so it is with --kernel, --leave-out and --no-unnumbered.\n"
        "Exit status: 0; 1 if there is none; 2 for a bad question; 3 if it is not known, since\n"
        "something that could hold the answer could not be read; 70 if something else went\n"
        "wrong.");
}

void addRehearsals(CLI::App& app, AskOptions& options) {
    CLI::App* const whyNot = app.add_subcommand(
        "why-not", "Print what would come of an address if it were configured now.");
    whyNot->add_option("WORDS", options.words, "ADDR/LEN intf NAME [vrf NAME]")->type_name("");
    addAsked(*whyNot, options);
    whyNot->footer(
        "It is tried on a copy of what the agent has; nothing changes. Rows that come and go\n"
        "because of it are printed with their times.\n"
        "Exit status: 0 if it would be in the table; 1 if not; 2 for a bad question; 3 if it is\n"
        "not known, since something that could hold it could not be read; 70 if something else\n"
        "went wrong.");
    CLI::App* const whatIf = app.add_subcommand(
        "what-if", "Print what the operations of a scenario would come to if they came now.");
    whatIf->add_option("FILE", options.words, "The scenario, JSON Lines; - is the standard input")
        ->type_name("");
    addAsked(*whatIf, options);
    whatIf->footer(
        "They are tried on a copy of what the agent has; nothing changes. Times count from now.\n"
        "  echo '{\"op\":\"kernel.del\",\"vrf\":\"default\",\"intf\":\"eth0\"}' | intfaddr what-if "
        "-\n"
        "Exit status: 0 if rows would come or go; 1 if none would; 2 for a bad argument, or where\n"
        "the file is wrong, which is told as FILE:LINE: MESSAGE; 3 if it is not known; 70 if\n"
        "something else went wrong.");
}

void addMonitor(CLI::App& app, MonitorOptions& options) {
    CLI::App* const command = app.add_subcommand(
        "monitor", "Print each change of the agent's tables as it happens, until told to end.");
    command->add_option("WORDS", options.words, toText(monitorGrammar()))->type_name("");
    command->add_flag("--initial", options.initial, "Print what stands first");
    command->add_flag("--json", options.json, "Print JSON Lines");
    addRunDir(*command, options.runDir);
    command->footer(
        "+ is a row that has come or stands, - one that has gone. Who reads too slowly is told\n"
        "how many changes he has lost, and that what stands now follows anew.\n"
        "Exit status: 0 if it was told to end, or nobody reads it any more; 2 for a bad question;\n"
        "3 if no agent runs; 70 if the agent went away, or something else went wrong.");
}

void addStatus(CLI::App& app, StatusOptions& options) {
    CLI::App* const command = app.add_subcommand("status", "Print how the agent fares.");
    command->add_flag("--json", options.json, "Print one JSON document");
    addRunDir(*command, options.runDir);
    command->footer("Exit status: 0; 3 if no agent runs; 70 if something else went wrong.");
}

void addAgent(CLI::App& app, AgentOptions& options) {
    CLI::App* const command = app.add_subcommand(
        "agent", "Follow the kernel, and keep the tables of every VRF right, until told to end.");
    Config& config = options.given.config;
    command
        ->add_option("--config", options.configFile,
                     fmt::format("Read this configuration file ({}, if it is there)",
                                 Configuration::systemFile))
        ->type_name("FILE");
    command->add_flag("--events", config.events, "Print each change of a table as it happens");
    command->add_option("--record", config.record, "Record what is published, as a scenario")
        ->type_name("FILE");
    command->add_option("--limit", config.limit, "End the recording at this size (1 GiB)")
        ->type_name("BYTES")
        ->check(CLI::Range(Limits::least, std::numeric_limits<std::uint64_t>::max()));
    command
        ->add_option("--trouble-dir", config.troubleDir,
                     "Leave a scenario of what led to each repair there, the last 100")
        ->type_name("DIR");
    addRunDir(*command, config.runDir);
    command
        ->add_option("--group", config.group,
                     "Who may ask, by the group of the socket (the agent's own)")
        ->type_name("NAME");
    command
        ->add_option_function<std::string>(
            "--listen",
            [&config](std::string const& text) {
                try {
                    config.listen = readListenAddress(text);
                } catch (std::runtime_error const& error) {
                    throw CLI::ValidationError("--listen", error.what());
                }
            },
            "Answer programs of this machine over TCP too, there, who may only read")
        ->type_name("ADDR:PORT");
    command
        ->add_option("--coalesce", config.coalesce,
                     "Wait so long for more after a change, for one publication (1)")
        ->type_name("MILLISECONDS")
        ->check(CLI::Range(0.0, Limits::mostCoalesce));
    command
        ->add_option("--yield-every", config.yieldEvery,
                     "How many items a task does before others have their turn (1000)")
        ->type_name("N")
        ->check(CLI::Range(std::uint32_t{1}, std::numeric_limits<std::uint32_t>::max()));
    command
        ->add_option("--receive-buffer", config.receiveBuffer,
                     "Of each namespace's notifications (16 MiB)")
        ->type_name("BYTES")
        ->check(CLI::Range(Limits::least, Limits::mostReceiveBuffer));
    addLeaveOut(*command, config.policy);
    command->add_flag("--fixed-namespaces", config.fixedNamespaces,
                      "Follow only the network namespaces that are there at the start, and keep\n"
                      "no right to enter another one");
    command->footer(
        "What is a VRF is what `intfaddr show` shows. Needs root for other namespaces than its "
        "own.\n"
        "`intfaddr show` and others ask it, at intfaddr.sock in its run directory.\n"
        "The configuration file, TOML, has a key of the name of each option, virtual addresses,\n"
        "and who may change something; the command line holds against it, and SIGHUP has it read\n"
        "again. intfaddr.conf(5) explains each key.\n"
        "SIGUSR1 prints the JSON of `show --json`; SIGTERM and SIGINT end it.\n"
        "Exit status: 0; 2 for a bad argument or configuration; 70 if it cannot begin, or\n"
        "another agent runs.");
    command->callback([command, &options] {
        for (CLI::Option const* const option : command->get_options()) {
            if (option->count() > 0) {
                options.given.names.insert(option->get_lnames().front());
            }
        }
    });
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

void addVip(CLI::App& app, VipOptions& options) {
    CLI::App* const command =
        app.add_subcommand("vip", "Add or remove a virtual address of the agent that runs.");
    command->add_option("WORDS", options.words, "add|del ADDR [vrf NAME]")->type_name("");
    addRunDir(*command, options.runDir);
    command->footer(
        "For root, the agent's own user and whom its configuration names as changers. The VRF is\n"
        "default where none is named. What is added goes with the agent, unless its configuration\n"
        "says keep-virtual; what the configuration has is removed there alone.\n"
        "Exit status: 0; 1 if it was so already; 2 for a bad argument; 3 if no agent could be\n"
        "asked; 70 if something else went wrong.");
}

void addDump(CLI::App& app, DumpOptions& options) {
    CLI::App* const command =
        app.add_subcommand("dump", "Print what the agent's tables or machines say of themselves.");
    command->add_option("WORDS", options.words, "tables|machines [vrf NAME]")->type_name("");
    command->add_flag("--verbose", options.verbose, "Shorten no list");
    command->add_option("--max", options.max, "Shorten lists to so many entries (100)")
        ->type_name("N");
    command->add_flag("--json", options.json, "Print one JSON document");
    addRunDir(*command, options.runDir);
    command->footer(
        "A VRF's part ends after 4000 lines, so that the agent is not held up; `intfaddr show`\n"
        "has every address. tables has every row and index, machines what they were given too.\n"
        "Exit status: 0; 2 for a bad question; 3 if no agent could be asked; 70 if something\n"
        "else went wrong.");
}

void addTrace(CLI::App& app, TraceOptions& options) {
    CLI::App* const command =
        app.add_subcommand("trace", "List how much each class of the agent traces, or change it.");
    command->add_option("SPEC", options.spec, "CLASS=LEVEL[,CLASS=LEVEL...], *=LEVEL or off")
        ->type_name("");
    command->add_flag("--json", options.json, "Print one JSON document");
    addRunDir(*command, options.runDir);
    command->footer(
        "Traces go to the agent's standard error. Level 3 has noteworthy events, 8 every "
        "decision,\n"
        "9 every item, 0 nothing. Changing is for root, the agent's own user and whom its\n"
        "configuration names. Example:\n"
        "  intfaddr trace IntfCleanupSm=9,DeferredIntfAddSm=8\n"
        "Exit status: 0; 2 for a bad argument; 3 if no agent could be asked; 70 if something\n"
        "else went wrong.");
}

void addRecord(CLI::App& app, RecordOptions& options) {
    CLI::App* const command = app.add_subcommand(
        "record", "Have the agent that runs record what it does, as a scenario, or end that.");
    command->add_option("WORDS", options.words, "start FILE|stop")->type_name("");
    command
        ->add_option("--limit", options.limit, "End the recording at this size (the agent's own)")
        ->type_name("BYTES");
    addRunDir(*command, options.runDir);
    command->footer(
        "For root and the agent's own user. The scenario begins with what stands, so that\n"
        "`intfaddr replay --heal FILE` makes what the agent has; a file that is there already is\n"
        "overwritten. stop ends when the file is complete, also what `agent --record` has begun.\n"
        "`intfaddr status` shows what is recorded.\n"
        "Exit status: 0; 1 if there is nothing to stop; 2 for a bad argument, or if a recording\n"
        "runs already; 3 if no agent could be asked; 70 if something else went wrong.");
}

void addRing(CLI::App& app, RingOptions& options) {
    CLI::App* const command = app.add_subcommand(
        "ring", "Print what an agent has done last, also one that has ended or crashed.");
    command
        ->add_option("FILE", options.file,
                     "Its ring; that in the run directory where none is given")
        ->type_name("");
    command->add_flag("--json", options.json, "Print one JSON document");
    addRunDir(*command, options.runDir);
    command->footer(
        "The rings of the agents before it are ring.1 and ring.2 in the run directory.\n"
        "Exit status: 0; 1 if nothing has been recorded; 2 for a bad argument; 3 if there is no\n"
        "ring that can be read; 70 if something else went wrong.");
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
    AskOptions askOptions;
    for (AskCommand const& one : askCommands()) {
        addAsk(app, one, askOptions);
    }
    addRehearsals(app, askOptions);
    MonitorOptions monitorOptions;
    addMonitor(app, monitorOptions);
    StatusOptions statusOptions;
    addStatus(app, statusOptions);
    ReplayOptions replayOptions;
    addReplay(app, replayOptions);
    AgentOptions agentOptions;
    agentOptions.version = INTFADDR_VERSION;
    addAgent(app, agentOptions);
    VipOptions vipOptions;
    addVip(app, vipOptions);
    DumpOptions dumpOptions;
    addDump(app, dumpOptions);
    RecordOptions recordOptions;
    addRecord(app, recordOptions);
    RingOptions ringOptions;
    addRing(app, ringOptions);
    TraceOptions traceOptions;
    addTrace(app, traceOptions);
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
        auto const asks = std::ranges::find_if(
            askCommands(), [&app](AskCommand const& one) { return app.got_subcommand(one.name); });
        int const status = askOptions.scenario             ? explainByScenario(askOptions, streams)
                           : asks != askCommands().end()   ? ask(*asks, askOptions, streams)
                           : app.got_subcommand("why-not") ? whyNot(askOptions, streams)
                           : app.got_subcommand("what-if") ? whatIf(askOptions, streams)
                           : app.got_subcommand("vip")     ? vip(vipOptions, streams)
                           : app.got_subcommand("dump")    ? dump(dumpOptions, streams)
                           : app.got_subcommand("record")  ? record(recordOptions, streams)
                           : app.got_subcommand("ring")    ? ring(ringOptions, streams)
                           : app.got_subcommand("trace")   ? trace(traceOptions, streams)
                           : app.got_subcommand("monitor") ? monitor(monitorOptions, streams)
                           : app.got_subcommand("status")  ? agentStatus(statusOptions, streams)
                           : app.got_subcommand("agent")   ? agent(agentOptions)
                           : app.got_subcommand("capture") ? capture(captureOptions, out, err)
                                                           : replay(replayOptions, streams);
        if (!out.flush()) {
            throw std::runtime_error("cannot write the output");
        }
        return status;
    } catch (CLI::ParseError const& error) {
        return app.exit(error, out, err) == 0 ? ok : badArgument;
    } catch (BadQuestion const& error) {
        err << "intfaddr: " << printable(error.what()) << '\n';
        return badArgument;
    } catch (NoAgent const& error) {
        err << "intfaddr: " << printable(error.what()) << '\n';
        return noAgent;
    } catch (std::exception const& error) {
        err << "intfaddr: " << printable(error.what()) << '\n';
        return broken;
    }
}

}  // namespace IntfAddr
