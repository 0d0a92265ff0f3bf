#include "IpLib/IntfAddrVrfTableSm/InterfaceMachines.h"

#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "Zin/Errors.h"
#include "Zin/ForEachKey.h"

namespace IpLib::IntfAddrVrfTableImpl {

void IpFamily::Reactor::handleIpIntfStatus(Nimb::IntfId const& intfId) {
    forward<&IntfAddrVrfTableSm::handleIpIntfStatus>(intfId);
}

void Ip6Family::Reactor::handleIntfStatus(Nimb::IntfId const& intfId) {
    forward<&IntfAddrVrfTableSm::handleIp6IntfStatus>(intfId);
}

template <class Family>
void InterfaceMachines<Family>::setInput(Input const& newInput) {
    if (input() == newInput) {
        return;
    }
    reactor_.notifierIs(newInput);
    if (input()) {
        handleInput();
    } else {
        // An observer of what leaves may bring an input, and with it machines: those stay.
        Zin::forEachKey(machines(), [this](auto const& intfId) {
            if (!isCurrent(intfId)) {
                remove(intfId);
            }
        });
    }
}

template <class Family>
void InterfaceMachines<Family>::machinesHaveNotificationActiveIs(bool active) {
    for (auto const& member : machines()) {
        member.value->hasNotificationActiveIs(active);
    }
}

template <class Family>
auto InterfaceMachines<Family>::findOrMake(Status const& status, Parent const& parent,
                                           All const& all) -> Machine {
    Nimb::IntfId const intfId = Zin::notNull(Family::attribute, status.get())->intfId();
    auto present = machine(intfId);
    if (!present) {
        return machines_.make(intfId, status, parent, all);
    }
    if (!present->builtFrom(status, parent, all)) {
        throw Zin::ReinstantiationError(Family::attribute);
    }
    return present;
}

template <class Family>
auto InterfaceMachines<Family>::remove(Nimb::IntfId const& intfId) -> Machine {
    Machine gone;
    sm_.recordFirst([&] { gone = machines_.del(intfId); });
    return gone;
}

template <class Family>
void InterfaceMachines<Family>::removeAll() {
    Zin::forEachKey(machines(), [this](auto const& intfId) { remove(intfId); });
}

template <class Family>
void InterfaceMachines<Family>::handleInput() {
    trace8({Family::inputTrace, Family::handlerOfAll}, input());
    if (auto const present = input()) {
        Zin::forEachKey(Family::statuses(*present),
                        [this](auto const& intfId) { handleIntf(intfId); });
    }
}

template <class Family>
void InterfaceMachines<Family>::handleIntf(Nimb::IntfId const& intfId) {
    if (!sm_.handlesInput()) {
        return;
    }
    trace8({"on {}", Family::handler}, intfId);
    if (isCurrent(intfId)) {
        return;  // told twice of one status: its machine goes on
    }
    // The old status' addresses leave before the new one's come. An observer of their leaving may
    // have changed the status once more, and that may have been answered; or have taken the machine
    // apart.
    remove(intfId);
    auto const status = currentStatus(intfId);
    if (status && !machine(intfId) && sm_.handlesInput()) {
        findOrMake(status, Zin::make<AfIntfStatusParent>(sm_), sm_.allIntfAddrWithMask());
    }
}

template <class Family>
bool InterfaceMachines<Family>::isCurrent(Nimb::IntfId const& intfId) const {
    auto const present = machine(intfId);
    return present && Family::statusOf(*present) == currentStatus(intfId);
}

template <class Family>
auto InterfaceMachines<Family>::currentStatus(Nimb::IntfId const& intfId) const -> Status {
    if (!input()) {
        return nullptr;
    }
    auto const* const status = Family::statuses(*input()).find(intfId);
    return status ? Status(*status) : nullptr;
}

template class InterfaceMachines<IpFamily>;
template class InterfaceMachines<Ip6Family>;

}  // namespace IpLib::IntfAddrVrfTableImpl
