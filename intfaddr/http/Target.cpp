#include "intfaddr/http/Target.h"

#include <algorithm>
#include <charconv>

#include "Zin/Format.h"

namespace IntfAddr {

namespace {

constexpr std::string_view scheme = "http://";

// What comes before the first `mark`, which is taken from the text with it; all where there is
// none.
std::string_view takeUntil(std::string_view& text, char mark) {
    auto const end = std::min(text.find(mark), text.size());
    auto const taken = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return taken;
}

char byteOf(std::string_view digits) {
    unsigned char byte = 0;
    auto const [end, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), byte, 16);
    if (digits.size() != 2 || error != std::errc() || end != digits.data() + digits.size()) {
        throw TargetError(fmt::format(
            "the target has '%{}', where two hexadecimal digits have to follow the '%'", digits));
    }
    return static_cast<char>(byte);
}

std::string decoded(std::string_view text) {
    std::string bytes;
    bytes.reserve(text.size());
    for (std::size_t place = 0; place < text.size(); ++place) {
        if (text[place] == '%') {
            bytes += byteOf(text.substr(place + 1, 2));
            place += 2;
        } else {
            bytes += text[place];
        }
    }
    return bytes;
}

bool isUnreserved(char byte) {
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
           (byte >= '0' && byte <= '9') || byte == '-' || byte == '.' || byte == '_' || byte == '~';
}

void appendEncoded(std::string& text, std::string_view bytes) {
    for (char const byte : bytes) {
        if (isUnreserved(byte)) {
            text += byte;
        } else {
            text += fmt::format("%{:02X}", static_cast<unsigned char>(byte));
        }
    }
}

void checkBytes(std::string_view text) {
    for (char const byte : text) {
        if (byte <= ' ' || byte > '~' || byte == '#') {
            throw TargetError(fmt::format(
                "the target has the byte 0x{0:02X}, which has to be written as %{0:02X}",
                static_cast<unsigned char>(byte)));
        }
    }
}

}  // namespace

Target readTarget(std::string_view text) {
    checkBytes(text);
    if (text.starts_with(scheme)) {
        text.remove_prefix(std::min(text.find_first_of("/?", scheme.size()), text.size()));
    } else if (!text.starts_with('/')) {
        throw TargetError(fmt::format("the target '{}' does not begin with '/'", text));
    }
    auto query = text;
    auto path = takeUntil(query, '?');
    Target read;
    if (path.size() > 1) {
        for (path.remove_prefix(1); !path.empty();) {
            bool const endsWithSlash = path.ends_with('/');
            read.segments.push_back(decoded(takeUntil(path, '/')));
            if (path.empty() && endsWithSlash) {
                read.segments.emplace_back();
            }
        }
    }
    while (!query.empty()) {
        if (auto parameter = takeUntil(query, '&'); !parameter.empty()) {
            auto name = decoded(takeUntil(parameter, '='));
            read.query.emplace_back(std::move(name), decoded(parameter));
        }
    }
    return read;
}

std::optional<std::string_view> hostOf(std::string_view target) {
    if (!target.starts_with(scheme)) {
        return std::nullopt;
    }
    target.remove_prefix(scheme.size());
    return target.substr(0, target.find_first_of("/?"));
}

std::string target(std::vector<std::string> const& segments,
                   std::vector<std::pair<std::string, std::string>> const& query) {
    std::string text;
    for (auto const& segment : segments) {
        text += '/';
        appendEncoded(text, segment);
    }
    if (text.empty()) {
        text = "/";
    }
    char mark = '?';
    for (auto const& [name, value] : query) {
        text += mark;
        mark = '&';
        appendEncoded(text, name);
        if (!value.empty()) {
            text += '=';
            appendEncoded(text, value);
        }
    }
    return text;
}

}  // namespace IntfAddr
