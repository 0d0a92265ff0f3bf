#include "intfaddr/answer/TraceLevels.h"

#include <fmt/format.h>

#include <algorithm>

#include "Pell/TraceHandle.h"
#include "intfaddr/answer/Document.h"
#include "intfaddr/answer/Question.h"

namespace IntfAddr {

namespace {

void check(std::string const& name, std::string const& level) {
    auto const known = Pell::traceClassNames();
    if (name != "*" && std::ranges::find(known, name) == known.end()) {
        throw BadQuestion(
            fmt::format("no class traces as '{}'; these do: {}", name, fmt::join(known, ", ")));
    }
    if (level.size() != 1 || level[0] < '0' || level[0] > '9') {
        throw BadQuestion(fmt::format("'{}' is no level of {}: 0 to 9 is expected", level, name));
    }
}

Json classes() {
    Json list = Json::array();
    for (auto const& name : Pell::traceClassNames()) {
        list.push_back({{"class", name}, {"level", Pell::traceLevel(name)}});
    }
    return list;
}

}  // namespace

Reply TraceLevels::reply(Request const& request) const {
    auto const& query = request.target.query;
    try {
        if (request.method == "PUT") {
            if (!rights_.mayChange(request.peer)) {
                return refusal();
            }
            for (auto const& [name, level] : query) {
                check(name, level);
            }
            for (auto const& [name, level] : query) {
                Pell::traceLevelIs(name, level[0] - '0');
            }
        } else if (request.method != "GET" && request.method != "HEAD") {
            return errorReply(405,
                              fmt::format("{} is not possible: GET and PUT are", request.method));
        } else {
            static_cast<void>(filterOf(query, {}));
        }
    } catch (BadQuestion const& error) {
        return errorReply(400, error.what());
    }
    auto document = std::make_unique<Document>();
    document->member("from", [] { return Json("agent"); }).member("classes", classes);
    return {.body = std::move(document)};
}

}  // namespace IntfAddr
