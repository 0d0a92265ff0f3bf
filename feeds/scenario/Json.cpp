#include "feeds/scenario/Json.h"

#include <fmt/format.h>

#include <set>
#include <string>
#include <vector>

#include "feeds/scenario/FileError.h"

namespace Scenario {

namespace {

// Called by the parser for each piece of the text, so that what is not wanted is not even built.
class Guard {
public:
    bool operator()(int depth, Json::parse_event_t event, Json& parsed) {
        switch (event) {
            case Json::parse_event_t::object_start:
            case Json::parse_event_t::array_start:
                if (static_cast<std::size_t>(depth) >= maxDepth) {
                    throw LineError(fmt::format("nested deeper than {} levels", maxDepth));
                }
                members_.emplace_back();
                break;
            case Json::parse_event_t::object_end:
            case Json::parse_event_t::array_end:
                members_.pop_back();
                break;
            case Json::parse_event_t::key:
                if (auto const& name = parsed.get_ref<std::string const&>();
                    !members_.back().insert(name).second) {
                    throw LineError(fmt::format("member '{}' is there twice", shortened(name)));
                }
                break;
            default:
                break;
        }
        return true;
    }

private:
    std::vector<std::set<std::string>> members_;
};

// The part of a parser's message that says what is wrong and where in the line.
std::string reason(std::string_view message) {
    for (std::string_view const known : {"at line 1, ", "] "}) {
        if (auto const at = message.find(known); at != std::string_view::npos) {
            message.remove_prefix(at + known.size());
            break;
        }
    }
    // What it quotes need not be UTF-8.
    auto const quote = message.find("; last read: ");
    auto const behind = message.rfind("; expected ");
    std::string text(message.substr(0, quote));
    if (quote != std::string_view::npos && behind != std::string_view::npos && behind > quote) {
        text += message.substr(behind);
    }
    return shortened(text, 200);
}

}  // namespace

Json readObject(std::string_view text) {
    // The parser takes a zero byte for the end of the text.
    if (text.find('\0') != std::string_view::npos) {
        throw LineError("not a JSON text: it holds a zero byte");
    }
    // The parser passes over one, but a comment would not be seen behind it.
    if (text.starts_with("\xef\xbb\xbf")) {
        throw LineError("not a JSON text: it begins with a byte order mark");
    }
    Json object;
    try {
        object = Json::parse(text, Guard());
    } catch (Json::exception const& error) {
        throw LineError(fmt::format("not a JSON text: {}", reason(error.what())));
    }
    if (!object.is_object()) {
        throw LineError(fmt::format("not an object: {}", shortened(object.dump())));
    }
    return object;
}

}  // namespace Scenario
