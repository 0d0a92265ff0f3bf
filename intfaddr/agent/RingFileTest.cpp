#include "intfaddr/agent/RingFile.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <string>

#include "Tremlog/Record.h"
#include "Zin/Format.h"
#include "intfaddr/agent/TestFolder.h"

namespace IntfAddr {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::ThrowsMessage;

// Does `work` in a process whose ring is in the file, and which then dies.
template <class Work>
pid_t begin(std::string const& path, Work work) {
    pid_t const child = ::fork();
    if (child == 0) {
        try {
            Tremlog::clear();
            moveRingTo(path, "me");
            work();
        } catch (...) {
        }
        ::kill(::getpid(), SIGKILL);
    }
    return child;
}

template <class Work>
void die(std::string const& path, Work work) {
    ::waitpid(begin(path, work), nullptr, 0);
}

std::vector<std::string> messages(std::string const& path) {
    std::vector<std::string> texts;
    for (auto const& entry : readRing(path).entries) {
        texts.push_back(entry.message);
    }
    return texts;
}

TEST(RingFile, OutlivesItsProcess) {
    TestFolder folder;
    die(folder / "ring", [] { Tremlog::record<"{} of {}">("one", 2); });
    EXPECT_THAT(messages(folder / "ring"), ElementsAre("one of 2"));
    EXPECT_EQ(readRing(folder / "ring").identity, "me");
}

TEST(RingFile, IsForTheGroupWhateverTheMask) {
    TestFolder folder;
    auto const before = ::umask(0077);
    die(folder / "ring", [] {});
    ::umask(before);
    struct stat file {};
    EXPECT_EQ(::stat((folder / "ring").c_str(), &file), 0);
    EXPECT_EQ(file.st_mode & 0777U, 0640U);
}

TEST(RingFile, KeepsTheLastThree) {
    TestFolder folder;
    for (int i = 0; i < 5; ++i) {
        die(folder / "ring", [i] { Tremlog::record<"{}">(i); });
    }
    EXPECT_THAT(namesIn(folder.path), ElementsAre("ring", "ring.1", "ring.2"));
    EXPECT_THAT(messages(folder / "ring"), ElementsAre("4"));
    EXPECT_THAT(messages(folder / "ring.2"), ElementsAre("2"));
}

TEST(RingFile, IsReadWholeBesideItsWriter) {
    TestFolder folder;
    pid_t const writer = begin(folder / "ring", [] {
        for (std::uint64_t i = 0;; ++i) {
            Tremlog::record<"{} {} {} {}">(i, i, i, i);
        }
    });
    int whole = 0;
    for (int i = 0; i < 20 || whole == 0; ++i) {
        try {
            for (auto const& message : messages(folder / "ring")) {
                if (message != "<this record is not whole>") {
                    auto const number = message.substr(0, message.find(' '));
                    ASSERT_EQ(message, fmt::format("{0} {0} {0} {0}", number));
                    ++whole;
                }
            }
        } catch (RingFileError const&) {
            // Not made yet.
        }
    }
    ::kill(writer, SIGKILL);
    ::waitpid(writer, nullptr, 0);
}

TEST(RingFile, ThatIsNoneSaysWhy) {
    TestFolder folder;
    auto const reading = [&folder] { readRing(folder / "ring"); };
    auto const says = [&folder](char const* why) {
        return ThrowsMessage<RingFileError>(HasSubstr(folder / "ring" + ": " + why));
    };
    EXPECT_THAT(reading, says("cannot be opened"));
    std::ofstream(folder / "ring").flush();
    EXPECT_THAT(reading, says("is empty"));
    std::ofstream(folder / "ring") << "something";
    EXPECT_THAT(reading, says("is cut: it has 9 of"));
    std::ofstream(folder / "ring") << std::string(sizeof(Tremlog::Image), 'x');
    EXPECT_THAT(reading, says("is no trace ring"));
    std::filesystem::remove(folder / "ring");
    std::filesystem::create_directory(folder / "ring");
    EXPECT_THAT(reading, says("is no file"));
}

TEST(RingFile, ThatCannotBeMadeLeavesTheRingWhereItIs) {
    TestFolder folder;
    EXPECT_THAT([&] { moveRingTo(folder / "none/ring", "me"); },
                ThrowsMessage<RingFileError>(HasSubstr("none/ring: cannot be made")));
    Tremlog::clear();
    Tremlog::record<"still here">();
    EXPECT_THAT(Tremlog::messages(), ElementsAre("still here"));
}

}  // namespace
}  // namespace IntfAddr
