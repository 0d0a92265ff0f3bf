#include "router/EffectOf.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <set>

#include "router/OperationError.h"
#include "router/TestOperations.h"

namespace Routing {
namespace {

using testing::ElementsAre;

TEST(EffectOf, EachOperationIsTheOneThatIsDone) {
    Router router({}, Zin::make<Zin::VirtualClock>(), std::make_unique<Velk::EveryNth>(0));
    router.managerStart().apply();
    OperationRecorder recorder(router.inputs().effects());
    std::set<std::size_t> kinds;
    for (Operation const& operation : everyOperation()) {
        recorder.texts.clear();
        kinds.insert(operation.index());
        effectOf(router, operation).apply();
        EXPECT_THAT(recorder.texts, ElementsAre(text(operation)));
    }
    EXPECT_EQ(kinds.size(), std::variant_size_v<Operation>);
}

TEST(EffectOf, OneThatMakesNoSenseIsRefusedBeforeAnythingIsDone) {
    Router router({}, Zin::make<Zin::VirtualClock>(), std::make_unique<Velk::EveryNth>(0));
    EXPECT_THROW(effectOf(router, IpVrfDel{"red"}).apply(), OperationError);
}

}  // namespace
}  // namespace Routing
