#include "intfaddr/answer/TraceLevels.h"

#include <algorithm>

#include "Pell/TraceHandle.h"
#include "Zin/Format.h"
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

Reply levels() {
    auto document = std::make_unique<Document>();
    document->member("from", [] { return Json("agent"); }).member("classes", classes);
    return {.body = std::move(document)};
}

}  // namespace

void TraceLevels::addTo(Routes& routes) const {
    routes.add({.method = "GET", .path = "/v1/trace"},
               [](Request const&, Parameters const&) { return levels(); });
    routes.add({.method = "PUT", .path = "/v1/trace", .parameters = std::nullopt},
               [this](Request const& request, Parameters const& given) {
                   return rights_.mayChange(request.peer) ? change(given) : refusal();
               });
}

Reply TraceLevels::change(Parameters const& given) {
    for (auto const& [name, level] : given) {
        check(name, level);
    }
    for (auto const& [name, level] : given) {
        Pell::traceLevelIs(name, level[0] - '0');
    }
    return levels();
}

}  // namespace IntfAddr
