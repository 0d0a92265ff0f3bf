#include "intfaddr/MonitorCommand.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <functional>
#include <ostream>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "intfaddr/AskCommand.h"
#include "intfaddr/agent/Instance.h"
#include "intfaddr/ask/Printable.h"
#include "intfaddr/ask/WatchText.h"
#include "intfaddr/http/Client.h"

namespace IntfAddr {

namespace {

constexpr int hasEnded = 0;
constexpr int noAgentRuns = 3;

// Calls `each` with every line that is whole.
class Lines {
public:
    explicit Lines(std::function<void(std::string_view line)> each) : each_(std::move(each)) {}

    void put(std::string_view piece) {
        text_ += piece;
        std::size_t begin = 0;
        for (auto end = text_.find('\n'); end != text_.npos; end = text_.find('\n', begin)) {
            each_(std::string_view(text_).substr(begin, end - begin));
            begin = end + 1;
        }
        text_.erase(0, begin);
    }

private:
    std::function<void(std::string_view)> const each_;
    std::string text_;
};

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
    std::string refusal;
    Lines lines([&](std::string_view line) { print(line, options.json, streams.out); });
    try {
        client.get(target({"v1", "watch"}, parameters), [&](std::string_view piece) {
            if (client.status() == 200) {
                lines.put(piece);
            } else {
                refusal += piece;
            }
        });
    } catch (NoAgent const& error) {
        streams.err << "intfaddr: not known: " << printable(error.what()) << '\n';
        return noAgentRuns;
    }
    throwRefusal(client.status(), client.status() == 200 ? Json() : Json::parse(refusal));
    throw std::runtime_error("the agent went away");
}

}  // namespace IntfAddr
