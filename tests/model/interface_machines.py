"""One machine for each interface and family: publishes the addresses that are effectively on the
interface as working rows, and asks for the clean-up of the interface when its status goes."""

from inputs import Ip6IntfStatus, IpIntfStatus
from run import RangeError
from values import (IPV4, IPV6, UNSET_IPV4, Masked, WorkKey, address_of, is_v6_link_local)


class IpIntfStatusSm:
    def __init__(self, vrf, status: IpIntfStatus):
        self.vrf = vrf
        self.status = status
        self.shadow_primary: Masked | None = None
        self.shadow_unnumbered = False
        status.observers.append(self)
        self.handle_initialized()

    def destroy(self) -> None:
        self.status.observers.remove(self)
        self.handle_destruction()

    def trace(self, level: int, function: str, template: str, *values) -> None:
        self.vrf.run.trace(level, "IpIntfStatusSm", function, template, *values)

    def handle_initialized(self) -> None:
        self.trace(8, "handleInitialized", "on {}", self.status.intf)
        self.vrf.process_pending_deferred_cleanup(self.status.intf, IPV4)
        self.handle_primary_addr()
        self.handle_all_secondary_addr()

    def handle_primary_addr(self) -> None:
        intf, primary = self.status.intf, self.status.primary
        unnumbered = self.status.unnumbered != ""
        self.trace(8, "handlePrimaryAddr", "{} on {} isUnnumbered {}", primary, intf, unnumbered)
        wanted = None if primary == UNSET_IPV4 else primary
        if wanted == self.shadow_primary and unnumbered == self.shadow_unnumbered:
            self.trace(9, "handlePrimaryAddr", "nothing changed on {}", intf)
            return
        if self.shadow_primary is not None and not self.shadow_unnumbered:
            self.vrf.working_row_del(WorkKey(intf, self.shadow_primary))
        if wanted is not None and not unnumbered:
            self.vrf.working_row_is(WorkKey(intf, primary), False)
        elif wanted is not None:
            self.trace(3, "handlePrimaryAddr", "ignoring {} on unnumbered interface {}",
                       address_of(primary), intf)
        self.shadow_primary = wanted
        self.shadow_unnumbered = unnumbered

    def handle_secondary_addr(self, addr: Masked) -> None:
        key, present = WorkKey(self.status.intf, addr), addr in self.status.secondaries
        self.trace(8, "handleSecondaryAddr", "{} isPresent {} on {}", addr, present, key.intf)
        if present:
            self.vrf.working_row_is(key, False)
        else:
            self.vrf.working_row_del(key)

    def handle_all_secondary_addr(self) -> None:
        self.trace(8, "handleAllSecondaryAddr", "on {}", self.status.intf)
        self.vrf.run.walk(dict.fromkeys(sorted(self.status.secondaries)),
                          self.handle_secondary_addr)

    def handle_destruction(self) -> None:
        intf = self.status.intf
        self.trace(8, "handleDestruction", "on {}", intf)
        self.vrf.add_deferred_cleanup(intf, IPV4)
        if self.shadow_primary is not None and not self.shadow_unnumbered:
            self.vrf.working_row_del(WorkKey(intf, self.shadow_primary))
        for addr in sorted(self.status.secondaries):
            self.vrf.working_row_del(WorkKey(intf, addr))


class Ip6IntfStatusSm:
    def __init__(self, vrf, status: Ip6IntfStatus):
        self.vrf = vrf
        self.status = status
        status.observers.append(self)
        self.handle_initialized()

    def destroy(self) -> None:
        self.status.observers.remove(self)
        self.handle_destruction()

    def trace(self, level: int, function: str, template: str, *values) -> None:
        self.vrf.run.trace(level, "Ip6IntfStatusSm", function, template, *values)

    def handle_initialized(self) -> None:
        self.trace(8, "handleInitialized", "on {}", self.status.intf)
        self.vrf.process_pending_deferred_cleanup(self.status.intf, IPV6)
        self.handle_all_addr()

    def handle_all_addr(self) -> None:
        self.trace(8, "handleAllAddr", "on {}", self.status.intf)
        self.vrf.run.walk(self.status.deprecated, self.handle_addr)

    def handle_addr(self, addr: Masked) -> None:
        key, present = WorkKey(self.status.intf, addr), addr in self.status.deprecated
        deprecated = self.status.deprecated.get(addr, False)
        self.trace(8, "handleAddr", "{} on {} isPresent {} isDeprecated {}", addr, key.intf,
                   present, deprecated)
        if deprecated and is_v6_link_local(addr):
            raise RangeError("cannot deprecate IPv6 link-local address")
        if present:
            self.vrf.working_row_is(key, deprecated)
        else:
            self.vrf.working_row_del(key)

    def handle_destruction(self) -> None:
        self.trace(8, "handleDestruction", "on {}", self.status.intf)
        self.vrf.add_deferred_cleanup(self.status.intf, IPV6)
        for addr in self.status.deprecated:
            self.vrf.working_row_del(WorkKey(self.status.intf, addr))
