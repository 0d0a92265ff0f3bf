#include "Zin/Registry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "Zin/Ptr.h"
#include "Zin/TestProbe.h"

namespace Zin {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> typeNames() {
    std::vector<std::string> names;
    for (auto const* const type : registeredTypes()) {
        names.push_back(type->name);
    }
    return names;
}

std::vector<std::string> moduleNames() {
    std::vector<std::string> names;
    for (auto const* const module : registeredModules()) {
        names.push_back(module->name);
    }
    return names;
}

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
        ModuleRegistration const top(ModuleRecord{"Top", {"Base", "Middle"}});
        ModuleRegistration const base(ModuleRecord{"Base", {}});

        EXPECT_THAT(moduleNames(), ElementsAre("Base", "Top"));
        EXPECT_THAT(registeredModules()[1]->dependsOn, ElementsAre("Base", "Middle"));
    }
    EXPECT_THAT(moduleNames(), IsEmpty());
}

TEST(Registry, ListsEachOfTwoRegistrationsOfOneName) {
    ModuleRegistration const first(ModuleRecord{"Twin", {"A"}});
    {
        ModuleRegistration const second(ModuleRecord{"Twin", {"B"}});
        EXPECT_THAT(moduleNames(), ElementsAre("Twin", "Twin"));
    }
    EXPECT_THAT(registeredModules().at(0)->dependsOn, ElementsAre("A"));
}

}  // namespace
}  // namespace Zin
