"""A test of an agent that runs: what it starts with, and what it expects again and again.

The program is the first argument of whoever uses it.
"""

import os
import shutil
import signal
import subprocess
import sys
import tempfile
import unittest

from live import machine
from live.agent import Agent

PROGRAM = sys.argv.pop(1)
NOBODY = 65534


def addresses(count):
    return [f"10.{index // 65536}.{index // 256 % 256}.{index % 256}/32"
            for index in range(65536, 65536 + count)]


class AgentCase(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        machine.clear()
        self.addCleanup(machine.clear)
        self.folder = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.folder)

    def path(self, name):
        return os.path.join(self.folder, name)

    def start(self, *arguments, program=PROGRAM, **options):
        agent = Agent(program, *arguments, **options)
        self.addCleanup(agent.close)
        return agent

    def flap(self, vrf, count):
        """On ten interfaces, as fast as can be, until the test ends."""
        for number in range(5):
            machine.join(vrf, f"f{number}", vrf, f"f{number + 5}")
        with open(self.path("flap"), "w") as file:
            for verb in ("add", "del"):
                file.writelines(f"addr {verb} {address} dev f{number % 10}\n"
                                for number, address in enumerate(addresses(count + 100)[100:]))
        flapping = subprocess.Popen(
            ["sh", "-c", f"while :; do ip -n ns-{vrf} -force -batch {self.path('flap')}; done"],
            stderr=subprocess.DEVNULL, start_new_session=True)

        def end():
            os.killpg(flapping.pid, signal.SIGKILL)
            flapping.wait()

        self.addCleanup(end)

    def assert_soon(self, condition, seconds=10.0, why=None):
        took = machine.wait_for(condition, seconds)
        self.assertIsNotNone(took, why() if why else "it did not come about")
        return took

    def assert_told(self, agent, text):
        """Once."""
        self.assert_soon(lambda: agent.told(text), 10.0, lambda: f"{text}: {agent.notices}")
        self.assertEqual(len(agent.told(text)), 1, agent.notices)

    def assert_ends_well(self, agent):
        status, took = agent.stop()
        self.assertEqual(status, 0, agent.notices)
        self.assertLess(took, 1.0)
        self.assertEqual(agent.replica.wrong, [])

    def replay(self, recording, *arguments):
        return machine.run(PROGRAM, "replay", "--heal", *arguments, recording)


def main():
    if os.geteuid() != 0:
        print("skipped: network namespaces need root")
        sys.exit(77)
    try:
        machine.become()
        machine.clear()
    except (OSError, RuntimeError) as error:
        print(f"skipped: this machine does not let us make namespaces: {error}")
        sys.exit(77)
    unittest.main()
