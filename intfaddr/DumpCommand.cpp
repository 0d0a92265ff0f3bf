#include "intfaddr/DumpCommand.h"

#include <ostream>
#include <sstream>

#include "Zin/Format.h"
#include "intfaddr/AgentReply.h"
#include "intfaddr/answer/Document.h"
#include "intfaddr/ask/Printable.h"
#include "intfaddr/ask/Words.h"

namespace IntfAddr {

int dump(DumpOptions const& options, Streams const& streams) {
    auto words = options.words;
    if (words.empty() || (words[0] != "tables" && words[0] != "machines")) {
        throw BadQuestion(
            words.empty() ? "tables or machines is missing"
                          : fmt::format("'{}' is not expected: tables or machines is", words[0]));
    }
    std::string const what = words[0];
    words.erase(words.begin());
    Parameters parameters = parametersOf({.keywords = {"vrf"}}, words);
    if (options.verbose) {
        parameters.emplace_back("verbose", "true");
    }
    if (options.max) {
        parameters.emplace_back("max", *options.max);
    }
    std::istringstream text(
        agentReply(options.runDir, "GET", {.segments = {"v1", "dump", what}, .query = parameters}));
    Json lines = Json::array();
    for (std::string line; std::getline(text, line);) {
        if (options.json) {
            lines.push_back(line);
        } else {
            streams.out << printable(line) << '\n';
        }
    }
    if (options.json) {
        streams.out << toLine({{"from", "agent"}, {"dump", what}, {"lines", lines}}) << '\n';
    }
    return 0;
}

}  // namespace IntfAddr
