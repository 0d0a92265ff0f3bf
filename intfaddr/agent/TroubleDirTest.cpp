#include "intfaddr/agent/TroubleDir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "Zin/Format.h"
#include "feeds/scenario/TestReplay.h"
#include "intfaddr/agent/TestFolder.h"
#include "router/repair/TestSupervisor.h"

namespace IntfAddr {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::SizeIs;

// A router whose troubles are written down.
struct Troubled : Routing::TestSupervisor::Fixture {
    explicit Troubled(std::string const& directory)
        : troubles(directory, {}, [this](std::string const& text) { log.push_back(text); }) {
        onRepair = [this] { troubles.handleRepair(supervisor.lastRepairs().back(), {}, {}); };
    }

    // A row stays while the interface goes, since no manager runs then.
    void loseInterface() {
        apply(router.managerStop());
        apply(inputs().ipIntfDel("red", "eth0"));
        apply(router.managerStart());
    }

    std::vector<std::string> log;
    TroubleDir troubles;
};

// What a replay with --heal says of repairs.
std::vector<std::string> healed(std::string const& scenario) {
    std::vector<std::string> lines;
    auto const run = Scenario::replayedText(scenario, {.heal = true});
    EXPECT_EQ(run.error, "");
    for (auto const& line : run.printed) {
        if (line.find("\"healed\"") != std::string::npos) {
            lines.push_back(line);
        }
    }
    return lines;
}

TEST(TroubleDir, AFailedInvariantIsAScenarioThatShowsIt) {
    TestFolder const folder;
    Troubled troubled(folder.path);
    troubled.vrf("red");
    troubled.clock->nowIs(12.5);
    troubled.fail("red");
    EXPECT_THAT(troubled.log, IsEmpty());

    std::string const scenario = contentOf(folder / "trouble-0000000001-red.jsonl");
    EXPECT_THAT(
        scenario.substr(0, scenario.find('\n')),
        MatchesRegex("# VRF red was rebuilt 12.5 s after the start, on "
                     "[0-9]{4}-[0-9]{2}-[0-9]{2} at [0-9:]{8} UTC: ip 10.0.0.1 on eth9 has .*"));
    EXPECT_THAT(healed(scenario), ElementsAre(AllOf(HasSubstr(R"({"t":12.5,"healed":{"vrf":"red")"),
                                                    HasSubstr(Routing::TestSupervisor::conflict))));
}

TEST(TroubleDir, WhatAnAuditInSlicesFindsAReplayFindsToo) {
    for (double const began : {0.0, 0.3, 0.55, 0.95}) {
        TestFolder const folder;
        Troubled troubled(folder.path);
        troubled.vrf("red");
        troubled.clock->nowIs(began);
        troubled.loseInterface();
        while (troubled.repairs.empty()) {
            troubled.clock->nowIs(troubled.supervisor.nextAuditSlice());
            troubled.supervisor.auditSlice();
        }

        EXPECT_THAT(healed(contentOf(folder / "trouble-0000000001-red.jsonl")),
                    ElementsAre(HasSubstr(troubled.supervisor.lastRepairs().back().why)));
    }
}

// Repairs, of these VRFs each.
void repairs(std::string const& directory, std::vector<std::string> const& vrfs,
             std::vector<std::string>* log = nullptr) {
    Troubled troubled(directory);
    for (auto const& vrf : vrfs) {
        troubled.vrf(vrf);
        troubled.fail(vrf);
        troubled.apply(troubled.router.tableDel(vrf));
    }
    if (log) {
        *log = troubled.log;
    } else {
        EXPECT_THAT(troubled.log, IsEmpty());
    }
}

TEST(TroubleDir, AFileHasAHarmlessNameWhateverItsVrfIsCalled) {
    TestFolder const folder;
    repairs(folder.path, {"../b\n", std::string(147, 'x'), "default", "\xc3\xa4_.-Z9"});

    EXPECT_THAT(
        namesIn(folder.path),
        ElementsAre("trouble-0000000001-..%2Fb%0A.jsonl",
                    "trouble-0000000002-" + std::string(100, 'x') + ".jsonl",
                    "trouble-0000000003-default.jsonl", "trouble-0000000004-%C3%A4_.-Z9.jsonl"));
}

TEST(TroubleDir, NumbersGoOnOverARestart) {
    TestFolder const folder;
    repairs(folder / "made", {"red", "blue"});
    repairs(folder / "made", {"amber"});

    EXPECT_THAT(namesIn(folder / "made"),
                ElementsAre("trouble-0000000001-red.jsonl", "trouble-0000000002-blue.jsonl",
                            "trouble-0000000003-amber.jsonl"));
}

TEST(TroubleDir, TheOldestGoesWhenThereAreAHundredAndNothingElseDoes) {
    TestFolder const folder;
    std::set<std::string> const others{"trouble-notes.jsonl", "trouble-0000000001-red.txt",
                                       "trouble-000000001x-red.jsonl", "trouble-00000000011.jsonl",
                                       "a.jsonl"};
    for (auto const& name : others) {
        std::ofstream(folder / name) << "mine";
    }
    for (int n = 1; n <= 105; ++n) {
        std::ofstream(folder / fmt::format("trouble-{:010}-red.jsonl", n)) << "old";
    }
    repairs(folder.path, {"blue"});

    auto names = namesIn(folder.path);
    EXPECT_THAT(names, SizeIs(TroubleDir::kept + others.size()));
    for (auto const& name : others) {
        EXPECT_TRUE(names.contains(name)) << name;
    }
    EXPECT_TRUE(names.contains("trouble-0000000106-blue.jsonl"));
    EXPECT_TRUE(names.contains("trouble-0000000007-red.jsonl"));
    EXPECT_FALSE(names.contains("trouble-0000000006-red.jsonl"));
}

TEST(TroubleDir, WhatIsInTheWayOfAnUnfinishedFileIsNotWritten) {
    TestFolder const folder;
    std::ofstream(folder / "precious") << "precious";
    std::filesystem::create_directory(folder / "dir");
    std::filesystem::create_symlink(folder / "precious", folder / "dir/trouble.tmp");
    repairs(folder / "dir", {"red"});

    EXPECT_EQ(contentOf(folder / "precious"), "precious");
    EXPECT_THAT(namesIn(folder / "dir"), ElementsAre("trouble-0000000001-red.jsonl"));
}

TEST(TroubleDir, WhatFailsIsToldOnceAndLeavesNothing) {
    TestFolder const folder;
    std::vector<std::string> log;
    repairs(folder / "not/there", {"red", "blue"}, &log);
    EXPECT_THAT(log,
                ElementsAre(folder / "not/there" + ": cannot be made: No such file or directory"));

    // A limit of what a file may hold stands for a disk that is full.
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    rlimit little = before;
    little.rlim_cur = 1000;
    auto const handler = ::signal(SIGXFSZ, SIG_IGN);
    ::setrlimit(RLIMIT_FSIZE, &little);
    repairs(folder / "dir", {"red", "blue"}, &log);
    ::setrlimit(RLIMIT_FSIZE, &before);
    ::signal(SIGXFSZ, handler);
    EXPECT_THAT(log, ElementsAre(folder / "dir/trouble-0000000001-red.jsonl" +
                                 ": cannot be written: File too large"));
    EXPECT_THAT(namesIn(folder / "dir"), IsEmpty());
}

TEST(TroubleDir, OneThatCannotBeRemovedDoesNotKeepTheOthers) {
    TestFolder const folder;
    std::filesystem::create_directories(folder / "trouble-0000000001-red.jsonl");
    for (int n = 2; n <= 110; ++n) {
        std::ofstream(folder / fmt::format("trouble-{:010}-red.jsonl", n)) << "old";
    }
    std::vector<std::string> log;
    repairs(folder.path, {"blue", "amber"}, &log);

    EXPECT_THAT(log, ElementsAre(folder / "trouble-0000000001-red.jsonl" +
                                 ": cannot be removed: Is a directory"));
    EXPECT_THAT(namesIn(folder.path), SizeIs(TroubleDir::kept + 1));
    EXPECT_THAT(namesIn(folder.path), Not(Contains("trouble-0000000012-red.jsonl")));
}

}  // namespace
}  // namespace IntfAddr
