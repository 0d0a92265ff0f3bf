#include "intfaddr/Command.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <memory>
#include <optional>
#include <ostream>

#include "Pell/Assertion.h"
#include "intfaddr/JsonReport.h"
#include "intfaddr/Machine.h"
#include "intfaddr/Printable.h"
#include "intfaddr/TextReport.h"
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
    Warn const warn = [&err](std::string const& message) {
        err << "intfaddr: warning: " << printable(message) << '\n';
    };
    if (question.vrf) {
        publishMachineVrf(router, *question.vrf, warn);
    } else {
        publishMachine(router, warn);
    }

    Report report;
    try {
        report = makeReport(router, question);
    } catch (Routing::OperationError const& error) {
        throw BadArgument(error.what());
    }
    out << (options.json ? toJson(report) : toText(report));
    if (!question.addr || hasRow(report)) {
        return ok;
    }
    err << "intfaddr: nothing owns " << *question.addr << '\n';
    return nothingOwnsIt;
}

}  // namespace

int runCommand(std::vector<std::string> const& args, std::ostream& out, std::ostream& err) {
    CLI::App app("The IP addresses that stand on this machine's interfaces, per VRF.", "intfaddr");
    app.set_version_flag("--version", "intfaddr " INTFADDR_VERSION);
    CLI::App* const showCommand =
        app.add_subcommand("show", "Print the addresses, or who owns one of them.");
    ShowOptions options;
    showCommand->add_option("ADDRESS", options.address, "Only who owns this address")
        ->type_name("");
    showCommand->add_option("--vrf", options.vrf, "Only this VRF")->type_name("NAME");
    showCommand->add_flag("--json", options.json, "Print one JSON document");
    showCommand->footer(
        "VRF \"default\" is the network namespace that the program runs in; as root, each\n"
        "namespace that is named ns-NAME is VRF NAME.\n"
        "Exit status: 0; 1 if nothing owns ADDRESS; 2 for a bad argument; 70 if something else\n"
        "went wrong.");

    try {
        // A failed assertion says what is wrong and ends this command, not more.
        Pell::ThrowOnAssertion const throwOnAssertion;
        app.parse(std::vector<std::string>(args.rbegin(), args.rend()));
        if (!showCommand->parsed()) {
            throw CLI::RequiredError("A command");
        }
        ExitStatus const status = show(options, out, err);
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
