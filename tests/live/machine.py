"""A machine of the test's own: in network and mount namespaces of its own, with an empty /run.

Whatever is made there is gone when the process ends, and nobody else sees it.
"""

import ctypes
import ipaddress
import json
import os
import shutil
import subprocess
import time

CLONE_NEWNS = 0x00020000
CLONE_NEWNET = 0x40000000

NETNS = "/run/netns"


def become():
    """Raises OSError or RuntimeError where this machine does not let us."""
    libc = ctypes.CDLL(None, use_errno=True)
    if libc.unshare(CLONE_NEWNS | CLONE_NEWNET) != 0:
        raise OSError(ctypes.get_errno(), os.strerror(ctypes.get_errno()))
    sh("mount --make-rprivate / && mount -t tmpfs -o mode=755 none /run && ip link set lo up")


def run(*command, **options):
    return subprocess.run(command, capture_output=True, text=True, errors="replace", timeout=60,
                          **{"stdin": subprocess.DEVNULL, **options})


def sh(script):
    result = run("sh", "-ec", script)
    if result.returncode != 0:
        raise RuntimeError(f"{script}: {result.stderr.strip()}")
    return result.stdout


def in_vrf(vrf):
    return [] if vrf == "default" else ["-n", f"ns-{vrf}"]


def ip(*arguments, vrf="default"):
    result = run("ip", *in_vrf(vrf), *arguments)
    if result.returncode != 0:
        raise RuntimeError(f"ip {vrf} {' '.join(arguments)}: {result.stderr.strip()}")
    return result.stdout


def batch(lines, vrf="default"):
    """In one process; each of them has to succeed."""
    result = run("ip", *in_vrf(vrf), "-batch", "-", stdin=None, input="\n".join(lines) + "\n")
    if result.returncode != 0:
        raise RuntimeError(f"ip -batch {vrf}: {result.stderr.strip()}")


def sysctl(vrf, name, value):
    ip("netns", "exec", f"ns-{vrf}", "sh", "-c", f"echo {value} > /proc/sys/net/{name}")


def make_vrf(vrf):
    """Its links have no link-local addresses: those take a second or two to come."""
    ip("netns", "add", f"ns-{vrf}")
    sysctl(vrf, "ipv6/conf/default/addr_gen_mode", 1)
    ip("link", "set", "lo", "up", vrf=vrf)


def remove_vrf(vrf):
    ip("netns", "del", f"ns-{vrf}")


def clear():
    """Leaves no namespace, and no folder of their names."""
    for name in os.listdir(NETNS) if os.path.isdir(NETNS) else []:
        while run("umount", "--lazy", f"{NETNS}/{name}").returncode == 0:
            pass
        os.unlink(f"{NETNS}/{name}")
    while run("umount", "--lazy", NETNS).returncode == 0:
        pass
    if os.path.isdir(NETNS):
        os.rmdir(NETNS)
    shutil.rmtree("/run/intfaddr", ignore_errors=True)


def join(vrf, name, other_vrf, other):
    """A pair of interfaces, both up."""
    ends = [f"netns {netns}" if netns else "" for netns in
            ("" if v == "default" else f"ns-{v}" for v in (vrf, other_vrf))]
    batch([f"link add name {name} {ends[0]} type veth peer name {other} {ends[1]}"])
    for where, link in ((vrf, name), (other_vrf, other)):
        ip("link", "set", link, "up", vrf=where)


def has_link(vrf, name):
    return run("ip", *in_vrf(vrf), "link", "show", name).returncode == 0


def wait_for(condition, seconds=10.0):
    """Returns how long it took, or None where it did not come about."""
    began = time.monotonic()
    while not condition():
        if time.monotonic() - began > seconds:
            return None
        time.sleep(0.02)
    return time.monotonic() - began


def links(vrf):
    return json.loads(ip("-j", "addr", vrf=vrf) or "[]")


def address_of(info):
    """As a text with its length: the peer's, or that of one address alone."""
    local = ipaddress.ip_address(info["local"])
    peer = ipaddress.ip_network(f"{info.get('address', info['local'])}/{info['prefixlen']}",
                                strict=False)
    length = peer.prefixlen if local in peer else local.max_prefixlen
    return ipaddress.ip_interface(f"{local}/{length}")


def published(vrf):
    """What an agent has to publish: {(interface, address with length): is deprecated}."""
    all_links = links(vrf)
    there = {}
    alone = {}  # the IPv4 addresses of each interface
    for link in all_links:
        alone[link["ifname"]] = set()
        for info in link["addr_info"]:
            if info.get("tentative") or info.get("dadfailed"):
                continue
            address = address_of(info)
            deprecated = (address.version == 6 and not address.ip.is_link_local
                          and bool(info.get("deprecated")))
            there[link["ifname"], address] = deprecated
            if address.version == 4:
                alone[link["ifname"]].add(address)
    lent = {address for address in alone.get("lo", ()) if address.network.prefixlen == 32}
    for name, addresses in alone.items():
        if name != "lo" and len(addresses) == 1 and addresses <= lent:
            del there[name, next(iter(addresses))]
    return there
