// The usual notifiee: a member of the machine that owns it, which hands each notification on to the
// machine's handler. It hands on nothing once the machine is retired, and keeps the machine in
// memory while a handler of it runs. The machine's hasNotificationActiveIs passes the flag on to
// it, and so takes it off its notifier's list at the end of the machine's teardown.
//
//     class StatusReactor final : public Zin::Reactor<CarrierSm, Ip::VrfIpIntfStatus> {
//         using Reactor::Reactor;
//         void handleIpIntfStatus(Nimb::IntfId const& intfId) override {
//             forward<&CarrierSm::handleIpIntfStatus>(intfId);
//         }
//     };
#pragma once

#include "Zin/Notifiee.h"

namespace Zin {

template <class Owner, class N>
class Reactor : public N::Notifiee {
public:
    // Watches `notifier` (nothing where it is null) for `owner`, whose member it is.
    Reactor(Owner& owner, Ptr<N const> notifier) : owner_(owner) {
        this->notifierIs(std::move(notifier));
    }

    // That of a retired machine stays off.
    void hasNotificationActiveIs(bool active) {
        N::Notifiee::hasNotificationActiveIs(active && !owner_.retired());
        if (owner_.retired()) {
            this->listIs(nullptr);
        }
    }

protected:
    // Calls the machine's `Handler`, unless the machine is retired.
    template <auto Handler, class... Args>
    void forward(Args const&... args) {
        if (!owner_.retired()) {
            call<Handler>(args...);
        }
    }

    // For what a machine brings about by its own teardown: still handed on while that runs.
    template <auto Handler, class... Args>
    void forwardDuringTeardown(Args const&... args) {
        call<Handler>(args...);
    }

private:
    template <auto Handler, class... Args>
    void call(Args const&... args) {
        Ptr<Owner> const alive(&owner_);
        (owner_.*Handler)(args...);
    }

    Owner& owner_;
};

}  // namespace Zin
