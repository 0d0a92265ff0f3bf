// Any bytes that a client says are answered without harm, and in good time.
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "RoundTrip.h"
#include "intfaddr/http/Connection.h"
#include "intfaddr/loop/EventLoop.h"

namespace {

using namespace IntfAddr;

// What every reply begins with.
constexpr std::string_view version = "HTTP/1.1 ";

constexpr std::string_view wellFormed =
    "GET /a%2Fb//c?d=%20e&f HTTP/1.1\r\nHost: localhost:1\r\nLast-Event-ID: 7\r\n\r\n"
    "PUT /x HTTP/1.1\r\nHost: localhost:1\r\nContent-Length: 5\r\n\r\nhello"
    "POST / HTTP/1.1\r\nHost: localhost:1\r\nTransfer-Encoding: "
    "chunked\r\n\r\n3;y=z\r\nabc\r\n0\r\nT: "
    "u\r\n\r\n"
    "HEAD http://[::1]/ HTTP/1.1\r\nHost: localhost:1\r\nConnection: close\r\n\r\n";

// The input says where well-formed requests are spoilt, and what follows them: chance alone would
// hardly find one.
std::string spoilt(std::string_view input) {
    std::string text(std::max(input.size(), wellFormed.size()), '\0');
    for (std::size_t place = 0; place < text.size(); ++place) {
        int const before = place < wellFormed.size() ? wellFormed[place] : 0;
        int const change = place < input.size() ? input[place] : 0;
        text[place] = static_cast<char>(before ^ change);
    }
    return text;
}

void checkTarget(Target const& read) {
    Fuzz::require(readTarget(target(read.segments, read.query)).segments == read.segments);
}

// `peer`: none is as over TCP.
void talk(std::string_view input, std::optional<Peer> const& peer) {
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        return;
    }
    Netlink::Descriptor client(ends[0]);
    static EventLoop loop;
    bool isEnded = false;
    Connection::Handle const handle = [&peer](Request const& request) {
        Fuzz::require(peer || request.method == "GET" || request.method == "HEAD");
        checkTarget(request.target);
        return textReply(200, request.body);
    };
    Connection::Notice const notice = [](std::string const&) { Fuzz::require(false); };
    auto const said = spoilt(input);
    ::send(client.number(), said.data(), said.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    ::shutdown(client.number(), SHUT_WR);
    Traffic traffic;
    Connection::Service service{.limits = {.largerBodies = {{"/x", std::size_t{128} << 10}}},
                                .handle = handle,
                                .notice = notice,
                                .traffic = traffic,
                                .largeBodies = Seats(1)};
    {
        Connection const connection(loop.context(), Netlink::Descriptor(ends[1]), peer, service,
                                    [&isEnded] { isEnded = true; });
        std::string heard;
        for (int turn = 0; turn < 10000 && !isEnded; ++turn) {
            loop.wait(0.0);
            std::array<char, 65536> buffer;
            auto const taken = ::recv(client.number(), buffer.data(), buffer.size(), MSG_DONTWAIT);
            heard.append(buffer.data(), taken > 0 ? static_cast<std::size_t>(taken) : 0);
        }
        Fuzz::require(isEnded);
        Fuzz::require(version.starts_with(std::string_view(heard).substr(0, version.size())));
    }
    loop.wait(0.0);
    Fuzz::require(service.largeBodies.take() != nullptr);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size <= std::size_t{100} << 10) {
        talk(Fuzz::textOf(data, size), Peer{});
        talk(Fuzz::textOf(data, size), std::nullopt);
    }
    return 0;
}
