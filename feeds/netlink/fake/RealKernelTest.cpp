// The fake kernel against this machine's: the same random operations, in namespaces of the test's
// own, have to be told and dumped alike.
//
// Compared exactly are the messages of addresses, in their order among each other and with the
// links that appear and go. A link's carrier and operational state come when the kernel gets around
// to it, so they are left out, and a link message that tells nothing new then is, too.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Zin/Format.h"
#include "feeds/netlink/TestNamespace.h"
#include "feeds/netlink/fake/MessageText.h"
#include "feeds/netlink/fake/RandomOperations.h"
#include "feeds/netlink/fake/RealKernel.h"

namespace Netlink::Fake {
namespace {

using Lines = std::vector<std::string>;

std::string withoutState(std::string line) {
    for (auto const* const part : {" running", " state "}) {
        if (auto const at = line.find(part); at != std::string::npos) {
            line.erase(at, line.find(' ', at + std::string_view(part).size()) - at);
        }
    }
    return line;
}

bool isLink(std::string const& line) { return line.find("LINK ") != std::string::npos; }

// Lifetimes pass on the real one while nothing does on the other.
std::string roundedUp(std::string line) {
    for (auto const* const part : {"preferred ", "valid "}) {
        if (auto const at = line.find(part); at != std::string::npos) {
            auto const begin = at + std::string_view(part).size();
            auto const end = std::min(line.find(' ', begin), line.size());
            auto const seconds = std::stoul(line.substr(begin, end - begin));
            line.replace(begin, end - begin, std::to_string((seconds + 99) / 100 * 100));
        }
    }
    return line;
}

// Keeps in mind what has been told of the links of one namespace.
class News {
public:
    // What of these lines tells something.
    Lines of(Lines const& lines) {
        Lines news;
        for (auto const& line : lines) {
            if (!isLink(line)) {
                news.push_back(roundedUp(line));
                continue;
            }
            std::string const told =
                withoutState(line.substr(line.find_first_not_of("0123456789/ ")));
            std::string const key = told.substr(0, told.find(' ', told.find("LINK ") + 5));
            bool const isNew = key.find("NEW") != std::string::npos;
            // A bridge tells of its ports whenever it looks at them, so once is enough.
            bool const isPort = told.starts_with("bridge") && last_.contains(key);
            if (!isNew || (last_[key] != told && !isPort)) {
                news.push_back(told);
            }
            if (isNew) {
                last_[key] = told;
            } else {
                last_.erase(std::string(key).replace(key.find("DEL"), 3, "NEW"));
            }
        }
        return news;
    }

private:
    std::map<std::string, std::string> last_;
};

Lines dumped(Socket& socket, std::uint16_t type, std::function<void()> const& wait) {
    socket.send(dumpRequest(type));
    Lines lines;
    while (lines.empty() || lines.back() != "DONE") {
        wait();
        for (auto const& line : receiveTexts(socket)) {
            lines.push_back(roundedUp(withoutState(line)));
        }
    }
    return lines;
}

class Comparison {
public:
    explicit Comparison(RealKernel& real) : real_(real) {
        networks_ = {fake_.ownNamespace(), fake_.makeNamespace("other")};
        for (std::size_t i = 0; i < networks_.size(); ++i) {
            fake_.settings(networks_[i]).linkLocal = false;
            sockets_.push_back(
                i == 0 ? fake_.openOwn(1U << 20, {})
                       : fake_.open({.name = "other", .id = networks_[i]}, 1U << 20, {}));
        }
    }

    FakeKernel& fake() { return fake_; }
    NamespaceId network(std::size_t i) const { return networks_[i]; }

    // False as soon as both have differed.
    bool perform(Operation const& operation) {
        fake_.askAs(real_.nextRequester(indexOf(operation.place.network)));
        int const expected = Fake::perform(fake_, operation);
        int const error = real_.perform(operation, [this](NamespaceId id) { return indexOf(id); });
        history_ += fmt::format("{}: {}\n", text(operation), expected);
        SCOPED_TRACE("after\n" + history_);
        EXPECT_EQ(error, expected);
        fake_.advanceTo(fake_.now() + 2 * Links::linkWatchDelay);
        for (std::size_t i = 0; i < networks_.size(); ++i) {
            SCOPED_TRACE("in namespace " + std::to_string(i));
            Lines const expectedNews = fakeNews_[i].of(receiveTexts(*sockets_[i].notifications));
            EXPECT_THAT(realNews(i, expectedNews.size()), testing::ElementsAreArray(expectedNews));
            for (std::uint16_t const type : {RTM_GETLINK, RTM_GETADDR}) {
                Socket& dumps = real_.dumps(i);
                EXPECT_THAT(
                    dumped(dumps, type, [&] { RealKernel::waitFor(dumps, 1000); }),
                    testing::ElementsAreArray(dumped(*sockets_[i].dumps, type, [] { return; })));
            }
        }
        return !testing::Test::HasFailure();
    }

private:
    // A part of them comes from work that the kernel has put off.
    static constexpr int patience = 500;  // ms
    static constexpr int quiet = 3;

    std::size_t indexOf(NamespaceId id) const { return id == networks_[0] ? 0 : 1; }

    Lines realNews(std::size_t network, std::size_t expected) {
        Socket& socket = real_.notifications(network);
        Lines news;
        do {
            for (auto const& line : realNews_[network].of(receiveTexts(socket))) {
                news.push_back(line);
            }
        } while (RealKernel::waitFor(socket, news.size() < expected ? patience : quiet));
        return news;
    }

    RealKernel& real_;
    FakeKernel fake_;
    std::vector<NamespaceId> networks_;
    std::vector<NamespaceSockets> sockets_;
    std::array<News, 2> fakeNews_;
    std::array<News, 2> realNews_;
    std::string history_;
};

struct RealKernelTest : testing::Test {
    void SetUp() override {
        if (!TestNamespace()) {
            GTEST_SKIP() << "no network namespaces may be made";
        }
        real.emplace();
    }

    std::optional<RealKernel> real;
};

// What the real one has no links for is left out, and said.
OperationWeights comparable(RealKernel& real) {
    auto const weight = [&real](LinkKind kind, char const* name) -> std::uint32_t {
        if (real.has(kind)) {
            return 2;
        }
        std::cout << "skipped: this kernel has no links of kind " << name << std::endl;
        return 0;
    };
    return {.bridges = weight(LinkKind::bridge, "bridge"),
            .vrfs = weight(LinkKind::vrf, "vrf"),
            .dummies = weight(LinkKind::dummy, "dummy"),
            .duplicates = 0,
            .settings = 2,
            .namespaces = 0,
            .longestLifetime = 5000,
            .withoutDetection = true};
}

// Which one that is the kernel says, and ours takes those first that were used before.
bool needsAnotherIndex(FakeKernel const& kernel, Operation const& operation) {
    return operation.kind == Operation::Kind::moveLink &&
           kernel.links(operation.otherPlace.network).contains(operation.place.ifIndex);
}

TEST_F(RealKernelTest, RandomHistoriesAreToldAndDumpedAlike) {
    auto const setting = [](char const* name, unsigned long usual) {
        char const* const text = std::getenv(name);
        return text == nullptr ? usual : std::stoul(text);
    };
    auto const first = setting("IPLIB_KERNEL_SEED", 1);
    auto const histories = setting("IPLIB_KERNEL_HISTORIES", 3);
    auto const weights = comparable(*real);
    for (auto seed = first; seed < first + histories; ++seed) {
        SCOPED_TRACE("IPLIB_KERNEL_SEED=" + std::to_string(seed));
        real.emplace();
        Comparison comparison(*real);
        RandomOperations operations(seed, weights);
        for (int i = 0; i < 100; ++i) {
            Operation const next = operations.propose(comparison.fake());
            if (!needsAnotherIndex(comparison.fake(), next)) {
                ASSERT_TRUE(comparison.perform(next));
            }
        }
    }
}

}  // namespace
}  // namespace Netlink::Fake
