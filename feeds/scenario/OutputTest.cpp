#include "feeds/scenario/Output.h"

#include <gtest/gtest.h>

#include <sstream>

namespace Scenario {
namespace {

struct Fixture {
    Zin::Ptr<Zin::VirtualClock> clock = Zin::make<Zin::VirtualClock>();
    std::ostringstream out;
    Output output{out, clock};
};

TEST(Output, EachLineHasTheTimeAndItsContent) {
    Fixture fixture;
    fixture.output.print("b", {{"z", 1}, {"a", "\n"}});
    fixture.clock->nowIs(1e16);
    fixture.output.print("a", OrderedJson::array());
    EXPECT_EQ(fixture.out.str(), R"({"t":0.0,"b":{"z":1,"a":"\n"}})"
                                 "\n"
                                 R"({"t":1e+16,"a":[]})"
                                 "\n");
}

TEST(Output, BytesThatAreNotUtf8AreReplaced) {
    Fixture fixture;
    fixture.output.print("a", "\xff");
    EXPECT_EQ(fixture.out.str(), "{\"t\":0.0,\"a\":\"\xef\xbf\xbd\"}\n");
}

TEST(Output, NothingIsPrintedOnceItIsClosed) {
    Fixture fixture;
    fixture.output.close();
    fixture.output.print("a", 1);
    EXPECT_EQ(fixture.out.str(), "");
}

}  // namespace
}  // namespace Scenario
