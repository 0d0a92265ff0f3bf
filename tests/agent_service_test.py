"""The agent as a service: what it tells the service manager, what it may still do once it runs, and what
the unit in packaging/ is worth.

As agent_live_test.py, in namespaces of the test's own. No systemd runs here: the test is the manager.
"""

import os
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time
import unittest

from live import machine, service
from live.case import NOBODY, PROGRAM, AgentCase, addresses, main

# Tenths of what `systemd-analyze security` says; it sees what an agent starts with, not what it gives up.
MOST_EXPOSED = {(): 16, ("fixed-namespaces",): 16, ("own-namespace",): 9, ("listen",): 20}
CAPABILITIES = {"net_admin": 12, "sys_ptrace": 19, "sys_admin": 21}


class Manager:
    """Hears what a service tells, with the time of each."""

    def __init__(self, path):
        self.path = path
        self.told = []
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.socket.bind(path)
        self.socket.settimeout(0.1)
        self.ends = False
        self.reader = threading.Thread(target=self._read, daemon=True)
        self.reader.start()

    def _read(self):
        while not self.ends:
            try:
                self.told.append((time.monotonic(), self.socket.recv(4096).decode()))
            except TimeoutError:
                pass

    def heard(self, text):
        return [time for time, told in list(self.told) if told.startswith(text)]

    def close(self):
        self.ends = True
        self.reader.join()
        self.socket.close()


def status_of(agent):
    with open(f"/proc/{agent.pid}/status") as file:
        return dict(re.findall(r"^(\w+):\t(.*)$", file.read(), re.MULTILINE))


def mask(*names):
    return sum(1 << CAPABILITIES[name] for name in names)


class ServiceCase(AgentCase):
    def lookup(self, address, vrf):
        """The exit status: 0 where somebody owns it, 3 where that is not known."""
        return machine.run(PROGRAM, "lookup", address, "vrf", vrf).returncode

    def has(self, agent, vrf, *addresses):
        return set(addresses) <= set(agent.addresses(vrf) or ())

    def make_vrf(self, vrf, address):
        machine.make_vrf(vrf)
        machine.ip("addr", "add", address, "dev", "lo", vrf=vrf)


class Told(ServiceCase):
    def setUp(self):
        super().setUp()
        self.manager = Manager(self.path("notify"))
        self.addCleanup(self.manager.close)

    def start_service(self, *arguments, watchdog=None):
        environment = {**os.environ, "NOTIFY_SOCKET": self.manager.path}
        if watchdog:
            environment["WATCHDOG_USEC"] = str(watchdog)
        return self.start(*arguments, env=environment)

    def test_it_is_ready_when_it_has_the_whole_picture(self):
        self.make_vrf("red", "10.0.0.1/32")
        agent = self.start_service()
        self.assert_soon(lambda: self.manager.told)
        self.assertEqual([told for _, told in self.manager.told],
                         ["READY=1\nSTATUS=Answers at /run/intfaddr/intfaddr.sock"])
        self.assertEqual(self.lookup("10.0.0.1", "red"), 0)
        self.assert_ends_well(agent)
        self.assert_soon(lambda: self.manager.heard("STOPPING=1"))
        self.assertEqual(len(self.manager.told), 2)

    def test_the_watchdog_hears_of_it_while_its_loop_turns_and_not_while_it_hangs(self):
        config = self.path("intfaddr.toml")
        with open(config, "w"):
            pass
        agent = self.start_service("--config", config, watchdog=800_000)
        self.assert_soon(lambda: len(self.manager.heard("WATCHDOG=1")) == 5)
        signs = self.manager.heard("WATCHDOG=1")
        self.assertLess(max(later - sign for sign, later in zip(signs, signs[1:])), 0.8)

        # Its loop does nothing else while a file is read, which takes as long as it takes.
        for number, lines in enumerate((200_000, 800_000, 3_100_000)):
            with open(config, "w") as file:
                file.write("# as good as nothing\n" * lines)
            agent.process.send_signal(signal.SIGHUP)
            self.assert_soon(lambda: len(self.manager.heard("READY=1")) == number + 2, 30)
            began, ended = self.manager.heard("RELOADING=1")[-1], self.manager.heard("READY=1")[-1]
            self.assertEqual([told for when, told in self.manager.told if began < when < ended], [])
            if ended - began > 0.5:
                break
        self.assertGreater(ended - began, 0.5)
        self.assert_soon(lambda: self.manager.heard("WATCHDOG=1")[-1] > ended)
        self.assert_ends_well(agent)

    def test_it_tells_how_a_reload_went(self):
        config = self.path("intfaddr.toml")
        for text, status in (("", f"{config}: was read again"),
                             ("rubbish", f"{config}: is not taken; the configuration stays as it was")):
            with open(config, "w"):
                pass
            agent = self.start_service("--config", config)
            self.assert_soon(lambda: self.manager.heard("READY=1"))
            self.manager.told.clear()
            with open(config, "w") as file:
                file.write(text)
            before = time.monotonic_ns() // 1000
            agent.process.send_signal(signal.SIGHUP)
            self.assert_soon(lambda: self.manager.heard("READY=1"))
            reloading, reloaded = [told for _, told in self.manager.told]
            self.assertEqual(reloaded, f"READY=1\nSTATUS={status}")
            moment = int(reloading.removeprefix("RELOADING=1\nMONOTONIC_USEC="))
            self.assertLess(before, moment)
            self.assertLess(moment, time.monotonic_ns() // 1000)
            self.assert_ends_well(agent)
            self.assert_soon(lambda: self.manager.heard("STOPPING=1"))
            self.manager.told.clear()


class Privileges(ServiceCase):
    def assert_has(self, agent, *capabilities):
        status = status_of(agent)
        for name in ("CapPrm", "CapEff"):
            self.assertEqual(int(status[name], 16), mask(*capabilities), name)
        for name in ("CapInh", "CapAmb"):
            self.assertEqual(int(status[name], 16), 0, name)
        self.assertEqual(status["NoNewPrivs"], "1")

    def own_capabilities(self):
        with open("/proc/self/status") as file:
            return int(re.search(r"CapEff:\t(\w+)", file.read())[1], 16)

    def test_it_keeps_what_following_namespaces_takes(self):
        self.make_vrf("red", "10.0.0.1/32")
        self.assertNotEqual(self.own_capabilities(), self.own_capabilities() & mask(*CAPABILITIES))
        agent = self.start()
        self.assert_soon(lambda: self.has(agent, "red", "10.0.0.1"))
        self.assert_has(agent, *(name for name in CAPABILITIES
                                 if self.own_capabilities() & mask(name)))
        self.assertEqual(int(status_of(agent)["CapBnd"], 16), 0)
        self.make_vrf("blue", "10.0.0.2/32")
        self.assert_soon(lambda: self.has(agent, "blue", "10.0.0.2"))
        self.assertEqual(agent.notices, [])
        self.assert_ends_well(agent)

    def test_a_name_that_is_a_link_to_a_process_is_followed(self):
        agent = self.start()
        agent.snapshot()
        self.make_vrf("red", "10.0.0.1/32")
        other = subprocess.Popen(["ip", "netns", "exec", "ns-red", "sleep", "60"])
        self.addCleanup(other.wait)
        self.addCleanup(other.kill)
        self.assert_soon(lambda: os.readlink(f"/proc/{other.pid}/exe").endswith("sleep"))
        machine.remove_vrf("red")
        os.symlink(f"/proc/{other.pid}/ns/net", "/run/netns/ns-blue")
        self.assert_soon(lambda: self.has(agent, "blue", "10.0.0.1"), why=lambda: agent.notices)
        self.assert_ends_well(agent)

    def test_with_fixed_namespaces_it_keeps_nothing_and_goes_on_with_what_it_has(self):
        machine.make_vrf("red")
        machine.join("red", "e0", "red", "e1")
        agent = self.start("--fixed-namespaces", "--receive-buffer", "4096")
        agent.snapshot()
        self.assert_has(agent)

        self.make_vrf("blue", "10.0.0.2/32")
        self.assert_told(agent, "namespace 'ns-blue' is left out: it came after the start")
        self.assertEqual(self.lookup("10.0.0.2", "blue"), 3)
        # More than its sockets have room for.
        added = addresses(5000)
        agent.process.send_signal(signal.SIGSTOP)
        machine.batch([f"addr add {address} dev e0" for address in added], "red")
        agent.process.send_signal(signal.SIGCONT)
        self.assert_soon(lambda: self.has(agent, "red", *(address.split("/")[0] for address in added)))
        self.assert_told(agent, "VRF 'red': notifications or dumps lost ")
        machine.remove_vrf("red")
        self.assert_soon(lambda: agent.addresses("red") is None)
        self.assert_ends_well(agent)

    def test_the_configuration_says_so_too(self):
        with open(self.path("intfaddr.toml"), "w") as file:
            file.write("fixed-namespaces = true\n")
        agent = self.start("--config", self.path("intfaddr.toml"))
        agent.snapshot()
        self.assert_has(agent)
        self.assert_ends_well(agent)

    def test_the_units_user_with_the_units_capabilities_and_mounts_sees_all(self):
        machine.sh("mount --make-shared /run")
        self.addCleanup(machine.sh, "mount --make-private /run")
        # While its unmounting takes along what has been mounted there through it.
        self.addCleanup(machine.clear)
        os.mkdir("/run/intfaddr", 0o755)
        os.chown("/run/intfaddr", NOBODY, NOBODY)
        os.chmod(self.folder, 0o755)
        program = shutil.copy(PROGRAM, self.folder)
        names = [name.lower().removeprefix("cap_") for name in service.values("AmbientCapabilities")]
        keeps = ",".join(f"+{name}" for name in names)
        # As systemd has it with PrivateMounts=, ProtectProc=, ProcSubset= and ProtectSystem=, and no more
        # to write to than the run directory.
        script = f"""
            mount -t proc -o hidepid=invisible,subset=pid none /proc
            mount --bind /run/intfaddr /run/intfaddr
            mount -o remount,bind,ro /run
            mount -o remount,bind,ro /
            exec setpriv --reuid {NOBODY} --regid {NOBODY} --clear-groups --no-new-privs \\
                --inh-caps=-all,{keeps} --ambient-caps=-all,{keeps} --bounding-set=-all,{keeps} "$@"
        """
        wrapper = ["unshare", "--mount", "--propagation", "slave", "sh", "-ec", script, "sh"]
        agent = self.start(program=program, wrapper=wrapper)
        self.assertFalse(os.path.exists("/run/netns"))
        agent.snapshot()
        self.assert_has(agent, *names)
        self.assertEqual(status_of(agent)["Uid"].split()[0], str(NOBODY))
        for number in range(3):
            self.make_vrf(f"v{number}", f"10.0.0.{number}/32")
            self.assert_soon(lambda: self.has(agent, f"v{number}", f"10.0.0.{number}"),
                             why=lambda: agent.notices)
        machine.remove_vrf("v1")
        self.assert_soon(lambda: agent.addresses("v1") is None)
        self.assertEqual(agent.notices, [])
        self.assert_ends_well(agent)


class Confined(ServiceCase):
    """As agent_config_test.py and agent_tools_test.py are once more (CMakeLists.txt)."""

    FILTERED = [sys.executable, service.__file__]

    def test_what_the_unit_does_not_list_ends_a_process(self):
        self.assertEqual(machine.run(*self.FILTERED, "/bin/true").returncode, 0)
        unshare = machine.run(*self.FILTERED, shutil.which("unshare"), "--uts", "true")
        self.assertEqual(unshare.returncode, -signal.SIGSYS)

    def test_it_may_try_a_scenario_beside_itself(self):
        agent = self.start(wrapper=self.FILTERED)
        agent.snapshot()
        scenario = '{"op":"kernel.del","vrf":"default","intf":"lo"}'
        with socket.socket(socket.AF_UNIX) as client:
            client.connect("/run/intfaddr/intfaddr.sock")
            client.sendall(f"POST /v1/whatif HTTP/1.1\r\nHost: agent\r\nConnection: close\r\n"
                           f"Content-Length: {len(scenario)}\r\n\r\n{scenario}".encode())
            self.assertIn(b" 200 ", client.recv(100))
        self.assert_ends_well(agent)


class Unit(unittest.TestCase):
    def unit(self, folder, drop_ins=()):
        """As it is installed, with the program that is tested."""
        os.makedirs(f"{folder}/intfaddr.service.d", exist_ok=True)
        for source, copy in [(service.UNIT, "intfaddr.service"),
                             *((service.PACKAGING / f"intfaddr-{name}.conf",
                                f"intfaddr.service.d/{name}.conf") for name in drop_ins)]:
            text = source.read_text().replace("ExecStart=intfaddr", f"ExecStart={os.path.abspath(PROGRAM)}")
            with open(f"{folder}/{copy}", "w") as file:
                file.write(text)
        return f"{folder}/intfaddr.service"

    def analyze(self, *words):
        # It looks for man pages and for a manager that there need not be here.
        return machine.run("systemd-analyze", "--no-pager", *words)

    def test_it_is_right_and_exposed_no_more_than_this(self):
        for drop_ins, most in MOST_EXPOSED.items():
            with self.subTest(drop_ins), tempfile.TemporaryDirectory() as folder:
                unit = self.unit(folder, drop_ins)
                verified = self.analyze("verify", "--man=no", unit)
                self.assertEqual((verified.returncode, verified.stderr), (0, ""))
                judged = self.analyze("security", "--offline=yes", f"--threshold={most}", unit)
                self.assertEqual((judged.returncode, judged.stderr), (0, ""), judged.stdout)

    def test_its_user_and_its_folders_are_made(self):
        with tempfile.TemporaryDirectory() as root:
            os.mkdir(f"{root}/etc")
            for tool, file in (("systemd-sysusers", "intfaddr.sysusers"),
                               ("systemd-tmpfiles", "intfaddr.tmpfiles")):
                words = ["--create"] if tool == "systemd-tmpfiles" else []
                made = machine.run(tool, f"--root={root}", *words, str(service.PACKAGING / file))
                self.assertEqual(made.returncode, 0, made.stderr)
            with open(f"{root}/etc/passwd") as file:
                self.assertIn("intfaddr:", file.read())
            self.assertTrue(os.path.isdir(f"{root}/var/lib/intfaddr/troubles"))
            self.assertNotEqual(os.stat(f"{root}/run/intfaddr").st_uid, 0)


if __name__ == "__main__":
    main()
