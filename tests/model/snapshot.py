"""The state of the tables as a scenario prints it: sorted, so that it can be compared."""

import json

from table import Row, Table
from values import (FAMILY_NAME, EntryKey, address_text, ip_key, is_v6_link_local, address_of,
                    masked_text)


def compact(value) -> str:
    return json.dumps(value, separators=(",", ":"), ensure_ascii=False)


def snapshot(directory: dict[str, Table], machines: dict) -> dict:
    return {vrf: table_snapshot(table, machines.get(vrf))
            for vrf, table in sorted(directory.items())}


def table_snapshot(table: Table, machine) -> dict:
    deferred = machine.deferred if machine else {}
    backlog = machine.cleanup_backlog if machine else None
    return {
        "rows": [row_json(table.rows[content]) for content in sorted(table.rows)],
        "byAddr": [row_json(table.by_addr[key]) for key in sorted(table.by_addr)],
        "subnets": [{"subnet": masked_text(subnet), "intf": subnet_set.intf,
                     "entries": [key_json(key) for key in sorted(subnet_set.rows)],
                     "deprecated": [key_json(key) for key in sorted(subnet_set.deprecated)]}
                    for subnet, subnet_set in sorted(table.by_subnet.items())],
        "linkLocal": {intf: address_text(row.content.key.addr)
                      for intf, row in sorted(table.link_local.items())},
        "deferred": [{"intf": key.intf, "addr": masked_text(key.addr)}
                     for key in sorted(deferred)],
        "cleanup": [{"intf": intf, "af": FAMILY_NAME[family], "since": request.time}
                    for (intf, family), request in sorted((backlog.pending if backlog else {})
                                                          .items())],
    }


def key_json(key: EntryKey) -> dict:
    return {"intf": key.intf, "addr": address_text(key.addr), "vip": key.virtual}


def row_json(row: Row) -> dict:
    return {"key": key_json(row.content.key), "intf": row.content.intf,
            "subnet": masked_text(row.content.subnet)}


def lowest6(table: Table, intf: str) -> Row | None:
    """The row of the lowest global address that the interface's status lists, if it has one."""
    status = table.vrf_ip6_intf_status and table.vrf_ip6_intf_status.members.get(intf)
    addrs = [addr for addr in status.deprecated if not is_v6_link_local(addr)] if status else []
    if not addrs:
        return None
    return table.by_addr.get(ip_key(min(map(address_of, addrs))))
