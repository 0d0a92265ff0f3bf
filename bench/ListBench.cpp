// What it costs to list a million rows as JSON and write them to a file that is in memory, as an
// agent does that is asked for its addresses, beside writing the same bytes there.
//
//   bench_list [--smallest] [FOLDER]       /dev/shm, where no other is given
//
// Prints a line of JSON (Result.h).
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Population.h"
#include "Result.h"
#include "Velk/YieldPolicy.h"
#include "Zin/Format.h"
#include "feeds/netlink/Feed.h"
#include "intfaddr/answer/Answers.h"
#include "intfaddr/answer/Question.h"

namespace {

// A file without a name, empty each time.
class File {
public:
    explicit File(std::string const& folder)
        : descriptor_(open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600)) {
        if (descriptor_ < 0) {
            fmt::print(stderr, "bench_list: {}: no file can be made there\n", folder);
            std::exit(2);
        }
    }
    ~File() { close(descriptor_); }
    File(File const&) = delete;
    File& operator=(File const&) = delete;

    void write(std::string_view piece) {
        auto const written = ::write(descriptor_, piece.data(), piece.size());
        Bench::check("bytes written", static_cast<std::size_t>(written), piece.size());
    }

private:
    int const descriptor_;
};

// A machine that has nothing of its own.
class NoKernel final : public Netlink::Kernel {
public:
    Netlink::NamespaceId ownNamespace() override { return {}; }
    std::vector<Netlink::NamedNamespace> namedNamespaces() override { return {}; }
    void watchNamespaces(std::function<void()>) override {}
    Netlink::NamespaceSockets openOwn(std::size_t, Netlink::Readable const&) override { return {}; }
    Netlink::NamespaceSockets open(Netlink::NamedNamespace const&, std::size_t,
                                   Netlink::Readable const&) override {
        return {};
    }
};

constexpr char vrf[] = "default";

void publish(Routing::Router& router, std::uint32_t rows) {
    auto& inputs = router.inputs();
    router.managerStart().apply();
    inputs.ipVrfAdd(vrf).apply();
    router.tableAdd(vrf).apply();
    for (std::uint32_t intf = 0; intf < rows / Bench::addressesEach; ++intf) {
        auto const addr = [intf](std::uint32_t host) {
            return Bench::Ipv4::withMask(intf * Bench::addressesEach + host);
        };
        Routing::IpIntf addressing{.primary = addr(0)};
        for (std::uint32_t host = 1; host < Bench::addressesEach; ++host) {
            addressing.secondary.push_back(addr(host));
        }
        inputs.kernelAdd(vrf, Bench::nameOf(intf), {.operStatus = Interface::OperStatus::up})
            .apply();
        inputs.ipIntfAdd(vrf, Bench::nameOf(intf), addressing).apply();
    }
    Bench::check("rows", router.table(vrf)->intfAddrEntry().size(), rows);
}

// Asks for all addresses, and passes on the answer as it is made, 64 KiB at a time.
template <class Each>
void eachPiece(IntfAddr::Routes const& routes, Each each) {
    auto const reply = routes.reply({.method = "GET",
                                     .target = IntfAddr::targetOf("addresses", {}),
                                     .lastEventId = {},
                                     .body = {},
                                     .peer = {}});
    std::string piece;
    auto progress = IntfAddr::Body::Progress::more;
    while (progress == IntfAddr::Body::Progress::more) {
        progress = reply.body->next(piece);
        if (piece.size() >= 65'536 || progress != IntfAddr::Body::Progress::more) {
            each(piece);
            piece.clear();
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string_view> arguments(argv + 1, argv + argc);
    bool const smallest = std::erase(arguments, "--smallest") > 0;
    if (arguments.size() > 1) {
        fmt::print(stderr, "usage: bench_list [--smallest] [FOLDER]\n");
        return 2;
    }
    std::string const folder(arguments.empty() ? "/dev/shm" : arguments.front());
    std::uint32_t const rows = smallest ? 1'000 : 1'000'000;

    Routing::Router router({}, Zin::make<Zin::VirtualClock>(), std::make_unique<Velk::EveryNth>(0));
    publish(router, rows);
    NoKernel kernel;
    Netlink::Feed const feed(
        kernel, {}, [](auto const&) {}, [](auto const&) {});
    IntfAddr::Answers const answers(router, feed, "agent");
    IntfAddr::Routes routes;
    answers.addTo(routes);

    Bench::Samples samples(rows);
    for (int repetition = 0; repetition < (smallest ? 1 : 5); ++repetition) {
        std::vector<std::string> pieces;
        eachPiece(routes, [&](std::string const& piece) { pieces.push_back(piece); });
        {
            File file(folder);
            samples.ours(
                [&] { eachPiece(routes, [&](std::string const& piece) { file.write(piece); }); });
        }
        File file(folder);
        samples.floor([&] {
            for (std::string const& piece : pieces) {
                file.write(piece);
            }
        });
        std::size_t lines = 0;
        for (std::string const& piece : pieces) {
            lines += static_cast<std::size_t>(std::count(piece.begin(), piece.end(), '\n'));
        }
        Bench::check("lines", lines, rows + 2);
    }
    samples.print("rows as JSON into a file", rows, 6);
    return EXIT_SUCCESS;
}
