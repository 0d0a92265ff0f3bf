"""Reads the lines of a scenario and applies them to one router.

A line is checked whole before it moves the clock or changes anything; what is wrong with it is a
`ScenarioError` with the number of the line.
"""

import json
import math

from inputs import Inputs, Ip6IntfStatus, IpIntfStatus, Keyed, VrfIp6IntfStatus, VrfIpIntfStatus
from managers import IntfAddrVrfTableManager
from run import Config, Run
from snapshot import compact, lowest6, snapshot
from table import Table
from values import (IPV4, IPV6, Address, content_text, address_text, ip_key, is_v6_link_local,
                    link_local_key, parse_address, parse_any_address, parse_masked)


class ScenarioError(Exception):
    def __init__(self, line: int, message: str):
        super().__init__(message)
        self.line = line


class ExpectationFailed(Exception):
    """Printed already; ends the run."""


# Readers of a field's value: return it, or raise ValueError.


def text(value) -> str:
    if type(value) is not str:
        raise ValueError(f"{value!r} is no text")
    return value


def name(value) -> str:
    if not text(value):
        raise ValueError("a name is empty")
    return value


def boolean(value) -> bool:
    if type(value) is not bool:
        raise ValueError(f"{value!r} is neither true nor false")
    return value


def number(value) -> float:
    if type(value) not in (int, float) or not math.isfinite(value):
        raise ValueError(f"{value!r} is no finite number")
    return float(value)


def positive_number(value) -> float:
    if number(value) < 0:
        raise ValueError(f"{value!r} is negative")
    return float(value)


def count(value) -> int:
    if type(value) is not int or not 0 <= value < 2**32:
        raise ValueError(f"{value!r} is no count")
    return value


def masked4(value):
    return parse_masked(text(value), IPV4)


def masked6(value):
    return parse_masked(text(value), IPV6)


def address6(value):
    return parse_address(text(value), IPV6)


def list_of(reader):
    def read(value) -> list:
        if type(value) is not list:
            raise ValueError(f"{value!r} is no list")
        return [reader(each) for each in value]
    return read


def object_of(fields: dict):
    """`fields`: name to its reader, or to (reader, value when absent)."""
    def read(value) -> dict:
        if type(value) is not dict:
            raise ValueError(f"{value!r} is no object")
        if unknown := value.keys() - fields.keys():
            raise ValueError(f"unknown field {sorted(unknown)[0]!r}")
        result = {}
        for field, reader in fields.items():
            if field in value:
                result[field] = (reader[0] if type(reader) is tuple else reader)(value[field])
            elif type(reader) is tuple:
                result[field] = reader[1]
            else:
                raise ValueError(f"field {field!r} is missing")
        return result
    return read


def rows_by_vrf(value) -> dict:
    if type(value) is not dict:
        raise ValueError(f"{value!r} is no object")
    return {vrf: list_of(text)(rows) for vrf, rows in value.items()}


def intf_or_null(value) -> str | None:
    return None if value is None else name(value)


def byte(value) -> int:
    if count(value) > 255:
        raise ValueError(f"{value!r} is more than a byte")
    return value


def what_to_dump(value) -> str:
    if value not in ("tables", "sm"):
        raise ValueError(f"{value!r} is nothing to dump")
    return value


def any_address(value):
    return parse_any_address(text(value))


def members_once(members: list[tuple]) -> dict:
    result = dict(members)
    if len(result) != len(members):
        raise ValueError("a member is there twice")
    return result


VRF = {"vrf": name}
INTF = {"vrf": name, "intf": name}
MASKED4 = {**INTF, "addr": masked4}
MASKED6 = {**INTF, "addr": masked6}
ADDR6 = object_of({"addr": masked6, "deprecated": (boolean, False)})
FIELDS = {
    "config": {"intfCleanupDelay": (number, 1.5), "deferredIntfAddDelay": (number, 2.0),
               "ignoreKernelInterfaceState": (boolean, False), "taskPriority": (byte, 3),
               "yieldEvery": (count, 0)},
    "manager.stop": {}, "manager.start": {},
    "table.add": VRF, "table.del": VRF,
    "ip.vrf.add": VRF, "ip.vrf.del": VRF, "ip6.vrf.add": VRF, "ip6.vrf.del": VRF,
    "ip.intf.add": {**INTF, "primary": (masked4, masked4("0.0.0.0/0")), "unnumbered": (text, ""),
                    "secondary": (list_of(masked4), [])},
    "ip.intf.del": INTF,
    "ip.primary": MASKED4,
    "ip.unnumbered": {**INTF, "source": text},
    "ip.secondary.add": MASKED4, "ip.secondary.del": MASKED4,
    "ip6.intf.add": {**INTF, "addrs": (list_of(ADDR6), [])},
    "ip6.intf.del": INTF,
    "ip6.addr.set": {**MASKED6, "deprecated": (boolean, False)},
    "ip6.addr.del": MASKED6,
    "kernel.add": {**INTF, "deviceName": (text, ""), "ifIndex": (count, 0),
                   "operStatus": (text, "up"), "active": (boolean, True)},
    "kernel.del": INTF,
    "vip.add": {"vrf": name, "addr": masked4}, "vip.del": {"vrf": name, "addr": masked4},
    "vip6.add": {"vrf": name, "addr": address6}, "vip6.del": {"vrf": name, "addr": address6},
    "advance": {"seconds": positive_number},
    "snapshot": {},
    "lowest6": INTF,
    "dump": {"what": (what_to_dump, "tables"), "verbose": (boolean, False),
             "maxEntries": (count, 100), "indent": (count, 0)},
    "expect": {"rows": (rows_by_vrf, None),
               "lookup": (object_of({"vrf": name, "addr": any_address, "intf": intf_or_null}),
                          None)},
}
READERS = {op: object_of({"op": text, "at": (number, None), **fields})
           for op, fields in FIELDS.items()}


class Router:
    """One router's inputs, directory of tables and manager. `write` gets the finished lines."""

    def __init__(self, write, events: bool = False, trace_level: int = -1,
                 trace_classes: list[str] | None = None):
        self.output = write, events, trace_level, trace_classes
        self.run: Run | None = None

    def start(self, config: Config) -> None:
        self.run = Run(config, *self.output)
        self.inputs = Inputs(self.run)
        self.directory = Keyed(self.run, "handle_intf_addr_vrf_table")
        self.manager: IntfAddrVrfTableManager | None = None
        self.manager_start()

    def started(self) -> None:
        """A scenario without operations starts the router, too."""
        if not self.run:
            self.start(Config())

    def apply(self, line: int, source: str) -> None:
        """Raises ScenarioError, BrokenInvariant or ExpectationFailed; each ends the run."""
        try:
            operation = json.loads(source, object_pairs_hook=members_once)
            if type(operation) is not dict or type(operation.get("op")) is not str:
                raise ValueError("no object with an op")
            op = operation["op"]
            if op not in READERS:
                raise ValueError(f"unknown op {op!r}")
            fields = READERS[op](operation)
            if op == "config" and self.run:
                raise ValueError("config is not the first operation")
            del fields["op"]
            at = fields.pop("at")
            if at is not None and at < (self.run.now if self.run else 0.0):
                raise ValueError(f"at {at} is in the past")
            if not self.run:
                self.start(self.config_of(fields) if op == "config" else Config())
            self.check(op, **fields)
        except ValueError as error:
            raise ScenarioError(line, str(error)) from error
        if at is not None:
            self.run.scheduler.move_to(at)
        self.line = line
        if op != "config":
            getattr(self, op.replace(".", "_"))(**fields)
        if failure := self.run.failure:
            self.run.failure = None
            self.run.print("error", compact({"line": line, "message": str(failure)}))

    @staticmethod
    def config_of(fields: dict) -> Config:
        return Config(fields["intfCleanupDelay"], fields["deferredIntfAddDelay"],
                      fields["ignoreKernelInterfaceState"], fields["taskPriority"],
                      fields["yieldEvery"])

    def check(self, op: str, vrf: str = "", intf: str = "", addr=None, rows=None, lookup=None,
              **_) -> None:
        """What the operation needs must be there."""
        def need(condition, what: str) -> None:
            if not condition:
                raise ValueError(f"{what} does not exist")

        family, _, what = op.partition(".")
        if op in ("table.del", "lowest6"):
            need(vrf in self.directory.members, f"table {vrf}")
        elif op == "manager.stop":
            need(self.manager, "manager")
        elif op == "manager.start" and self.manager:
            raise ValueError("the manager runs")
        elif family in ("ip", "ip6") and what != "vrf.add":
            status = (self.inputs.ip if family == "ip" else self.inputs.ip6).members.get(vrf)
            need(status, f"status of VRF {vrf}")
            if what not in ("vrf.del", "intf.add"):
                interface = status.members.get(intf)
                need(interface, f"status of interface {intf}")
                if op == "ip.secondary.del":
                    need(addr in interface.secondaries, "address")
                elif op == "ip6.addr.del":
                    need(addr in interface.deprecated, "address")
        elif op == "kernel.del":
            need(intf in self.inputs.kernel(vrf).members, f"kernel interface {intf}")
        elif op == "vip.del":
            need((vrf, addr) in self.inputs.virtual_ips.members, "virtual address")
        elif op == "vip6.del":
            need((vrf, addr) in self.inputs.virtual_ip6s.members, "virtual address")
        elif op == "expect":
            for each in [*(rows or {}), *([lookup["vrf"]] if lookup else [])]:
                need(each in self.directory.members, f"table {each}")

    # Operations, one method each.

    def manager_start(self) -> None:
        self.manager = IntfAddrVrfTableManager(self.run, self.inputs, self.directory)

    def manager_stop(self) -> None:
        self.manager.destroy()
        self.manager = None

    def table_add(self, vrf: str) -> None:
        self.directory.is_(vrf, Table(self.run, vrf, self.directory.members))

    def table_del(self, vrf: str) -> None:
        self.directory.del_(vrf)

    def ip_vrf_add(self, vrf: str) -> None:
        self.inputs.ip.is_(vrf, VrfIpIntfStatus(self.run))

    def ip_vrf_del(self, vrf: str) -> None:
        self.inputs.ip.del_(vrf)

    def ip6_vrf_add(self, vrf: str) -> None:
        self.inputs.ip6.is_(vrf, VrfIp6IntfStatus(self.run))

    def ip6_vrf_del(self, vrf: str) -> None:
        self.inputs.ip6.del_(vrf)

    def ip_intf_add(self, vrf: str, intf: str, primary, unnumbered: str, secondary: list) -> None:
        status = IpIntfStatus(self.run, intf, primary, unnumbered, secondary)
        self.inputs.ip.members[vrf].is_(intf, status)

    def ip_intf_del(self, vrf: str, intf: str) -> None:
        self.inputs.ip.members[vrf].del_(intf)

    def ip_intf(self, vrf: str, intf: str) -> IpIntfStatus:
        return self.inputs.ip.members[vrf].members[intf]

    def ip_primary(self, vrf: str, intf: str, addr) -> None:
        self.ip_intf(vrf, intf).primary_is(addr)

    def ip_unnumbered(self, vrf: str, intf: str, source: str) -> None:
        self.ip_intf(vrf, intf).unnumbered_is(source)

    def ip_secondary_add(self, vrf: str, intf: str, addr) -> None:
        self.ip_intf(vrf, intf).secondary_is(addr)

    def ip_secondary_del(self, vrf: str, intf: str, addr) -> None:
        self.ip_intf(vrf, intf).secondary_del(addr)

    def ip6_intf_add(self, vrf: str, intf: str, addrs: list) -> None:
        status = Ip6IntfStatus(self.run, intf,
                               {each["addr"]: each["deprecated"] for each in addrs})
        self.inputs.ip6.members[vrf].is_(intf, status)

    def ip6_intf_del(self, vrf: str, intf: str) -> None:
        self.inputs.ip6.members[vrf].del_(intf)

    def ip6_addr_set(self, vrf: str, intf: str, addr, deprecated: bool) -> None:
        self.inputs.ip6.members[vrf].members[intf].addr_is(addr, deprecated)

    def ip6_addr_del(self, vrf: str, intf: str, addr) -> None:
        self.inputs.ip6.members[vrf].members[intf].addr_del(addr)

    def kernel_add(self, vrf: str, intf: str, **device) -> None:
        self.inputs.kernel(vrf).is_(intf, device)

    def kernel_del(self, vrf: str, intf: str) -> None:
        self.inputs.kernel(vrf).del_(intf)

    def vip_add(self, vrf: str, addr) -> None:
        if (vrf, addr) not in self.inputs.virtual_ips.members:
            self.inputs.virtual_ips.is_((vrf, addr), True)

    def vip_del(self, vrf: str, addr) -> None:
        self.inputs.virtual_ips.del_((vrf, addr))

    def vip6_add(self, vrf: str, addr: Address) -> None:
        if (vrf, addr) not in self.inputs.virtual_ip6s.members:
            self.inputs.virtual_ip6s.is_((vrf, addr), True)

    def vip6_del(self, vrf: str, addr: Address) -> None:
        self.inputs.virtual_ip6s.del_((vrf, addr))

    def advance(self, seconds: float) -> None:
        self.run.scheduler.move_to(self.run.now + seconds)

    def snapshot(self) -> None:
        self.run.print("snapshot", compact(snapshot(self.directory.members, self.machines())))

    def lowest6(self, vrf: str, intf: str) -> None:
        row = lowest6(self.directory.members[vrf], intf)
        addr = address_text(row.content.key.addr) if row else None
        self.run.print("lowest6", compact({"vrf": vrf, "intf": intf, "addr": addr}))

    def dump(self, **_) -> None:
        """What a dump looks like is nothing to compare."""

    def expect(self, rows, lookup) -> None:
        failed = False
        if rows is not None:
            found = {vrf: sorted(map(content_text, self.directory.members[vrf].rows))
                     for vrf in rows}
            expected = {vrf: sorted(texts) for vrf, texts in rows.items()}
            failed |= self.differ({"rows": expected}, {"rows": found})
        if lookup is not None:
            vrf, addr, intf = lookup["vrf"], lookup["addr"], lookup["intf"]
            where = {"vrf": vrf, "addr": address_text(addr)}
            owner = self.owner(vrf, addr, intf)
            failed |= self.differ({"lookup": {**where, "intf": intf}},
                                  {"lookup": {**where, "intf": owner}})
        if failed:
            raise ExpectationFailed

    def owner(self, vrf: str, addr: Address, intf: str | None) -> str | None:
        """A link-local address may have one on each interface: that on `intf`, or else any."""
        by_addr = self.directory.members[vrf].by_addr
        key = ip_key(addr)
        if is_v6_link_local(addr):
            intfs = [intf] if intf else [each.intf for each in by_addr]
            keys = [link_local_key(addr, each) for each in sorted(intfs)]
            key = next((each for each in keys if each in by_addr), key)
        return by_addr[key].content.intf if key in by_addr else None

    def differ(self, expected: dict, found: dict) -> bool:
        if expected != found:
            self.run.print("expect", compact({"line": self.line, "expected": expected,
                                              "found": found}))
        return expected != found

    def machines(self) -> dict:
        return self.manager.machines if self.manager else {}
