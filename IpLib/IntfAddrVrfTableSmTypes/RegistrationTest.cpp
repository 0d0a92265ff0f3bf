// What this module registers with the framework when it is loaded.
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "IpLib/IntfAddrVrfTableSmTypes/AllIntfAddrWithMask.h"
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

TEST(IntfAddrVrfTableSmTypes, RegisterTheirRecordsWithTheirAttributesInTheOrderOfTheirDeclaration) {
    EXPECT_THAT(attributesOf("IpLib::IntfAddrWithMaskKey"),
                ElementsAre(isAttribute("intfId", "Nimb::IntfId"),
                            isAttribute("addrWithMask", "Nimb::IpGenAddrWithMask"),
                            isAttribute("isV6LinkLocal", "bool")));
    EXPECT_THAT(attributesOf("IpLib::IntfAddrWithMask"),
                ElementsAre(isAttribute("key", "IpLib::IntfAddrWithMaskKey"),
                            isAttribute("deprecated", "bool")));
    EXPECT_THAT(attributesOf("IpLib::IntfAddrWithMaskByIntfId"),
                ElementsAre(isAttribute("intfId", "Nimb::IntfId"),
                            isAttribute("byIntfId", "Zin::HashSet2018")));
    EXPECT_THAT(attributesOf("IpLib::AllIntfAddrWithMask"),
                ElementsAre(isAttribute("all", "Zin::HashMap2018"),
                            isAttribute("byIntfId", "Zin::HashMap2018")));
}

}  // namespace
}  // namespace IpLib
