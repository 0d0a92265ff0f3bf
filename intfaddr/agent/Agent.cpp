#include "intfaddr/agent/Agent.h"

#include <fmt/format.h>

#include <algorithm>
#include <exception>
#include <utility>

#include "router/EffectOf.h"
#include "router/OperationError.h"

namespace IntfAddr {

namespace {

// The handler of assertions is a plain function.
Agent* theAgent = nullptr;

}  // namespace

Agent::Agent(Netlink::Kernel& kernel, Options const& options, Netlink::Notice notice,
             Routing::RepairObserver* repairs)
    : notice_(std::move(notice)),
      clock_(Zin::make<Zin::VirtualClock>()),
      router_(options.config.machines, clock_,
              std::make_unique<Velk::EveryNth>(options.config.yieldEvery)),
      supervisor_(router_, repairs),
      handlerBefore_(Pell::assertionHandlerIs(handleFailure)),
      timeline_(router_, supervisor_, clock_, Routing::Audits::inSlices,
                [this](Zin::Error const& error) { notice_(error.what()); }),
      feed_(
          kernel, options.feed, [this](auto const& operations) { apply(operations); }, notice_) {
    theAgent = this;
    timeline_.apply(router_.managerStart());
}

Agent::~Agent() {
    // What fails in that is contained, which it is not where the router goes.
    supervisor_.apply(router_.managerStop());
    theAgent = nullptr;
    Pell::assertionHandlerIs(handlerBefore_);
}

void Agent::handleFailure(Pell::AssertionFailure const& failure) {
    theAgent->notice_(toText(failure));
    theAgent->supervisor_.handleFailure(failure);
    throw Pell::AssertionError(failure);
}

Zin::Seconds Agent::nextExpiry() const {
    return supervisor_.isAuditing() ? now_ : std::min(feed_.nextExpiry(), timeline_.nextStep());
}

void Agent::run(Zin::Seconds now) {
    now_ = now;
    isIdle_ = true;
    feed_.run(now);
    timeline_.advanceTo(now);
    if (isIdle_ && supervisor_.isAuditing()) {
        supervisor_.auditSlice();
    }
}

void Agent::apply(std::vector<Routing::Operation> const& operations) {
    isIdle_ = false;
    timeline_.advanceTo(now_);
    batchBegins_();
    std::exception_ptr thrown;
    for (auto const& operation : operations) {
        try {
            timeline_.apply(effectOf(router_, operation));
        } catch (Routing::OperationError const& error) {
            notice_(error.what());
        } catch (...) {
            thrown = thrown ? thrown : std::current_exception();
        }
    }
    if (thrown) {
        std::rethrow_exception(thrown);
    }
}

}  // namespace IntfAddr
