"""Compares `intfaddr show --json` with what `ip` says of the same network namespaces.

Makes two namespaces, joined by veth pairs, with addresses of every kind. Needs root and the right
to make namespaces; where these are missing the test says so and counts as skipped.
"""

import atexit
import ipaddress
import json
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

from live.schema import check
from live.shown import by_vrf

PROGRAM = sys.argv.pop(1)
RED = f"ia{os.getpid()}-red"
BLUE = f"ia{os.getpid()}-blue"
LONG = f"ia{os.getpid()}-" + "x" * 160
NOBODY = 65534


def run(*command, **options):
    return subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, text=True,
                          timeout=30, **options)


def ip(*arguments):
    result = run("ip", *arguments)
    if result.returncode != 0:
        raise RuntimeError(f"ip {' '.join(arguments)}: {result.stderr.strip()}")
    return result.stdout


def inside(vrf, *arguments):
    return ip("-n", f"ns-{vrf}", *arguments)


def skip(why):
    print(f"skipped: {why}")
    sys.exit(77)


def remove_namespaces():
    for vrf in (RED, BLUE, LONG):
        run("ip", "netns", "del", f"ns-{vrf}")


def detect_duplicates(vrf, interface, on):
    """Off, bringing links up takes no second or two for duplicate address detection."""
    ip("netns", "exec", f"ns-{vrf}", "sh", "-c",
       f"echo {int(on)} > /proc/sys/net/ipv6/conf/{interface}/accept_dad")


def make_namespaces():
    atexit.register(remove_namespaces)
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    for vrf in (RED, BLUE):
        ip("netns", "add", f"ns-{vrf}")
        inside(vrf, "link", "set", "lo", "up")
        detect_duplicates(vrf, "default", False)
    for index in (0, 1):
        ip("link", "add", f"eth{index}", "netns", f"ns-{RED}", "type", "veth",
           "peer", "name", f"eth{index}", "netns", f"ns-{BLUE}")


def kernel_addresses(vrf):
    """The addresses that `ip` tells of, in the form of the program's JSON."""
    found = []
    for link in json.loads(inside(vrf, "-j", "addr")):
        for info in link["addr_info"]:
            interface = ipaddress.ip_interface(f"{info['local']}/{info['prefixlen']}")
            if info.get("tentative") or info.get("dadfailed"):
                continue
            deprecated = (interface.version == 6 and info.get("deprecated")
                          and not interface.ip.is_link_local)
            found.append({"vrf": vrf, "interface": link["ifname"], "address": info["local"],
                          "prefixLength": info["prefixlen"], "family": f"IPv{interface.version}",
                          "subnet": str(interface.network), "virtual": False, "place": "table",
                          "state": "DEPRECATED" if deprecated else "PREFERRED"})
    return in_order(found)


def in_order(found):
    return sorted(found, key=lambda a: (a["family"], ipaddress.ip_address(a["address"]),
                                        a["interface"]))


def show(*arguments):
    result = run(PROGRAM, "show", "--kernel", *arguments)
    if result.returncode not in (0, 1, 3):
        raise RuntimeError(f"show {arguments}: exit {result.returncode}: {result.stderr}")
    return result


def shown(*arguments):
    document = json.loads(show("--json", *arguments).stdout)
    check("show", document)
    return by_vrf(document)


def settled(vrf, interface):
    addresses = inside(vrf, "addr", "show", "dev", interface)
    return "inet6 fe80:" in addresses and "tentative" not in addresses


def wait_for_addresses():
    """Until the kernel has given every interface its link-local address."""
    deadline = time.monotonic() + 20
    while not all(settled(vrf, f"eth{index}") for vrf in (RED, BLUE) for index in (0, 1)):
        if time.monotonic() > deadline:
            raise RuntimeError("interfaces stay without a link-local address")
        time.sleep(0.02)


class Namespaces(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        for vrf in (RED, BLUE):
            for index in (0, 1):
                inside(vrf, "link", "set", f"eth{index}", "down")
                inside(vrf, "addr", "flush", "dev", f"eth{index}")

    def bring_up(self):
        for vrf in (RED, BLUE):
            for index in (0, 1):
                inside(vrf, "link", "set", f"eth{index}", "up")
        wait_for_addresses()

    def add(self, vrf, index, address, *more):
        family = ["nodad"] if ":" in address and "nodad" not in more and not more else []
        inside(vrf, "addr", "add", address, "dev", f"eth{index}", *more, *family)

    def test_every_kind_of_address_in_two_namespaces_at_once(self):
        for vrf, last in ((RED, 1), (BLUE, 2)):
            self.add(vrf, 0, f"10.0.0.{last}/24")
            self.add(vrf, 0, f"10.0.0.{last + 10}/24")
            self.add(vrf, 0, f"10.1.0.{last}/16")
            self.add(vrf, 1, f"192.0.2.{last}/32")
            self.add(vrf, 1, "198.51.100.1", "peer", "198.51.100.2/32")
            self.add(vrf, 0, f"2001:db8::{last}/64")
            self.add(vrf, 0, f"2001:db8::1{last}/64", "nodad", "preferred_lft", "0")
            self.add(vrf, 1, f"2001:db8:1::{last}/128")
        self.bring_up()

        vrfs = shown()
        for vrf in (RED, BLUE):
            expected = kernel_addresses(vrf)
            self.assertEqual(in_order(vrfs[vrf]["rows"]), expected)
            self.assertEqual(vrfs[vrf]["waiting"], [])
            self.assertGreaterEqual(len(expected), 12)
            self.assertEqual({address["state"] for address in expected},
                             {"PREFERRED", "DEPRECATED"})
        self.assertEqual(list(vrfs)[0], "default")
        self.assertEqual(list(vrfs)[1:], sorted(list(vrfs)[1:]))

    def test_one_vrf_and_one_address(self):
        self.add(RED, 0, "10.0.0.1/24")
        self.bring_up()

        self.assertEqual(list(shown("vrf", RED)), [RED])
        owner = shown("10.0.0.1", "vrf", RED)[RED]["rows"]
        self.assertEqual([(a["interface"], a["subnet"]) for a in owner], [("eth0", "10.0.0.0/24")])
        self.assertEqual(show("10.0.0.1", "vrf", RED).returncode, 0)
        self.assertEqual(show("10.0.0.1", "vrf", BLUE).returncode, 1)

    def test_conflicting_addresses_wait_and_say_for_what(self):
        self.add(RED, 0, "10.0.0.1/24")
        self.add(RED, 1, "10.0.0.2/24")
        self.add(RED, 0, "2001:db8::1/64")
        self.add(RED, 1, "2001:db8::2/64")
        self.bring_up()
        inside(RED, "addr", "add", "fe80::99/64", "dev", "eth0", "nodad")

        waiting = {(a["address"], a["interface"]): a["waitsFor"]
                   for a in shown("vrf", RED)[RED]["waiting"]}
        self.assertEqual(waiting["10.0.0.2", "eth1"],
                         {"subnet": "10.0.0.0/24", "interface": "eth0"})
        self.assertEqual(waiting["2001:db8::2", "eth1"],
                         {"subnet": "2001:db8::/64", "interface": "eth0"})
        (link_local,) = [holder for (address, _), holder in waiting.items()
                         if address.startswith("fe80::")]
        self.assertEqual(link_local["interface"], "eth0")
        self.assertEqual(len(waiting), 3)

        text = show("vrf", RED).stdout
        self.assertRegex(text, r"10\.0\.0\.2/24 +eth1 +waiting +\w+ +behind 10\.0\.0\.0/24 on eth0\n")
        self.assertRegex(text, r"fe80::\S+ +eth0 +waiting +\w+ +behind fe80::\S+ on eth0\n")
        self.assertEqual(show("10.0.0.2", "vrf", RED).returncode, 0)
        self.assertEqual(run(PROGRAM, "lookup", "--kernel", "10.0.0.2", "vrf", RED).returncode, 1)

    def test_a_deprecated_link_local_address_is_shown_as_it_is_published(self):
        inside(RED, "link", "set", "eth0", "addrgenmode", "none")
        try:
            self.add(RED, 0, "fe80::5/64", "nodad", "preferred_lft", "0")
            self.bring_up()
            self.assertIn("deprecated", inside(RED, "addr", "show", "dev", "eth0"))

            owner = shown("fe80::5", "vrf", RED)[RED]["rows"]
            self.assertEqual([a["state"] for a in owner], ["PREFERRED"])
        finally:
            inside(RED, "link", "set", "eth0", "addrgenmode", "eui64")

    def test_a_tentative_address_is_left_out(self):
        # Without a carrier duplicate address detection does not begin.
        detect_duplicates(RED, "eth0", True)
        self.addCleanup(detect_duplicates, RED, "eth0", False)
        inside(RED, "link", "set", "eth0", "up")
        inside(RED, "addr", "add", "2001:db8:7::1/64", "dev", "eth0")
        self.assertIn("tentative", inside(RED, "addr", "show", "dev", "eth0"))

        (address,) = shown("2001:db8:7::1", "vrf", RED)[RED]["left-out"]
        self.assertEqual((address["state"], address["why"]), ("TENTATIVE", "tentative"))
        self.assertEqual(run(PROGRAM, "lookup", "--kernel", "2001:db8:7::1").returncode, 1)

    def test_a_namespace_name_over_the_limit_is_refused_and_the_others_go_on(self):
        ip("netns", "add", f"ns-{LONG}")
        try:
            result = show("--json")
            self.assertIn(LONG, result.stderr)
            self.assertIn("Zin::String::bytes > 150 not allowed", result.stderr)
            names = json.loads(result.stdout)["vrfs"]
            self.assertIn(RED, names)
            self.assertNotIn(LONG, names)

            result = show("vrf", LONG)
            self.assertEqual((result.returncode, result.stdout), (3, ""))
            self.assertIn(f"not known: namespace 'ns-{LONG}': Zin::String::bytes > 150", result.stderr)
        finally:
            ip("netns", "del", f"ns-{LONG}")

    def test_an_ordinary_user_sees_the_default_vrf_and_which_namespaces_are_closed(self):
        with tempfile.TemporaryDirectory() as directory:
            os.chmod(directory, 0o755)
            program = shutil.copy(PROGRAM, directory)
            try:
                nobody = {"user": NOBODY, "group": NOBODY, "extra_groups": []}
                result = run(program, "show", "--json", "--kernel", **nobody)
                closed = run(program, "show", "--kernel", "vrf", RED, **nobody)
                unknown = run(program, "lookup", "10.77.0.1", "--kernel", **nobody)
            except PermissionError as error:
                self.skipTest(f"this machine does not let us become another user: {error}")

        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(json.loads(result.stdout)["vrfs"], ["default"])
        for one in (result, unknown):
            for vrf in (RED, BLUE):
                self.assertRegex(one.stderr, f"not known: VRF '{vrf}': .*(not permitted|denied)")
        self.assertEqual(unknown.returncode, 3)
        self.assertEqual(closed.returncode, 3)
        self.assertRegex(closed.stderr, f"not known: VRF '{RED}'.*(not permitted|denied)")
        self.assertNotIn(BLUE, closed.stderr)

    def test_a_name_that_is_not_utf8_is_shown_with_replacements(self):
        odd = b"v\xff\x1b0"
        subprocess.run([b"ip", b"-n", f"ns-{RED}".encode(), b"link", b"set", b"eth1", b"name", odd],
                       check=True, timeout=30)
        try:
            inside(RED, "addr", "add", "10.9.0.1/24", "dev", os.fsdecode(odd))
            owner = shown("10.9.0.1", "vrf", RED)[RED]["rows"]
            self.assertEqual([a["interface"] for a in owner], ["v\ufffd\x1b0"])
            self.assertNotIn(b"\x1b", subprocess.run([PROGRAM, "show", "--kernel", "vrf", RED],
                                                     capture_output=True, timeout=30).stdout)
        finally:
            inside(RED, "link", "set", os.fsdecode(odd), "name", "eth1")


if __name__ == "__main__":
    if os.geteuid() != 0:
        skip("network namespaces need root")
    try:
        make_namespaces()
    except (OSError, RuntimeError) as error:
        skip(f"this machine does not let us make network namespaces: {error}")
    unittest.main()
