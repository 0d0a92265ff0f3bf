// What this module registers with the framework when it is loaded.
#include <gmock/gmock.h>

#include <string>
#include <string_view>
#include <vector>

#include "IpLib/IntfAddrVrfTableSmTypes/AllIntfAddrWithMask.h"
#include "Zin/Errors.h"
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

TEST(IntfAddrVrfTableSmTypes, RegisterTheCheckOfWhatMayBeDeprecated) {
    auto const attributes = attributesOf("IpLib::IntfAddrWithMask");
    ASSERT_EQ(attributes.size(), 2U);
    EXPECT_EQ(attributes[0].check, nullptr);
    auto* const check = attributes[1].check;
    ASSERT_THAT(check, NotNull());

    auto const addr = [](std::string_view text) { return Nimb::IpGenAddrWithMask(text); };
    IntfAddrWithMask record({"Ethernet1", addr("2001:db8::1/64")}, true);
    EXPECT_NO_THROW(check(&record));
    // Something that no record is built as.
    const_cast<IntfAddrWithMaskKey&>(record.key()).addrWithMask = addr("fe80::1/64");
    EXPECT_THROW(check(&record), Zin::RangeError);
}

}  // namespace
}  // namespace IpLib
