#include "intfaddr/MonitorCommand.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "intfaddr/AskCommand.h"
#include "intfaddr/agent/Instance.h"
#include "intfaddr/ask/Printable.h"
#include "intfaddr/ask/WatchText.h"
#include "intfaddr/http/Client.h"
#include "intfaddr/http/EventStream.h"

namespace IntfAddr {

namespace {

constexpr int hasEnded = 0;
constexpr int noAgentRuns = 3;

// There is nothing to be put in order: each line has been written, or nobody reads it.
void endAtOnce(int) { ::_exit(hasEnded); }

void print(std::string_view line, bool json, std::ostream& out) {
    if (json) {
        out << line << '\n';
    } else {
        out << watchText(Json::parse(line));
    }
    errno = 0;
    if (!out.flush() && errno == EPIPE) {
        endAtOnce(EPIPE);
    }
    if (!out) {
        throw std::runtime_error("cannot write the output");
    }
}

}  // namespace

Grammar const& monitorGrammar() {
    static Grammar const grammar{.subject = Subject::addrOrPrefix,
                                 .keywords = {"vrf", "intf", "family"}};
    return grammar;
}

int monitor(MonitorOptions const& options, Streams const& streams) {
    Parameters parameters = parametersOf(monitorGrammar(), options.words);
    parameters.emplace_back("initial", options.initial ? "true" : "false");
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGINT, endAtOnce);
    std::signal(SIGTERM, endAtOnce);

    Client client(socketToAsk(options.runDir), Client::noLimit);
    auto const question = target({"v1", "watch"}, parameters);
    bool hasTold = false;
    EventStream stream([&](std::string_view data) {
        hasTold = true;
        print(data, options.json, streams.out);
    });
    std::string refusal;
    auto const take = [&](std::string_view piece) {
        if (client.status() == 200) {
            stream.put(piece);
        } else {
            refusal += piece;
        }
    };
    bool isFirst = true;
    // An agent that ends may still take a connection, and says nothing any more.
    for (hasTold = true; std::exchange(hasTold, false); isFirst = false) {
        stream.begin();
        try {
            client.follow(question, stream.lastEventId(), take);
            throwRefusal(client.status(), client.status() == 200 ? Json() : Json::parse(refusal));
        } catch (AgentWentAway const&) {
        } catch (NoAgent const& error) {
            if (isFirst) {
                streams.err << "intfaddr: not known: " << printable(error.what()) << '\n';
                return noAgentRuns;
            }
        }
    }
    throw AgentWentAway();
}

}  // namespace IntfAddr
