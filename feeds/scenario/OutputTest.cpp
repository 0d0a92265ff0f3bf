#include "feeds/scenario/Output.h"

#include <gtest/gtest.h>

#include <sstream>

namespace Scenario {
namespace {

struct Bench {
    Zin::Ptr<Zin::VirtualClock> clock = Zin::make<Zin::VirtualClock>();
    std::ostringstream out;
    Output output{out, clock};
};

TEST(Output, EachLineHasTheTimeAndItsContent) {
    Bench bench;
    bench.output.print("b", {{"z", 1}, {"a", "\n"}});
    bench.clock->nowIs(1e16);
    bench.output.print("a", OrderedJson::array());
    EXPECT_EQ(bench.out.str(), R"({"t":0.0,"b":{"z":1,"a":"\n"}})"
                               "\n"
                               R"({"t":1e+16,"a":[]})"
                               "\n");
}

TEST(Output, BytesThatAreNotUtf8AreReplaced) {
    Bench bench;
    bench.output.print("a", "\xff");
    EXPECT_EQ(bench.out.str(), "{\"t\":0.0,\"a\":\"\xef\xbf\xbd\"}\n");
}

TEST(Output, NothingIsPrintedOnceItIsClosed) {
    Bench bench;
    bench.output.close();
    bench.output.print("a", 1);
    EXPECT_EQ(bench.out.str(), "");
}

}  // namespace
}  // namespace Scenario
