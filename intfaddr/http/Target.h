// What a request is about: the path of its target and its query, decoded.
//
// A target is read in its origin form, "/a/b?c=d", or its absolute form, "http://host/a/b?c=d",
// whose host is hostOf() (RFC 9112, 3.2). Each segment of the path, and each name and value
// of the query, is percent-decoded by itself (RFC 3986, 2.1), so that any of them may have any
// byte. A
// '+' is a '+'.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace IntfAddr {

struct Target {
    // Without the slashes: none for "/", {"a", ""} for "/a/".
    std::vector<std::string> segments;
    // In the order in which they stand; a name without '=' has an empty value.
    std::vector<std::pair<std::string, std::string>> query;

    friend bool operator==(Target const&, Target const&) = default;
};

// Says what is wrong with a target.
class TargetError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Throws TargetError.
Target readTarget(std::string_view text);

// The host and port of an absolute form; none of an origin form.
std::optional<std::string_view> hostOf(std::string_view target);

// The origin form, with all that is not unreserved (RFC 3986, 2.3) percent-encoded. readTarget()
// gives back the same, save that a single empty segment is none, and so is a parameter that is
// empty altogether.
std::string target(std::vector<std::string> const& segments,
                   std::vector<std::pair<std::string, std::string>> const& query = {});

}  // namespace IntfAddr
