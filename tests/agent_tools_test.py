"""Looks into an agent that runs: its dumps, its traces.

As agent_live_test.py, in namespaces of the test's own.
"""

import json

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


if __name__ == "__main__":
    main()
