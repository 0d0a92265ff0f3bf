"""What is wrong with a router once time has settled: rows that should not stand, addresses that
should, and indexes that disagree. Each trouble is named by its kind alone."""

from inputs import Inputs
from rules import IntfAddrVrfTableSm
from scenario import Router
from table import Table
from values import (Content, Masked, address_of, ip_key, is_v6_link_local, link_local_key,
                    subnet_of, virtual_key)


def settle(router: Router) -> None:
    """Long enough for every task that is armed, and those that it arms."""
    config = router.run.config
    router.run.scheduler.move_to(
        router.run.now + 8 * (abs(config.cleanup_delay) + abs(config.deferred_add_delay)) + 1)


def troubles(router: Router) -> set[str]:
    """Of every table that a machine runs for."""
    return {trouble for vrf, machine in router.machines().items()
            if router.directory.members.get(vrf) is machine.table
            for check in (index_troubles, stale_rows, lost_addresses, waiting_troubles)
            for trouble in check(machine)}


def published(inputs: Inputs, vrf: str) -> dict[str, list[Masked]]:
    """The addresses that status publishes, by interface."""
    result: dict[str, list[Masked]] = {}
    if ip := inputs.ip.members.get(vrf):
        for intf, status in ip.members.items():
            result.setdefault(intf, []).extend(status.published())
    if ip6 := inputs.ip6.members.get(vrf):
        for intf, status in ip6.members.items():
            result.setdefault(intf, []).extend(status.deprecated)
    return result


def is_refused(machine: IntfAddrVrfTableSm, intf: str, addr: Masked) -> bool:
    """A deprecated link-local address does not come in; one that is in stays as it was."""
    return (is_v6_link_local(addr)
            and machine.inputs.ip6.members[machine.vrf].members[intf].deprecated[addr])


def device_is_missing(machine: IntfAddrVrfTableSm, intf: str) -> bool:
    return not machine.run.config.ignore_kernel and intf not in machine.kernel.members


def content_of(intf: str, addr: Masked) -> Content:
    key = ip_key(address_of(addr))
    if is_v6_link_local(addr):
        key = link_local_key(key.addr, intf)
    return Content(key, intf, subnet_of(addr))


def index_troubles(machine: IntfAddrVrfTableSm):
    table = machine.table
    for content, row in table.rows.items():
        if table.by_addr.get(content.key) is not row:
            yield "index: a row is not indexed by its address"
        if is_v6_link_local(content.key.addr):
            if table.link_local.get(content.intf) is not row:
                yield "index: a link-local row is not the one of its interface"
        elif not content.key.virtual and not outlives_its_subnet(machine, content):
            yield from subnet_troubles(table, content, row)
    for key, row in table.by_addr.items():
        if table.rows.get(row.content) is not row:
            yield "index: an address leads to what is no row"
    for row in table.link_local.values():
        if table.rows.get(row.content) is not row:
            yield "index: an interface's link-local address leads to what is no row"
    for subnet_set in table.by_subnet.values():
        if not subnet_set.rows and not subnet_set.deprecated:
            yield "index: an empty subnet set stays"
        for row in [*subnet_set.rows.values(), *subnet_set.deprecated.values()]:
            if table.rows.get(row.content) is not row:
                yield "index: a subnet set leads to what is no row"


def outlives_its_subnet(machine: IntfAddrVrfTableSm, content: Content) -> bool:
    """Deprecated rows do not hold a subnet: such a row may be in no set."""
    subnet_set = machine.table.by_subnet.get(content.subnet)
    if subnet_set and (content.key in subnet_set.rows or content.key in subnet_set.deprecated):
        return False
    ip6 = machine.inputs.ip6.members.get(machine.vrf)
    status = ip6.members.get(content.intf) if ip6 else None
    return status is not None and any(
        deprecated and content_of(content.intf, addr) == content
        for addr, deprecated in status.deprecated.items())


def subnet_troubles(table: Table, content: Content, row):
    subnet_set = table.by_subnet.get(content.subnet)
    if not subnet_set:
        yield "index: a row has no subnet set"
    elif subnet_set.intf != content.intf:
        yield "index: a row's subnet set belongs to another interface"
    else:
        held = [rows.get(content.key) is row for rows in (subnet_set.rows, subnet_set.deprecated)]
        if not any(held):
            yield "index: a row is missing in its subnet set"
        if all(held):
            yield "index: a row is both usable and deprecated"


def stale_rows(machine: IntfAddrVrfTableSm):
    wanted = published(machine.inputs, machine.vrf)
    virtual = machine.inputs.virtual_addresses(machine.vrf)
    for content in machine.table.rows:
        addrs = wanted.get(content.intf, [])
        if content.key.virtual:
            if content.key.addr not in virtual:
                yield "stale row: a virtual address that is not published"
        elif content.key.addr not in map(address_of, addrs):
            if any(key.intf == content.intf and address_of(key.addr) == content.key.addr
                   for key in machine.working_rows):
                yield "stale row: followed by a machine that kept a replaced VRF's status"
            else:
                yield "stale row: no status publishes the address"
        elif device_is_missing(machine, content.intf):
            yield "stale row: the interface's device is gone"
        elif (not is_v6_link_local(content.key.addr)
              and content not in [content_of(content.intf, addr) for addr in addrs]):
            yield "stale row: the address is published with another prefix length"


def lost_addresses(machine: IntfAddrVrfTableSm):
    table = machine.table
    for addr in machine.inputs.virtual_addresses(machine.vrf):
        if virtual_key(addr) not in table.by_addr:
            yield "lost: a virtual address has no row"
    for intf, addrs in published(machine.inputs, machine.vrf).items():
        if device_is_missing(machine, intf):
            continue
        for addr in addrs:
            content = content_of(intf, addr)
            waits = any(key == (intf, addr) for key in machine.deferred)
            held = is_held(table, content)
            if (content in table.rows or waits or is_refused(machine, intf, addr)
                    or held and is_v6_link_local(addr)
                    and table.link_local[intf].content.key == content.key):
                continue
            if held:
                yield "lost: an address that another one holds back does not wait for it"
            elif (intf, addr) in machine.working_rows:
                yield "lost: an address is published, but neither in the table nor waiting"
            else:
                yield "lost: an address is published, but has no working row"


def is_held(table: Table, content: Content) -> bool:
    """Whether the address or its subnet is taken, so that it could not be in the table."""
    if is_v6_link_local(content.key.addr):
        return content.intf in table.link_local
    holder, subnet_set = table.by_addr.get(content.key), table.by_subnet.get(content.subnet)
    return holder is not None or (subnet_set is not None and subnet_set.intf != content.intf)


def waiting_troubles(machine: IntfAddrVrfTableSm):
    wanted = published(machine.inputs, machine.vrf)
    for key in machine.deferred:
        content = content_of(key.intf, key.addr)
        if key not in machine.working_rows:
            yield "waiting: an address that has no working row"
        elif key.addr not in wanted.get(key.intf, []):
            yield "waiting: an address that no status publishes"
        elif content in machine.table.rows:
            if not outlives_its_subnet(machine, content):
                yield "waiting: an address whose row stands"
        elif not is_held(machine.table, content):
            yield "waiting: an address whose way is free, with no task armed"
    if machine.cleanup_backlog and machine.cleanup_backlog.pending:
        yield "waiting: a clean-up that does not come"

