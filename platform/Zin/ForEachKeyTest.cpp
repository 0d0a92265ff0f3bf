#include "Zin/ForEachKey.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <vector>

#include "Zin/RbTreeMap.h"

namespace Zin {
namespace {

using testing::ElementsAre;

class ForEachKey : public testing::Test {
protected:
    ForEachKey() {
        for (int const key : {1, 2, 3}) {
            map_->emplace(key, 0);
        }
    }

    std::unique_ptr<RbTreeMap<int, int>> map_ = std::make_unique<RbTreeMap<int, int>>();
    std::vector<int> handled_;
};

TEST_F(ForEachKey, HandlesEveryMemberInTheOrderOfTheCollection) {
    forEachKey(*map_, [&](int key) { handled_.push_back(key); });
    EXPECT_THAT(handled_, ElementsAre(1, 2, 3));
}

TEST_F(ForEachKey, HandlesMembersThatAreAddedMeanwhileAndNoneThatHaveLeft) {
    forEachKey(*map_, [&](int key) {
        handled_.push_back(key);
        if (key == 1) {
            map_->erase(1);
            map_->erase(2);
            map_->emplace(4, 0);
        }
    });
    EXPECT_THAT(handled_, ElementsAre(1, 3, 4));
}

TEST_F(ForEachKey, EndsWhereTheCollectionGoesAway) {
    forEachKey(*map_, [&](int key) {
        map_.reset();
        handled_.push_back(key);
    });
    EXPECT_THAT(handled_, ElementsAre(1));
}

TEST_F(ForEachKey, HandlesTheOthersWhereOneFailsAndThenTellsTheCaller) {
    auto const handle = [&](int key) {
        handled_.push_back(key);
        if (key != 3) {
            throw std::runtime_error(std::to_string(key));
        }
    };

    try {
        forEachKey(*map_, handle);
        FAIL() << "nobody was told of the failure";
    } catch (std::runtime_error const& error) {
        EXPECT_STREQ(error.what(), "1");
    }
    EXPECT_THAT(handled_, ElementsAre(1, 2, 3));
}

}  // namespace
}  // namespace Zin
