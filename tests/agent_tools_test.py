"""Looks into an agent that runs: its dumps, its traces, its ring.

As agent_live_test.py, in namespaces of the test's own.
"""

import json
import os
import signal

from live import machine
from live.case import PROGRAM, AgentCase, main


class Tools(AgentCase):
    def tool(self, *words, **options):
        return machine.run(PROGRAM, *words, "--run-dir", self.path("run"), **options)

    def running(self, *arguments):
        agent = self.start("--run-dir", self.path("run"), *arguments)
        agent.snapshot()
        return agent

    def test_dumps_are_of_tables_and_machines(self):
        machine.make_vrf("red")
        machine.join("red", "e0", "red", "e1")
        machine.ip("addr", "add", "10.0.0.1/24", "dev", "e0", vrf="red")
        agent = self.running()
        self.assert_soon(lambda: "[ 10.0.0.0/24 ][ e0 ]" in
                         self.tool("dump", "tables", "vrf", "red").stdout)
        self.assertIn("IntfAddVrfTableSm VRF=red", self.tool("dump", "machines").stdout)
        for words in (["tables", "vrf", "none"], ["chairs"], ["tables", "--max", "-1"], []):
            self.assertEqual(self.tool("dump", *words).returncode, 2, words)
        self.assert_ends_well(agent)
        self.assertEqual(self.tool("dump", "tables").returncode, 3)

    def test_traces_go_to_the_standard_error_as_long_as_they_are_wanted(self):
        machine.make_vrf("red")
        machine.join("red", "e0", "red", "e1")
        agent = self.running()
        self.assertEqual(self.tool("trace", "IntfAddrVrfTableSm=9").returncode, 0)
        levels = json.loads(self.tool("trace", "--json").stdout)["classes"]
        self.assertIn({"class": "IntfAddrVrfTableSm", "level": 9}, levels)
        machine.ip("addr", "add", "10.0.0.1/24", "dev", "e0", vrf="red")
        self.assert_soon(lambda: agent.told("trace 8 IntfAddrVrfTableSm::"))
        self.assertEqual(self.tool("trace", "off").returncode, 0)
        refused = self.tool("trace", "Nobody=1")
        self.assertEqual(refused.returncode, 2)
        self.assertIn("no class traces as 'Nobody'", refused.stderr)
        self.assert_ends_well(agent)

    def ring(self, *words):
        result = self.tool("ring", *words, "--json")
        self.assertEqual(result.returncode, 0, result.stderr)
        return json.loads(result.stdout)

    def test_the_ring_outlives_the_agent(self):
        identities = []
        for _ in range(4):
            agent = self.running()
            running = self.ring()
            self.assertEqual(running["process"], agent.pid)
            agent.stop(signal.SIGKILL)
            dead = self.ring()
            self.assertEqual(dead["agent"], running["agent"])
            self.assertIn(f"agent {dead['agent']} begins",
                          [entry["message"] for entry in dead["entries"]])
            identities.insert(0, dead["agent"])
        self.assertEqual([self.ring(self.path(f"run/{name}"))["agent"]
                          for name in ("ring", "ring.1", "ring.2")], identities[:3])
        self.assertEqual([name for name in sorted(os.listdir(self.path("run")))
                          if name.startswith("ring")], ["ring", "ring.1", "ring.2"])

    def test_a_ring_that_cannot_be_read_says_why(self):
        agent = self.running()
        self.assert_ends_well(agent)
        with open(self.path("run/ring"), "r+b") as file:
            content = file.read()
            file.truncate(1000)
        for name, bytes_, why in (("cut", content[:1000], "is cut"), ("empty", b"", "is empty"),
                                  ("zero", bytes(len(content)), "is no trace ring"),
                                  ("other", content[:8] + b"\7" + content[9:], "is of version 7")):
            with open(self.path(name), "wb") as file:
                file.write(bytes_)
            result = self.tool("ring", self.path(name))
            self.assertEqual(result.returncode, 3)
            self.assertIn(f"{self.path(name)}: {why}", result.stderr)

    def test_an_agent_without_room_for_its_ring_runs(self):
        machine.sh(f"mkdir {self.path('run')} && mount -t tmpfs -o size=64k none {self.path('run')}")
        self.addCleanup(machine.sh, f"umount {self.path('run')}")
        agent = self.running()
        self.assert_told(agent, "run/ring: has no room for the trace ring")
        self.assertEqual(self.tool("ring").returncode, 3)
        self.assert_ends_well(agent)


if __name__ == "__main__":
    main()
