#include "intfaddr/RecordCommand.h"

#include <filesystem>
#include <ostream>
#include <stdexcept>

#include "Zin/Format.h"
#include "intfaddr/AgentReply.h"
#include "intfaddr/answer/Document.h"
#include "intfaddr/answer/Question.h"
#include "intfaddr/ask/Printable.h"

namespace IntfAddr {

int record(RecordOptions const& options, Streams const& streams) {
    auto const& words = options.words;
    if (words.empty() || (words[0] != "start" && words[0] != "stop")) {
        throw BadQuestion(words.empty()
                              ? "start or stop is missing"
                              : fmt::format("'{}' is not expected: start or stop is", words[0]));
    }
    bool const starts = words[0] == "start";
    std::size_t const most = starts ? 2 : 1;
    if (words.size() > most) {
        throw BadQuestion(fmt::format("'{}' is not expected: that was all", words[most]));
    }
    if (words.size() < most) {
        throw BadQuestion("a file is missing");
    }
    if (options.limit && !starts) {
        throw BadQuestion("--limit is not expected: stop takes none");
    }
    Target target{.segments = {"v1", "record"}, .query = {}};
    if (starts) {
        // Relative to where one asks, which is not where the agent is.
        target.query.emplace_back("file", std::filesystem::absolute(words[1]).string());
        if (options.limit) {
            target.query.emplace_back("limit", *options.limit);
        }
    }
    Json const answer = Json::parse(agentReply(options.runDir, starts ? "PUT" : "DELETE", target));
    Json const& recording = answer.at("recording");
    std::string const lastWords =
        recording.is_null() || recording.at("why").is_null()
            ? std::string()
            : fmt::format("{}: {}", recording.at("file").get<std::string>(),
                          recording.at("why").get<std::string>());
    if (!answer.at("changed").get<bool>()) {
        streams.err << "intfaddr: nothing is being recorded"
                    << (lastWords.empty() ? "" : "; " + printable(lastWords)) << '\n';
        return 1;
    }
    if (!lastWords.empty()) {
        throw std::runtime_error(lastWords);
    }
    return 0;
}

}  // namespace IntfAddr
