#include "intfaddr/AskCommand.h"

#include <algorithm>
#include <ostream>
#include <stdexcept>
#include <utility>

#include "Zin/Format.h"
#include "intfaddr/Machine.h"
#include "intfaddr/agent/Instance.h"
#include "intfaddr/answer/Answers.h"
#include "intfaddr/ask/AnswerText.h"
#include "intfaddr/ask/ExplanationText.h"
#include "intfaddr/ask/Printable.h"
#include "intfaddr/http/Client.h"

namespace IntfAddr {

namespace {

constexpr char const* socketName = "intfaddr.sock";
// How long a task may run before it must let others have their turn.
constexpr Zin::Seconds taskSlice = 0.01;

// Of what the kernel has at this moment.
Answer answerOfKernel(Target const& target, std::optional<L3::VrfName> const& vrf,
                      Netlink::Policy const& policy, Netlink::Notice const& warn) {
    Routing::Router router({}, Zin::make<Zin::SteadyClock>(),
                           std::make_unique<Velk::TimeSlice>(taskSlice));
    router.managerStart().apply();
    Answer answer;
    Netlink::Notice const ignore = [](std::string const&) {};  // the answer says what matters
    Netlink::Feed::Options const look{.policy = policy, .only = vrf};
    publishMachine(router, look, warn, ignore, [&](Netlink::Feed const& feed) {
        Request request;
        request.method = "GET";
        request.target = target;
        Answers const answers(router, feed, "kernel");
        Routes routes;
        answers.addTo(routes);
        Reply const reply = routes.reply(request);
        answer.status = reply.status;
        answer.text = drained(*reply.body);
    });
    router.managerStop().apply();  // what fails in that is told, as it is not where the router goes
    return answer;
}

Answer answerOfAgent(Target const& target, std::string const& path) {
    Answer answer;
    answer.isOfAgent = true;
    answer.status = Client(path).get(IntfAddr::target(target.segments, target.query),
                                     [&answer](std::string_view piece) { answer.text += piece; });
    return answer;
}

bool looksAtKernel(AskOptions const& options) {
    return options.kernel || !options.policy.leftOut.empty() || !options.policy.borrows;
}

}  // namespace

Answer answerTo(Question const& question, AskOptions const& options, Netlink::Notice const& warn) {
    Target const target = targetOf(question.name, question.parameters);
    if (!looksAtKernel(options)) {
        try {
            return answerOfAgent(target, socketToAsk(options.runDir));
        } catch (NoAgent const& error) {
            warn(
                fmt::format("{}; this is what the kernel has now, read once and in its own order, "
                            "so that a conflict may be decided otherwise than by an agent",
                            error.what()));
        }
    }
    return answerOfKernel(target, filterOf(question.parameters).vrf, options.policy, warn);
}

std::string socketPath(std::string const& runDirectory) { return runDirectory + "/" + socketName; }

std::string socketToAsk(std::optional<std::string> const& runDir) {
    return fileOfAgent(runDir, socketName);
}

void throwRefusal(unsigned status, Json const& document) {
    if (status >= 500) {
        throw std::runtime_error(document.value("error", "the agent failed"));
    }
    if (status != 200) {
        throw BadQuestion(document.value("error", "the agent refused the question"));
    }
}

std::vector<AskCommand> const& askCommands() {
    static std::vector<AskCommand> const commands{
        {.name = "show",
         .description = "Print the addresses, where they are, and what those that wait wait for.",
         .grammar = {.subject = Subject::addrOrPrefix,
                     .keywords = {"vrf", "intf", "family", "state"}},
         .found = "addresses",
         .toText = addressText},
        {.name = "lookup",
         .description = "Print who owns an address, or in which connected subnet it is.",
         .grammar = {.subject = Subject::addr, .isNeeded = true, .keywords = {"vrf", "intf"}},
         .found = "owners",
         .toText = lookupText},
        {.name = "subnets",
         .description = "Print the connected subnets, each with its interface and addresses.",
         .grammar = {.keywords = {"vrf"}},
         .found = "subnets",
         .toText = subnetText},
        {.name = "lowest6",
         .description = "Print the lowest IPv6 address of an interface, link-local ones left out.",
         .grammar = {.subject = Subject::intf, .isNeeded = true, .keywords = {"vrf"}},
         .found = "addresses",
         .toText = addressText},
        {.name = "linklocal",
         .description = "Print the IPv6 link-local address of an interface.",
         .grammar = {.subject = Subject::intf, .isNeeded = true, .keywords = {"vrf"}},
         .found = "addresses",
         .toText = addressText},
        {.name = "explain",
         .description = "Print why an address is there, or is not, and what has happened to it.",
         .grammar = {.subject = Subject::addr, .isNeeded = true, .keywords = {"vrf", "intf"}},
         .found = "explanations",
         .toText = explanationText,
         .isFound = hasPlace},
    };
    return commands;
}

int ask(AskCommand const& command, AskOptions const& options, Streams const& streams) {
    Parameters const parameters = parametersOf(command.grammar, options.words);
    // It is called like the command, but for the list of all.
    std::string const path = command.name == "show" ? "addresses" : command.name;
    Netlink::Notice const warn = [&streams](std::string const& message) {
        streams.err << "intfaddr: " << printable(message) << '\n';
    };
    Answer const answer = answerTo({.name = path, .parameters = parameters}, options, warn);
    Json const document = Json::parse(answer.text, nullptr, false);
    if (document.is_discarded()) {
        throw std::runtime_error(fmt::format("the answer is no JSON: {}", answer.text));
    }
    throwRefusal(answer.status, document);
    if (options.json) {
        streams.out << answer.text;
    } else {
        streams.out << (options.brief ? briefText(document) : command.toText(document));
    }
    for (auto const& unknown : document["notKnown"]) {
        warn(fmt::format("not known: {}: {}", unknown["what"].get<std::string>(),
                         unknown["why"].get<std::string>()));
    }
    if (std::ranges::any_of(document[command.found], command.isFound)) {
        return found;
    }
    if (!document["notKnown"].empty()) {
        return notKnown;
    }
    Filter const filter = filterOf(parameters);
    warn(filter.addr     ? fmt::format("nothing {} {}",
                                   command.name == "lookup" ? "owns" : "is known of", *filter.addr)
         : filter.prefix ? fmt::format("nothing is in {}", *filter.prefix)
         : filter.intf   ? fmt::format("nothing is on {}", *filter.intf)
                         : "there is none");
    return none;
}

}  // namespace IntfAddr
