"""What other agents publish. A change notifies the observers; what is the same already does not.

Observers are told by the name of the handler that they offer for the change.
"""

from run import Run
from values import UNSET_IPV4, Address, Masked


class Published:
    def __init__(self, run: Run):
        self.run = run
        self.observers: list = []

    def notify(self, handler: str, *arguments) -> None:
        self.run.notify(self.observers, handler, *arguments)


class IpIntfStatus(Published):
    def __init__(self, run: Run, intf: str, primary: Masked, unnumbered: str,
                 secondaries: list[Masked]):
        super().__init__(run)
        self.intf = intf
        self.primary = primary
        self.unnumbered = unnumbered
        self.secondaries = set(secondaries)

    def primary_is(self, primary: Masked) -> None:
        if primary != self.primary:
            self.primary = primary
            self.notify("handle_primary_addr")

    def unnumbered_is(self, source: str) -> None:
        if source != self.unnumbered:
            self.unnumbered = source
            self.notify("handle_primary_addr")

    def secondary_is(self, addr: Masked) -> None:
        if addr not in self.secondaries:
            self.secondaries.add(addr)
            self.notify("handle_secondary_addr", addr)

    def secondary_del(self, addr: Masked) -> None:
        self.secondaries.remove(addr)
        self.notify("handle_secondary_addr", addr)

    def published(self) -> list[Masked]:
        """The addresses that are effectively on the interface."""
        own = [] if self.unnumbered or self.primary == UNSET_IPV4 else [self.primary]
        return own + sorted(self.secondaries)


class Ip6IntfStatus(Published):
    def __init__(self, run: Run, intf: str, addrs: dict[Masked, bool]):
        super().__init__(run)
        self.intf = intf
        self.deprecated = addrs  # of each address

    def addr_is(self, addr: Masked, deprecated: bool) -> None:
        if self.deprecated.get(addr) != deprecated:
            self.deprecated[addr] = deprecated
            self.notify("handle_addr", addr)

    def addr_del(self, addr: Masked) -> None:
        del self.deprecated[addr]
        self.notify("handle_addr", addr)


class Keyed(Published):
    """A collection by key; observers are told the key, by the handler that was named for it."""

    def __init__(self, run: Run, handler: str):
        super().__init__(run)
        self.handler = handler
        self.members: dict = {}

    def is_(self, key, member) -> None:
        self.members[key] = member
        self.notify(self.handler, key)

    def del_(self, key) -> None:
        del self.members[key]
        self.notify(self.handler, key)


class VrfIpIntfStatus(Keyed):
    def __init__(self, run: Run):
        super().__init__(run, "handle_ip_intf_status")


class VrfIp6IntfStatus(Keyed):
    def __init__(self, run: Run):
        super().__init__(run, "handle_ip6_intf_status")


class Inputs:
    """All that one router publishes."""

    def __init__(self, run: Run):
        self.run = run
        self.ip = Keyed(run, "handle_vrf_ip_intf_status")
        self.ip6 = Keyed(run, "handle_vrf_ip6_intf_status")
        self.virtual_ips = Keyed(run, "handle_virtual_ip")
        self.virtual_ip6s = Keyed(run, "handle_virtual_ip6")
        self._kernel: dict[str, Keyed] = {}

    def kernel(self, vrf: str) -> Keyed:
        """The VRF's kernel directory exists whether or not it holds an interface."""
        if vrf not in self._kernel:
            self._kernel[vrf] = Keyed(self.run, "handle_kernel_intf")
        return self._kernel[vrf]

    def virtual_addresses(self, vrf: str) -> set[Address]:
        return {Address(addr.family, addr.value)
                for published in (self.virtual_ips, self.virtual_ip6s)
                for of_vrf, addr in published.members if of_vrf == vrf}
