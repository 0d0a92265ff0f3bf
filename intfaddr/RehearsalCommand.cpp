#include "intfaddr/RehearsalCommand.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <fstream>
#include <map>
#include <ostream>
#include <set>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "Zin/Format.h"
#include "feeds/scenario/OperationWriter.h"
#include "intfaddr/answer/StateScenario.h"
#include "intfaddr/ask/ExplanationText.h"
#include "intfaddr/ask/Printable.h"
#include "intfaddr/ask/RehearsalText.h"
#include "intfaddr/rehearsal/Reduction.h"
#include "intfaddr/rehearsal/WhatIf.h"
#include "intfaddr/rehearsal/WhyNot.h"

namespace IntfAddr {

namespace {

// How often a state is asked for that changes while it is told.
constexpr int tries = 3;
constexpr std::chrono::seconds reducingTime{2};

constexpr unsigned notFound = 404;
// Of how many addresses of a subnet that is in the way the events are told.
constexpr std::size_t mostInTheWay = 8;

// Who asks the agent, or the kernel, for what a copy is made of.
class Source {
public:
    Source(AskOptions const& options, Streams const& streams)
        : options_(options), streams_(streams) {}

    void warn(std::string const& message) const {
        streams_.err << "intfaddr: " << printable(message) << '\n';
    }

    // Empty where there is no such VRF and `mayLack`.
    std::string state(L3::VrfName const& vrf, bool mayLack = false) {
        Answer answer;
        bool hasChanged = true;
        for (int i = 0; hasChanged && i < tries; ++i) {
            answer = ask({.name = "state", .parameters = {{"vrf", vrf.bytes()}}});
            if (answer.status == notFound && mayLack) {
                return "";
            }
            if (answer.status != 200) {
                throwRefusal(answer.status, jsonOf(answer));
            }
            hasChanged = answer.text.ends_with(fmt::format("{}\n", changedMark));
        }
        if (hasChanged) {
            warn(
                fmt::format("VRF '{}' changes as fast as it is read: what changed meanwhile may "
                            "be taken as it was before",
                            vrf));
        }
        noteUnknown(answer.text);
        return answer.text;
    }
    Json document(char const* path, Parameters const& query) {
        auto const answer = ask({.name = path, .parameters = query});
        auto document = jsonOf(answer);
        throwRefusal(answer.status, document);
        return document;
    }

    // Of all that was asked for.
    char const* from() const { return isOfAgent_ ? "agent" : "kernel"; }
    Json const& unknown() const { return unknown_; }
    void tellUnknown() const {
        for (auto const& one : unknown_) {
            warn(fmt::format("not known: {}: {}", one["what"].get<std::string>(),
                             one["why"].get<std::string>()));
        }
    }

private:
    Answer ask(Question const& question) {
        bool const isFirst = !std::exchange(hasAsked_, true);
        auto answer = answerTo(question, options_, [this, isFirst](std::string const& message) {
            if (isFirst) {
                warn(message);
            }
        });
        isOfAgent_ = answer.isOfAgent;
        return answer;
    }
    static Json jsonOf(Answer const& answer) {
        Json document = Json::parse(answer.text, nullptr, false);
        if (document.is_discarded()) {
            throw std::runtime_error(fmt::format("the answer is no JSON: {}", answer.text));
        }
        return document;
    }
    // They stand at the end.
    void noteUnknown(std::string const& state) {
        for (auto at = state.find(std::string("\n") + std::string(notKnownMark)); at != state.npos;
             at = state.find(std::string("\n") + std::string(notKnownMark), at + 1)) {
            auto const begin = at + 1 + notKnownMark.size();
            auto const text = state.substr(begin, state.find('\n', begin) - begin);
            if (unknownTexts_.insert(text).second) {
                unknown_.push_back(Json::parse(text));
            }
        }
    }

    AskOptions const& options_;
    Streams const& streams_;
    bool hasAsked_ = false;
    bool isOfAgent_ = false;
    Json unknown_ = Json::array();
    std::set<std::string> unknownTexts_;
};

void print(Json const& answer, std::string (*toText)(Json const& answer), AskOptions const& options,
           Source const& source, Streams const& streams) {
    if (options.json) {
        Json document{{"from", source.from()}};
        document.update(answer);
        document["notKnown"] = source.unknown();
        streams.out << toLine(document) << '\n';
    } else {
        streams.out << toText(answer);
    }
    source.tellUnknown();
}

using Events = std::multimap<Zin::Seconds, std::string>;

void noteEvents(Json const& told, std::string const& prefix, Events& events) {
    for (auto const& one : told["explanations"]) {
        for (auto const& event : one["events"]) {
            events.emplace(event["at"].get<double>(), prefix + event["text"].get<std::string>());
        }
    }
}

// Of those whose subnet is what an address waits for.
void noteEventsOfHolders(Source& source, L3::VrfName const& vrf, Json const& addresses,
                         Events& events) {
    for (auto const& address : addresses) {
        auto const holder = address.value("waitsFor", Json());
        if (!holder.is_object() || !holder.contains("subnet")) {
            continue;
        }
        auto const intf = holder["interface"].get<std::string>();
        Parameters const query{{"prefix", holder["subnet"].get<std::string>()},
                               {"interface", intf},
                               {"vrf", vrf.bytes()}};
        auto const inTheWay = source.document("addresses", query)["addresses"];
        for (std::size_t i = 0; i < inTheWay.size() && i < mostInTheWay; ++i) {
            auto const addr = inTheWay[i]["address"].get<std::string>();
            noteEvents(
                source.document("explain",
                                {{"address", addr}, {"interface", intf}, {"vrf", vrf.bytes()}}),
                fmt::format("{} ", addr), events);
        }
    }
}

std::string comment(std::string const& text) { return Scenario::commentLine(text); }

// Who has it says what is expected of a replay; nothing where a link-local address asks for more
// than one look-up, or a virtual one is found by another.
std::string expectation(L3::VrfName const& vrf, Json const& addresses) {
    std::string intf;
    for (auto const& address : addresses) {
        if (address["virtual"].get<bool>()) {
            return "";
        }
        if (address["place"] == "table") {
            if (!intf.empty()) {
                return "";
            }
            intf = address["interface"].get<std::string>();
        }
    }
    auto const& address = addresses[0]["address"];
    if (intf.empty() && Nimb::IpGenAddr(address.get<std::string>()).isV6LinkLocal()) {
        return "";
    }
    Scenario::OrderedJson lookup{{"vrf", vrf.text()}, {"addr", address}};
    lookup["intf"] = intf.empty() ? Scenario::OrderedJson() : Scenario::OrderedJson(intf);
    return Scenario::textOf({{"op", "expect"}, {"lookup", lookup}});
}

}  // namespace

int whyNot(AskOptions const& options, Streams const& streams) {
    if (options.words.empty() || options.words[0].find('/') == std::string::npos) {
        throw BadQuestion(options.words.empty()
                              ? "ADDR/LEN is missing"
                              : fmt::format("'{}' is not expected: ADDR/LEN is", options.words[0]));
    }
    IpLib::IntfAddrWithMaskKey key;
    try {
        key.addrWithMask = Nimb::IpGenAddrWithMask(options.words[0]);
    } catch (Zin::ParseError const& error) {
        throw BadQuestion(
            fmt::format("'{}' is no address with its length: {}", options.words[0], error.what()));
    }
    Grammar const rest{.keywords = {"vrf", "intf"}};
    auto const filter =
        filterOf(parametersOf(rest, {options.words.begin() + 1, options.words.end()}));
    if (!filter.intf) {
        throw BadQuestion("intf NAME is missing");
    }
    L3::VrfName const vrf = filter.vrf.value_or("default");

    Source source(options, streams);
    key.intfId = Scenario::nameIn(filter.intf->name());
    auto const answer = whyNot(source.state(vrf), Scenario::nameIn(vrf.bytes()), key);
    if (answer.is_null()) {
        source.tellUnknown();
        return notKnown;
    }
    print(answer, whyNotText, options, source, streams);
    return !source.unknown().empty() ? notKnown : isAdmitted(answer) ? found : none;
}

int whatIf(AskOptions const& options, Streams const& streams) {
    if (options.words.size() != 1) {
        throw BadQuestion(options.words.empty()
                              ? "FILE is missing"
                              : fmt::format("'{}' is not expected: one FILE is", options.words[1]));
    }
    std::string const& name = options.words[0];
    bool const isIn = name == "-";
    std::ifstream file;
    if (!isIn) {
        errno = 0;
        file.open(name);
        if (!file) {
            throw BadQuestion(fmt::format("{}: cannot be opened: {}", name,
                                          std::generic_category().message(errno)));
        }
    }
    Source source(options, streams);
    Json answer;
    try {
        answer = whatIf(isIn ? streams.in : file,
                        [&source](L3::VrfName const& vrf) { return source.state(vrf, true); });
    } catch (Scenario::FileError const& error) {
        throw BadQuestion(fmt::format("{}:{}: {}", name, error.line(), error.what()));
    }
    print(answer, whatIfText, options, source, streams);
    return !answer["changes"].empty() ? found : source.unknown().empty() ? none : notKnown;
}

int explainByScenario(AskOptions const& options, Streams const& streams) {
    if (options.json) {
        throw BadQuestion("a scenario is JSON Lines already: --json is not expected");
    }
    Grammar const grammar{.subject = Subject::addr, .isNeeded = true, .keywords = {"vrf"}};
    auto const parameters = parametersOf(grammar, options.words);
    auto const filter = filterOf(parameters);
    auto const addr = *filter.addr;

    Source source(options, streams);
    auto const told = source.document("explain", parameters);
    std::set<std::string> vrfs;
    for (auto const& one : told["explanations"]) {
        if (hasPlace(one)) {
            vrfs.insert(one["vrf"].get<std::string>());
        }
    }
    if (vrfs.size() > 1) {
        throw BadQuestion(
            fmt::format("{} is in VRFs {}: say which, with vrf NAME", addr, fmt::join(vrfs, ", ")));
    }
    if (vrfs.empty()) {
        source.warn(fmt::format("nothing is known of {}", addr));
        return told["notKnown"].empty() ? none : notKnown;
    }
    L3::VrfName const vrf = filter.vrf.value_or(*vrfs.begin());
    auto const state = source.state(vrf);
    auto const addresses = source.document(
        "addresses", {{"address", addr.toStrep()}, {"vrf", vrf.bytes()}})["addresses"];
    auto const [lines, isSame] =
        reduced(state, Scenario::nameIn(vrf.bytes()), addr, addresses, reducingTime);

    for (auto const& one : told["explanations"]) {
        streams.out << comment(one["sentence"].get<std::string>());
    }
    Events events;
    noteEvents(told, fmt::format("{} ", addr), events);
    noteEventsOfHolders(source, vrf, addresses, events);
    for (auto const& [at, text] : events) {
        streams.out << comment(
            fmt::format("{:.1f} s ago: {}", told["history"]["now"].get<double>() - at, text));
    }
    if (!isSame) {
        streams.out << comment(
            "A replay of this does not give that: it hangs on more than what is "
            "published, such as when it is tried next.");
    }
    for (auto const& line : lines) {
        streams.out << line << '\n';
    }
    if (isSame && !addresses.empty()) {
        streams.out << expectation(vrf, addresses);
    }
    source.tellUnknown();
    return found;
}

}  // namespace IntfAddr
