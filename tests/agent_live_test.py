"""Runs `intfaddr agent` on a kernel: whatever happens to it, the tables are what `ip` says.

Everything happens in network and mount namespaces of the test's own. Needs root and the right to
make namespaces; where these are missing the test says so and counts as skipped.

AGENT_LIVE_SECONDS says for how long things happen at random, AGENT_LIVE_SEED which.
"""

import json
import os
import random
import re
import resource
import shutil
import signal
import time

from live import churn, machine
from live.agent import Agent
from live.case import NOBODY, PROGRAM, AgentCase, addresses, main
from live.shown import by_vrf

SECONDS = float(os.environ.get("AGENT_LIVE_SECONDS", 30))
SEED = int(os.environ.get("AGENT_LIVE_SEED", time.time_ns() % 1_000_000))


class AtRandom(AgentCase):
    def test_the_tables_are_what_the_kernel_says(self):
        print(f"AGENT_LIVE_SEED={SEED}", flush=True)
        chance = random.Random(SEED)
        things = churn.Churn(chance)
        agent = self.start("--record", self.path("recording"))
        began = time.monotonic()
        early = None
        while time.monotonic() - began < SECONDS:
            pause = time.monotonic() + chance.uniform(0.5, 2.5)
            while time.monotonic() < pause:
                things.step()
            self.assert_agrees(agent)
            if not early and time.monotonic() - began > min(SECONDS / 3, 60):
                early = agent.descriptors(), agent.resident()

        self.assertEqual(agent.descriptors(), early[0])
        self.assertLess(agent.resident(), 1.2 * early[1] + 8)
        self.assert_ends_well(agent)
        self.assert_replays_as_it_was(agent)

    def assert_agrees(self, agent):
        found = []

        def agrees():
            found[:] = churn.differences(agent.snapshot())
            return not found

        self.assert_soon(agrees, 20.0, lambda: "\n".join([*found, *agent.told("")]))

    def assert_replays_as_it_was(self, agent):
        told = [bare(line) for line in agent.lines]
        # Also what was due after the last change that has been recorded.
        with open(self.path("recording"), "r+") as file:
            times = [float(found) for found in re.findall(r'"at":([0-9.]+)}$', file.read(), re.M)]
            end = max(times[-1], json.loads(told[-1])["t"])
            file.write(json.dumps({"at": end, "op": "snapshot"}) + "\n")
        replayed = self.replay(self.path("recording"), "--events")
        self.assertEqual((replayed.returncode, replayed.stderr), (0, ""))
        *printed, last = map(bare, replayed.stdout.splitlines())
        # The agent tells the operator of invariants that fail.
        failed = [line for line in printed if "assert" in json.loads(line)]
        events = [line for line in printed if "assert" not in json.loads(line)]
        for line in failed:
            self.assertTrue(agent.told(json.loads(line)["assert"]["message"]), line)
        for number, (one, other) in enumerate(zip(events, told)):
            self.assertEqual(one, other, f"line {number + 1}")
        self.assertEqual(len(events), len(told))
        self.assertIn("snapshot", json.loads(last))


def bare(line):
    """Without what a replay does not tell of a row."""
    content = json.loads(line)
    if "event" in content:
        content["event"].pop("intf", None)
        content["event"].pop("subnet", None)
    return json.dumps(content, ensure_ascii=False)


class Life(AgentCase):
    """How it starts and ends."""

    def setUp(self):
        super().setUp()
        machine.make_vrf("red")
        machine.join("red", "e0", "red", "e1")
        machine.batch([f"addr add {address} dev e0" for address in addresses(100)], vrf="red")

    def rows(self, agent):
        return agent.snapshot().replica

    def test_a_restart_tells_what_stands_and_nothing_else(self):
        first = self.start()
        self.assert_soon(lambda: len(self.rows(first)) >= 100)
        before = self.rows(first)
        self.assert_ends_well(first)
        machine.batch(["addr del 10.1.0.1/32 dev e0", "addr add 10.77.0.1/24 dev e1"], vrf="red")

        second = self.start()
        self.assert_soon(lambda: len(self.rows(second)) >= 100)
        after = self.rows(second)
        told = [json.loads(line)["event"] for line in second.lines]
        self.assertEqual({event["present"] for event in told}, {True})
        self.assertEqual(sum(event["attribute"] == "intfAddrEntry" for event in told), len(after))
        self.assertEqual({row[1:] for row in before ^ after},
                         {("e0", "10.1.0.1", "10.1.0.1/32"), ("e1", "10.77.0.1", "10.77.0.0/24")})
        self.assert_ends_well(second)

    def test_under_load_it_ends_when_told(self):
        self.flap("red", 1000)
        agent = self.start("--record", self.path("recording"))
        self.assert_soon(lambda: len(agent.lines) > 5000, 30.0)
        self.assert_ends_well(agent)
        self.assertEqual(self.replay(self.path("recording")).returncode, 0)

    def test_a_restart_does_not_trip_over_one_that_was_killed_under_load(self):
        self.flap("red", 1000)
        killed = self.start("--record", self.path("recording"))
        self.assert_soon(lambda: len(killed.lines) > 5000, 30.0)
        self.assertEqual(killed.stop(signal.SIGKILL)[0], -signal.SIGKILL)

        # It may take the ten seconds that it has for a first picture.
        agent = self.start()
        self.assert_soon(lambda: len(self.rows(agent)) >= 100, 30.0)
        self.assert_ends_well(agent)
        with open(self.path("recording")) as file:
            last = len(file.read().splitlines())
        replayed = self.replay(self.path("recording"))
        if replayed.returncode != 0:
            self.assertEqual(replayed.returncode, 2)
            self.assertIn(f"recording:{last}: ", replayed.stderr)

    def test_a_second_one_is_refused(self):
        agent = self.start()
        self.rows(agent)
        second = machine.run(PROGRAM, "agent")
        self.assertEqual(second.returncode, 70)
        self.assertIn(f"intfaddr (process {agent.pid}) runs already", second.stderr)
        elsewhere = self.start("--run-dir", self.path("run"))
        self.assertGreaterEqual(len(self.rows(elsewhere)), 100)


class SlowReader(AgentCase):
    """Events of many addresses fill the pipe, and the queue before it."""

    def setUp(self):
        super().setUp()
        machine.make_vrf("red")
        machine.join("red", "e0", "red", "e1")
        machine.batch([f"addr add {address} dev e0" for address in addresses(8000)], vrf="red")
        self.agent = self.start(read=False)
        self.assert_soon(lambda: self.agent.resident() > 0 and not self.agent._ignores_signals())
        for _ in range(2):
            for verb in ("del", "add"):
                machine.batch([f"addr {verb} {address} dev e0" for address in addresses(8000)],
                              vrf="red")
        self.assert_soon(lambda: self.is_idle(), 60.0)

    def is_idle(self):
        before = self.ticks()
        time.sleep(0.3)
        return self.ticks() - before < 3

    def ticks(self):
        with open(f"/proc/{self.agent.pid}/stat") as file:
            fields = file.read().rsplit(")", 1)[1].split()
        return int(fields[11]) + int(fields[12])

    def test_who_does_not_read_does_not_hold_up_the_end(self):
        status, took = self.agent.stop()
        self.assertEqual(status, 0)
        self.assertLess(took, 1.0)

    def test_who_reads_later_gets_what_has_waited_for_him(self):
        signal.alarm(30)
        began = time.monotonic()
        read = 0
        for line in self.agent.process.stdout:
            self.assertIn("event", json.loads(line))
            read += len(line)
            if read > 1 << 20:
                break
        signal.alarm(0)
        # Nothing but the reader makes it write.
        self.assertLess(time.monotonic() - began, 10.0)


class Namespaces(AgentCase):
    def setUp(self):
        super().setUp()
        machine.make_vrf("stays")

    def make(self, vrf, end):
        machine.make_vrf(vrf)
        machine.join(vrf, "e0", "stays", end)
        machine.ip("addr", "add", f"10.0.{len(end)}.1/24", "dev", "e0", vrf=vrf)

    def assert_goes(self, agent, vrf, end):
        self.assert_soon(lambda: not machine.has_link("stays", end), 1.0,
                         lambda: "something keeps the namespace alive")
        self.assert_soon(lambda: agent.addresses(vrf) is None, 5.0)

    def test_one_that_goes_is_not_kept_alive(self):
        agent = self.start()
        ways = {
            "deleted": "ip netns del {name}",
            "unmounted": "umount /run/netns/{name}",
            # In a mount namespace where nothing is mounted there it is a file like any other.
            "unlinked": "unshare -m sh -ec 'umount /run/netns/{name}; rm /run/netns/{name}'",
        }
        for number, (vrf, way) in enumerate(ways.items()):
            with self.subTest(vrf):
                end = "p" * (number + 1)
                self.make(vrf, end)
                self.assert_soon(lambda: agent.addresses(vrf))
                machine.sh(way.format(name=f"ns-{vrf}"))
                self.assert_goes(agent, vrf, end)
        self.assert_ends_well(agent)

    def test_a_file_is_there_before_it_is_mounted(self):
        agent = self.start()
        with open(f"{machine.NETNS}/ns-late", "w"):
            pass
        time.sleep(0.2)
        self.assertIsNone(agent.addresses("late"))
        machine.sh("unshare --net=/run/netns/ns-late ip link set lo up")
        self.assert_soon(lambda: agent.addresses("late") == ["127.0.0.1", "::1"])
        self.assert_ends_well(agent)

    def test_one_under_two_names_is_one_vrf(self):
        self.make("one", "p")
        machine.sh("touch /run/netns/ns-two; mount --bind /run/netns/ns-one /run/netns/ns-two")
        agent = self.start()
        self.assert_soon(lambda: agent.addresses("one"))
        self.assertIsNone(agent.addresses("two"))
        self.assert_told(agent, "namespace 'ns-two' is left out: it is ns-one under another name")
        machine.remove_vrf("one")
        self.assert_soon(lambda: agent.addresses("two"))
        self.assertIsNone(agent.addresses("one"))
        machine.remove_vrf("two")
        self.assert_goes(agent, "two", "p")

    def test_names_that_make_no_vrf_are_left_out(self):
        long = "x" * 160
        for vrf in ("default", long):
            machine.ip("netns", "add", f"ns-{vrf}")
        machine.ip("netns", "add", "other")
        agent = self.start()
        self.assert_soon(lambda: agent.addresses("stays"))
        self.assertEqual(set(agent.snapshot().vrfs), {"default", "stays"})
        self.assert_told(agent, "namespace 'ns-default' is left out: ")
        self.assert_told(agent, f"namespace 'ns-{long}' is left out: Zin::String::bytes > 150")
        self.assertEqual(len(agent.notices), 2)

    def test_the_folder_of_names_is_made_later(self):
        machine.clear()
        agent = self.start()
        self.assertEqual(set(agent.snapshot().vrfs), {"default"})
        machine.make_vrf("red")
        self.assert_soon(lambda: agent.addresses("red") == ["127.0.0.1", "::1"])
        self.assertEqual(agent.notices, [])

    def test_as_many_as_its_hard_limit_has_descriptors_for(self):
        vrfs = {f"v{number:02}" for number in range(12)}
        for vrf in vrfs:
            machine.make_vrf(vrf)
        agent = self.start(preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (24, 100)))
        self.assertLessEqual(vrfs, set(agent.snapshot().vrfs))
        self.assertEqual(agent.notices, [])
        self.assert_ends_well(agent)

    def test_more_than_it_has_descriptors_for(self):
        vrfs = [f"v{number:02}" for number in range(12)]
        for vrf in vrfs:
            machine.make_vrf(vrf)
        agent = self.start(preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (24, 24)))
        followed = set(agent.snapshot().vrfs) - {"default", "stays"}
        self.assertGreater(len(followed), 2)
        self.assertLess(len(followed), 12)
        for vrf in set(vrfs) - followed:
            self.assert_told(agent, f"VRF '{vrf}' is left out: ")
        machine.ip("addr", "add", "10.0.0.1/24", "dev", "lo", vrf=min(followed))
        self.assert_soon(lambda: "10.0.0.1" in agent.addresses(min(followed)))

        for vrf in followed:
            machine.remove_vrf(vrf)
        left = set(vrfs) - followed
        self.assert_soon(lambda: len(set(agent.snapshot().vrfs) & left)
                         >= min(len(left), len(followed)), 20.0)
        self.assert_ends_well(agent)


class Kernel(AgentCase):
    def test_notifications_that_are_lost_are_made_up_for(self):
        machine.make_vrf("red")
        machine.join("red", "e0", "red", "e1")
        agent = self.start("--receive-buffer", "4096")
        self.assert_soon(lambda: agent.addresses("red"))
        for verb, left in (("add", 5000), ("del", 0)):
            agent.process.send_signal(signal.SIGSTOP)
            machine.batch([f"addr {verb} {address} dev e0" for address in addresses(5000)], "red")
            agent.process.send_signal(signal.SIGCONT)
            went_on = time.monotonic()
            self.assert_soon(lambda: sum(address.startswith("10.") for address
                                         in agent.addresses("red")) == left, 20.0)
            if left:
                self.assert_told(agent, "VRF 'red': notifications or dumps lost ")
                self.assertLess(agent.notices[0][0] - went_on, 5.0)
        self.assert_told(agent, "VRF 'red': notifications or dumps lost ")
        self.assertEqual(len(agent.notices), 1)
        self.assert_ends_well(agent)

    def test_a_port_that_leaves_its_bridge_keeps_its_addresses(self):
        machine.make_vrf("red")
        machine.join("red", "e0", "red", "e1")
        if machine.run("ip", "-n", "ns-red", "link", "add", "br0", "type", "bridge").returncode:
            self.skipTest("this kernel has no bridges")
        machine.batch(["link set br0 up", "addr add 10.0.0.1/24 dev e0",
                       "addr add 2001:db8::1/64 dev e0 nodad"], "red")
        agent = self.start()
        for change in ("link set e0 master br0", "link set e0 nomaster"):
            machine.batch([change], "red")
            time.sleep(0.2)
            self.assertEqual(set(agent.addresses("red")),
                             {"127.0.0.1", "::1", "10.0.0.1", "2001:db8::1"})
        self.assertFalse([line for line in agent.lines if '"present":false' in line])

    def test_what_has_happened_to_an_address_is_explained(self):
        machine.make_vrf("red")
        machine.join("red", "e0", "red", "e1")
        agent = self.start()
        self.assert_soon(lambda: agent.addresses("red"))
        machine.batch(["addr add 10.0.0.1/24 dev e0"], "red")
        self.assert_soon(lambda: "10.0.0.1" in agent.addresses("red"))
        owned = machine.run(PROGRAM, "explain", "10.0.0.1", "vrf", "red")
        self.assertEqual(owned.returncode, 0, owned.stderr)
        self.assertRegex(owned.stdout, r"^10\.0\.0\.1/24 is owned by e0 of VRF 'red', as its primary "
                                       r"address, for \d+\.\d s now\.\n")
        for event in ("was told by the kernel", "was published as primary", "came into the table"):
            self.assertIn(f"s ago  {event} on e0\n", owned.stdout)
        machine.batch(["addr del 10.0.0.1/24 dev e0"], "red")
        self.assert_soon(lambda: "10.0.0.1" not in agent.addresses("red"))
        gone = machine.run(PROGRAM, "explain", "10.0.0.1", "vrf", "red")
        self.assertEqual(gone.returncode, 1, gone.stderr)
        self.assertIn("It left the table on e0 ", gone.stdout)

    def test_vrf_devices_are_vrfs(self):
        machine.make_vrf("red")
        machine.join("red", "e0", "red", "e1")
        if machine.run("ip", "-n", "ns-red", "link", "add", "blue", "type", "vrf",
                       "table", "10").returncode:
            self.skipTest("this kernel has no VRF devices")
        machine.batch(["link set blue up", "addr add 10.0.0.1/24 dev e0"], "red")
        agent = self.start()
        self.assert_soon(lambda: "10.0.0.1" in agent.addresses("red"))
        machine.batch(["link set e0 master blue"], "red")
        self.assert_soon(lambda: "10.0.0.1" in (agent.addresses("red/blue") or []))
        machine.batch(["link set e0 nomaster"], "red")
        self.assert_soon(lambda: "10.0.0.1" in agent.addresses("red"))

    def test_what_is_captured_replays_as_it_is_shown(self):
        machine.make_vrf("red")
        machine.join("red", "e0", "red", "e1")
        machine.batch(["addr add 10.0.0.1/24 dev e0", "addr add 10.0.0.2/24 dev e0",
                       "addr add 10.0.0.3/24 dev e1", "addr add 2001:db8::1/64 dev e1 nodad",
                       "addr add 2001:db8::2/64 dev e1 nodad preferred_lft 0"], "red")
        captured = machine.run(PROGRAM, "capture", self.path("capture"))
        self.assertEqual((captured.returncode, captured.stderr), (0, ""))
        with open(self.path("capture"), "a") as file:
            file.write('{"op": "snapshot"}\n')
        replayed = machine.run(PROGRAM, "replay", self.path("capture"))
        tables = json.loads(replayed.stdout)["snapshot"]

        for name, vrf in by_vrf(self.shown()).items():
            table = tables[name]
            self.assertEqual(
                {(row["key"]["addr"], row["intf"], row["subnet"]) for row in table["rows"]},
                {(row["address"], row["interface"], row["subnet"]) for row in vrf["rows"]})
            self.assertEqual(
                {(row["addr"], row["intf"]) for row in table["deferred"]},
                {(f"{row['address']}/{row['prefixLength']}", row["interface"])
                 for row in vrf["waiting"]})
            self.assertEqual(
                {entry["addr"] for subnet in table["subnets"] for entry in subnet["deprecated"]},
                {row["address"] for row in vrf["rows"] if row["state"] == "DEPRECATED"})

    def shown(self):
        return json.loads(machine.run(PROGRAM, "show", "--kernel", "--json").stdout)


class OrdinaryUser(AgentCase):
    def setUp(self):
        super().setUp()
        os.chmod(self.folder, 0o755)
        os.mkdir(self.path("run"))
        os.chown(self.path("run"), NOBODY, NOBODY)
        self.program = shutil.copy(PROGRAM, self.folder)
        self.nobody = {"user": NOBODY, "group": NOBODY, "extra_groups": []}
        try:
            machine.run("true", **self.nobody)
        except PermissionError as error:
            self.skipTest(f"this machine does not let us become another user: {error}")

    def test_follows_its_own_namespace_and_says_which_are_closed(self):
        machine.make_vrf("red")
        agent = Agent(self.program, env={**os.environ, "XDG_RUNTIME_DIR": self.path("run")},
                      **self.nobody)
        self.addCleanup(agent.close)
        self.assertEqual(set(agent.snapshot().vrfs), {"default"})
        machine.ip("addr", "add", "10.0.0.1/24", "dev", "lo")
        self.addCleanup(machine.ip, "addr", "del", "10.0.0.1/24", "dev", "lo")
        self.assert_soon(lambda: "10.0.0.1" in agent.addresses("default"))

        self.assert_told(agent, "VRF 'red' is left out: ")
        self.assertRegex(agent.notices[-1][1], "not permitted|denied")
        self.assertTrue(os.path.exists(self.path("run/intfaddr/agent.lock")))
        self.assert_ends_well(agent)

    def test_needs_a_place_where_it_is_known(self):
        for place in ({}, {"XDG_RUNTIME_DIR": "/run"}):
            env = {k: v for k, v in os.environ.items() if k != "XDG_RUNTIME_DIR"} | place
            result = machine.run(self.program, "agent", env=env, **self.nobody)
            self.assertEqual(result.returncode, 70)
            self.assertIn("/run/intfaddr: cannot be made: Permission denied", result.stderr)


if __name__ == "__main__":
    main()
