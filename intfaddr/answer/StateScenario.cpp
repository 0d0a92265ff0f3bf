#include "intfaddr/answer/StateScenario.h"

#include <type_traits>
#include <utility>
#include <variant>

#include "Zin/Format.h"
#include "feeds/scenario/OperationWriter.h"
#include "intfaddr/answer/Document.h"

namespace IntfAddr {

namespace {

// Of a piece. Most members of a table that is whole are written once, and passed over later.
constexpr int mostSteps = 64;

}  // namespace

StateScenario::StateScenario(Routing::Router const& router, L3::VrfName vrf,
                             std::optional<Changes> changes, NotKnown notKnown)
    : vrf_(std::move(vrf)),
      changes_(std::move(changes)),
      notKnown_(std::move(notKnown)),
      text_(Scenario::textOf(Scenario::configLine({.machines = router.config()}))),
      state_(router, vrf_, Routing::VrfState::Times::kept,
             [this](Routing::RecordedOperation const& made) {
                 write(Scenario::textOf(Scenario::lineOf(made)));
             }) {
    if (changes_) {
        changes_->operations.observerAdd(*this);
        notifierIs(changes_->rows);
    }
}

StateScenario::~StateScenario() {
    if (changes_) {
        changes_->operations.observerDel(*this);
    }
}

Body::Progress StateScenario::next(std::string& buffer) {
    bool isMore = true;
    for (int i = 0; isMore && i < mostSteps; ++i) {
        isMore = state_.step();
    }
    if (!isMore) {
        end();
    }
    buffer += std::exchange(text_, {});
    return isMore ? Progress::more : Progress::ended;
}

void StateScenario::write(std::string const& line) {
    isReplaced_ = isReplaced_ || line.find(Scenario::replacement) != line.npos;
    text_ += line;
}

void StateScenario::handleOperation(Routing::Operation const& operation) {
    std::visit(
        [this](auto const& op) {
            if constexpr (requires { op.vrf; }) {
                hasChanged_ = hasChanged_ || op.vrf == vrf_;
            }
        },
        operation);
}

void StateScenario::handleRow(L3::VrfName const& vrf, IpLib::IntfAddrEntryContent const&,
                              bool /*present*/) {
    hasChanged_ = hasChanged_ || vrf == vrf_;
}

void StateScenario::end() {
    Scenario::OrderedJson const present{
        {"op", "advance"}, {"seconds", 0.0}, {"at", state_.elapsed()}};
    text_ += Scenario::textOf(present);
    auto unknown = notKnown_();
    if (isReplaced_) {
        unknown.emplace(fmt::format("VRF '{}'", vrf_),
                        "names that are not UTF-8 may be taken for one another");
    }
    for (auto const& [what, why] : unknown) {
        text_ += fmt::format("{}{}\n", notKnownMark, toLine({{"what", what}, {"why", why}}));
    }
    if (hasChanged_) {
        text_ += fmt::format("{}\n", changedMark);
    }
}

}  // namespace IntfAddr
