"""The machine of one VRF: turns published status into the rows of the VRF's table.

A plain statement of the rules: it walks whole collections and keeps no index of its own but the
one by interface, which the kernel's view of an interface is applied by.
"""

from inputs import Inputs
from interface_machines import Ip6IntfStatusSm, IpIntfStatusSm
from run import BrokenInvariant, Run
from table import Row, SubnetSet, Table
from task_machines import CleanupBacklog, DeferredIntfAddSm, IntfCleanupSm
from values import (FAMILY_NAME, IPV4, IPV6, Address, Content, Masked, Prefix, WorkKey, address_of,
                    ip_key, is_v6_link_local, link_local_key, subnet_of, virtual_key)

KERNEL_HISTORY_SIZE = 256


class IntfAddrVrfTableSm:
    def __init__(self, run: Run, vrf: str, inputs: Inputs, table: Table):
        self.run = run
        self.vrf = vrf
        self.inputs = inputs
        self.table = table
        self.kernel = inputs.kernel(vrf)
        self.kernel_history: list[tuple[float, str, bool]] = []
        self.kernel_changes = 0
        self.vrf_ip_intf_status = None
        self.vrf_ip6_intf_status = None
        self.working_rows: dict[WorkKey, bool] = {}  # deprecated?
        self.working_keys_of: dict[str, dict[WorkKey, None]] = {}
        self.ip_machines: dict[str, IpIntfStatusSm] = {}
        self.ip6_machines: dict[str, Ip6IntfStatusSm] = {}
        self.cleanup_backlog: CleanupBacklog | None = None
        self.cleanup_sm: IntfCleanupSm | None = None
        self.deferred: dict[WorkKey, None] = {}
        for watched in self.watched_inputs():
            watched.observers.append(self)
        table.observers.append(self)
        self.handle_initialized()
        self.vrf_ip_intf_status_is(table.vrf_ip_intf_status)
        self.vrf_ip6_intf_status_is(table.vrf_ip6_intf_status)

    def watched_inputs(self) -> list:
        inputs = [self.inputs.virtual_ips, self.inputs.virtual_ip6s, self.kernel,
                  self.vrf_ip_intf_status, self.vrf_ip6_intf_status]
        return [each for each in inputs if each is not None]

    def handle_initialized(self) -> None:
        if self.run.config.cleanup_delay != 0.0:
            self.cleanup_backlog = CleanupBacklog()
            self.cleanup_sm = IntfCleanupSm(self, self.cleanup_backlog)
        self.deferred_add_sm = DeferredIntfAddSm(self, self.deferred)
        self.handle_ip_intf_status_all()
        self.handle_ip6_intf_status_all()
        self.handle_virtual_ip_all()
        self.handle_virtual_ip6_all()

    def destroy(self) -> None:
        """Deaf to its inputs from now on, but not to its own rows."""
        for watched in self.watched_inputs():
            watched.observers.remove(self)
        self.ip_machines_del_all()
        self.ip6_machines_del_all()
        self.deferred_add_sm.destroy()
        if self.cleanup_sm:
            self.cleanup_sm.destroy()
        self.table.observers.remove(self)

    def trace(self, level: int, function: str, template: str, *values) -> None:
        self.run.trace(level, "IntfAddrVrfTableSm", function, template, *values)

    # IPv4 status of the VRF.

    def vrf_ip_intf_status_is(self, status) -> None:
        if status is self.vrf_ip_intf_status:
            return
        if self.vrf_ip_intf_status is not None:
            self.vrf_ip_intf_status.observers.remove(self)
        self.vrf_ip_intf_status = status
        if status is None:
            self.ip_machines_del_all()
            return
        status.observers.append(self)
        self.handle_ip_intf_status_all()

    def ip_machines_del_all(self) -> None:
        while self.ip_machines:
            self.ip_machine_del(next(iter(self.ip_machines)))

    def ip_machine_del(self, intf: str) -> None:
        machine = self.ip_machines.pop(intf, None)
        if machine:
            machine.destroy()

    def handle_ip_intf_status_all(self) -> None:
        self.trace(8, "handleIpIntfStatusAll", "vrfIpIntfStatus {}", self.vrf_ip_intf_status)
        if self.vrf_ip_intf_status is not None:
            self.run.walk(self.vrf_ip_intf_status.members, self.handle_ip_intf_status)

    def handle_ip_intf_status(self, intf: str) -> None:
        """Machines of interfaces that a replaced status does not have stay as they are."""
        self.trace(8, "handleIpIntfStatus", "on {}", intf)
        status = self.vrf_ip_intf_status.members.get(intf) if self.vrf_ip_intf_status else None
        machine = self.ip_machines.get(intf)
        if machine and machine.status is status:
            return
        self.ip_machine_del(intf)
        if status:
            self.ip_machines[intf] = IpIntfStatusSm(self, status)

    # IPv6 status of the VRF.

    def vrf_ip6_intf_status_is(self, status) -> None:
        if status is self.vrf_ip6_intf_status:
            return
        if self.vrf_ip6_intf_status is not None:
            self.vrf_ip6_intf_status.observers.remove(self)
        self.vrf_ip6_intf_status = status
        if status is None:
            self.ip6_machines_del_all()
            return
        status.observers.append(self)
        self.handle_ip6_intf_status_all()

    def ip6_machines_del_all(self) -> None:
        while self.ip6_machines:
            self.ip6_machine_del(next(iter(self.ip6_machines)))

    def ip6_machine_del(self, intf: str) -> None:
        machine = self.ip6_machines.pop(intf, None)
        if machine:
            machine.destroy()

    def handle_ip6_intf_status_all(self) -> None:
        self.trace(8, "handleIp6IntfStatusAll", "vrfI6IntfStatus {}", self.vrf_ip6_intf_status)
        if self.vrf_ip6_intf_status is not None:
            self.run.walk(self.vrf_ip6_intf_status.members, self.handle_ip6_intf_status)

    def handle_ip6_intf_status(self, intf: str) -> None:
        self.trace(8, "handleIp6IntfStatus", "on {}", intf)
        status = self.vrf_ip6_intf_status.members.get(intf) if self.vrf_ip6_intf_status else None
        machine = self.ip6_machines.get(intf)
        if machine and machine.status is status:
            return
        self.ip6_machine_del(intf)
        if status:
            self.ip6_machines[intf] = Ip6IntfStatusSm(self, status)

    # Working rows: what the interfaces' machines publish.

    def working_row_is(self, key: WorkKey, deprecated: bool) -> None:
        if self.working_rows.get(key) != deprecated:
            self.working_rows[key] = deprecated
            self.run.isolated(self.handle_intf_addr_with_mask, key)

    def working_row_del(self, key: WorkKey) -> None:
        if key in self.working_rows:
            del self.working_rows[key]
            self.run.isolated(self.handle_intf_addr_with_mask, key)

    def handle_intf_addr_with_mask(self, key: WorkKey) -> None:
        present = key in self.working_rows
        cleanup_present = (self.cleanup_backlog is not None
                           and (key.intf, key.addr.family) in self.cleanup_backlog.pending)
        self.trace(8, "handleIntfAddrWithMask", "ip {} on {} isPresent {} cleanupPresent {}",
                   address_of(key.addr), key.intf, present, cleanup_present)
        self.update_by_intf(key, present)
        if present:
            if not self.run.config.ignore_kernel and key.intf not in self.kernel.members:
                self.trace(8, "handleIntfAddrWithMask", "kernel interface not present for {}",
                           key.intf)
            else:
                self.add_intf_addr_with_mask(key)
        elif cleanup_present:
            self.trace(8, "handleIntfAddrWithMask",
                       "deferring removal of ip {} on {} as deferred cleanup is present",
                       address_of(key.addr), key.intf)
        else:
            self.remove_intf_addr_with_mask(key)

    def update_by_intf(self, key: WorkKey, present: bool) -> None:
        keys = self.working_keys_of.setdefault(key.intf, {})
        if present:
            keys[key] = None
        else:
            keys.pop(key, None)
        if not keys:
            del self.working_keys_of[key.intf]

    # Admission.

    def add_intf_addr_with_mask(self, key: WorkKey) -> None:
        self.add_working_row(key, self.working_rows.get(key, False))

    def add_working_row(self, key: WorkKey, deprecated: bool) -> None:
        if is_v6_link_local(key.addr):
            self.add_ip6_link_local(key)
        else:
            self.add_intf_addr(key, deprecated)

    def add_intf_addr(self, key: WorkKey, deprecated: bool) -> None:
        addr, subnet, intf = address_of(key.addr), subnet_of(key.addr), key.intf
        content = Content(ip_key(addr), intf, subnet)
        existing = self.table.by_addr.get(content.key)
        subnet_set = self.table.by_subnet.get(subnet)
        if existing and existing.content != content:
            self.defer(key, existing.content.intf)
        elif subnet_set and subnet_set.intf != intf:
            self.defer(key, existing.content.intf if existing else subnet_set.intf)
        else:
            self.deferred.pop(key, None)
            self.admit(content, existing, subnet_set, deprecated)

    def defer(self, key: WorkKey, holder: str) -> None:
        if key in self.deferred:
            self.trace(9, "addIntfAddr", "ip {} on {} is already in backlog",
                       address_of(key.addr), key.intf)
            return
        self.trace(3, "addIntfAddr", "deferring add of ip {} on {} as it has a conflict on {}",
                   address_of(key.addr), key.intf, holder)
        self.deferred[key] = None
        self.deferred_add_sm.maybe_schedule_task()

    def admit(self, content: Content, existing: Row | None, subnet_set: SubnetSet | None,
              deprecated: bool) -> None:
        addr, intf, subnet = content.key.addr, content.intf, content.subnet
        self.trace(8, "addIntfAddr", "adding ip {} with subnet {} on {}", addr, subnet, intf)
        row = self.table.row_is(content)
        if existing and row is not existing:
            raise BrokenInvariant("ip {} in subnet {} on {} has unexpected conflict on {}",
                                  addr, subnet, intf, existing.content.intf)
        if not existing:
            self.trace(9, "addIntfAddr", "adding ip {} on {}", addr, intf)
            self.table.by_addr_is(row)
        if subnet_set is None:
            subnet_set = SubnetSet(intf, subnet)
            self.table.by_subnet_is(subnet_set)
        self.trace(9, "addIntfAddr", "adding ip {} in subnet {} on {} to set, isDeprecated {}",
                   addr, subnet, intf, deprecated)
        leaves, joins = subnet_set.deprecated, subnet_set.rows
        if deprecated:
            leaves, joins = joins, leaves
        leaves.pop(content.key, None)
        joins[content.key] = row

    def add_ip6_link_local(self, key: WorkKey) -> None:
        addr, intf = address_of(key.addr), key.intf
        existing = self.table.link_local.get(intf)
        if not existing:
            self.deferred.pop(key, None)
            self.trace(9, "addIp6LinkLocal", "adding ip {} on {}", addr, intf)
            row = self.table.row_is(Content(link_local_key(addr, intf), intf, subnet_of(key.addr)))
            self.table.by_addr_is(row)
            self.table.link_local_is(row)
        elif existing.content.key.addr == addr:
            self.trace(9, "addIp6LinkLocal", "ignoring ip {} on {} as it already exists",
                       addr, intf)
        elif key not in self.deferred:
            self.trace(9, "addIp6LinkLocal",
                       "deferring ip {} on {} while waiting for existing ip {} to be cleaned up",
                       addr, intf, existing.content.key.addr)
            self.deferred[key] = None
            self.deferred_add_sm.maybe_schedule_task()

    def process_deferred_intf_add(self, key: WorkKey) -> None:
        if key not in self.working_rows:
            raise BrokenInvariant("{} missing in all collection", key)
        self.add_working_row(key, self.working_rows[key])

    def handle_intf_addr_entry(self, content: Content) -> None:
        present = content in self.table.rows
        self.trace(8, "handleIntfAddrEntry", "ip {} on {} isVirtual {} isPresent {}",
                   content.key.addr, content.intf, content.key.virtual, present)
        if not present:
            self.deferred_add_sm.maybe_schedule_task()

    # Withdrawal.

    def remove_intf_addr_with_mask(self, key: WorkKey) -> None:
        if key in self.deferred:
            self.trace(9, "removeIntfAddrWithMask", "removing deferred ip {} on {}",
                       address_of(key.addr), key.intf)
            del self.deferred[key]
        elif is_v6_link_local(key.addr):
            self.remove_ip6_link_local(key)
        else:
            self.remove_intf_addr(key)

    def remove_intf_addr(self, key: WorkKey) -> None:
        addr, subnet, intf = address_of(key.addr), subnet_of(key.addr), key.intf
        entry_key = ip_key(addr)
        self.table.row_del(Content(entry_key, intf, subnet))
        indexed = self.table.by_addr.get(entry_key)
        if not indexed:
            self.trace(9, "removeIntfAddr", "ip {} on {} is not present", addr, intf)
        elif indexed.content.intf == intf:
            self.trace(9, "removeIntfAddr", "removing ip {} on {}", addr, intf)
            self.table.by_addr_del(entry_key)
        else:
            raise BrokenInvariant("ip {} on {} has unexpected conflict on {}", addr, intf,
                                  indexed.content.intf)
        subnet_set = self.table.by_subnet.get(subnet)
        if not subnet_set:
            self.trace(9, "removeIntfAddr", "set for subnet {} on {} is not present", subnet, intf)
            return
        if subnet_set.intf != intf:
            raise BrokenInvariant("subnet {} on {} has unexpected conflict on {}", subnet, intf,
                                  subnet_set.intf)
        self.trace(9, "removeIntfAddr", "removing ip {} with subnet {} on {} from set", addr,
                   subnet, intf)
        subnet_set.rows.pop(entry_key, None)
        subnet_set.deprecated.pop(entry_key, None)
        if not subnet_set.rows:  # deprecated rows do not keep a set
            self.trace(9, "removeIntfAddr", "removing set for subnet {} on {}", subnet, intf)
            self.table.by_subnet_del(subnet)

    def remove_ip6_link_local(self, key: WorkKey) -> None:
        addr, intf = address_of(key.addr), key.intf
        entry_key = link_local_key(addr, intf)
        self.table.row_del(Content(entry_key, intf, subnet_of(key.addr)))
        self.trace(9, "removeIp6LinkLocal", "removing ip {} on {}", addr, intf)
        self.table.by_addr_del(entry_key)
        self.table.link_local_del(intf)

    # Clean-up of an interface.

    def add_deferred_cleanup(self, intf: str, family: int) -> None:
        if self.run.config.cleanup_delay == 0.0:
            self.trace(9, "addDeferredCleanup", "cleaning up for {} af {} immediately", intf,
                       FAMILY_NAME[family])
            self.process_cleanup_intf(intf, family)
            return
        pending = self.cleanup_backlog.pending.get((intf, family))
        if pending and pending.processed:
            raise BrokenInvariant("backlog contains entry for {} af {} that was already processed",
                                  intf, FAMILY_NAME[family])
        if pending:
            self.trace(9, "addDeferredCleanup", "cleanup already pending for {} {}", intf,
                       FAMILY_NAME[family])
            return
        self.trace(9, "addDeferredCleanup", "cleanup deferred for {} af {} at {}", intf,
                   FAMILY_NAME[family], self.run.now)
        self.cleanup_backlog.add(intf, family, self.run.now)
        self.cleanup_sm.maybe_schedule_task()

    def process_pending_deferred_cleanup(self, intf: str, family: int) -> None:
        request = self.cleanup_backlog and self.cleanup_backlog.pending.pop((intf, family), None)
        if request:
            request.processed = True
            self.trace(9, "processPendingDeferredCleanup", "cleaning up for {} af {} immediately",
                       intf, FAMILY_NAME[family])
            self.process_cleanup_intf(intf, family)

    def process_cleanup_intf(self, intf: str, family: int) -> None:
        function, table = "processCleanupIntf", self.table
        self.trace(8, function, "cleaning up {} for address-family {}", intf, FAMILY_NAME[family])
        for key, row in list(table.by_addr.items()):
            if key.addr.family == family and row.content.intf == intf:
                self.trace(9, function, "cleaning up ip {} on {}", key.addr, intf)
                table.by_addr_del(key)
                table.row_del(row.content)
        for subnet, subnet_set in list(table.by_subnet.items()):
            if subnet.family == family and subnet_set.intf == intf:
                self.trace(9, function, "cleaning up subnet {} on {}", subnet, intf)
                table.by_subnet_del(subnet)
                for rows in (subnet_set.rows, subnet_set.deprecated):
                    for key in sorted(rows):
                        table.row_del(rows[key].content)
        if family == IPV6:
            self.trace(9, function, "cleaning up ipv6 link-local address on {}", intf)
            table.link_local_del(intf)
        for key in list(self.deferred):
            if key.addr.family == family and key.intf == intf:
                self.trace(9, function, "removing deferred ip {} on {}", address_of(key.addr), intf)
                del self.deferred[key]

    # The kernel's interfaces.

    def handle_kernel_intf(self, intf: str) -> None:
        present = intf in self.kernel.members
        self.trace(3, "handleKernelIntf", "kernel interface for {} isPresent {}", intf, present)
        self.kernel_history.insert(0, (self.run.now, intf, present))  # newest first
        del self.kernel_history[KERNEL_HISTORY_SIZE:]
        self.kernel_changes += 1
        if self.run.config.ignore_kernel:
            return
        for family in (IPV4, IPV6):
            if present:
                self.process_pending_deferred_cleanup(intf, family)
            else:
                self.add_deferred_cleanup(intf, family)
        if present:
            self.run.walk(self.working_keys_of.get(intf, {}), self.add_intf_addr_with_mask)

    # Virtual addresses.

    def handle_virtual_ip_all(self) -> None:
        self.trace(8, "handleVirtualIpAll", "")
        self.run.walk(self.inputs.virtual_ips.members, self.handle_virtual_ip)

    def handle_virtual_ip6_all(self) -> None:
        self.trace(8, "handleVirtualIp6All", "")
        self.run.walk(self.inputs.virtual_ip6s.members, self.handle_virtual_ip6)

    def handle_virtual_ip(self, key: tuple[str, Masked]) -> None:
        self.virtual_address("handleVirtualIp", key[0], address_of(key[1]),
                             key in self.inputs.virtual_ips.members)

    def handle_virtual_ip6(self, key: tuple[str, Address]) -> None:
        self.virtual_address("handleVirtualIp6", *key, key in self.inputs.virtual_ip6s.members)

    def virtual_address(self, function: str, vrf: str, addr: Address, present: bool) -> None:
        self.trace(8, function, "vrf {} ip {}", vrf, addr)
        if vrf != self.vrf:
            return
        content = Content(virtual_key(addr), "", Prefix())
        if present:
            self.trace(8, "addVirtualIntfAddr", "vrf {} ip {}", vrf, addr)
            self.table.by_addr_is(self.table.row_is(content))
        else:
            self.trace(8, "removeVirtualIntfAddr", "vrf {} ip {}", vrf, addr)
            self.table.by_addr_del(content.key)
            self.table.row_del(content)
