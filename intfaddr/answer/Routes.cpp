#include "intfaddr/answer/Routes.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "Zin/Format.h"

namespace IntfAddr {

namespace {

bool isParameter(std::string const& segment) { return segment.starts_with('{'); }

// Of the path; nothing where it is another one.
std::optional<Parameters> matched(std::vector<std::string> const& pattern,
                                  std::vector<std::string> const& segments) {
    if (pattern.size() != segments.size()) {
        return std::nullopt;
    }
    Parameters parameters;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (isParameter(pattern[i])) {
            parameters.emplace_back(pattern[i].substr(1, pattern[i].size() - 2), segments[i]);
        } else if (pattern[i] != segments[i]) {
            return std::nullopt;
        }
    }
    return parameters;
}

}  // namespace

Routes::Routes() {
    add({.method = "GET", .path = "/v1"}, [this](Request const&, Parameters const&) {
        return textReply(200, toLine(list()) + "\n");
    });
}

void Routes::add(Route route, Handle handle) {
    auto segments = readTarget(route.path).segments;
    entries_.push_back({std::move(route), std::move(segments), std::move(handle)});
}

Reply Routes::reply(Request const& request) const {
    auto const& [segments, query] = request.target;
    std::vector<std::string> methods;  // of the path
    for (auto const& [route, pattern, handle] : entries_) {
        auto parameters = matched(pattern, segments);
        if (!parameters) {
            continue;
        }
        methods.push_back(route.method);
        if (route.method != (request.method == "HEAD" ? "GET" : request.method)) {
            continue;
        }
        try {
            if (route.parameters) {
                checkParameters(query, *route.parameters, route.needed);
            }
            parameters->insert(parameters->end(), query.begin(), query.end());
            return handle(request, *std::move(parameters));
        } catch (BadQuestion const& error) {
            return errorReply(400, error.what());
        }
    }
    if (methods.empty()) {
        return errorReply(404, fmt::format("there is nothing at /{}", fmt::join(segments, "/")));
    }
    auto reply = errorReply(
        405, fmt::format("{} is not possible: {} {}", request.method, fmt::join(methods, " and "),
                         methods.size() == 1 ? "is" : "are"));
    if (std::ranges::find(methods, "GET") != methods.end()) {
        methods.emplace_back("HEAD");
    }
    // RFC 9110, 15.5.6.
    reply.headers.emplace_back("Allow", fmt::format("{}", fmt::join(methods, ", ")));
    return reply;
}

Json Routes::list() const {
    Json paths = Json::array();
    for (auto const& [route, segments, handle] : entries_) {
        paths.push_back({{"path", route.path},
                         {"method", route.method},
                         {"parameters", route.parameters ? Json(*route.parameters) : Json()},
                         {"needed", route.needed}});
    }
    return {{"paths", paths}};
}

}  // namespace IntfAddr
