#include "load/KeptTalk.h"

#include <fmt/format.h>

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <utility>

namespace Load {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using boost::asio::local::stream_protocol;

struct KeptTalk::State {
    asio::io_context context;
    stream_protocol::socket socket{context};
    boost::beast::flat_buffer received;
};

KeptTalk::KeptTalk(std::string const& path) : state_(std::make_unique<State>()) {
    state_->socket.connect(stream_protocol::endpoint(path));
}

KeptTalk::~KeptTalk() = default;

Answer KeptTalk::ask(std::string const& method, std::string const& target) {
    auto const request = fmt::format("{} {} HTTP/1.1\r\nHost: agent\r\n\r\n", method, target);
    asio::write(state_->socket, asio::buffer(request));
    http::response<http::string_body> response;
    http::read(state_->socket, state_->received, response);
    return {.status = response.result_int(), .body = std::move(response.body())};
}

}  // namespace Load
