// What the agent does without the library: its loop, its feed, and nobody who takes the operations.
//
//     bench_feed_only COALESCE      milliseconds, as the agent's --coalesce
//
// SIGUSR1 prints how many addresses it holds.
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "feeds/netlink/Feed.h"
#include "feeds/netlink/LiveKernel.h"
#include "intfaddr/loop/EventLoop.h"

int main(int argc, char** argv) {
    IntfAddr::EventLoop loop;
    Netlink::LiveKernel kernel(loop);
    Netlink::Feed::Options options;
    options.follower.coalesce = (argc > 1 ? std::atof(argv[1]) : 0.0) / 1000.0;
    Netlink::Feed feed(
        kernel, options, [](auto const&) {},
        [](std::string const& line) { std::fprintf(stderr, "%s\n", line.c_str()); });
    loop.onSignals({SIGUSR1}, [&feed](int) {
        std::size_t count = 0;
        feed.forEachAddress([&count](auto const&...) { ++count; });
        std::printf("%zu\n", count);
        std::fflush(stdout);
    });
    while (true) {
        feed.run(loop.now());
        loop.wait(feed.nextExpiry());
    }
}
