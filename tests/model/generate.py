#!/usr/bin/env python3
"""Random scenarios, weighted towards trouble: few interfaces and addresses, much that conflicts,
and times at and around the delays. The same seed makes the same scenario.

    generate.py SEED [--operations N] [--profile NAME]
"""

import argparse
import json
import random
from dataclasses import dataclass, field


@dataclass(frozen=True)
class Profile:
    """How a scenario goes about: the weights of its operations, and how it chooses addresses."""

    weights: dict[str, int] = field(default_factory=dict)
    foreign: float = 0.1  # chance of an address that another interface uses, too
    other_length: float = 0.0  # chance of another prefix length than the address usually has
    deprecated: float = 0.1  # chance of a deprecated address
    deprecated_link_local: float = 0.0
    link_locals: int = 1  # of each interface
    vrfs: int = 1
    ignore_kernel: float = 0.3  # chance of ignoring it
    unset_up: float = 0.0  # chance of starting without a table, a status or a device


BASE = {"ip_intf": 3, "ip6_intf": 3, "ip_flap": 3, "ip6_flap": 3, "primary": 4, "unnumbered": 1,
        "secondary": 5, "addr6": 6, "deprecate": 3, "snapshot": 4, "lowest6": 2, "advance": 6}
KERNEL = {"device": 3, "kernel_again": 1, "kernel_flap": 4}
VIRTUAL = {"vip": 3, "vip6": 3}
WIRING = {"ip_vrf": 3, "ip6_vrf": 3, "ip_vrf_again": 1, "ip6_vrf_again": 1, "table": 3,
          "table_again": 2, "manager": 3}

PROFILES = {
    "gentle": Profile({**BASE, **VIRTUAL, "kernel_flap": 2}, foreign=0.02, deprecated=0.05),
    "conflict": Profile({**BASE, "kernel_flap": 1}, foreign=0.4, deprecated=0.0),
    "lengths": Profile({**BASE, "primary": 8}, foreign=0.1, other_length=0.25, deprecated=0.02),
    "deprecated": Profile({**BASE, "deprecate": 10, "addr6": 10}, deprecated=0.4, foreign=0.05),
    "linklocal": Profile({**BASE, **KERNEL, "addr6": 14}, link_locals=3,
                         deprecated_link_local=0.1, other_length=0.05),
    "kernel": Profile({**BASE, **KERNEL, **VIRTUAL}, ignore_kernel=0.05, foreign=0.15,
                      unset_up=0.2),
    "wiring": Profile({**BASE, **WIRING, **VIRTUAL, "kernel_flap": 1}, foreign=0.05, vrfs=2,
                      unset_up=0.3),
    "crowd4": Profile({"ip_intf": 2, "ip_flap": 3, "primary": 4, "secondary": 10, "unnumbered": 1,
                       "device": 1, "kernel_flap": 1, "advance": 8, "snapshot": 3},
                      foreign=0.4, other_length=0.3, ignore_kernel=0.7),
    "crowd6": Profile({"ip6_intf": 2, "ip6_flap": 3, "addr6": 12, "deprecate": 6, "device": 1,
                       "kernel_flap": 1, "advance": 8, "snapshot": 3, "lowest6": 1},
                      foreign=0.3, other_length=0.3, deprecated=0.4, link_locals=2,
                      deprecated_link_local=0.05, ignore_kernel=0.7),
    "wild": Profile({**BASE, **KERNEL, **WIRING, **VIRTUAL}, foreign=0.3, other_length=0.15,
                    deprecated=0.2, deprecated_link_local=0.05, link_locals=2, vrfs=2,
                    unset_up=0.3),
}


class Generator:
    """Keeps in mind what exists, so that every operation is a valid one."""

    def __init__(self, seed: int, operations: int, profile: str | None = None):
        self.random = random.Random(seed)
        self.seed = seed
        self.operations = operations
        self.profile_name = profile or self.random.choice(list(PROFILES))
        self.profile = PROFILES[self.profile_name]
        self.lines: list[str] = []
        self.now = 0.0
        self.vrfs = ["default", "red"][:self.profile.vrfs]
        self.intfs = [f"Ethernet{n + 1}" for n in range(self.random.randint(2, 4))]
        self.running = True
        self.tables: set[str] = set()
        self.ip: dict[str, dict[str, dict]] = {}
        self.ip6: dict[str, dict[str, dict[str, bool]]] = {}
        self.kernel: set[tuple[str, str]] = set()
        self.vips: set[tuple[str, str]] = set()
        self.vip6s: set[tuple[str, str]] = set()

    def scenario(self) -> list[str]:
        self.lines.append(f"# profile {self.profile_name}, seed {self.seed}, "
                          f"{self.operations} operations")
        self.configure()
        self.set_up()
        kinds, weights = zip(*self.profile.weights.items())
        while len(self.lines) < self.operations:
            getattr(self, self.random.choices(kinds, weights)[0])()
        if self.chance(0.5):
            self.say("advance", seconds=16.0)
        self.say("snapshot")
        return self.lines

    # What everything else is made of.

    def say(self, op: str, **fields) -> None:
        line = {"op": op, **fields}
        if op not in ("config", "advance") and self.chance(0.35):
            self.now += self.step()
            line["at"] = self.now
        if op == "advance":
            self.now += fields["seconds"]
        self.lines.append(json.dumps(line, separators=(",", ":")))

    def chance(self, probability: float) -> bool:
        return self.random.random() < probability

    def choose(self, choices):
        """One of the choices; of a set always the same with the same seed."""
        return self.random.choice(sorted(choices) if isinstance(choices, set) else list(choices))

    def step(self) -> float:
        delay = self.choose(self.delays)
        return self.choose([0.0, self.grain, 4 * self.grain, delay, max(delay - self.grain, 0.0),
                            delay + self.grain, sum(self.delays)])

    def configure(self) -> None:
        self.grain = 0.125
        cleanup = self.choose([1.5, 1.5, 1.5, 1.5, 0.5, 2.0, 3.0, 0.0, 0.0, -1.0])
        deferred = self.choose([2.0, 2.0, 2.0, 2.0, 0.5, 1.5, 0.0, 0.0, -0.5])
        if self.chance(0.05):  # seconds that binary fractions do not hold
            self.grain, cleanup, deferred = 0.1, 0.3, 0.7
        self.delays = [max(cleanup, 0.0), max(deferred, 0.0)]
        if self.chance(0.1):
            self.delays = [1.5, 2.0]
            return  # the defaults
        self.say("config", intfCleanupDelay=cleanup, deferredIntfAddDelay=deferred,
                 ignoreKernelInterfaceState=self.chance(self.profile.ignore_kernel),
                 yieldEvery=self.choose([0, 0, 0, 1, 2]))

    def set_up(self) -> None:
        steps = []
        for vrf in self.vrfs:
            steps += [(self.table, vrf), (self.ip_vrf, vrf), (self.ip6_vrf, vrf)]
            steps += [(self.kernel_add, vrf, intf) for intf in self.intfs]
        steps = [step for step in steps if not self.chance(self.profile.unset_up)]
        self.random.shuffle(steps)
        for step in steps:
            step[0](*step[1:])

    # Addresses. Each interface has a few of its own; some chance makes it use another's.

    def owner(self, intf: str) -> int:
        if self.chance(self.profile.foreign):
            intf = self.choose(self.intfs)
        return self.intfs.index(intf) + 1

    def length(self, usual: int, other: int) -> int:
        return other if self.chance(self.profile.other_length) else usual

    def addr4(self, intf: str) -> str:
        host = self.random.randint(1, 3)
        return f"10.0.{self.owner(intf)}.{host}/{self.length(24, 16)}"

    def addr6(self) -> None:
        if not (place := self.interface_of(self.ip6)):
            return
        vrf, intf, addrs = place
        if addrs and self.chance(0.4):
            addr = self.choose(addrs)
            del addrs[addr]
            self.say("ip6.addr.del", vrf=vrf, intf=intf, addr=addr)
        else:
            addr, deprecated = self.new_addr6(intf)
            addrs[addr] = deprecated
            self.say("ip6.addr.set", vrf=vrf, intf=intf, addr=addr, deprecated=deprecated)

    def new_addr6(self, intf: str) -> tuple[str, bool]:
        if self.chance(0.3):
            host = self.random.randint(1, self.profile.link_locals)
            return (f"fe80::{host}/{self.length(64, 10)}",
                    self.chance(self.profile.deprecated_link_local))
        host = self.random.randint(1, 3)
        return (f"2001:db8:{self.owner(intf)}::{host}/{self.length(64, 48)}",
                self.chance(self.profile.deprecated))

    # Status.

    def interface_of(self, status: dict) -> tuple | None:
        places = [(vrf, intf) for vrf in status for intf in status[vrf]]
        if not places:
            return None
        vrf, intf = self.choose(places)
        return vrf, intf, status[vrf][intf]

    def ip_vrf(self, vrf: str | None = None) -> None:
        vrf = vrf or self.choose(self.vrfs)
        if vrf in self.ip:
            del self.ip[vrf]
            self.say("ip.vrf.del", vrf=vrf)
        else:
            self.ip[vrf] = {}
            self.say("ip.vrf.add", vrf=vrf)

    def ip_vrf_again(self) -> None:
        if self.ip:
            vrf = self.choose(self.ip)
            self.ip[vrf] = {}
            self.say("ip.vrf.add", vrf=vrf)

    def ip6_vrf(self, vrf: str | None = None) -> None:
        vrf = vrf or self.choose(self.vrfs)
        if vrf in self.ip6:
            del self.ip6[vrf]
            self.say("ip6.vrf.del", vrf=vrf)
        else:
            self.ip6[vrf] = {}
            self.say("ip6.vrf.add", vrf=vrf)

    def ip6_vrf_again(self) -> None:
        if self.ip6:
            vrf = self.choose(self.ip6)
            self.ip6[vrf] = {}
            self.say("ip6.vrf.add", vrf=vrf)

    def ip_intf(self) -> None:
        if not self.ip:
            return
        vrf, intf = self.choose(self.ip), self.choose(self.intfs)
        if intf in self.ip[vrf] and self.chance(0.7):
            del self.ip[vrf][intf]
            self.say("ip.intf.del", vrf=vrf, intf=intf)
            return
        status = {"secondary": {self.addr4(intf) for _ in range(self.random.randint(0, 2))}}
        if self.chance(0.8):
            status["primary"] = self.addr4(intf)
        if self.chance(0.1):
            status["unnumbered"] = self.choose(self.intfs)
        self.ip_intf_add(vrf, intf, status)

    def ip_intf_add(self, vrf: str, intf: str, status: dict) -> None:
        self.ip[vrf][intf] = status
        self.say("ip.intf.add", vrf=vrf, intf=intf,
                 **{**status, "secondary": sorted(status["secondary"])})

    def ip_flap(self) -> None:
        if place := self.interface_of(self.ip):
            vrf, intf, status = place
            self.say("ip.intf.del", vrf=vrf, intf=intf)
            self.wait()
            self.ip_intf_add(vrf, intf, status)

    def ip6_intf(self) -> None:
        if not self.ip6:
            return
        vrf, intf = self.choose(self.ip6), self.choose(self.intfs)
        if intf in self.ip6[vrf] and self.chance(0.7):
            del self.ip6[vrf][intf]
            self.say("ip6.intf.del", vrf=vrf, intf=intf)
        else:
            self.ip6_intf_add(vrf, intf, dict(self.new_addr6(intf)
                                              for _ in range(self.random.randint(0, 3))))

    def ip6_intf_add(self, vrf: str, intf: str, addrs: dict[str, bool]) -> None:
        self.ip6[vrf][intf] = addrs
        self.say("ip6.intf.add", vrf=vrf, intf=intf,
                 addrs=[{"addr": addr, **({"deprecated": True} if deprecated else {})}
                        for addr, deprecated in addrs.items()])

    def ip6_flap(self) -> None:
        if place := self.interface_of(self.ip6):
            vrf, intf, addrs = place
            self.say("ip6.intf.del", vrf=vrf, intf=intf)
            self.wait()
            self.ip6_intf_add(vrf, intf, addrs)

    def primary(self) -> None:
        if place := self.interface_of(self.ip):
            vrf, intf, status = place
            status["primary"] = self.addr4(intf) if self.chance(0.8) else "0.0.0.0/0"
            self.say("ip.primary", vrf=vrf, intf=intf, addr=status["primary"])

    def unnumbered(self) -> None:
        if place := self.interface_of(self.ip):
            vrf, intf, status = place
            status["unnumbered"] = "" if status.get("unnumbered") else self.choose(self.intfs)
            self.say("ip.unnumbered", vrf=vrf, intf=intf, source=status["unnumbered"])

    def secondary(self) -> None:
        if place := self.interface_of(self.ip):
            vrf, intf, status = place
            if status["secondary"] and self.chance(0.45):
                addr = self.choose(status["secondary"])
                status["secondary"].remove(addr)
                self.say("ip.secondary.del", vrf=vrf, intf=intf, addr=addr)
            else:
                addr = self.addr4(intf)
                status["secondary"].add(addr)
                self.say("ip.secondary.add", vrf=vrf, intf=intf, addr=addr)

    def deprecate(self) -> None:
        """Flips an address's flag. That of a link-local address seldom: it is refused."""
        if place := self.interface_of(self.ip6):
            vrf, intf, addrs = place
            flips = [addr for addr in addrs if not addr.startswith("fe80") or addrs[addr]
                     or self.chance(self.profile.deprecated_link_local)]
            if flips:
                addr = self.choose(flips)
                addrs[addr] = not addrs[addr]
                self.say("ip6.addr.set", vrf=vrf, intf=intf, addr=addr, deprecated=addrs[addr])

    # Devices, virtual addresses, tables, and the manager.

    def kernel_add(self, vrf: str, intf: str) -> None:
        self.kernel.add((vrf, intf))
        self.say("kernel.add", vrf=vrf, intf=intf)

    def kernel_again(self) -> None:
        if self.kernel:
            self.kernel_add(*self.choose(self.kernel))

    def device(self) -> None:
        vrf, intf = self.choose(self.vrfs), self.choose(self.intfs)
        if (vrf, intf) not in self.kernel:
            self.kernel_add(vrf, intf)
        else:
            self.kernel.remove((vrf, intf))
            self.say("kernel.del", vrf=vrf, intf=intf)

    def kernel_flap(self) -> None:
        if self.kernel:
            vrf, intf = self.choose(self.kernel)
            self.say("kernel.del", vrf=vrf, intf=intf)
            self.wait()
            self.say("kernel.add", vrf=vrf, intf=intf)

    def vip(self) -> None:
        self.virtual("vip", self.vips, f"10.0.{self.owner(self.intfs[0])}."
                     f"{self.random.randint(1, 3)}/{self.choose([24, 24, 32])}")

    def vip6(self) -> None:
        self.virtual("vip6", self.vip6s, f"2001:db8:1::{self.random.randint(1, 3)}")

    def virtual(self, op: str, published: set, addr: str) -> None:
        if published and self.chance(0.5):
            vrf, addr = self.choose(published)
            published.remove((vrf, addr))
            self.say(f"{op}.del", vrf=vrf, addr=addr)
        else:
            vrf = self.choose(self.vrfs)
            published.add((vrf, addr))
            self.say(f"{op}.add", vrf=vrf, addr=addr)

    def table(self, vrf: str | None = None) -> None:
        vrf = vrf or self.choose(self.vrfs)
        if vrf in self.tables:
            self.tables.remove(vrf)
            self.say("table.del", vrf=vrf)
        else:
            self.tables.add(vrf)
            self.say("table.add", vrf=vrf)

    def table_again(self) -> None:
        if self.tables:
            self.say("table.add", vrf=self.choose(self.tables))

    def manager(self) -> None:
        self.running = not self.running
        self.say("manager.start" if self.running else "manager.stop")

    # Looking, and the passing of time.

    def snapshot(self) -> None:
        self.say("snapshot")

    def lowest6(self) -> None:
        if self.tables:
            self.say("lowest6", vrf=self.choose(self.tables), intf=self.choose(self.intfs))

    def advance(self) -> None:
        self.say("advance", seconds=self.step())

    def wait(self) -> None:
        if self.chance(0.5):
            self.advance()


def scenario(seed: int, operations: int = 200, profile: str | None = None) -> list[str]:
    return Generator(seed, operations, profile).scenario()


def main() -> None:
    parser = argparse.ArgumentParser(description="Writes a random scenario.")
    parser.add_argument("seed", type=int)
    parser.add_argument("--operations", type=int, default=200)
    parser.add_argument("--profile", choices=PROFILES)
    arguments = parser.parse_args()
    print("\n".join(scenario(arguments.seed, arguments.operations, arguments.profile)))


if __name__ == "__main__":
    main()
