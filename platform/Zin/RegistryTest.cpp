#include "Zin/Registry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "Zin/Errors.h"
#include "Zin/Module.h"
#include "Zin/Ptr.h"
#include "Zin/TestProbe.h"

namespace Zin {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// The names of those records that the tests themselves register.
template <class Record>
std::vector<std::string> ownNames(std::vector<Record const*> const& records) {
    std::vector<std::string> names;
    for (auto const* const record : records) {
        if (record->name.starts_with("Birds")) {
            names.push_back(record->name);
        }
    }
    return names;
}
std::vector<std::string> typeNames() { return ownNames(registeredTypes()); }
std::vector<std::string> moduleNames() { return ownNames(registeredModules()); }

TEST(Registry, ListsTypesByNameForAsLongAsTheirModuleIsRegistered) {
    EXPECT_THAT(typeNames(), IsEmpty());

    ModuleRegistration const wading({.name = "Wading", .types = {{"Birds::Heron", {}}}});
    auto dancing = std::make_unique<ModuleRegistration>(
        ModuleRecord{.name = "Dancing", .types = {{"Birds::Crane", {}}, {"Birds::Bustard", {}}}});
    EXPECT_THAT(typeNames(), ElementsAre("Birds::Bustard", "Birds::Crane", "Birds::Heron"));

    dancing.reset();
    EXPECT_THAT(typeNames(), ElementsAre("Birds::Heron"));
    EXPECT_EQ(registeredType("Birds::Crane"), nullptr);
}

TEST(Registry, FindsATypeAndItsAttributesByName) {
    ModuleRegistration const birds(
        {.name = "Birds", .types = {{"Birds::Heron", {{"nest", "Birds::Nest"}, {"age", "U32"}}}}});

    TypeRecord const* const type = registeredType("Birds::Heron");
    ASSERT_NE(type, nullptr);
    EXPECT_EQ(type->name, "Birds::Heron");
    ASSERT_NE(type->attribute("age"), nullptr);
    EXPECT_EQ(type->attribute("age")->type, "U32");
    EXPECT_EQ(type->attribute("age")->handleAgain, nullptr);
    EXPECT_EQ(type->attribute("age")->check, nullptr);
    EXPECT_EQ(type->attribute("colour"), nullptr);
    EXPECT_EQ(registeredType("Heron"), nullptr);
}

TEST(Registry, LetsAnAttributeBeHandledAnewByItsName) {
    ModuleRegistration const tests(
        {.name = "Tests", .types = {{"Zin::TestProbe", {{"self", "Bool", [](Entity& entity) {
                                                             entity.retire();
                                                         }}}}}});
    TestLife life;
    Ptr<TestProbe> const probe = make<TestProbe>(life);

    registeredType("Zin::TestProbe")->attribute("self")->handleAgain(*probe);

    EXPECT_EQ(life.tornDown, 1);
}

TEST(Registry, LetsAnAttributeBeCheckedByItsName) {
    ModuleRegistration const numbers(
        {.name = "Numbers",
         .types = {{"Even", {{.name = "value", .type = "int", .check = [](void const* owner) {
                                  if (*static_cast<int const*>(owner) % 2) {
                                      throw RangeError("odd");
                                  }
                              }}}}}});
    auto const* const attribute = registeredType("Even")->attribute("value");
    int const even = 2;
    int const odd = 3;

    EXPECT_NO_THROW(attribute->check(&even));
    EXPECT_THROW(attribute->check(&odd), RangeError);
}

TEST(Registry, ListsModulesByNameWithWhatTheyBuildOn) {
    EXPECT_THAT(moduleNames(), IsEmpty());
    {
        ModuleRegistration const base({.name = "Birds"});
        ModuleRegistration const top({.name = "BirdsOfPrey", .dependsOn = {&base, &module}});
        ModuleRegistration const other({.name = "Birdsong"});
        EXPECT_THAT(moduleNames(), ElementsAre("Birds", "BirdsOfPrey", "Birdsong"));
        EXPECT_THAT(top.record().dependsOn, ElementsAre(&base, &module));
        EXPECT_EQ(base.record().name, "Birds");
    }
    EXPECT_THAT(moduleNames(), IsEmpty());
}

TEST(Registry, ListsEachOfTwoRegistrationsOfOneName) {
    ModuleRegistration const first({.name = "Birds"});
    {
        ModuleRegistration const second({.name = "Birds"});
        EXPECT_THAT(moduleNames(), ElementsAre("Birds", "Birds"));
    }
    EXPECT_THAT(moduleNames(), ElementsAre("Birds"));
}

}  // namespace
}  // namespace Zin
