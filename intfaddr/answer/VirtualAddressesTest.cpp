#include "intfaddr/answer/VirtualAddresses.h"

#include <gmock/gmock.h>

#include "intfaddr/agent/TestFolder.h"
#include "intfaddr/answer/TestAnswers.h"

namespace IntfAddr {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

// Whoever publishes what is there already, or withdraws what is not, is told of.
struct VirtualAddressesTest : AnswersTest {
    void publish(std::vector<Routing::Operation> const& operations) {
        for (auto const& operation : operations) {
            EXPECT_FALSE(agent.router().inputs().isSet(operation));
        }
        agent.apply(operations);
    }
    std::set<std::string> published() {
        std::set<std::string> all;
        for (char const* const addr : {"10.0.0.1", "10.0.0.2", "2001:db8::3"}) {
            if (agent.router().published("default").hasVirtual(Nimb::IpGenAddr(addr))) {
                all.insert(addr);
            }
        }
        return all;
    }
    VirtualAddressSet kept() const {
        return KeptAddresses(file, [](std::string const&) {}).get();
    }

    TestFolder const folder;
    std::string const file = folder / "kept";
    std::vector<std::string> notices;
    VirtualAddresses wanted{[this](auto const& operations) { publish(operations); },
                            [this](std::string const& line) { notices.push_back(line); }};
    VirtualAddress const one{"default", Nimb::IpGenAddr("10.0.0.1")};
    VirtualAddress const two{"default", Nimb::IpGenAddr("10.0.0.2")};
    VirtualAddress const three{"default", Nimb::IpGenAddr("2001:db8::3")};
};

TEST_F(VirtualAddressesTest, TheConfigurationBringsAndTakes) {
    wanted.configuredAre({one, two});
    EXPECT_THAT(published(), ElementsAre("10.0.0.1", "10.0.0.2"));
    wanted.configuredAre({two, three});
    EXPECT_THAT(published(), ElementsAre("10.0.0.2", "2001:db8::3"));
    EXPECT_TRUE(wanted.isConfigured(three));
    EXPECT_FALSE(wanted.has(one));
    wanted.configuredAre({});
    EXPECT_THAT(published(), IsEmpty());
}

TEST_F(VirtualAddressesTest, WhatIsAddedStaysWhateverIsConfigured) {
    wanted.add(one);
    wanted.configuredAre({two});
    wanted.configuredAre({});
    EXPECT_THAT(published(), ElementsAre("10.0.0.1"));
    wanted.del(one);
    EXPECT_THAT(published(), IsEmpty());
}

TEST_F(VirtualAddressesTest, WhatIsAddedAndThenConfiguredIsTheConfigurations) {
    wanted.keptAt(file);
    wanted.add(one);
    wanted.configuredAre({one});
    EXPECT_TRUE(wanted.isConfigured(one));
    EXPECT_THAT(kept(), IsEmpty());
    wanted.configuredAre({});
    EXPECT_THAT(published(), IsEmpty());
}

TEST_F(VirtualAddressesTest, WhatIsAddedIsKept) {
    wanted.keptAt(file);
    wanted.configuredAre({one});
    wanted.add(two);
    wanted.add(three);
    EXPECT_THAT(kept(), UnorderedElementsAre(two, three));
    wanted.del(two);
    EXPECT_THAT(kept(), ElementsAre(three));

    wanted.keptAt(std::nullopt);
    wanted.del(three);
    EXPECT_THAT(kept(), ElementsAre(three));
}

TEST_F(VirtualAddressesTest, WhatWasKeptComesBack) {
    KeptAddresses(file, nullptr).put({one, two, three});
    wanted.configuredAre({one});
    wanted.add(two);
    wanted.keptAt(file);
    EXPECT_THAT(published(), ElementsAre("10.0.0.1", "10.0.0.2", "2001:db8::3"));
    // It goes with the configuration, and does not come back from the file.
    EXPECT_THAT(kept(), ElementsAre(two, three));
    wanted.del(three);
    wanted.keptAt(file);
    EXPECT_THAT(published(), ElementsAre("10.0.0.1", "10.0.0.2"));
}

TEST_F(VirtualAddressesTest, WhatIsThereIsKeptFromThenOn) {
    wanted.add(one);
    wanted.keptAt(file);
    EXPECT_THAT(kept(), ElementsAre(one));
}

TEST_F(VirtualAddressesTest, WhatCannotBeKeptIsThereAllTheSame) {
    std::ofstream(file) << "";
    wanted.keptAt(file + "/below");
    wanted.add(one);
    EXPECT_THAT(published(), ElementsAre("10.0.0.1"));
    EXPECT_THAT(notices, testing::Not(IsEmpty()));
}

}  // namespace
}  // namespace IntfAddr
