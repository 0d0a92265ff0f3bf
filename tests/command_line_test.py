"""The command line of intfaddr: what it accepts, what it says, and how it exits."""

import ctypes
import json
import pathlib
import platform
import re
import socket
import struct
import subprocess
import sys
import tempfile
import unittest

PROGRAM = sys.argv.pop(1)


def run(*arguments, **options):
    return subprocess.run([PROGRAM, *arguments], stdin=subprocess.DEVNULL, capture_output=True,
                          text=True, timeout=30, **options)


def refuse_randomness():
    """From here on the kernel gives this process no random bytes: seccomp(2) has the call fail."""
    getrandom = {"x86_64": 318}.get(platform.machine(), 278)
    load_call, if_equal, answer, refuse, allow = 0x20, 0x15, 0x06, 0x00050001, 0x7fff0000
    filters = ctypes.create_string_buffer(struct.pack(
        "HBBI" * 4, load_call, 0, 0, 0, if_equal, 0, 1, getrandom,
        answer, 0, 0, refuse, answer, 0, 0, allow))
    program = struct.pack("HP", 4, ctypes.addressof(filters))
    libc = ctypes.CDLL(None)
    no_new_privileges, seccomp, by_filter = 38, 22, 2
    if libc.prctl(no_new_privileges, 1, 0, 0, 0) or libc.prctl(seccomp, by_filter, program):
        raise OSError("this machine does not let us filter system calls")


def loopback_is_up():
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as probe:
        try:
            probe.connect(("127.0.0.1", 9))
        except OSError:
            return False
    return True


class CommandLine(unittest.TestCase):
    def expect_bad_argument(self, arguments, *words):
        result = run(*arguments)
        self.assertEqual(result.returncode, 2, result.stderr)
        self.assertEqual(result.stdout, "")
        for word in words:
            self.assertIn(word, result.stderr)

    def test_help_and_version_are_answers(self):
        for arguments, word in ((["--help"], "show"), (["show", "--help"], "[ADDR|PREFIX] [vrf NAME]"),
                                (["--version"], "intfaddr ")):
            result = run(*arguments)
            self.assertEqual(result.returncode, 0, result.stderr)
            self.assertIn(word, result.stdout)
            self.assertEqual(result.stderr, "")

    def test_each_subcommand_explains_itself(self):
        for arguments, word in ((["agent", "--help"], "SIGUSR1"), (["capture", "--help"], "FILE"),
                                (["replay", "--help"], "--heal")):
            result = run(*arguments)
            self.assertEqual(result.returncode, 0, result.stderr)
            self.assertIn(word, result.stdout)

    def test_bad_options_of_the_agent_are_refused(self):
        for arguments, word in ((["--coalesce", "-1"], "--coalesce"), (["--coalesce", "x"], "--coalesce"),
                                (["--yield-every", "0"], "--yield-every"), (["--limit", "7"], "--limit"),
                                (["--receive-buffer", "1"], "--receive-buffer"),
                                (["--listen", "10.0.0.1:80"], "--listen: '10.0.0.1:80' is not an address of loopback"),
                                (["--no-such"], "--no-such"), (["surplus"], "surplus")):
            self.expect_bad_argument(["agent", *arguments], word)

    def test_a_bad_configuration_of_the_agent_is_refused(self):
        with tempfile.TemporaryDirectory() as directory:
            file = f"{directory}/intfaddr.toml"
            self.expect_bad_argument(["agent", "--config", file], f"{file}: cannot be read: No such")
            for text, error in (("\ncoalesce = -1", ":2: 'coalesce': -1 is not expected"),
                                ("event = true", ":1: 'event' is unknown: is 'events' meant?"),
                                ("[virtual]\nred = ['x']", ":2: 'red': 'x' is not an address"),
                                ("changers = ['no one']", ":1: 'changers': there is no user 'no one'"),
                                ("coalesce 7", ":1: ")):
                with open(file, "w") as written:
                    written.write(text)
                self.expect_bad_argument(["agent", "--config", file, "--coalesce", "7"], file + error)

    def test_each_option_of_the_agent_has_its_key_in_the_example(self):
        example = pathlib.Path(__file__).resolve().parent.parent / "docs" / "intfaddr.toml"
        keys = set(re.findall(r"^# ([a-z-]+) = ", example.read_text().split("[virtual]\n")[0], re.M))
        options = set(re.findall(r"^ +(?:-h,)?--([a-z-]+)", run("agent", "--help").stdout, re.M))
        self.assertEqual(keys - {"changers", "keep-virtual", "state-dir"},
                         options - {"help", "config"})

    def test_an_agent_that_cannot_record_does_not_begin(self):
        with tempfile.TemporaryDirectory() as directory:
            result = run("agent", "--run-dir", directory, "--record", f"{directory}/no/such")
            self.assertEqual(result.returncode, 70)
            self.assertIn("/no/such: cannot be opened: No such file", result.stderr)

    def test_a_capture_that_cannot_be_written_says_so(self):
        result = run("capture", "/no/such/file")
        self.assertEqual(result.returncode, 70)
        self.assertIn("/no/such/file: cannot be written: No such file", result.stderr)

    def test_interfaces_may_be_left_out(self):
        result = run("show", "--json", "vrf", "default", "--leave-out", "l?", "--leave-out", "x*")
        self.assertEqual(result.returncode, 0, result.stderr)
        (address,) = [one for one in json.loads(result.stdout)["addresses"]
                      if one["address"] == "127.0.0.1"]
        self.assertEqual((address["place"], address["why"]), ("left-out", "left out"))

    def test_the_table_has_the_loopback_address(self):
        result = run("show", "vrf", "default", "--kernel")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        lines = result.stdout.splitlines()
        self.assertEqual(lines[0].split()[:5], ["VRF", "ADDRESS", "INTERFACE", "PLACE", "STATE"])
        self.assertIn(["default", "127.0.0.1/8", "lo", "table", "PREFERRED"],
                      [line.split() for line in lines])
        brief = run("show", "vrf", "default", "intf", "lo", "--kernel", "--brief")
        self.assertIn("127.0.0.1/8", brief.stdout)

    def test_json_has_the_loopback_address(self):
        result = run("show", "--json", "vrf", "default", "--kernel")
        self.assertEqual(result.returncode, 0, result.stderr)
        document = json.loads(result.stdout)
        self.assertEqual(list(document), ["from", "vrfs", "addresses", "notKnown"])
        self.assertEqual((document["from"], document["vrfs"], document["notKnown"]),
                         ("kernel", ["default"], []))
        self.assertIn({"vrf": "default", "interface": "lo", "address": "127.0.0.1",
                       "prefixLength": 8, "family": "IPv4", "subnet": "127.0.0.0/8",
                       "virtual": False, "place": "table", "state": "PREFERRED"},
                      document["addresses"])

    def test_whoever_is_not_answered_by_an_agent_is_told_so(self):
        with tempfile.TemporaryDirectory() as directory:
            result = run("show", "--run-dir", directory)
        self.assertEqual(result.returncode, 0)
        self.assertIn("127.0.0.1/8", result.stdout)
        self.assertIn(f"no agent runs: {directory}/intfaddr.sock", result.stderr)
        self.assertIn("read once", result.stderr)

    def test_questions_about_one_thing(self):
        for words, expected in ((["show", "127.0.0.1"], "127.0.0.1/8"),
                                (["show", "127.0.0.0/8", "intf", "lo", "family", "4"], "127.0.0.1/8"),
                                (["lookup", "127.0.0.1"], "127.0.0.0/8"),
                                (["subnets", "vrf", "default"], "127.0.0.0/8")):
            result = run(*words, "--kernel")
            self.assertEqual(result.returncode, 0, result.stderr)
            self.assertIn(expected, result.stdout)

    def test_without_an_agent_there_is_nothing_to_follow(self):
        for command in ("monitor", "status"):
            with tempfile.TemporaryDirectory() as directory:
                result = run(command, "--run-dir", directory)
            self.assertEqual((result.returncode, result.stdout), (3, ""))
            self.assertIn(f"not known: no agent runs: {directory}/intfaddr.sock", result.stderr)
        self.expect_bad_argument(["monitor", "nonsense"], "'nonsense' is not an address")

    def test_what_there_is_not_exits_with_1(self):
        result = run("lookup", "203.0.113.77", "vrf", "default", "--kernel")
        self.assertEqual((result.returncode, result.stdout), (1, ""))
        self.assertIn("nothing owns 203.0.113.77", result.stderr)
        result = run("lookup", "127.9.9.9", "vrf", "default", "--kernel")
        self.assertEqual(result.returncode, 1)
        self.assertEqual(result.stdout.splitlines()[1].split(), ["default", "127.0.0.0/8", "lo"])
        result = run("show", "203.0.113.77", "vrf", "default", "--json", "--kernel")
        self.assertEqual(result.returncode, 1)
        self.assertEqual(json.loads(result.stdout)["addresses"], [])
        self.assertEqual(run("linklocal", "lo", "vrf", "default", "--kernel").returncode, 1)

    def test_an_address_is_explained(self):
        result = run("explain", "127.0.0.1", "--kernel")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertTrue(result.stdout.startswith("127.0.0.1/8 is owned by lo of VRF 'default', as "),
                        result.stdout)
        self.assertIn("There is no history", result.stdout)
        result = run("explain", "127.9.9.9", "vrf", "default", "intf", "lo", "--kernel")
        self.assertEqual(result.returncode, 1)
        self.assertIn("127.0.0.0/8, which is connected to lo", result.stdout)
        result = run("explain", "203.0.113.77", "vrf", "default", "--json", "--kernel")
        self.assertEqual(result.returncode, 1)
        document = json.loads(result.stdout)
        self.assertEqual(list(document), ["from", "address", "explanations", "history", "notKnown"])
        self.assertEqual(document["explanations"],
                         [{"vrf": "default", "interface": None, "verdict": "none",
                           "sentence": "No interface of VRF 'default' has 203.0.113.77.",
                           "reasons": [], "events": []}])
        self.expect_bad_argument(["explain"], "an address is missing")

    def test_a_bad_address_says_what_is_wrong_with_it(self):
        for word in ("10.0.0.256", "nonsense"):
            self.expect_bad_argument(["show", word], f"'{word}' is not an address")
        self.expect_bad_argument(["show", "nonsense"], "vrf or intf or family")
        self.expect_bad_argument(["show", "fe80::1%"], "the interface is empty")
        self.expect_bad_argument(["show", "10.0.0.1/33"], "'10.0.0.1/33' is not a prefix")
        self.expect_bad_argument(["lookup", "10.0.0.1/24"], "an address is expected")
        self.expect_bad_argument(["lookup"], "an address is missing")
        self.expect_bad_argument(["show", ""], "the address is empty")

    def test_virtual_addresses_need_an_agent_and_words(self):
        self.expect_bad_argument(["vip"], "add or del is missing")
        self.expect_bad_argument(["vip", "set", "10.0.0.1"], "'set' is not expected: add or del is")
        self.expect_bad_argument(["vip", "add"], "an address is missing")
        with tempfile.TemporaryDirectory() as directory:
            result = run("vip", "add", "10.0.0.1", "--run-dir", directory)
        self.assertEqual(result.returncode, 3)
        self.assertIn("no agent runs", result.stderr)

    def test_an_unknown_vrf_is_named(self):
        self.expect_bad_argument(["show", "vrf", "no-such-vrf", "--kernel"], "no VRF 'no-such-vrf'")

    def test_a_command_line_that_makes_no_sense_is_a_bad_argument(self):
        self.expect_bad_argument([], "command is required")
        self.expect_bad_argument(["hide"], "hide")
        self.expect_bad_argument(["show", "--colour"], "--colour")
        self.expect_bad_argument(["show", "10.0.0.1", "10.0.0.2"], "10.0.0.2")
        self.expect_bad_argument(["show", "vrf"], "'vrf' is the last word")

    def test_nothing_is_hashed_under_a_key_that_was_not_drawn(self):
        result = run("--version", preexec_fn=refuse_randomness)
        self.assertNotEqual(result.returncode, 0)
        self.assertEqual(result.stdout, "")
        self.assertIn("drawing the hash key", result.stderr)

    def test_output_that_cannot_be_written_is_a_failure(self):
        with open("/dev/full", "w", encoding="ascii") as full:
            result = subprocess.run([PROGRAM, "show"], stdin=subprocess.DEVNULL, stdout=full,
                                    stderr=subprocess.PIPE, text=True, timeout=30)
        self.assertEqual(result.returncode, 70)
        self.assertIn("cannot write", result.stderr)


if __name__ == "__main__":
    if not loopback_is_up():
        print("skipped: the loopback interface is down, so it has no address")
        sys.exit(77)
    unittest.main()
