#include "Zin/Fail.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>

#include "Zin/HashMap2018.h"
#include "Zin/TestNumber.h"

namespace Zin {
namespace {

AssertionFailure const failure{"Heron", "hasLegs", "wade", "a heron has legs"};

[[noreturn]] void throwIt(AssertionFailure const& what) { throw AssertionError(what); }

class Failing : public testing::Test {
protected:
    Failing() : before_(assertionHandlerIs(throwIt)) {}
    ~Failing() override { assertionHandlerIs(before_); }

private:
    AssertionHandler const before_;
};

TEST_F(Failing, ThrowsWhatTheHandlerThrows) {
    try {
        fail(failure);
    } catch (AssertionError const& error) {
        EXPECT_STREQ(error.what(), "Heron::wade: assertion 'hasLegs' failed: a heron has legs");
    }
}

TEST_F(Failing, EndsTheProcessWhereNoHandlerIsOrItReturns) {
    assertionHandlerIs(nullptr);
    EXPECT_DEATH(fail(failure), "Heron::wade: assertion 'hasLegs' failed: a heron has legs");
    assertionHandlerIs([](AssertionFailure const&) {});
    EXPECT_DEATH(fail(failure), "");
}

TEST_F(Failing, SaysWhatAnyExceptionSaysOfItself) {
    EXPECT_EQ(textOf(std::make_exception_ptr(std::runtime_error("wet feet"))), "wet feet");
    EXPECT_EQ(textOf(std::make_exception_ptr(3)), "an exception of unknown type");
}

// The domain that the handler is told as `step` fails.
template <class Step>
std::string toldDomain(Step&& step) {
    static std::string domain;
    domain = "nothing failed";
    AssertionHandler const before = assertionHandlerIs([](AssertionFailure const& what) {
        domain = what.domain;
        throwIt(what);
    });
    EXPECT_THROW(step(), AssertionError);
    assertionHandlerIs(before);
    return domain;
}

TEST_F(Failing, IsToldToBeOfTheInnermostDomain) {
    FaultDomain const heath("heath");
    EXPECT_EQ(toldDomain([] { fail(failure); }), "heath");
    EXPECT_EQ(toldDomain([] {
                  FaultDomain const marsh("marsh");
                  fail(failure);
              }),
              "marsh");
}

TEST_F(Failing, IsOfTheOuterDomainAgainOnceTheInnerOneHasGone) {
    FaultDomain const heath("heath");
    { FaultDomain const marsh("marsh"); }
    EXPECT_EQ(FaultDomain::innermost(), "heath");

    auto const failInMarsh = [] {
        FaultDomain const marsh("marsh");
        fail(failure);
    };
    EXPECT_THROW(failInMarsh(), AssertionError);
    EXPECT_EQ(FaultDomain::innermost(), "heath");
}

TEST_F(Failing, OutsideOfDomainsIsOfNoneWhateverItSays) {
    { FaultDomain const marsh("marsh"); }
    EXPECT_EQ(FaultDomain::innermost(), "");
    EXPECT_EQ(toldDomain([] {
                  AssertionFailure claiming = failure;
                  claiming.domain = "marsh";
                  fail(claiming);
              }),
              "");
}

TEST_F(Failing, IsOfTheDomainsOfItsThread) {
    FaultDomain const heath("heath");
    std::string ofTheOther = "not asked";
    std::thread([&] { ofTheOther = FaultDomain::innermost(); }).join();
    EXPECT_EQ(ofTheOther, "");
}

TEST_F(Failing, OfAWalkIsToldToTheHandlerAndLeavesTheCollectionAsItIs) {
    HashMap2018<TestNumber, int> map(0);
    map.emplace(TestNumber{1}, 1);
    auto walk = map.begin();
    ++walk;
    try {
        ++walk;
        ADD_FAILURE() << "went on past the end";
    } catch (AssertionError const& error) {
        EXPECT_EQ(error.condition(), "iter_");
        EXPECT_STREQ(error.what(),
                     "Walk::operator++: assertion 'iter_' failed: a walk goes on past its end");
    }
    EXPECT_THROW(*walk, AssertionError);
    map.emplace(TestNumber{2}, 2);
    EXPECT_EQ(map.size(), 2u);
}

}  // namespace
}  // namespace Zin
