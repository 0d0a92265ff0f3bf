"""Looks into an agent that runs: its dumps, its traces, its ring.

As agent_live_test.py, in namespaces of the test's own.
"""

import json
import os
import signal

from live import machine
from live.case import PROGRAM, AgentCase, addresses, main
from live.schema import check


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

    def recorded(self, state):
        """The recording of the status, when it is of this state."""
        status = json.loads(self.tool("status", "--json").stdout)
        check("status", status)
        recording = status["recording"]
        return recording if recording and recording["state"] == state else None

    def rows(self):
        return sorted((row["address"], row["interface"]) for row in
                      json.loads(self.tool("show", "--json", "vrf", "red").stdout)["addresses"]
                      if row["place"] == "table")

    def test_what_a_running_agent_has_and_does_is_recorded(self):
        machine.make_vrf("red")
        machine.join("red", "e0", "red", "e1")
        machine.batch([f"addr add {address} dev e0" for address in addresses(2000)], "red")
        machine.batch([f"addr del {address} dev e0" for address in addresses(500)], "red")
        machine.batch(["addr add 192.0.2.1/24 dev e0", "addr add 192.0.2.2/24 dev e1"], "red")
        agent = self.running()
        self.assertEqual(self.tool("record", "stop").returncode, 1)
        machine.batch([f"addr add {address} dev e0" for address in addresses(500)], "red")
        begun = self.tool("record", "start", "recording", cwd=self.folder)
        self.assertEqual((begun.returncode, begun.stdout, begun.stderr), (0, "", ""))
        again = self.tool("record", "start", self.path("other"))
        self.assertEqual(again.returncode, 2)
        self.assertIn(f"{self.path('recording')} is being recorded already", again.stderr)
        self.assertTrue(self.recorded("running"))
        machine.batch(["addr del 192.0.2.1/24 dev e0", "addr add 192.0.2.3/24 dev e1"], "red")
        machine.batch([f"addr del {address} dev e0" for address in addresses(10)], "red")
        last = (addresses(10)[-1].split("/")[0], "e0")
        self.assert_soon(lambda: ("192.0.2.2", "e1") in self.rows() and last not in self.rows())
        stopped = self.tool("record", "stop")
        self.assertEqual((stopped.returncode, stopped.stdout, stopped.stderr), (0, "", ""))
        self.assertEqual(self.recorded("stopped")["bytes"], os.path.getsize(self.path("recording")))
        rows = self.rows()
        with open(self.path("recording"), "a") as file:
            file.write('{"op":"snapshot"}\n')
        replayed = self.replay(self.path("recording"))
        self.assertEqual((replayed.returncode, replayed.stderr), (0, ""))
        snapshot = json.loads(replayed.stdout.splitlines()[-1])["snapshot"]["red"]
        self.assertEqual(sorted((row["key"]["addr"], row["intf"]) for row in snapshot["rows"]), rows)
        self.assertEqual(self.tool("record", "stop").returncode, 1)
        for words in ([], ["begin"], ["start"], ["start", "a", "b"], ["stop", "a"],
                      ["stop", "--limit", "5000"], ["start", self.path("a"), "--limit", "1"]):
            self.assertEqual(self.tool("record", *words).returncode, 2, words)
        self.assert_ends_well(agent)
        self.assertEqual(self.tool("record", "stop").returncode, 3)

    def test_a_recording_of_the_command_line_is_stopped_alike(self):
        machine.sh(f"mkdir {self.path('small')} && mount -t tmpfs -o size=8k none {self.path('small')}")
        self.addCleanup(machine.sh, f"umount {self.path('small')}")
        agent = self.running("--record", self.path("recording"), "--limit", "5000")
        self.assertEqual(self.tool("record", "stop").returncode, 0)
        self.assertEqual(self.replay(self.path("recording")).returncode, 0)
        machine.make_vrf("red")
        machine.join("red", "e0", "red", "e1")
        self.assertEqual(self.tool("record", "start", self.path("recording")).returncode, 0)
        machine.batch([f"addr add {address} dev e0" for address in addresses(200)], "red")
        self.assert_soon(lambda: self.recorded("failed"))
        self.assertIn("limit of 5000 bytes", self.tool("status").stdout)
        full = self.path("small/recording")
        self.assertEqual(self.tool("record", "start", full, "--limit", "1000000").returncode, 0)
        self.assert_soon(lambda: self.recorded("failed"))
        self.assertIn("No space left", self.tool("record", "stop").stderr)
        self.assert_told(agent, f"{full}: it cannot be written any more")
        self.assert_ends_well(agent)

    def test_an_agent_without_room_for_its_ring_runs(self):
        machine.sh(f"mkdir {self.path('run')} && mount -t tmpfs -o size=64k none {self.path('run')}")
        self.addCleanup(machine.sh, f"umount {self.path('run')}")
        agent = self.running()
        self.assert_told(agent, "run/ring: has no room for the trace ring")
        self.assertEqual(self.tool("ring").returncode, 3)
        self.assert_ends_well(agent)


if __name__ == "__main__":
    main()
