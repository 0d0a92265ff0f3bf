#include "intfaddr/http/Server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <deque>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "intfaddr/http/TestTalk.h"

namespace IntfAddr {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace fs = std::filesystem;

std::string errorOf(ServerOptions const& options) {
    EventLoop loop;
    try {
        Server const server(
            loop, options, [](Request const&) { return Reply(); }, [](std::string const&) {});
        return "";
    } catch (std::runtime_error const& error) {
        return error.what();
    }
}

struct stat fileAt(std::string const& path) {
    struct stat file {};
    EXPECT_EQ(::lstat(path.c_str(), &file), 0);
    return file;
}

TEST(Server, ItsSocketIsThereForThoseWhoMay) {
    ServerOptions options;
    {
        Served const served;
        EXPECT_EQ(fileAt(served.path).st_mode, S_IFSOCK | 0660U);
    }
    options.mode = 0600;
    options.group = ::getgid();
    Served served(options);
    EXPECT_EQ(fileAt(served.path).st_mode, S_IFSOCK | 0600U);
    EXPECT_EQ(fileAt(served.path).st_gid, ::getgid());

    served.server.reset();
    EXPECT_THAT(namesIn(served.folder.path), IsEmpty());
}

TEST(Server, GivesItsSocketToAGroupOrIsNot) {
    TestFolder const folder;
    ServerOptions options;
    options.path = folder / "socket";
    options.group = ::getgid() + 1;
    if (::geteuid() == 0) {
        EventLoop loop;
        Server const server(
            loop, options, [](Request const&) { return Reply(); }, [](std::string const&) {});
        EXPECT_EQ(fileAt(options.path).st_gid, ::getgid() + 1);
    } else if (::getgroups(0, nullptr) <= 1) {
        EXPECT_EQ(errorOf(options),
                  options.path + ": cannot be opened to its clients: Operation not permitted");
        EXPECT_THAT(namesIn(folder.path), IsEmpty());
    }
}

TEST(Server, TakesThePlaceOfOneThatWasLeftBehind) {
    TestFolder const folder;
    SocketAddress const address(folder / "socket");
    Netlink::Descriptor left(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(::bind(left.number(), address.get(), address.size()), 0);
    left = Netlink::Descriptor();

    EXPECT_EQ(errorOf({.path = folder / "socket"}), "");
}

TEST(Server, LeavesAnythingElseAlone) {
    TestFolder const folder;
    std::ofstream(folder / "file") << "kept";
    fs::create_symlink(folder / "nothing", folder / "link");
    EXPECT_EQ(errorOf({.path = folder / "file"}),
              folder / "file" + ": is there already, and is no socket");
    EXPECT_THAT(errorOf({.path = folder / "link"}), HasSubstr("no socket"));

    EXPECT_EQ(contentOf(folder / "file"), "kept");
    EXPECT_THAT(namesIn(folder.path), ElementsAre("file", "link"));
}

TEST(Server, SaysWhereItsSocketCannotBe) {
    TestFolder const folder;
    EXPECT_EQ(errorOf({.path = folder / "no/socket"}),
              folder / "no/socket" + ": cannot be made: No such file or directory");
    EXPECT_THAT(errorOf({.path = folder / std::string(200, 'x')}), HasSubstr("1 to 107 bytes"));
}

TEST(Server, LeavesASocketThatIsNotItsOwnAnyMore) {
    TestFolder const folder;
    EventLoop loop;
    auto const make = [&] {
        return std::make_unique<Server>(
            loop, ServerOptions{.path = folder / "socket"}, [](Request const&) { return Reply(); },
            [](std::string const&) {});
    };
    auto first = make();
    auto const second = make();
    first.reset();

    EXPECT_THAT(namesIn(folder.path), ElementsAre("socket"));
}

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
