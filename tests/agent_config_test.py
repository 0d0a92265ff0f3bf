"""An agent with a configuration file: what it takes from it, at the start and at each SIGHUP, and which
virtual addresses outlive it.

As agent_live_test.py, in namespaces of the test's own.
"""

import grp
import json
import os
import shutil
import signal

from live import machine
from live.case import NOBODY, PROGRAM, AgentCase, main

KEEPS = 'keep-virtual = true\nstate-dir = "{}"\n'


class ConfiguredCase(AgentCase):
    def setUp(self):
        super().setUp()
        self.file = self.path("intfaddr.toml")

    def configure(self, text):
        with open(self.file, "w") as file:
            file.write(text)

    def start_with(self, text, *arguments, **options):
        self.configure(text)
        agent = self.start("--config", self.file, *arguments, **{"events": False, **options})
        agent.snapshot()
        return agent

    def reload(self, agent, text, expected):
        """Until it has told what is expected, once more than before."""
        self.configure(text)
        before = len(agent.told(expected))
        agent.process.send_signal(signal.SIGHUP)
        self.assert_soon(lambda: len(agent.told(expected)) > before, why=lambda: agent.notices)

    def vip(self, *words, **options):
        return machine.run(PROGRAM, "vip", *words, **options)

    def is_there(self, address, vrf="default"):
        result = machine.run(PROGRAM, "lookup", address, "vrf", vrf, "--json")
        return result.returncode == 0 and json.loads(result.stdout)["owners"][0]["virtual"]

    def assert_there(self, *addresses):
        for address in addresses:
            self.assertTrue(self.is_there(address), address)

    def assert_not_there(self, *addresses):
        for address in addresses:
            self.assertFalse(self.is_there(address), address)


class Configured(ConfiguredCase):
    def test_virtual_addresses_are_there_whenever_their_vrf_is(self):
        agent = self.start_with('[virtual]\ndefault = ["10.0.0.1", "2001:db8::1"]\n'
                                'red = ["10.0.0.2"]\n')
        self.assert_there("10.0.0.1", "2001:db8::1")
        for _ in range(2):
            self.assertFalse(self.is_there("10.0.0.2", "red"))
            machine.make_vrf("red")
            self.assert_soon(lambda: self.is_there("10.0.0.2", "red"))
            machine.remove_vrf("red")
            self.assert_soon(lambda: agent.addresses("red") is None)
        self.assert_ends_well(agent)

    def test_what_is_configured_changes_by_the_file_alone(self):
        agent = self.start_with('[virtual]\ndefault = ["10.0.0.1", "10.0.0.2"]\n')
        self.assertEqual(self.vip("add", "10.0.0.1").returncode, 1)
        refused = self.vip("del", "10.0.0.1")
        self.assertEqual(refused.returncode, 2)
        self.assertIn("10.0.0.1 of VRF 'default' is configured", refused.stderr)
        self.assertEqual(self.vip("add", "10.0.0.4").returncode, 0)

        self.reload(agent, '[virtual]\ndefault = ["10.0.0.2", "10.0.0.3"]\n', "was read again")
        self.assert_there("10.0.0.2", "10.0.0.3", "10.0.0.4")
        self.assert_not_there("10.0.0.1")
        self.assertEqual(self.vip("del", "10.0.0.4").returncode, 0)
        self.assert_ends_well(agent)

    def test_a_bad_file_changes_nothing(self):
        agent = self.start_with('coalesce = 5\n[virtual]\ndefault = ["10.0.0.1"]\n')
        for text, expected in (('[virtual]\ndefault = ["10.0.0.2", "10.0.0.x"]\n',
                                ":2: 'default': '10.0.0.x' is not an address"),
                               ("coalesec = 1\n", ":1: 'coalesec' is unknown: is 'coalesce' meant?"),
                               ("coalesce = \n", ":1: ")):
            self.reload(agent, text, self.file + expected)
            self.assert_there("10.0.0.1")
            self.assert_not_there("10.0.0.2")
        os.unlink(self.file)
        agent.process.send_signal(signal.SIGHUP)
        self.assert_told(agent, "cannot be read: No such file")
        self.assert_there("10.0.0.1")
        self.assertEqual(len(agent.told("the configuration stays as it was")), 4)
        self.reload(agent, "", "was read again")
        self.assert_not_there("10.0.0.1")
        self.assert_ends_well(agent)

    def test_what_cannot_change_while_it_runs_is_named(self):
        agent = self.start_with("yield-every = 7\n", "--group", "root")
        self.reload(agent, 'yield-every = 8\ngroup = "daemon"\n', "was read again")
        self.assert_told(agent, "'yield-every' waits for a restart")
        self.assertEqual(agent.told("'group'"), [])
        self.reload(agent, "yield-every = 7\n", "was read again")
        self.assertEqual(len(agent.told("waits for a restart")), 1)
        self.assert_ends_well(agent)

    def test_events_are_printed_while_the_file_says_so(self):
        machine.make_vrf("red")
        machine.join("red", "e0", "red", "e1")
        agent = self.start_with("")

        def add(number):
            machine.ip("addr", "add", f"10.0.{number}.1/24", "dev", "e0", vrf="red")
            self.assert_soon(lambda: f"10.0.{number}.1" in agent.addresses("red"))

        add(1)
        self.reload(agent, "events = true\ncoalesce = 0\n", "was read again")
        add(2)
        self.reload(agent, "", "was read again")
        add(3)
        self.assertTrue(agent.lines)
        self.assertTrue(all("10.0.2." in line for line in agent.lines), agent.lines)
        self.assert_ends_well(agent)

    def test_whom_it_names_may_change_something(self):
        os.chmod(self.folder, 0o755)
        program = shutil.copy(PROGRAM, self.folder)
        group = grp.getgrgid(NOBODY).gr_name
        agent = self.start_with(f'group = "{group}"\n')

        def status():
            return machine.run(program, "vip", "add", "10.0.0.1", user=NOBODY, group=NOBODY,
                               extra_groups=[]).returncode

        try:
            self.assertEqual(status(), 2)
        except PermissionError as error:
            self.skipTest(f"this machine does not let us become another user: {error}")
        self.reload(agent, f'group = "{group}"\nchangers = ["nobody"]\n', "was read again")
        self.assertEqual(status(), 0)
        self.reload(agent, f'group = "{group}"\n', "was read again")
        self.assertEqual(status(), 2)
        self.assert_ends_well(agent)

    def test_without_a_file_nothing_is_read_again(self):
        agent = self.start("--coalesce", "5", events=False)
        agent.snapshot()
        self.assertEqual(self.vip("add", "10.0.0.1").returncode, 0)
        agent.process.send_signal(signal.SIGHUP)
        self.assert_told(agent, "no configuration file is in use")
        self.assert_there("10.0.0.1")
        self.assert_ends_well(agent)

    def test_sighup_never_ends_it(self):
        # What takes time to be read keeps it from its signals for long enough.
        self.configure("# as good as nothing\n" * 100_000)
        agent = self.start("--config", self.file, events=False)
        early = 0
        while agent._ignores_signals() and agent.process.poll() is None:
            with open(f"/proc/{agent.pid}/status") as status:
                ignored = next(int(line.split()[1], 16) for line in status
                               if line.startswith("SigIgn"))
            # It is the last one that it comes to ignore.
            if ignored & (1 << (signal.SIGUSR1 - 1)):
                agent.process.send_signal(signal.SIGHUP)
                early += 1
        self.assertGreater(early, 0)
        for _ in range(50):
            agent.process.send_signal(signal.SIGHUP)
        agent.snapshot()
        self.assert_ends_well(agent)


class Kept(ConfiguredCase):
    """Virtual addresses that outlive the agent."""

    def setUp(self):
        super().setUp()
        self.keeps = KEEPS.format(self.path("state/deep"))
        self.kept = self.path("state/deep/virtual-addresses")

    def test_they_are_there_after_a_restart_however_it_ended(self):
        machine.make_vrf("red")
        agent = self.start_with(self.keeps + '[virtual]\ndefault = ["10.0.0.1"]\n')
        for words in (("10.0.0.2",), ("2001:db8::2",), ("10.0.0.3", "vrf", "red")):
            self.assertEqual(self.vip("add", *words).returncode, 0)
        for how in (signal.SIGTERM, signal.SIGKILL):
            self.assertEqual(self.vip("add", "10.0.0.4").returncode, 0)
            self.assertEqual(self.vip("del", "10.0.0.4").returncode, 0)
            agent.stop(how)
            agent = self.start_with(self.keeps + "[virtual]\n")
            self.assert_there("10.0.0.2", "2001:db8::2")
            self.assertTrue(self.is_there("10.0.0.3", "red"))
            self.assert_not_there("10.0.0.1", "10.0.0.4")
            self.assertEqual(agent.notices, [])

        machine.remove_vrf("red")
        self.assert_soon(lambda: agent.addresses("red") is None)
        self.assertEqual(self.vip("del", "10.0.0.3", "vrf", "red").returncode, 0)
        self.assert_ends_well(agent)
        agent = self.start_with("")
        self.assert_not_there("10.0.0.2")
        self.assert_ends_well(agent)

    def test_they_are_kept_from_when_the_file_says_so(self):
        agent = self.start_with("")
        self.assertEqual(self.vip("add", "10.0.0.1").returncode, 0)
        self.reload(agent, self.keeps, "was read again")
        agent.stop(signal.SIGKILL)
        agent = self.start_with(self.keeps)
        self.assert_there("10.0.0.1")
        self.assert_ends_well(agent)

    def test_a_damaged_file_is_told_of_and_set_aside(self):
        os.makedirs(os.path.dirname(self.kept))
        text = "/v1/virtual?address=10.0.0.1&vrf=default\nrubbish\n"
        with open(self.kept, "w") as file:
            file.write(text)
        agent = self.start_with(self.keeps)
        self.assert_told(agent, self.kept + ":2: ")
        self.assert_there("10.0.0.1")
        with open(self.kept + ".damaged") as file:
            self.assertEqual(file.read(), text)
        self.assert_ends_well(agent)
        agent = self.start_with(self.keeps)
        self.assert_there("10.0.0.1")
        self.assertEqual(agent.notices, [])
        self.assert_ends_well(agent)

    def test_a_file_that_cannot_be_written_is_told_of(self):
        with open(self.path("state"), "w"):
            pass
        agent = self.start_with(self.keeps)
        added = self.vip("add", "10.0.0.1")
        self.assertEqual(added.returncode, 0)
        self.assertIn("could not be kept: a restart will not know", added.stderr)
        self.assert_soon(lambda: agent.told(f"{self.kept}: cannot be written: Not a directory"))
        self.assert_there("10.0.0.1")
        self.assert_ends_well(agent)


if __name__ == "__main__":
    main()
