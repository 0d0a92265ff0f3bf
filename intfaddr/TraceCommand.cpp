#include "intfaddr/TraceCommand.h"

#include <ostream>

#include "Zin/Format.h"
#include "intfaddr/AgentReply.h"
#include "intfaddr/answer/Document.h"
#include "intfaddr/answer/Question.h"
#include "intfaddr/ask/TextTable.h"

namespace IntfAddr {

namespace {

Parameters levelsOf(std::string_view spec) {
    if (spec == "off") {
        return {{"*", "0"}};
    }
    Parameters levels;
    for (bool isLast = false; !isLast;) {
        auto const comma = spec.find(',');
        isLast = comma == spec.npos;
        auto const one = spec.substr(0, comma);
        auto const equals = one.find('=');
        if (equals == one.npos || equals == 0) {
            throw BadQuestion(
                fmt::format("'{}' is not expected: CLASS=LEVEL, *=LEVEL or off is", one));
        }
        levels.emplace_back(one.substr(0, equals), one.substr(equals + 1));
        spec.remove_prefix(isLast ? spec.size() : comma + 1);
    }
    return levels;
}

}  // namespace

int trace(TraceOptions const& options, Streams const& streams) {
    Target target{.segments = {"v1", "trace"}, .query = {}};
    if (options.spec) {
        target.query = levelsOf(*options.spec);
    }
    std::string const text = agentReply(options.runDir, options.spec ? "PUT" : "GET", target);
    if (options.json) {
        streams.out << text;
    } else if (!options.spec) {
        TextTable table({"CLASS", "LEVEL"});
        Json const document = Json::parse(text);
        for (auto const& one : document["classes"]) {
            table.add(
                {one["class"].get<std::string>(), fmt::format("{}", one["level"].get<int>())});
        }
        streams.out << table.text();
    }
    return 0;
}

}  // namespace IntfAddr
