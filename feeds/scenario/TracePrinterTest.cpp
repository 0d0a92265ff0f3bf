#include "feeds/scenario/TracePrinter.h"

#include <gmock/gmock.h>

#include <set>

#include "feeds/scenario/TestReplay.h"

namespace Scenario {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::set<std::pair<std::string, int>> classesAndLevels(Options const& options) {
    std::set<std::pair<std::string, int>> found;
    for (auto const& text :
         replayed(prepared({R"({"op":"ip6.addr.set","vrf":"red","intf":"eth0","addr":"1::1/64"})"}),
                  options)
             .printed) {
        auto const trace = Json::parse(text)["trace"];
        found.emplace(trace["class"].get<std::string>(), trace["level"].get<int>());
    }
    return found;
}

TEST(TracePrinter, PrintsTheTracesOfTheLevelAndLower) {
    EXPECT_EQ(replayed({R"({"op":"kernel.add","vrf":"red","intf":"e","at":1.5})",
                        R"({"op":"table.add","vrf":"red"})",
                        R"({"op":"kernel.del","vrf":"red","intf":"e","at":2.5})"},
                       {.traceLevel = 3})
                  .printed,
              Lines{R"({"t":2.5,"trace":{"level":3,"class":"IntfAddrVrfTableSm",)"
                    R"("function":"handleKernelIntf",)"
                    R"("message":"kernel interface for e isPresent false"}})"});
    for (auto const& [name, level] : classesAndLevels({.traceLevel = 8})) {
        EXPECT_LE(level, 8);
    }
    EXPECT_TRUE(classesAndLevels({.traceLevel = 8}).contains({"Ip6IntfStatusSm", 8}));
    EXPECT_TRUE(classesAndLevels({.traceLevel = 9}).contains({"IntfAddrVrfTableSm", 9}));
    EXPECT_THAT(classesAndLevels({.traceLevel = 0}), IsEmpty());
}

TEST(TracePrinter, PrintsThoseOfTheClassesThatAreNamed) {
    EXPECT_THAT(
        classesAndLevels(
            {.traceLevel = 8, .traceClasses = {"Ip6IntfStatusSm", "AllIntfAddrVrfTableSm"}}),
        ElementsAre(std::pair("AllIntfAddrVrfTableSm", 8), std::pair("Ip6IntfStatusSm", 8)));
}

TEST(TracePrinter, TheStartOfTheManagerIsTraced) {
    auto const run = replayed({}, {.traceLevel = 8});
    ASSERT_EQ(run.printed.size(), 2U);
    EXPECT_EQ(run.printed[0], R"({"t":0.0,"trace":{"level":8,"class":"AllIntfAddrVrfTableSm",)"
                              R"("function":"handleInitialized","message":"0 tables"}})");
}

}  // namespace
}  // namespace Scenario
