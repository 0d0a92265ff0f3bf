#include "intfaddr/VipCommand.h"

#include <fmt/format.h>

#include <ostream>
#include <stdexcept>

#include "intfaddr/AskCommand.h"
#include "intfaddr/agent/Instance.h"
#include "intfaddr/ask/Printable.h"
#include "intfaddr/http/Client.h"

namespace IntfAddr {

int vip(VipOptions const& options, Streams const& streams) {
    auto words = options.words;
    if (words.empty() || (words[0] != "add" && words[0] != "del")) {
        throw BadQuestion(words.empty()
                              ? "add or del is missing"
                              : fmt::format("'{}' is not expected: add or del is", words[0]));
    }
    bool const adds = words[0] == "add";
    words.erase(words.begin());
    Grammar const grammar{.subject = Subject::addr, .isNeeded = true, .keywords = {"vrf"}};
    Parameters const parameters = parametersOf(grammar, words);

    std::string text;
    unsigned status = 0;
    try {
        status = Client(socketToAsk(options.runDir))
                     .send(adds ? "PUT" : "DELETE", target({"v1", "virtual"}, parameters), "",
                           [&text](std::string_view piece) { text += piece; });
    } catch (NoAgent const& error) {
        streams.err << "intfaddr: " << printable(error.what()) << '\n';
        return 3;
    }
    Json const answer = Json::parse(text, nullptr, false);
    if (answer.is_discarded() || status >= 500) {
        throw std::runtime_error(fmt::format("the agent failed: {}", text));
    }
    if (status != 200) {
        throw BadQuestion(answer.value("error", "the agent refused"));
    }
    if (!answer.value("kept", true)) {
        streams.err << "intfaddr: that is so now, but could not be kept: a restart will not know\n";
    }
    if (answer.value("changed", false)) {
        return 0;
    }
    streams.err << fmt::format("intfaddr: {} is {} virtual address\n", parameters[0].second,
                               adds ? "already a" : "no");
    return 1;
}

}  // namespace IntfAddr
