// A change for which memory is lacking is not made, and told to nobody; one that is made is told.

#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <string>
#include <utility>

#include "TestMemory/TestMemory.h"
#include "Zin/Format.h"
#include "Zin/TestDepot.h"

namespace Zin {
namespace {

// Takes no memory.
class TellCounter final : public Depot::Notifiee {
public:
    explicit TellCounter(Ptr<Depot const> depot) { notifierIs(std::move(depot)); }
    int told = 0;

private:
    void handleBuilt(String const&) override { ++told; }
    void handleDerived(String const&) override { ++told; }
    void handleKeyed(String const&) override { ++told; }
    void handleNumber(String const&) override { ++told; }
    void handleName(String const&) override { ++told; }
    void handleSorted(String const&) override { ++told; }
};

class CollectionWithoutMemory : public Collections {
protected:
    std::string contents() const {
        std::string text;
        auto const add = [&](auto const& map) {
            text += '[';
            for (auto const& member : map) {
                text += member.key.bytes();
                if constexpr (requires { member.value; }) {
                    text += fmt::format(" {}", member.value);
                }
                text += ',';
            }
            text += ']';
        };
        add(depot_->built().map());
        add(depot_->derived().map());
        add(depot_->keyed().map());
        add(depot_->number().map());
        add(depot_->name().map());
        add(depot_->sorted().map());
        return text;
    }

    // Tries the change again and again, each time with one more allocation that succeeds, until it
    // is made.
    void isMadeAndToldOrNeither(std::string const& name, std::function<void()> const& change,
                                int toBeTold = 1) {
        SCOPED_TRACE(name);
        std::string const before = contents();
        for (std::size_t allowed = 0;; ++allowed) {
            counter_.told = 0;
            bool made = true;
            {
                TestMemory::OneFailure const failure(allowed);
                try {
                    change();
                } catch (std::bad_alloc const&) {
                    made = false;
                }
            }
            ASSERT_EQ(contents() != before, made) << "after " << allowed << " allocations";
            ASSERT_EQ(counter_.told, made ? toBeTold : 0) << "after " << allowed << " allocations";
            if (made) {
                EXPECT_GT(allowed, 0u);
                return;
            }
        }
    }

    TellCounter counter_{depot_};
};

TEST_F(CollectionWithoutMemory, MakesEachChangeAndTellsItOrDoesNeither) {
    String const key("a key that is so long that a copy of it takes memory");
    Ptr<Crate> const crate = make<Crate>(life_, key);
    Ptr<Crate> const other = make<Crate>(life_, key);

    isMadeAndToldOrNeither("build", [&] { depot_->builtIs(key); });
    isMadeAndToldOrNeither("remove what was built", [&] { depot_->builtDel(key); });
    isMadeAndToldOrNeither("put", [&] { depot_->derivedIs(crate); });
    isMadeAndToldOrNeither("replace", [&] { depot_->derivedIs(other); });
    isMadeAndToldOrNeither("remove", [&] { depot_->derivedDel(key); });
    isMadeAndToldOrNeither("put under a key", [&] { depot_->keyedIs(key, crate); });
    isMadeAndToldOrNeither("replace under a key", [&] { depot_->keyedIs(key, other); });
    isMadeAndToldOrNeither("put null", [&] { depot_->keyedIs(key, nullptr); });
    isMadeAndToldOrNeither("set", [&] { depot_->numberIs(key, 1); });
    isMadeAndToldOrNeither("set another", [&] { depot_->numberIs(key, 2); });
    isMadeAndToldOrNeither("remove a value", [&] { depot_->numberDel(key); });
    isMadeAndToldOrNeither("insert", [&] { depot_->nameIs(key); });
    isMadeAndToldOrNeither("remove a key", [&] { depot_->nameDel(key); });
    isMadeAndToldOrNeither("set in order", [&] { depot_->sortedIs(key, 1); });
    isMadeAndToldOrNeither("set another in order", [&] { depot_->sortedIs(key, 2); });
    isMadeAndToldOrNeither("remove in order", [&] { depot_->sortedDel(key); });
}

TEST_F(CollectionWithoutMemory, RemovesAllMembersOrNone) {
    for (char const* const name :
         {"the first of two keys that are long", "the second of two keys that are long"}) {
        depot_->derivedIs(makeCrate(name));
        depot_->nameIs(name);
        depot_->sortedIs(name, 1);
    }
    isMadeAndToldOrNeither(
        "pointers", [&] { depot_->derivedDelAll(); }, 2);
    isMadeAndToldOrNeither(
        "keys", [&] { depot_->nameDelAll(); }, 2);
    isMadeAndToldOrNeither(
        "in order", [&] { depot_->sortedDelAll(); }, 2);
}

}  // namespace
}  // namespace Zin
