// What this module registers with the framework when it is loaded.
#include <gmock/gmock.h>

#include <algorithm>
#include <string>
#include <vector>

#include "IpLib/IntfAddrVrfTableSmTypes/AllIntfAddrWithMask.h"
#include "IpLib/IntfAddrVrfTableSmTypes/DeferredIntfAddBacklog.h"
#include "IpLib/IntfAddrVrfTableSmTypes/IntfAddrVrfTableSmConfig.h"
#include "IpLib/IntfAddrVrfTableSmTypes/IntfCleanupBacklog.h"
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

TEST(IntfAddrVrfTableSmTypes, RegisterTheirModuleAndTheOneThatItBuildsOn) {
    std::vector<std::string> names;
    for (auto const* const module : Zin::registeredModules()) {
        names.push_back(module->name);
        if (module->name == "IpLib::IntfAddrVrfTableSmTypes") {
            EXPECT_THAT(module->dependsOn,
                        ElementsAre("IpLib::IntfAddrVrfTableTypes", "Nimb", "Velk", "Zin"));
        }
    }

    EXPECT_EQ(std::ranges::count(names, "IpLib::IntfAddrVrfTableSmTypes"), 1);
}

TEST(IntfAddrVrfTableSmTypes, RegisterEachTypeWithItsAttributesInTheOrderOfTheirDeclaration) {
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
    EXPECT_THAT(attributesOf("IpLib::IntfAddrVrfTableSmConfig"),
                ElementsAre(isAttribute("intfCleanupDelay", "Zin::Seconds"),
                            isAttribute("deferredIntfAddDelay", "Zin::Seconds"),
                            isAttribute("ignoreKernelInterfaceState", "bool"),
                            isAttribute("taskPriority", "Velk::TaskPriority")));
    EXPECT_THAT(attributesOf("IpLib::IntfAddrVrfTableImpl::IntfCleanupKey"),
                ElementsAre(isAttribute("intfId", "Nimb::IntfId"),
                            isAttribute("af", "Nimb::AddressFamily")));
    EXPECT_THAT(
        attributesOf("IpLib::IntfAddrVrfTableImpl::IntfCleanupEntry"),
        ElementsAre(isAttribute("intfId", "Nimb::IntfId"), isAttribute("af", "Nimb::AddressFamily"),
                    isAttribute("emplacementTime", "Zin::Seconds"),
                    isAttribute("processed", "bool")));
    EXPECT_THAT(attributesOf("IpLib::IntfAddrVrfTableImpl::IntfCleanupBacklog"),
                ElementsAre(isAttribute("backlog", "Zin::HashMap2018"),
                            isAttribute("backlogQueue", "Zin::LinkQueue")));
    EXPECT_THAT(attributesOf("IpLib::IntfAddrVrfTableImpl::DeferredIntfAddBacklog"),
                ElementsAre(isAttribute("backlog", "Zin::HashSet2018")));
}

}  // namespace
}  // namespace IpLib
