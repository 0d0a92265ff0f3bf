"""Asks an agent that runs on a kernel: who has an address, who waits, why, and what changes.

As agent_live_test.py, in namespaces of the test's own.
"""

import grp
import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import time

from live import machine
from live.case import NOBODY, PROGRAM, AgentCase, addresses, main


class AskingCase(AgentCase):
    def ask(self, *words, program=PROGRAM, **options):
        return machine.run(program, *words, "--run-dir", self.path("run"), **options)

    def json(self, *words):
        return json.loads(self.ask(*words, "--json").stdout)


class Asked(AskingCase):
    def test_who_has_a_disputed_subnet_and_who_waits_for_it(self):
        machine.make_vrf("red")
        machine.join("red", "e0", "red", "e1")
        agent = self.start("--run-dir", self.path("run"))
        agent.snapshot()
        machine.batch(["addr add 10.0.0.1/24 dev e0"], "red")
        self.assert_soon(lambda: self.json("lookup", "10.0.0.1")["owners"])
        machine.batch(["addr add 10.0.0.2/24 dev e1"], "red")
        self.assert_soon(lambda: self.json("show", "10.0.0.2")["addresses"])

        (waiting,) = self.json("show", "10.0.0.2", "vrf", "red")["addresses"]
        self.assertEqual((waiting["place"], waiting["waitsFor"]),
                         ("waiting", {"subnet": "10.0.0.0/24", "interface": "e0"}))
        result = self.ask("lookup", "10.0.0.2")
        self.assertEqual(result.returncode, 1)
        self.assertRegex(result.stdout, r"red +10\.0\.0\.0/24 +e0\n")
        machine.batch(["addr del 10.0.0.1/24 dev e0"], "red")
        self.assert_soon(lambda: self.json("lookup", "10.0.0.2")["owners"])
        self.assert_ends_well(agent)
        self.assertFalse(os.path.exists(self.path("run/intfaddr.sock")))

    def test_virtual_addresses_come_and_go_and_are_recorded(self):
        agent = self.start("--run-dir", self.path("run"), "--record", self.path("recording"))
        agent.snapshot()
        self.assertEqual(self.ask("vip", "add", "10.0.0.9").returncode, 0)
        self.assertEqual(self.ask("vip", "add", "10.0.0.9").returncode, 1)
        self.assertTrue(self.json("lookup", "10.0.0.9")["owners"][0]["virtual"])
        self.assertEqual(self.ask("vip", "add", "10.0.0.9", "vrf", "none").returncode, 2)
        self.assertEqual(self.ask("vip", "del", "10.0.0.9").returncode, 0)
        self.assertEqual(self.ask("lookup", "10.0.0.9").returncode, 1)
        self.assert_ends_well(agent)
        with open(self.path("recording")) as recording:
            self.assertEqual([json.loads(line)["op"] for line in recording
                              if "10.0.0.9" in line], ["vip.add", "vip.del"])

    def test_whoever_is_not_of_its_group_may_not_ask(self):
        os.chmod(self.folder, 0o755)
        program = shutil.copy(PROGRAM, self.folder)
        nobody = {"user": NOBODY, "group": NOBODY, "extra_groups": [], "program": program}
        machine.make_vrf("red")
        agent = self.start("--run-dir", self.path("run"))
        agent.snapshot()
        try:
            refused = self.ask("lookup", "10.0.0.1", **nobody)
        except PermissionError as error:
            self.skipTest(f"this machine does not let us become another user: {error}")
        self.assertEqual(refused.returncode, 3)
        self.assertIn("may not ask the agent", refused.stderr)
        self.assertIn("not known: VRF 'red'", refused.stderr)
        self.assert_ends_well(agent)

        group = grp.getgrgid(NOBODY).gr_name
        agent = self.start("--run-dir", self.path("run"), "--group", group)
        agent.snapshot()
        answered = self.ask("lookup", "10.0.0.1", **nobody)
        self.assertEqual((answered.returncode, answered.stderr),
                         (1, "intfaddr: nothing owns 10.0.0.1\n"))
        self.assert_ends_well(agent)

        # Who has no agent of his own asks the system's.
        agent = self.start("--group", group)
        agent.snapshot()
        del nobody["program"]
        answered = machine.run(program, "lookup", "10.0.0.1", **nobody,
                               env={**os.environ, "XDG_RUNTIME_DIR": self.path("none")})
        self.assertEqual((answered.returncode, answered.stderr),
                         (1, "intfaddr: nothing owns 10.0.0.1\n"))
        self.assert_ends_well(agent)

    def test_a_long_answer_holds_up_nobody(self):
        machine.make_vrf("red")
        machine.join("red", "e0", "red", "e1")
        machine.batch([f"addr add {address} dev e0" for address in addresses(5000)], "red")
        agent = self.start("--run-dir", self.path("run"))
        self.assert_soon(lambda: len(agent.addresses("red") or []) >= 5000)
        asking = [subprocess.Popen([PROGRAM, "show", "--json", "--run-dir", self.path("run")],
                                   stdout=subprocess.PIPE, text=True) for _ in range(4)]
        machine.batch(["addr add 10.99.0.1/32 dev e1"], "red")
        self.assert_soon(lambda: self.json("lookup", "10.99.0.1")["owners"])
        for process in asking:
            told = [one["address"] for one in json.loads(process.communicate(timeout=60)[0])["addresses"]
                    if one["interface"] == "e0" and one["address"].startswith("10.")]
            self.assertEqual(len(told), 5000)
            self.assertEqual(len(set(told)), 5000)
        self.assert_ends_well(agent)


class Rehearsed(AskingCase):
    """What would be, tried on a copy: nothing of it reaches the agent."""

    def setUp(self):
        super().setUp()
        machine.make_vrf("red")
        machine.join("red", "e0", "red", "e1")
        self.agent = self.start("--run-dir", self.path("run"))
        self.agent.snapshot()
        machine.batch(["addr add 10.0.0.1/24 dev e0"], "red")
        self.assert_soon(lambda: self.json("lookup", "10.0.0.1")["owners"])
        machine.batch(["addr add 10.0.0.2/24 dev e1"], "red")
        self.assert_soon(lambda: self.json("show", "10.0.0.2")["addresses"])

    def tearDown(self):
        self.assert_ends_well(self.agent)
        super().tearDown()

    def test_why_not(self):
        free = self.ask("why-not", "10.0.1.1/24", "intf", "e1", "vrf", "red")
        self.assertEqual((free.returncode, free.stderr), (0, ""))
        answer = self.json("why-not", "10.0.0.3/24", "intf", "e1", "vrf", "red")
        self.assertEqual(answer["address"]["waitsFor"],
                         {"subnet": "10.0.0.0/24", "interface": "e0"})
        self.assertEqual((answer["from"], answer["changes"]), ("agent", []))
        self.assertFalse(self.json("show", "10.0.0.3")["addresses"])

    def test_a_bad_question_is_refused(self):
        for words, said in ((["10.0.0.1"], "'10.0.0.1' is not expected: ADDR/LEN is"),
                            ([], "ADDR/LEN is missing"),
                            (["10.0.0.1/24"], "intf NAME is missing"),
                            (["10.0.0.1/33", "intf", "e0"], "'10.0.0.1/33' is no address"),
                            (["224.0.0.1/24", "intf", "e0", "vrf", "red"], "multicast"),
                            (["10.0.0.1/24", "intf", "e0", "vrf", "none"], "there is no VRF")):
            result = self.ask("why-not", *words)
            self.assertEqual(result.returncode, 2, words)
            self.assertIn(said, result.stderr)

    def test_what_if(self):
        with open(self.path("file"), "w") as file:
            file.write('{"op":"kernel.del","vrf":"red","intf":"e0"}\n')
        answer = self.json("what-if", self.path("file"))
        goes, comes = (one for one in answer["changes"] if one["family"] == "IPv4")
        self.assertEqual((goes["present"], goes["address"], round(goes["at"], 3)),
                         (False, "10.0.0.1", 1.5))
        # At the next try, which may be due already.
        self.assertEqual((comes["present"], comes["address"]), (True, "10.0.0.2"))
        self.assertTrue(1.5 <= comes["at"] <= 3.6, comes["at"])
        self.assertTrue(self.json("lookup", "10.0.0.1")["owners"])
        with open(self.path("file"), "a") as file:
            file.write('{"op":"snapshot"}\n')
        result = self.ask("what-if", self.path("file"))
        self.assertEqual((result.returncode, result.stdout), (2, ""))
        self.assertIn(f"{self.path('file')}:2: 'snapshot' changes nothing", result.stderr)
        self.assertEqual(self.ask("what-if", self.path("none")).returncode, 2)

    def test_a_scenario_that_explains_replays_to_the_same(self):
        for addr, owner in (("10.0.0.1", "e0"), ("10.0.0.2", None)):
            scenario = self.ask("explain", "--scenario", addr)
            self.assertEqual((scenario.returncode, scenario.stderr), (0, ""))
            lines = scenario.stdout.splitlines()
            self.assertRegex(scenario.stdout, rf"(?m)^# \d+\.\d s ago: {re.escape(addr)} "
                             r"was published as primary on e\d$")
            # Of all concerned: the owner of the subnet too.
            self.assertRegex(scenario.stdout,
                             r"(?m)^# \d+\.\d s ago: 10\.0\.0\.1 came into the table on e0$")
            self.assertEqual(json.loads(lines[-1])["lookup"]["intf"], owner)
            # The configuration, the table, two devices, the status, two interfaces, two addresses,
            # the present, and what is expected.
            self.assertLessEqual(sum(line[0] == "{" for line in lines), 11, scenario.stdout)
            replayed = subprocess.run([PROGRAM, "replay", "-"], input=scenario.stdout, text=True,
                                      capture_output=True, timeout=60)
            self.assertEqual((replayed.returncode, replayed.stdout), (0, ""))
        self.assertEqual(self.ask("explain", "--scenario", "10.0.0.3").returncode, 1)
        machine.batch(["addr add 10.0.0.1/32 dev lo"])
        self.assert_soon(lambda: len(self.json("lookup", "10.0.0.1")["owners"]) == 2)
        result = self.ask("explain", "--scenario", "10.0.0.1")
        self.assertEqual(result.returncode, 2)
        self.assertIn("is in VRFs default, red: say which, with vrf NAME", result.stderr)
        machine.batch(["addr del 10.0.0.1/32 dev lo"])


class Readme(AgentCase):
    """Its session, typed in as it stands there; times are another day's."""

    def test_shows_what_happens(self):
        readme = pathlib.Path(__file__).resolve().parent.parent / "README.md"
        session = readme.read_text().split("## What it shows\n")[1].split("\nVRF `default`")[0]
        lines = [line[4:] for line in session.splitlines() if line.startswith("    ")]
        machine.batch(["link add eth0 type veth peer name eth1"])
        self.addCleanup(machine.ip, "link", "del", "eth0")
        for link in ("eth0", "eth1"):
            machine.sh(f"echo 1 > /proc/sys/net/ipv6/conf/{link}/disable_ipv6")
            machine.ip("link", "set", link, "up")
        agent = self.start()
        agent.snapshot()
        printed = []
        monitor = None
        for line in lines:
            if line.startswith("# ip "):
                time.sleep(0.3)
                printed.append(line)
                machine.ip(*line.split()[2:])
            elif line == "$ intfaddr monitor &":
                printed.append(line)
                monitor = subprocess.Popen([PROGRAM, "monitor"], stdout=subprocess.PIPE, text=True)
                self.addCleanup(monitor.communicate)
                self.addCleanup(monitor.kill)
            elif line.startswith("$ intfaddr "):
                # Until the address waits, and is not tried again any more.
                time.sleep(2.5)
                printed.append(line)
                printed += machine.run(PROGRAM, *line.split()[2:]).stdout.splitlines()
            elif monitor and line[0] in "#+-":
                printed.append(monitor.stdout.readline().rstrip("\n"))
        self.assertEqual(self.without_times(printed), self.without_times(lines))
        self.assert_ends_well(agent)

    @staticmethod
    def without_times(lines):
        return [re.sub(r"\s+\d+\.\d s\b", " T s", line) for line in lines]


class Monitor(AgentCase):
    """What stands, and then what changes, for as long as the agent runs."""

    def setUp(self):
        super().setUp()
        machine.make_vrf("red")
        machine.join("red", "e0", "red", "e1")
        machine.ip("addr", "add", "10.0.0.1/24", "dev", "e0", vrf="red")
        self.agent = self.start(events=False)
        self.assert_soon(lambda: "10.0.0.1" in (self.agent.addresses("red") or []))

    def monitor(self, *arguments):
        process = subprocess.Popen([PROGRAM, "monitor", *arguments], stdin=subprocess.DEVNULL,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)

        def end():
            process.kill()
            process.communicate()

        self.addCleanup(end)
        return process

    def read_until(self, process, text):
        lines = []
        while not lines or text not in lines[-1]:
            line = process.stdout.readline()
            self.assertTrue(line, f"{lines} {process.poll()}")
            lines.append(line)
        return lines

    def assert_ends(self, process, status, text=""):
        self.assertEqual(process.wait(timeout=20), status)
        self.assertIn(text, process.stderr.read())

    def test_an_address_that_comes_and_goes_is_seen_to_do_so(self):
        monitor = self.monitor("--initial", "--json", "vrf", "red", "10.0.0.0/16")
        lines = self.read_until(monitor, "complete")
        machine.ip("addr", "add", "10.0.0.2/24", "dev", "e0", vrf="red")
        lines += self.read_until(monitor, "10.0.0.2")
        machine.ip("addr", "del", "10.0.0.2/24", "dev", "e0", vrf="red")
        lines += self.read_until(monitor, "10.0.0.2")
        told = [json.loads(line) for line in lines]

        seqs = [line["seq"] for line in told]
        self.assertEqual(seqs, sorted(seqs))
        # Of a table one number; changes each have their own.
        self.assertEqual(len(set(seqs[2:])), 3)
        self.assertEqual(len({line["agent"] for line in told}), 1)
        self.assertEqual([(line.get("address"), line.get("present")) for line in told],
                         [(None, None), ("10.0.0.1", True), (None, None), ("10.0.0.2", True),
                          ("10.0.0.2", False)])
        monitor.send_signal(signal.SIGINT)
        self.assert_ends(monitor, 0)

    def test_it_ends_with_the_agent(self):
        monitor = self.monitor("--initial", "10.0.0.1")
        lines = self.read_until(monitor, "complete")
        self.assertEqual(lines[1].split(), ["+", "red", "10.0.0.1/24", "e0", "10.0.0.0/24"])
        before = self.identity()
        self.assertEqual(self.identity(), before)
        self.assert_ends_well(self.agent)
        self.assert_ends(monitor, 70, "the agent went away")
        second = self.start(events=False)
        second.snapshot()
        self.assertNotEqual(self.identity(), before)

    def identity(self):
        """Of the agent that runs."""
        return json.loads(self.monitor("--json").stdout.readline())["agent"]

    def test_it_ends_when_nobody_reads_it(self):
        monitor = self.monitor()
        self.read_until(monitor, "begin")
        monitor.stdout.close()
        machine.ip("addr", "add", "10.0.0.2/24", "dev", "e0", vrf="red")
        self.assertEqual(monitor.wait(timeout=20), 0)
        monitor.stdout = open(os.devnull)

    def test_the_status_is_that_of_the_agent(self):
        status = json.loads(machine.run(PROGRAM, "status", "--json").stdout)
        self.assertEqual((status["process"], status["watchers"]), (self.agent.pid, 0))
        self.assertEqual([vrf["vrf"] for vrf in status["vrfs"]], ["default", "red"])
        text = machine.run(PROGRAM, "status")
        self.assertEqual((text.returncode, text.stderr), (0, ""))
        self.assertIn(["process", str(self.agent.pid)],
                      [line.split() for line in text.stdout.splitlines()])

    def test_a_vrf_that_is_not_there_is_a_bad_question(self):
        self.assert_ends(self.monitor("vrf", "none"), 2, "there is no VRF 'none'")


if __name__ == "__main__":
    main()
