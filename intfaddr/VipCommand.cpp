#include "intfaddr/VipCommand.h"

#include <ostream>

#include "Zin/Format.h"
#include "intfaddr/AgentReply.h"
#include "intfaddr/answer/Document.h"
#include "intfaddr/ask/Words.h"

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

    Json const answer =
        Json::parse(agentReply(options.runDir, adds ? "PUT" : "DELETE",
                               {.segments = {"v1", "virtual"}, .query = parameters}));
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
