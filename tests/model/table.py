"""The addresses of one VRF: rows and their three indexes. A mutator changes the one collection
that it names, and tells its observers; keeping the four in step is the machines' business."""

from run import Run
from values import Content, EntryKey, Prefix


class Row:
    """Rows are told apart by identity: two of equal content may exist one after the other."""

    def __init__(self, content: Content):
        self.content = content


class SubnetSet:
    def __init__(self, intf: str, subnet: Prefix):
        self.intf = intf
        self.subnet = subnet
        self.rows: dict[EntryKey, Row] = {}
        self.deprecated: dict[EntryKey, Row] = {}


class Table:
    def __init__(self, run: Run, vrf: str, directory: dict):
        self.run = run
        self.vrf = vrf
        self.directory = directory  # holds this table, as long as it is in use
        self.observers: list = []
        self.vrf_ip_intf_status = None
        self.vrf_ip6_intf_status = None
        self.rows: dict[Content, Row] = {}
        self.by_addr: dict[EntryKey, Row] = {}
        self.by_subnet: dict[Prefix, SubnetSet] = {}
        self.link_local: dict[str, Row] = {}

    def vrf_ip_intf_status_is(self, status) -> None:
        if status is not self.vrf_ip_intf_status:
            self.vrf_ip_intf_status = status
            self.run.notify(self.observers, "vrf_ip_intf_status_is", status)

    def vrf_ip6_intf_status_is(self, status) -> None:
        if status is not self.vrf_ip6_intf_status:
            self.vrf_ip6_intf_status = status
            self.run.notify(self.observers, "vrf_ip6_intf_status_is", status)

    def row_is(self, content: Content) -> Row:
        if content not in self.rows:
            self.rows[content] = Row(content)
            self._row_changed(content)
        return self.rows[content]

    def row_del(self, content: Content) -> None:
        if self.rows.pop(content, None):
            self._row_changed(content)

    def _row_changed(self, content: Content) -> None:
        self._event("intfAddrEntry", content, self.rows)
        self.run.notify(self.observers, "handle_intf_addr_entry", content)

    def by_addr_is(self, row: Row) -> None:
        self.by_addr[row.content.key] = row
        self._event("intfAddrEntryFromAddr", row.content.key, self.by_addr)

    def by_addr_del(self, key: EntryKey) -> None:
        if self.by_addr.pop(key, None):
            self._event("intfAddrEntryFromAddr", key, self.by_addr)

    def by_subnet_is(self, subnet_set: SubnetSet) -> None:
        self.by_subnet[subnet_set.subnet] = subnet_set
        self._event("intfAddrEntrySetFromSubnet", subnet_set.subnet, self.by_subnet)

    def by_subnet_del(self, subnet: Prefix) -> None:
        if self.by_subnet.pop(subnet, None):
            self._event("intfAddrEntrySetFromSubnet", subnet, self.by_subnet)

    def link_local_is(self, row: Row) -> None:
        self.link_local[row.content.intf] = row
        self._event("llIntfAddrEntryFromIntfId", row.content.intf, self.link_local)

    def link_local_del(self, intf: str) -> None:
        if self.link_local.pop(intf, None):
            self._event("llIntfAddrEntryFromIntfId", intf, self.link_local)

    def _event(self, attribute: str, key, collection: dict) -> None:
        if self.directory.get(self.vrf) is self:
            self.run.event(self.vrf, attribute, key, key in collection)
