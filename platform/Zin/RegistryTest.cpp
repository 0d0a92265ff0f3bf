#include "Zin/Registry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

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

TEST(Registry, ListsTypesByNameForAsLongAsTheyAreRegistered) {
    EXPECT_THAT(typeNames(), IsEmpty());

    TypeRegistration const heron(TypeRecord{"Birds::Heron", {}});
    auto crane = std::make_unique<TypeRegistration>(TypeRecord{"Birds::Crane", {}});
    EXPECT_THAT(typeNames(), ElementsAre("Birds::Crane", "Birds::Heron"));

    crane.reset();
    EXPECT_THAT(typeNames(), ElementsAre("Birds::Heron"));
    EXPECT_EQ(registeredType("Birds::Crane"), nullptr);
}

TEST(Registry, FindsATypeAndItsAttributesByName) {
    TypeRegistration const heron(
        TypeRecord{"Birds::Heron", {{"nest", "Birds::Nest"}, {"age", "U32"}}});

    TypeRecord const* const type = registeredType("Birds::Heron");
    ASSERT_NE(type, nullptr);
    EXPECT_EQ(type->name, "Birds::Heron");
    ASSERT_NE(type->attribute("age"), nullptr);
    EXPECT_EQ(type->attribute("age")->type, "U32");
    EXPECT_EQ(type->attribute("age")->handleAll, nullptr);
    EXPECT_EQ(type->attribute("colour"), nullptr);
    EXPECT_EQ(registeredType("Heron"), nullptr);
}

TEST(Registry, LetsAnAttributeBeHandledAnewByItsName) {
    TypeRegistration const registration(
        TypeRecord{"Zin::TestProbe", {{"self", "Bool", [](Entity& entity) { entity.retire(); }}}});
    TestLife life;
    Ptr<TestProbe> const probe = make<TestProbe>(life);

    registeredType("Zin::TestProbe")->attribute("self")->handleAll(*probe);

    EXPECT_EQ(life.tornDown, 1);
}

TEST(Registry, ListsModulesByNameWithWhatTheyBuildOn) {
    EXPECT_THAT(moduleNames(), IsEmpty());
    {
        ModuleRegistration const top(ModuleRecord{"BirdsOfPrey", {"Birds", "Zin"}});
        ModuleRegistration const base(ModuleRecord{"Birds", {}});
        EXPECT_THAT(moduleNames(), ElementsAre("Birds", "BirdsOfPrey"));

        auto const modules = registeredModules();
        EXPECT_TRUE(std::ranges::is_sorted(modules, {}, &ModuleRecord::name));
        auto const found = std::ranges::find(modules, "BirdsOfPrey", &ModuleRecord::name);
        EXPECT_THAT((*found)->dependsOn, ElementsAre("Birds", "Zin"));
    }
    EXPECT_THAT(moduleNames(), IsEmpty());
}

TEST(Registry, ListsEachOfTwoRegistrationsOfOneName) {
    ModuleRegistration const first(ModuleRecord{"Birds", {"A"}});
    {
        ModuleRegistration const second(ModuleRecord{"Birds", {"B"}});
        EXPECT_THAT(moduleNames(), ElementsAre("Birds", "Birds"));
    }
    EXPECT_THAT(moduleNames(), ElementsAre("Birds"));
    auto const modules = registeredModules();
    auto const left = std::ranges::find(modules, "Birds", &ModuleRecord::name);
    EXPECT_THAT((*left)->dependsOn, ElementsAre("A"));
}

}  // namespace
}  // namespace Zin
