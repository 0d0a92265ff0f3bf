#include "intfaddr/http/UnixListener.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>

#include "intfaddr/agent/TestFolder.h"
#include "intfaddr/http/SocketAddress.h"

namespace IntfAddr {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace fs = std::filesystem;

std::string errorOf(UnixListener::Options const& options) {
    try {
        UnixListener const listener(options);
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

TEST(UnixListener, ItsSocketIsThereForThoseWhoMay) {
    TestFolder const folder;
    UnixListener::Options options{.path = folder / "socket"};
    {
        UnixListener const listener(options);
        EXPECT_EQ(listener.name(), options.path);
        EXPECT_EQ(fileAt(options.path).st_mode, S_IFSOCK | 0660U);
    }
    EXPECT_THAT(namesIn(folder.path), IsEmpty());
    options.mode = 0600;
    options.group = ::getgid();
    UnixListener const listener(options);
    EXPECT_EQ(fileAt(options.path).st_mode, S_IFSOCK | 0600U);
    EXPECT_EQ(fileAt(options.path).st_gid, ::getgid());
}

TEST(UnixListener, GivesItsSocketToAGroupOrIsNot) {
    TestFolder const folder;
    UnixListener::Options options;
    options.path = folder / "socket";
    options.group = ::getgid() + 1;
    if (::geteuid() == 0) {
        UnixListener const listener(options);
        EXPECT_EQ(fileAt(options.path).st_gid, ::getgid() + 1);
    } else if (::getgroups(0, nullptr) <= 1) {
        EXPECT_EQ(errorOf(options),
                  options.path + ": cannot be opened to its clients: Operation not permitted");
        EXPECT_THAT(namesIn(folder.path), IsEmpty());
    }
}

TEST(UnixListener, TakesThePlaceOfOneThatWasLeftBehind) {
    TestFolder const folder;
    SocketAddress const address(folder / "socket");
    Netlink::Descriptor left(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(::bind(left.number(), address.get(), address.size()), 0);
    left = Netlink::Descriptor();

    EXPECT_EQ(errorOf({.path = folder / "socket"}), "");
}

TEST(UnixListener, LeavesAnythingElseAlone) {
    TestFolder const folder;
    std::ofstream(folder / "file") << "kept";
    fs::create_symlink(folder / "nothing", folder / "link");
    EXPECT_EQ(errorOf({.path = folder / "file"}),
              folder / "file" + ": is there already, and is no socket");
    EXPECT_THAT(errorOf({.path = folder / "link"}), HasSubstr("no socket"));

    EXPECT_EQ(contentOf(folder / "file"), "kept");
    EXPECT_THAT(namesIn(folder.path), ElementsAre("file", "link"));
}

TEST(UnixListener, SaysWhereItsSocketCannotBe) {
    TestFolder const folder;
    EXPECT_EQ(errorOf({.path = folder / "no/socket"}),
              folder / "no/socket" + ": cannot be made: No such file or directory");
    EXPECT_THAT(errorOf({.path = folder / std::string(200, 'x')}), HasSubstr("1 to 107 bytes"));
}

TEST(UnixListener, LeavesASocketThatIsNotItsOwnAnyMore) {
    TestFolder const folder;
    UnixListener::Options const options{.path = folder / "socket"};
    auto first = std::make_unique<UnixListener>(options);
    UnixListener const second(options);
    first.reset();

    EXPECT_THAT(namesIn(folder.path), ElementsAre("socket"));
}

}  // namespace
}  // namespace IntfAddr
