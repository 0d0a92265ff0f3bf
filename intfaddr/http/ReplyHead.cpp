#include "intfaddr/http/ReplyHead.h"

#include <fmt/chrono.h>
#include <boost/beast/http/status.hpp>
#include <ctime>

#include "Zin/Format.h"

namespace IntfAddr {

std::string ReplyHead::text() const {
    namespace http = boost::beast::http;
    auto const reason = http::obsolete_reason(http::int_to_status(status));
    auto text = fmt::format("HTTP/1.1 {} {}\r\nDate: {:%a, %d %b %Y %H:%M:%S} GMT\r\n", status,
                            std::string_view(reason.data(), reason.size()),
                            fmt::gmtime(std::time(nullptr)));
    if (!framing.empty()) {
        text += fmt::format("Content-Type: {}\r\n{}\r\n", contentType, framing);
    }
    for (auto const& [name, value] : headers) {
        text += fmt::format("{}: {}\r\n", name, value);
    }
    return text + (isLast ? "Connection: close\r\n\r\n" : "\r\n");
}

}  // namespace IntfAddr
