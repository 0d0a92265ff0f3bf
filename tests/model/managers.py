"""Binds each table of the directory to its VRF's status, and runs one machine for each table."""

from inputs import Inputs, Keyed
from rules import IntfAddrVrfTableSm
from run import RangeError, Run

LONGEST_NAMESPACE_NAME = 150  # bytes


class AllIntfAddrVrfTableSm:
    def __init__(self, run: Run, inputs: Inputs, directory: Keyed):
        self.run = run
        self.inputs = inputs
        self.directory = directory
        for watched in (inputs.ip, inputs.ip6, directory):
            watched.observers.append(self)
        self.trace("handleInitialized", "{} tables", len(directory.members))
        run.walk(directory.members, self.handle_intf_addr_vrf_table)

    def destroy(self) -> None:
        for watched in (self.inputs.ip, self.inputs.ip6, self.directory):
            watched.observers.remove(self)

    def trace(self, function: str, template: str, *values) -> None:
        self.run.trace(8, "AllIntfAddrVrfTableSm", function, template, *values)

    def table_of(self, function: str, vrf: str):
        table = self.directory.members.get(vrf)
        self.trace(function, "vrf {} isTablePresent {}", vrf, table is not None)
        return table

    def handle_vrf_ip_intf_status(self, vrf: str) -> None:
        if table := self.table_of("handleVrfIpIntfStatus", vrf):
            table.vrf_ip_intf_status_is(self.inputs.ip.members.get(vrf))

    def handle_vrf_ip6_intf_status(self, vrf: str) -> None:
        if table := self.table_of("handleVrfIp6IntfStatus", vrf):
            table.vrf_ip6_intf_status_is(self.inputs.ip6.members.get(vrf))

    def handle_intf_addr_vrf_table(self, vrf: str) -> None:
        if table := self.table_of("handleIntfAddrVrfTable", vrf):
            table.vrf_ip_intf_status_is(self.inputs.ip.members.get(vrf))
            table.vrf_ip6_intf_status_is(self.inputs.ip6.members.get(vrf))


class IntfAddrVrfTableSmManager:
    def __init__(self, run: Run, inputs: Inputs, directory: Keyed):
        self.run = run
        self.inputs = inputs
        self.directory = directory
        self.machines: dict[str, IntfAddrVrfTableSm] = {}
        directory.observers.append(self)
        self.trace("handleInitialized", "{} tables", len(directory.members))
        run.walk(directory.members, self.handle_intf_addr_vrf_table)

    def destroy(self) -> None:
        self.directory.observers.remove(self)
        while self.machines:
            self.machine_del(next(iter(self.machines)))

    def trace(self, function: str, template: str, *values) -> None:
        self.run.trace(8, "IntfAddrVrfTableSmManager", function, template, *values)

    def handle_intf_addr_vrf_table(self, vrf: str) -> None:
        """A table that is there always gets a new machine, which is made before the old one goes;
        one that is not loses its machine."""
        table = self.directory.members.get(vrf)
        self.trace("handleIntfAddrVrfTable", "vrf {} isTablePresent {}", vrf, table is not None)
        if table is None:
            self.machine_del(vrf)
            return
        if vrf != "default" and len(f"ns-{vrf}".encode()) > LONGEST_NAMESPACE_NAME:
            raise RangeError(f"Zin::String::bytes > {LONGEST_NAMESPACE_NAME} not allowed")
        machine = IntfAddrVrfTableSm(self.run, vrf, self.inputs, table)
        replaced = self.machines.get(vrf)
        self.machines[vrf] = machine
        if replaced:
            replaced.destroy()

    def machine_del(self, vrf: str) -> None:
        machine = self.machines.pop(vrf, None)
        if machine:
            machine.destroy()


class IntfAddrVrfTableManager:
    def __init__(self, run: Run, inputs: Inputs, directory: Keyed):
        self.wiring = AllIntfAddrVrfTableSm(run, inputs, directory)
        self.machines_manager = IntfAddrVrfTableSmManager(run, inputs, directory)

    @property
    def machines(self) -> dict[str, IntfAddrVrfTableSm]:
        return self.machines_manager.machines

    def destroy(self) -> None:
        self.wiring.destroy()
        self.machines_manager.destroy()
