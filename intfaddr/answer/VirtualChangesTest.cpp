#include "intfaddr/answer/VirtualChanges.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include "Zin/Format.h"
#include "intfaddr/answer/TestAnswers.h"

namespace IntfAddr {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

struct VirtualChangesTest : AnswersTest {
    VirtualChangesTest() { changes.addTo(routes); }

    std::string changed(char const* method, Parameters const& query, uid_t uid = 0) {
        Request request;
        request.method = method;
        request.target = {.segments = {"v1", "virtual"}, .query = query};
        request.peer = Peer{.uid = uid};
        Reply const reply = routes.reply(request);
        return fmt::format("{} {}", reply.status, drained(*reply.body));
    }

    VirtualAddresses addresses_{[this](auto const& operations) { agent.apply(operations); },
                                [](std::string const&) {}};
    VirtualChanges changes{agent.router(), rights, addresses_};
};

TEST_F(VirtualChangesTest, AVirtualAddressComesAndGoes) {
    runTo(1.0);
    for (char const* const addr : {"10.0.0.9", "2001:db8::9"}) {
        Parameters const query{{"address", addr}};
        EXPECT_EQ(changed("DELETE", query), "200 {\"changed\":false}\n");
        EXPECT_EQ(changed("PUT", query), "200 {\"changed\":true}\n");
        EXPECT_EQ(changed("PUT", query), "200 {\"changed\":false}\n");
        EXPECT_THAT(addresses(query), Contains(HasSubstr("- table PREFERRED")));
        EXPECT_EQ(changed("DELETE", {{"address", addr}, {"vrf", "default"}}),
                  "200 {\"changed\":true}\n");
        EXPECT_THAT(addresses(query), IsEmpty());
    }
}

TEST_F(VirtualChangesTest, WhatIsConfiguredIsThereAlreadyAndDoesNotGo) {
    runTo(1.0);
    addresses_.configuredAre({{"default", Nimb::IpGenAddr("10.0.0.9")}});
    Parameters const query{{"address", "10.0.0.9"}};
    EXPECT_EQ(changed("PUT", query), "200 {\"changed\":false}\n");
    EXPECT_THAT(changed("DELETE", query),
                HasSubstr("409 {\"error\":\"10.0.0.9 of VRF 'default' is configured: "));
    EXPECT_THAT(addresses(query), Contains(HasSubstr("- table PREFERRED")));
}

TEST_F(VirtualChangesTest, WhatIsOfAVrfThatHasGoneCanGo) {
    runTo(1.0);
    addresses_.add({"none", Nimb::IpGenAddr("10.0.0.9")});
    Parameters const query{{"address", "10.0.0.9"}, {"vrf", "none"}};
    EXPECT_EQ(changed("PUT", query), "200 {\"changed\":false}\n");
    EXPECT_EQ(changed("DELETE", query), "200 {\"changed\":true}\n");
    EXPECT_THAT(changed("DELETE", query), HasSubstr("404 "));
}

TEST_F(VirtualChangesTest, WhoHasNoRightToChangesNothing) {
    runTo(1.0);
    EXPECT_THAT(changed("PUT", {{"address", "10.0.0.9"}}, ::geteuid() + 1), HasSubstr("403 "));
    EXPECT_THAT(addresses(), Not(Contains(HasSubstr("10.0.0.9"))));
}

TEST_F(VirtualChangesTest, WhatMakesNoSenseIsRefused) {
    runTo(1.0);
    EXPECT_THAT(changed("PUT", {}), HasSubstr("400 {\"error\":\"'address' is missing\"}"));
    EXPECT_THAT(changed("PUT", {{"address", "x"}}), HasSubstr("400 "));
    EXPECT_THAT(changed("PUT", {{"address", "::1"}, {"family", "6"}}), HasSubstr("'family'"));
    EXPECT_THAT(changed("PUT", {{"address", "::1"}, {"vrf", "none"}}),
                HasSubstr("404 {\"error\":\"there is no VRF 'none'\"}"));
    EXPECT_THAT(changed("GET", {{"address", "::1"}}), HasSubstr("405 "));
}

}  // namespace
}  // namespace IntfAddr
