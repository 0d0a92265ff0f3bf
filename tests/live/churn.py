"""What happens to a machine at random, and what an agent has to make of it.

What the rules themselves lead astray (scenarios/known) is left out: an address stands on an
interface with one length only, and what may be deprecated is in a subnet that no other interface
ever has, beside an address that is preferred for as long.
"""

import ipaddress
import subprocess

from live import machine

VRFS = ("red", "green", "blue")
PAIRS = 50
# That others may borrow, and that is on lo.
LENT = "192.0.2.1/32"


class Churn:
    def __init__(self, random):
        self.random = random
        self.made = 0
        for vrf in VRFS:
            machine.make_vrf(vrf)
            machine.ip("addr", "add", LENT, "dev", "lo", vrf=vrf)

    def step(self):
        """A few hundred changes, some of which the kernel refuses."""
        self._maybe_remake_a_vrf()
        there = {vrf: {link["ifname"]: link["ifindex"] for link in machine.links(vrf)
                       if link["ifname"] != "lo"} for vrf in VRFS}
        new = self._new_pairs(there)
        self._move_some(there)
        running = [self._start(vrf, self._changes(there[vrf])) for vrf in VRFS]
        if self.random.random() < 0.3:
            machine.sysctl(self.random.choice(VRFS), "ipv4/conf/all/promote_secondaries",
                           self.random.choice((0, 1)))
        for process in running:
            process.communicate(timeout=60)
        self._start("default", new).communicate(timeout=60)

    def _start(self, vrf, lines):
        process = subprocess.Popen(["ip", *machine.in_vrf(vrf), "-force", "-batch", "-"],
                                   stdin=subprocess.PIPE, stdout=subprocess.DEVNULL,
                                   stderr=subprocess.DEVNULL, text=True)
        process.stdin.write("\n".join(lines) + "\n")
        process.stdin.flush()
        return process

    def _maybe_remake_a_vrf(self):
        if self.random.random() < 0.1:
            vrf = self.random.choice(VRFS)
            machine.remove_vrf(vrf)
            machine.make_vrf(vrf)
            machine.ip("addr", "add", LENT, "dev", "lo", vrf=vrf)

    def _new_pairs(self, there):
        lines = []
        for _ in range(PAIRS - sum(map(len, there.values())) // 2):
            self.made += 1
            one, other = self.random.choices(VRFS, k=2)
            lines += [f"link add e{self.made} netns ns-{one} type veth "
                      f"peer name p{self.made} netns ns-{other}"]
        return lines

    def _move_some(self, there):
        for vrf in VRFS:
            if there[vrf] and self.random.random() < 0.5:
                moved = self.random.sample(list(there[vrf]), min(3, len(there[vrf])))
                self._start(vrf, [f"link set {name} netns ns-{self.random.choice(VRFS)}"
                                  for name in moved]).communicate(timeout=60)

    def _changes(self, indexes):
        names = list(indexes)
        lines = []
        for _ in range(self.random.randrange(150) if names else 0):
            name = self.random.choice(names)
            make = self.random.choices(
                (self._address, self._own_address, self._no_address, self._up, self._down,
                 self._delete, self._flush, self._borrow), (45, 20, 20, 15, 8, 1, 1, 2))[0]
            lines += make(name, indexes[name])
        # When nothing goes by the old names any more.
        for _ in range(self.random.randrange(5) if names else 0):
            make = self.random.choice((self._rename, self._swap))
            lines += make(*self.random.choices(names, k=2))
        return lines

    def _subnet(self, name):
        """Of an interface alone as a rule; one that others have too sometimes."""
        return sum(map(ord, name)) * 7 % 190 if self.random.random() < 0.9 else 200

    def _address(self, name, _):
        verb = self.random.choice(("add", "replace"))
        subnet = self._subnet(name)
        host = self.random.randrange(1, 9)
        text = self.random.choice((
            f"10.1.{subnet}.{host} peer 10.1.{subnet}.{self.random.randrange(9, 12)}/24",
            f"10.2.{subnet}.{host} peer 10.3.{subnet}.{host}/24",
            f"10.4.{subnet}.{host}/24 scope {self.random.choice(('link', 'host', '77'))}",
            f"10.5.{subnet}.{host}/24",
            f"10.5.{subnet}.{host}/24",
            f"2001:db8:{subnet}::{host}/64 nodad",
            f"2001:db8:{subnet}:2::{host}/64",
            f"fe80::{sum(map(ord, name)):x}:{self.random.randrange(3)}/64 nodad"))
        return [f"addr {verb} {text} dev {name}"]

    def _own_address(self, name, index):
        subnet = f"2001:db8:ffff:{index:x}"
        address = f"{subnet}::{self.random.randrange(1, 9)}/64"
        text = self.random.choice((
            f"replace {address} nodad",
            f"replace {address} nodad preferred_lft 0",
            f"del {address}",
            f"replace {address} nodad valid_lft {self.random.randrange(2, 5)} "
            f"preferred_lft {self.random.randrange(1, 3)}"))
        return [f"addr replace {subnet}::ff/64 nodad dev {name}", f"addr {text} dev {name}"]

    def _no_address(self, name, _):
        subnet = self._subnet(name)
        host = self.random.randrange(1, 9)
        text = self.random.choice((
            f"10.4.{subnet}.{host}/24", f"10.5.{subnet}.{host}/24", f"2001:db8:{subnet}::{host}/64",
            f"2001:db8:{subnet}:2::{host}/64", f"10.1.{subnet}.{host} peer 10.1.{subnet}.9/24"))
        return [f"addr del {text} dev {name}"]

    def _up(self, name, _):
        return [f"link set {name} up"]

    def _down(self, name, _):
        return [f"link set {name} down"]

    def _delete(self, name, _):
        return [f"link del {name}"]

    def _flush(self, name, _):
        return [f"addr flush dev {name}"]

    def _borrow(self, name, _):
        return [f"addr flush dev {name}", f"addr add {LENT} dev {name}"]

    def _rename(self, name, _):
        self.made += 1
        return [f"link set {name} name {name[0]}{self.made}"]

    def _swap(self, name, other):
        return [f"link set {name} name x", f"link set {other} name {name}",
                f"link set x name {other}"]


def differences(snapshot):
    """Of the tables, and of what follows from the events, from what `ip` says now."""
    there = {vrf: machine.published(vrf) for vrf in VRFS}
    return [difference for vrf in VRFS for difference in _of_vrf(snapshot, vrf, there[vrf])]


def _of_vrf(snapshot, vrf, there):
    table = snapshot.vrfs.get(vrf)
    if table is None:
        return [f"{vrf}: is missing"]
    if table["stale"]:
        return [f"{vrf}: is stale: {table['stale']}"]
    rows = {(row["interface"], _address(row)): row for row in table["rows"]}
    waiting = {(row["interface"], _address(row)): row for row in table["waiting"]}
    found = []
    if len(rows) + len(waiting) != len(table["rows"]) + len(table["waiting"]):
        found.append(f"{vrf}: something is there twice")
    found += [f"{vrf}: {key} is missing" for key in there.keys() - rows.keys() - waiting.keys()]
    found += [f"{vrf}: {key} is too much" for key in (rows.keys() | waiting.keys()) - there.keys()]
    found += [f"{vrf}: {key} stands and waits" for key in rows.keys() & waiting.keys()]
    for key, row in rows.items():
        deprecated = {"DEPRECATED": True, "PREFERRED": False}.get(row["state"])
        if deprecated not in (None, there.get(key, False)):
            found.append(f"{vrf}: {row} is not as deprecated as it should be")
        if row["subnet"] != str(key[1].network):
            found.append(f"{vrf}: {row} is in another subnet")
    found += _unfounded(vrf, rows, waiting)
    told = {(intf, address, subnet) for name, intf, address, subnet in snapshot.replica
            if name == vrf}
    shown = {(row["interface"], row["address"], row["subnet"]) for row in rows.values()}
    found += [f"{vrf}: events and snapshot differ: {row}" for row in told ^ shown]
    return found


def _address(row):
    return ipaddress.ip_interface(f"{row['address']}/{row['prefixLength']}")


def _unfounded(vrf, rows, waiting):
    """A subnet stands on one interface; who waits, waits for one that holds it."""
    holders = {}
    found = []
    for intf, address in rows:
        place = (intf,) if address.ip.is_link_local else address.network
        before = holders.setdefault(place, (intf, address))
        if before[0] != intf or (address.ip.is_link_local and before != (intf, address)):
            found.append(f"{vrf}: {place} is held by {before} and {intf}")
    for intf, address in waiting:
        place = (intf,) if address.ip.is_link_local else address.network
        holder = holders.get(place)
        if not holder or (holder[0] == intf) != address.ip.is_link_local:
            found.append(f"{vrf}: {address} on {intf} waits, for {holder}")
        elif (waiting[intf, address]["waitsFor"] or {}).get("interface") != holder[0]:
            found.append(f"{vrf}: {waiting[intf, address]} waits for {holder}, in truth")
    return found
