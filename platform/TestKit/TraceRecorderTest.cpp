#include "TestKit/TraceRecorder.h"

#include <gmock/gmock.h>

namespace TestKit {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

Pell::TraceHandle const heron{"Heron"};
Pell::TraceHandle const stork{"Stork"};

TEST(TraceRecorder, RecordsLevelClassFunctionAndMessage) {
    TraceRecorder const recorder("Heron");
    Pell::fmtrace(heron, 8, "wade", "on {} legs", 2);
    Pell::fmtrace(heron, 9, "stand", "");
    EXPECT_THAT(recorder.messages(), ElementsAre("8 Heron::wade on 2 legs", "9 Heron::stand"));
}

TEST(TraceRecorder, RecordsTheGivenClassUpToTheGivenLevel) {
    TraceRecorder const recorder("Heron", 8);
    Pell::fmtrace(heron, 9, "wade", "deep");
    Pell::fmtrace(stork, 3, "wade", "near");
    Pell::fmtrace(heron, 8, "wade", "far");
    EXPECT_THAT(recorder.messages(), ElementsAre("8 Heron::wade far"));
}

TEST(TraceRecorder, RecordsEveryClassUnlessOneIsNamed) {
    TraceRecorder recorder;
    Pell::fmtrace(heron, 9, "wade", "deep");
    Pell::fmtrace(stork, 3, "wade", "near");
    EXPECT_THAT(recorder.messages(), ElementsAre("9 Heron::wade deep", "3 Stork::wade near"));
    recorder.clear();
    EXPECT_THAT(recorder.messages(), IsEmpty());
}

TEST(TraceRecorder, PutsBackTheSinkAndTheLevelThatItFound) {
    TraceRecorder const outer("Heron", 3);
    {
        TraceRecorder const inner("Heron", 9);
        Pell::fmtrace(heron, 8, "wade", "in");
        EXPECT_THAT(inner.messages(), ElementsAre("8 Heron::wade in"));
    }
    Pell::fmtrace(heron, 8, "wade", "out");
    Pell::fmtrace(heron, 3, "wade", "out");
    EXPECT_THAT(outer.messages(), ElementsAre("3 Heron::wade out"));
}

TEST(TraceRecorder, OfEveryClassGivesBackTheLevelsOfSingleClasses) {
    TraceRecorder const outer("Heron", 8);
    { TraceRecorder const inner; }
    Pell::fmtrace(heron, 9, "wade", "out");
    Pell::fmtrace(heron, 8, "wade", "out");
    Pell::fmtrace(stork, 3, "wade", "out");
    EXPECT_THAT(outer.messages(), ElementsAre("8 Heron::wade out"));
}

TEST(TraceRecorder, LeavesTracesOffWhereTheyWereOff) {
    { TraceRecorder const recorder; }
    EXPECT_FALSE(heron.enabled(1));
    EXPECT_EQ(Pell::sinkIs(nullptr), nullptr);
}

}  // namespace
}  // namespace TestKit
