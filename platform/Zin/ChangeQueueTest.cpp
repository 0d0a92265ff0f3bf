#include "Zin/ChangeQueue.h"

#include <gmock/gmock.h>

#include <cstddef>
#include <new>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "TestMemory/TestMemory.h"

namespace Zin {
namespace {

using testing::ElementsAre;

// A scope is a set of letters; changes are related that share one.
struct SharesLetter {
    bool operator()(std::string const& a, std::string const& b) const {
        return a.find_first_of(b) != std::string::npos;
    }
};

class Owner final : public Entity {};

// Writes down which changes are carried out, begin and end apart.
class ChangeQueueTest : public testing::Test {
protected:
    using Queue = ChangeQueue<std::string, SharesLetter>;

    void submit(std::string const& scope, std::function<void()> const& nested = {}) {
        queue.submit(*owner, scope, [this, scope, nested] {
            log.push_back(scope + "{");
            if (nested) {
                nested();
            }
            log.push_back("}" + scope);
        });
    }

    Queue queue;
    Ptr<Owner> owner = make<Owner>();
    std::vector<std::string> log;
};

TEST_F(ChangeQueueTest, CarriesAChangeOutAtOnce) {
    submit("a");
    submit("a");
    EXPECT_THAT(log, ElementsAre("a{", "}a", "a{", "}a"));
}

TEST_F(ChangeQueueTest, CarriesAnUnrelatedChangeOutWithinAnother) {
    submit("a", [&] { submit("b"); });
    EXPECT_THAT(log, ElementsAre("a{", "b{", "}b", "}a"));
}

TEST_F(ChangeQueueTest, LetsARelatedChangeWaitForTheEndOfTheOther) {
    submit("a", [&] { submit("ab"); });
    EXPECT_THAT(log, ElementsAre("a{", "}a", "ab{", "}ab"));
}

TEST_F(ChangeQueueTest, LetsAChangeWaitThatIsRelatedToOneThatWaits) {
    submit("a", [&] {
        submit("ab");
        submit("b");
        submit("c");
    });
    EXPECT_THAT(log, ElementsAre("a{", "c{", "}c", "}a", "ab{", "}ab", "b{", "}b"));
}

TEST_F(ChangeQueueTest, CarriesOutWhatWaitsAsSoonAsItsOwnReasonHasGone) {
    submit("a", [&] { submit("b", [&] { submit("b"); }); });
    EXPECT_THAT(log, ElementsAre("a{", "b{", "}b", "b{", "}b", "}a"));
}

TEST_F(ChangeQueueTest, DoesNotCarryOutBeforeItsTimeWhatWaitsForAnOuterChange) {
    submit("a", [&] {
        submit("a");
        submit("b", [&] { submit("ab"); });
        log.push_back("-");
    });
    EXPECT_THAT(log, ElementsAre("a{", "b{", "}b", "-", "}a", "a{", "}a", "ab{", "}ab"));
}

TEST_F(ChangeQueueTest, LetsWhatComesFromAWaitingChangeWaitBehindTheOthers) {
    submit("a", [&] {
        submit("a", [&] { submit("a"); });
        submit("ab");
    });
    EXPECT_THAT(log, ElementsAre("a{", "}a", "a{", "}a", "ab{", "}ab", "a{", "}a"));
}

TEST_F(ChangeQueueTest, RecordsAllBeforeItCarriesOutAny) {
    queue.recordFirst([&] {
        submit("a");
        submit("b");
        log.push_back("recorded");
    });
    EXPECT_THAT(log, ElementsAre("recorded", "a{", "}a", "b{", "}b"));
}

TEST_F(ChangeQueueTest, RecordsWithinAChangeWhatWaitsForIt) {
    submit("a", [&] {
        queue.recordFirst([&] {
            submit("a");
            submit("b");
            log.push_back("recorded");
        });
        log.push_back("-");
    });
    EXPECT_THAT(log, ElementsAre("a{", "recorded", "b{", "}b", "-", "}a", "a{", "}a"));
}

TEST_F(ChangeQueueTest, KeepsAPartsScopeWhileThePartIsDone) {
    queue.submit(*owner, "a", [&] {
        queue.within("b", [&] { submit("b"); });
        log.push_back("-");
        submit("bc");
    });
    EXPECT_THAT(log, ElementsAre("-", "b{", "}b", "bc{", "}bc"));
    log.clear();
    queue.submit(*owner, "a", [&] {
        queue.within("b", [] {});
        submit("b");
        log.push_back("-");
    });
    EXPECT_THAT(log, ElementsAre("b{", "}b", "-"));
}

TEST_F(ChangeQueueTest, TellsAChangeWhetherAllOlderOnesAreDone) {
    EXPECT_TRUE(queue.isInOrder());
    submit("a", [&] {
        EXPECT_TRUE(queue.isInOrder());
        submit("b", [&] { EXPECT_FALSE(queue.isInOrder()); });  // a is not done
        submit("a", [&] {
            EXPECT_TRUE(queue.isInOrder());
            queue.within("d", [&] { EXPECT_TRUE(queue.isInOrder()); });
        });
        EXPECT_TRUE(queue.isInOrder());
    });
    EXPECT_EQ(log.size(), 6u);
    submit("a", [&] {
        submit("a");
        submit("c", [&] { queue.submit(*owner, "cb", [&] { EXPECT_FALSE(queue.isInOrder()); }); });
    });
}

TEST_F(ChangeQueueTest, DoesStepsInTheOrderOfAllChanges) {
    auto const step = [this](std::string const& text) {
        queue.inOrder(*owner, [this, text] { log.push_back(text); });
    };
    submit("a", [&] {
        submit("a", [&] { step("of the second"); });
        submit("b", [&] {
            submit("c", [&] { step("of the fourth"); });
            step("of the third");
            step("of the third too");
        });
        step("of the first");
        submit("d", [&] { step("of the fifth"); });
    });
    EXPECT_THAT(log, ElementsAre("a{", "b{", "c{", "}c", "}b", "of the first", "d{", "}d", "}a",
                                 "a{", "of the second", "}a", "of the third", "of the third too",
                                 "of the fourth", "of the fifth"));
}

// What a change does in order of all is seen by nobody else: it keeps no other from its turn.
TEST_F(ChangeQueueTest, CarriesOutARelatedChangeBeforeTheStepThatAnotherPutOff) {
    submit("a", [&] {
        submit("b", [&] { queue.inOrder(*owner, [this] { log.push_back("step"); }); });
        submit("b");
        log.push_back("-");
    });
    EXPECT_THAT(log, ElementsAre("a{", "b{", "}b", "b{", "}b", "-", "}a", "step"));
}

TEST_F(ChangeQueueTest, DoesTheStepsAfterOneThatFails) {
    EXPECT_THROW(submit("a",
                        [&] {
                            submit("b", [&] {
                                queue.inOrder(*owner, [] { throw std::runtime_error("step"); });
                                queue.inOrder(*owner, [this] { log.push_back("next"); });
                            });
                        }),
                 std::runtime_error);
    EXPECT_THAT(log, ElementsAre("a{", "b{", "}b", "}a", "next"));
    EXPECT_TRUE(queue.isInOrder());
}

TEST_F(ChangeQueueTest, KeepsTheOwnerOfAStepInMemory) {
    submit("a", [&] {
        auto other = make<Owner>();
        auto const* const raw = other.get();
        submit("b", [&] {
            queue.inOrder(*other, [this] { log.push_back("step"); });
            EXPECT_EQ(raw->referenceCount(), 2u);
        });
    });
    EXPECT_THAT(log, ElementsAre("a{", "b{", "}b", "}a", "step"));
}

TEST_F(ChangeQueueTest, GoesOnAfterAChangeThatFails) {
    EXPECT_THROW(submit("a",
                        [&] {
                            submit("a", [&] { throw std::runtime_error("second"); });
                            submit("a");
                            throw std::runtime_error("first");
                        }),
                 std::runtime_error);
    EXPECT_THAT(log, ElementsAre("a{", "a{", "a{", "}a"));
    EXPECT_THROW(queue.recordFirst([] { throw std::runtime_error("record"); }), std::runtime_error);
    log.clear();
    submit("a", [&] { submit("b"); });
    EXPECT_THAT(log, ElementsAre("a{", "b{", "}b", "}a"));
}

TEST_F(ChangeQueueTest, GoesOnWithoutTheChangesThatThereIsNoMemoryToKeep) {
    std::string const longText(100, 't');
    std::size_t notMade = 0;
    submit("a", [&] {
        for (bool lacking = true; lacking;) {
            TestMemory::OneFailure const failure(notMade);
            try {
                queue.submit(*owner, "a", [this, longText] { log.push_back(longText); });
            } catch (std::bad_alloc const&) {
                ++notMade;
            }
            lacking = failure.happened();
        }
        submit("a");
    });
    EXPECT_GT(notMade, 1U);
    EXPECT_THAT(log, ElementsAre("a{", "}a", longText, "a{", "}a"));
}

TEST_F(ChangeQueueTest, KeepsTheOwnerOfWhatWaitsInMemory) {
    submit("a", [&] {
        auto other = make<Owner>();
        auto const* const raw = other.get();
        queue.submit(*other, "a",
                     [this, raw] { log.push_back(raw->referenceCount() > 0 ? "alive" : "gone"); });
        EXPECT_EQ(raw->referenceCount(), 2u);
    });
    EXPECT_THAT(log, ElementsAre("a{", "}a", "alive"));
}

TEST_F(ChangeQueueTest, KeepsTheOwnerOfWhatIsCarriedOutInMemory) {
    auto other = make<Owner>();
    auto const* const raw = other.get();
    queue.submit(*other, "a", [&] {
        other = nullptr;
        EXPECT_EQ(raw->referenceCount(), 1u);
    });
    EXPECT_EQ(other, nullptr);
}

// Its last pointer goes when its waiting change has been carried out, and its teardown carries out
// what waits.
TEST_F(ChangeQueueTest, AnOwnersTeardownMayUseTheQueue) {
    class LastWords final : public Entity {
    public:
        LastWords(Queue& queue, std::vector<std::string>& log) : queue_(queue), log_(log) {}

    private:
        void handleDestruction() override {
            queue_.recordFirst([this] { log_.push_back("last words"); });
        }
        Queue& queue_;
        std::vector<std::string>& log_;
    };
    submit("a", [&] {
        auto other = make<LastWords>(queue, log);
        queue.submit(*other, "a", [this] { log.push_back("other"); });
        other = nullptr;
        submit("a");
    });
    EXPECT_THAT(log, ElementsAre("a{", "}a", "other", "last words", "a{", "}a"));
}

TEST_F(ChangeQueueTest, CarriesOutALongQueueWithoutDepth) {
    int done = 0;
    queue.submit(*owner, "a", [&] {
        for (int i = 0; i < 100000; ++i) {
            queue.submit(*owner, "a", [&done] { ++done; });
        }
    });
    EXPECT_EQ(done, 100000);
}

// Any tree of changes: related ones never overlap, and keep the order in which they were made.
TEST_F(ChangeQueueTest, KeepsRelatedChangesWholeAndInOrder) {
    struct Made {
        std::string scope;
        int begin = 0;
        int end = 0;
    };
    for (unsigned seed = 0; seed < 300; ++seed) {
        std::mt19937 random(seed);
        std::vector<Made> made;
        int clock = 0;
        std::function<void(int)> const change = [&](int depth) {
            std::size_t const number = made.size();
            std::string scope;
            for (int i = 0; i < 2; ++i) {
                scope += static_cast<char>('a' + random() % 6);
            }
            made.push_back({scope});
            queue.submit(*owner, scope, [&, number, depth] {
                made[number].begin = ++clock;
                for (auto i = random() % 4; depth > 0 && i > 0; --i) {
                    change(depth - 1);
                }
                made[number].end = ++clock;
            });
        };
        change(4);
        for (std::size_t i = 0; i < made.size(); ++i) {
            ASSERT_GT(made[i].end, made[i].begin) << "seed " << seed;
            for (std::size_t k = 0; k < i; ++k) {
                if (SharesLetter()(made[k].scope, made[i].scope)) {
                    ASSERT_LT(made[k].end, made[i].begin) << "seed " << seed;
                }
            }
        }
    }
}

}  // namespace
}  // namespace Zin
