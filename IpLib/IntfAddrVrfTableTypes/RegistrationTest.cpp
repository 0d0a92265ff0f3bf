// What this module registers with the framework when it is loaded.
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "IpLib/IntfAddrVrfTableTypes/IntfAddrVrfTable.h"
#include "Zin/Registry.h"

namespace IpLib {
namespace {

using ::testing::ElementsAre;
using ::testing::Field;
using ::testing::NotNull;

auto isAttribute(char const* name, char const* type) {
    return ::testing::AllOf(Field(&Zin::AttributeRecord::name, name),
                            Field(&Zin::AttributeRecord::type, type));
}

std::vector<Zin::AttributeRecord> attributesOf(char const* type) {
    auto const* const record = Zin::registeredType(type);
    EXPECT_THAT(record, NotNull()) << type;
    return record ? record->attributes : std::vector<Zin::AttributeRecord>();
}

TEST(IntfAddrVrfTableTypes, RegisterTheirModuleOnce) {
    std::vector<Zin::ModuleRecord> found;
    for (auto const* const module : Zin::registeredModules()) {
        if (module->name == "IpLib::IntfAddrVrfTableTypes") {
            found.push_back(*module);
        }
    }

    ASSERT_EQ(found.size(), 1U);
    EXPECT_THAT(found.front().dependsOn, ElementsAre("Ip", "Ip6", "Nimb", "Velk", "Zin"));
}

TEST(IntfAddrVrfTableTypes, RegisterEachTypeWithItsAttributesInTheOrderOfTheirDeclaration) {
    EXPECT_THAT(
        attributesOf("IpLib::IntfAddrEntryKey"),
        ElementsAre(isAttribute("intfId", "Nimb::IntfId"), isAttribute("addr", "Nimb::IpGenAddr"),
                    isAttribute("virtualIp", "bool")));
    EXPECT_THAT(attributesOf("IpLib::IntfAddrEntryContent"),
                ElementsAre(isAttribute("key", "IpLib::IntfAddrEntryKey"),
                            isAttribute("intfId", "Nimb::IntfId"),
                            isAttribute("subnet", "Nimb::IpGenPrefix")));
    EXPECT_THAT(attributesOf("IpLib::IntfAddrEntry"),
                ElementsAre(isAttribute("key", "IpLib::IntfAddrEntryKey"),
                            isAttribute("intfId", "Nimb::IntfId"),
                            isAttribute("subnet", "Nimb::IpGenPrefix")));
    EXPECT_THAT(attributesOf("IpLib::IntfAddrEntrySet"),
                ElementsAre(isAttribute("intfId", "Nimb::IntfId"),
                            isAttribute("subnet", "Nimb::IpGenPrefix"),
                            isAttribute("intfAddrEntry", "Zin::RbTreeMap"),
                            isAttribute("deprecatedIntfAddrEntry", "Zin::RbTreeMap")));
    EXPECT_THAT(attributesOf("IpLib::IntfAddrVrfTable"),
                ElementsAre(isAttribute("vrfIpIntfStatus", "Ip::VrfIpIntfStatus"),
                            isAttribute("vrfIp6IntfStatus", "Ip6::VrfIp6IntfStatus"),
                            isAttribute("intfAddrEntry", "Zin::HashMap2018"),
                            isAttribute("intfAddrEntryFromAddr", "Zin::HashMap2018"),
                            isAttribute("intfAddrEntrySetFromSubnet", "Zin::HashMap2018"),
                            isAttribute("llIntfAddrEntryFromIntfId", "Zin::HashMap2018")));
}

}  // namespace
}  // namespace IpLib
