#include "intfaddr/http/Server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <deque>

#include "intfaddr/http/TestTalk.h"

namespace IntfAddr {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

TEST(Server, TellsClientsThatAreTooMany) {
    Served served;
    std::deque<Talk> clients;
    for (int number = 0; number < 64; ++number) {
        clients.push_back(served.client());
        clients.back().get("/a");
    }
    for (auto& client : clients) {
        ASSERT_TRUE(client.hears("/a"));
    }
    auto another = served.client();
    ASSERT_TRUE(another.isLetGo());
    EXPECT_THAT(another.heard(), StartsWith("HTTP/1.1 503 "));
    EXPECT_THAT(another.heard(), HasSubstr(R"({"error":"64 clients are connected already"})"));

    clients.pop_front();
    EXPECT_TRUE(served.eventually([&] {
        auto next = served.client();
        next.get("/next");
        next.hears("\r\n\r\n");
        return next.heard().starts_with("HTTP/1.1 200");
    }));
}

// No descriptor is left to this process while it is there.
class Shortage {
public:
    Shortage() {
        ::getrlimit(RLIMIT_NOFILE, &before_);
        Netlink::Descriptor const next(::dup(STDERR_FILENO));
        rlimit const none{.rlim_cur = static_cast<rlim_t>(next.number()),
                          .rlim_max = before_.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &none);
    }
    ~Shortage() { ::setrlimit(RLIMIT_NOFILE, &before_); }
    Shortage(Shortage const&) = delete;
    Shortage& operator=(Shortage const&) = delete;

private:
    rlimit before_{};
};

TEST(Server, WaitsForDescriptorsWhereNoneIsLeft) {
    Served served;
    auto client = served.client();
    ASSERT_TRUE((client.get("/a"), client.hears("/a")));
    auto another = served.client();
    another.get("/another");
    {
        Shortage const shortage;
        ASSERT_TRUE(served.eventually([&] { return !served.notices.empty(); }));
        int turns = 0;
        for (Zin::Seconds const end = served.loop.now() + 0.35; served.loop.now() < end; ++turns) {
            served.loop.wait(end);
        }
        EXPECT_LE(turns, 10);
        client.get("/b");
        EXPECT_TRUE(client.hears("/b"));
        EXPECT_THAT(served.notices,
                    ElementsAre(served.path + ": no client can be accepted for now: "
                                              "Too many open files"));
    }
    EXPECT_TRUE(another.hears("/another"));
}

}  // namespace
}  // namespace IntfAddr
