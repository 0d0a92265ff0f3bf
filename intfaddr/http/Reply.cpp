#include "intfaddr/http/Reply.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

namespace IntfAddr {

namespace {

constexpr std::size_t pieceSize = std::size_t{16} << 10;

}  // namespace

Body::Progress TextBody::next(std::string& buffer) {
    buffer.append(text_, sent_, pieceSize);
    sent_ = std::min(sent_ + pieceSize, text_.size());
    return sent_ < text_.size() ? Progress::more : Progress::ended;
}

Reply textReply(unsigned status, std::string text) {
    Reply reply;
    reply.status = status;
    reply.body = std::make_unique<TextBody>(std::move(text));
    return reply;
}

Reply errorReply(unsigned status, std::string_view what) {
    nlohmann::json const text{{"error", what}};
    // What a stranger wrote may be quoted there, so it may be no UTF-8.
    return textReply(status,
                     text.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n");
}

}  // namespace IntfAddr
