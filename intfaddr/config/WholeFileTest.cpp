#include "intfaddr/config/WholeFile.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <stdexcept>
#include <string>
#include <system_error>

#include "intfaddr/agent/TestFolder.h"

namespace IntfAddr {
namespace {

using testing::ElementsAre;

int failureOf(auto const& step) {
    try {
        step();
        return 0;
    } catch (std::system_error const& error) {
        return error.code().value();
    }
}

TEST(WholeFile, IsReplacedWhole) {
    TestFolder const folder;
    std::string const path = folder / "a/b/file";
    std::string const large(200'000, 'x');
    writeWhole(path, large);
    EXPECT_EQ(readWhole(path), large);
    writeWhole(path, "less");
    EXPECT_EQ(readWhole(path), "less");
    EXPECT_THAT(namesIn(folder / "a/b"), ElementsAre("file"));
}

TEST(WholeFile, SaysWhyItCannotBeReadOrWritten) {
    TestFolder const folder;
    EXPECT_EQ(failureOf([&] { readWhole(folder / "none"); }), ENOENT);
    EXPECT_EQ(failureOf([&] { readWhole(folder.path); }), EISDIR);
    writeWhole(folder / "file", "x");
    EXPECT_EQ(failureOf([&] { writeWhole(folder / "file/below", "y"); }), ENOTDIR);
}

std::string refusalOf(std::string const& path) {
    try {
        readWhole(path);
        return "";
    } catch (std::runtime_error const& error) {
        return error.what();
    }
}

TEST(WholeFile, WhatIsNoSmallFileIsNotRead) {
    TestFolder const folder;
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(refusalOf(folder / "pipe"), "is a pipe");
    EXPECT_EQ(refusalOf("/dev/zero"), "is longer than 67108864 bytes");
    EXPECT_EQ(readWhole("/dev/null"), "");
}

TEST(WholeFile, WhatWasLeftUnfinishedIsInNobodysWay) {
    TestFolder const folder;
    std::ofstream(folder / "file.tmp") << "a longer beginning";
    writeWhole(folder / "file", "whole");
    EXPECT_EQ(readWhole(folder / "file"), "whole");
}

}  // namespace
}  // namespace IntfAddr
