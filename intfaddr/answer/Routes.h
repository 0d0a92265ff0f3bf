// The paths at which the agent can be asked, and asked to do something: each with its methods, its
// parameters, and who answers.
//
//     Routes routes;
//     routes.add({.method = "GET", .path = "/v1/vrfs/{vrf}/addresses", .parameters = {"family"}},
//                [](Request const& request, Parameters parameters) { ... });
//     routes.reply(request);
//
// What is common to all of them is seen to here: a path that does not exist is a 404, another
// method than those of a path a 405 with `Allow`, and a parameter that is unknown, given twice or
// missing a 400, as is a BadQuestion of whoever answers. HEAD is possible wherever GET is.
//
//   GET /v1   {"paths":[{"path":...,"method":...,"parameters":[...],"needed":[...]},...]}
//
// tells of all of them. `parameters` is null where any are taken.
#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "intfaddr/answer/Document.h"
#include "intfaddr/answer/Question.h"
#include "intfaddr/http/Request.h"

namespace IntfAddr {

struct Route {
    std::string method;
    // A segment in braces is any one, and a parameter of that name.
    std::string path;
    // Of the query; any where nothing is given.
    std::optional<std::set<std::string>> parameters = std::set<std::string>();
    std::set<std::string> needed = {};  // of those
};

class Routes {
public:
    using Handle = std::function<Reply(Request const& request, Parameters parameters)>;

    Routes();
    Routes(Routes const&) = delete;
    Routes& operator=(Routes const&) = delete;

    // `handle` gets the parameters of the path before those of the query. It outlives the replies.
    void add(Route route, Handle handle);

    Reply reply(Request const& request) const;

private:
    struct Entry {
        Route route;
        std::vector<std::string> segments;  // of its path
        Handle handle;
    };

    Json list() const;

    std::vector<Entry> entries_;
};

}  // namespace IntfAddr
