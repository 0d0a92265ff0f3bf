#include "load/SmallestServer.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/write.hpp>
#include <cstdlib>
#include <memory>
#include <utility>

namespace Load {

namespace {

namespace http = boost::beast::http;
using boost::asio::local::stream_protocol;
using Failure = boost::system::error_code;

class Session : public std::enable_shared_from_this<Session> {
public:
    Session(stream_protocol::socket socket, std::string const& body)
        : socket_(std::move(socket)), body_(body) {}

    void read() {
        request_ = {};
        http::async_read(socket_, received_, request_,
                         [self = shared_from_this()](Failure const& failure, std::size_t) {
                             if (!failure) {
                                 self->write();
                             }
                         });
    }

private:
    void write() {
        response_ = {http::status::ok, request_.version()};
        response_.set(http::field::content_type, "application/json");
        response_.body() = body_;
        response_.prepare_payload();
        http::async_write(socket_, response_,
                          [self = shared_from_this()](Failure const& failure, std::size_t) {
                              if (!failure) {
                                  self->read();
                              }
                          });
    }

    stream_protocol::socket socket_;
    std::string const& body_;
    boost::beast::flat_buffer received_;
    http::request<http::string_body> request_;
    http::response<http::string_body> response_;
};

void accept(stream_protocol::acceptor& acceptor, std::string const& body) {
    acceptor.async_accept([&](Failure const& failure, stream_protocol::socket socket) {
        if (!failure) {
            std::make_shared<Session>(std::move(socket), body)->read();
        }
        accept(acceptor, body);
    });
}

}  // namespace

void serveSmallest(std::string const& path, std::string const& body) {
    boost::asio::io_context context(1);
    stream_protocol::acceptor acceptor(context, stream_protocol::endpoint(path));
    accept(acceptor, body);
    context.run();
    std::abort();  // it always waits for the next
}

}  // namespace Load
