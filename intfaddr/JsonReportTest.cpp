#include "intfaddr/JsonReport.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "intfaddr/TestReport.h"

namespace IntfAddr {
namespace {

// Compared as text once the blanks between tokens are gone, so the order of members counts.
std::string compact(std::string const& json) { return nlohmann::ordered_json::parse(json).dump(); }

TEST(JsonReport, SaysOfEveryAddressWhatItIs) {
    EXPECT_EQ(compact(toJson(everyKind())),
              R"({"vrfs":[{"name":"default","addresses":[)"
              R"({"address":"192.0.2.2","prefixLength":24,"family":"IPv4","interface":"eth0",)"
              R"("subnet":"192.0.2.0/24","flags":[]},)"
              R"({"address":"192.0.2.9","prefixLength":32,"family":"IPv4","interface":null,)"
              R"("subnet":null,"flags":["virtual"]},)"
              R"({"address":"2001:db8::1","prefixLength":64,"family":"IPv6","interface":"eth0",)"
              R"("subnet":"2001:db8::/64","flags":["deprecated"]},)"
              R"({"address":"fe80::1","prefixLength":64,"family":"IPv6","interface":"eth0",)"
              R"("subnet":"fe80::/64","flags":["link-local"]},)"
              R"({"address":"fe80::9","prefixLength":128,"family":"IPv6","interface":null,)"
              R"("subnet":null,"flags":["link-local","virtual"]}],)"
              R"("deferred":[)"
              R"({"address":"192.0.2.3","prefixLength":24,"family":"IPv4","interface":"eth1",)"
              R"("conflictsWith":"eth0"},)"
              R"({"address":"2001:db8::2","prefixLength":64,"family":"IPv6","interface":"eth1",)"
              R"("conflictsWith":null}],"notPublished":[]},)"
              R"({"name":"red","addresses":[],"deferred":[],"notPublished":[]}]})");
}

TEST(JsonReport, ARouterWithoutVrfsIsAnEmptyList) {
    EXPECT_EQ(compact(toJson({})), R"({"vrfs":[]})");
}

TEST(JsonReport, BytesThatAreNotUtf8AreReplaced) {
    auto const json =
        toJson({{.vrf = "r\xc3", .rows = {row("10.0.0.1/8", "e\xff")}, .deferred = {}}});
    auto const vrf = nlohmann::json::parse(json)["vrfs"][0];

    EXPECT_EQ(vrf["name"], "r\xef\xbf\xbd");
    EXPECT_EQ(vrf["addresses"][0]["interface"], "e\xef\xbf\xbd");
}

}  // namespace
}  // namespace IntfAddr
