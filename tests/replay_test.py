"""`intfaddr replay`: what it prints, what it says of files that are wrong, how it exits."""

import json
import os
import pty
import subprocess
import sys
import tempfile
import threading
import unittest

PROGRAM = sys.argv.pop(1)

PREPARATION = ['{"op":"table.add","vrf":"red"}', '{"op":"ip.vrf.add","vrf":"red"}',
               '{"op":"ip6.vrf.add","vrf":"red"}', '{"op":"kernel.add","vrf":"red","intf":"eth0"}',
               '{"op":"ip.intf.add","vrf":"red","intf":"eth0","primary":"10.0.0.1/24"}']
BROKEN = ['{"op":"ip.intf.add","vrf":"red","intf":"eth2","primary":"10.0.0.2/24"}',
          '{"op":"ip.primary","vrf":"red","intf":"eth2","addr":"0.0.0.0/0"}']


def run(*arguments, **options):
    return subprocess.run([PROGRAM, *arguments], capture_output=True, timeout=60, **options)


def replay(lines, *options):
    """Of a scenario on the standard input: lines of text, or bytes as they are."""
    data = lines if isinstance(lines, bytes) else "".join(f"{line}\n" for line in lines).encode()
    return run("replay", "-", *options, input=data)


def objects(result):
    return [json.loads(line) for line in result.stdout.splitlines()]


class Replay(unittest.TestCase):
    def file(self, lines):
        with tempfile.NamedTemporaryFile("w", suffix=".jsonl", delete=False) as file:
            file.writelines(f"{line}\n" for line in lines)
        self.addCleanup(os.unlink, file.name)
        return file.name

    def expect_file_error(self, lines, line, *words):
        result = replay(lines)
        self.assertEqual(result.returncode, 2, result.stderr)
        message = result.stderr.decode()
        self.assertTrue(message.startswith(f"-:{line}: "), message)
        self.assertEqual(message.count("\n"), 1)
        self.assertLess(len(message), 600)
        for word in words:
            self.assertIn(word, message)
        return result

    def test_a_scenario_prints_what_it_asks_for(self):
        name = self.file([*PREPARATION, '{"op":"snapshot","at":1.5}'])
        result = run("replay", name)
        self.assertEqual((result.returncode, result.stderr), (0, b""))
        [snapshot] = objects(result)
        self.assertEqual(snapshot["t"], 1.5)
        self.assertEqual(list(snapshot["snapshot"]["red"]),
                         ["rows", "byAddr", "subnets", "linkLocal", "deferred", "cleanup"])
        self.assertEqual(snapshot["snapshot"]["red"]["rows"],
                         [{"key": {"intf": "", "addr": "10.0.0.1", "vip": False},
                           "intf": "eth0", "subnet": "10.0.0.0/24"}])

    def test_the_same_scenario_prints_the_same(self):
        lines = [*PREPARATION, '{"op":"ip.intf.del","vrf":"red","intf":"eth0"}',
                 '{"op":"advance","seconds":5}', '{"op":"dump"}', '{"op":"dump","what":"sm"}']
        first = replay(lines, "--events", "--trace", "9")
        again = replay(lines, "--events", "--trace", "9")
        self.assertEqual(first.stdout, again.stdout)
        self.assertGreater(len(first.stdout.splitlines()), 30)

    def test_events_and_traces_are_printed_where_asked_for(self):
        self.assertEqual(replay(PREPARATION).stdout, b"")
        kinds = [set(line) - {"t"} for line in objects(replay(PREPARATION, "--events"))]
        self.assertEqual(kinds, [{"event"}] * 3)
        traces = [line["trace"] for line in objects(replay(PREPARATION, "--trace", "8"))]
        self.assertTrue(all(trace["level"] <= 8 for trace in traces))
        self.assertIn("IntfAddrVrfTableSm", {trace["class"] for trace in traces})
        traces = objects(replay(PREPARATION, "--trace", "9", "--class", "IpIntfStatusSm",
                                "--class", "AllIntfAddrVrfTableSm"))
        self.assertEqual({line["trace"]["class"] for line in traces},
                         {"IpIntfStatusSm", "AllIntfAddrVrfTableSm"})
        self.assertEqual(replay(PREPARATION, "--trace", "0").stdout, b"")

    def test_an_expectation_that_fails_ends_the_run_with_1(self):
        result = replay([*PREPARATION, '{"op":"expect","rows":{"red":[]}}', '{"op":"snapshot"}'])
        self.assertEqual((result.returncode, result.stderr), (1, b""))
        [failure] = objects(result)
        self.assertEqual(failure["expect"]["line"], 6)

    def test_an_invariant_that_fails_ends_the_run_with_3(self):
        result = replay([*PREPARATION, *BROKEN, '{"op":"snapshot"}'], "--events", "--trace", "9")
        self.assertEqual((result.returncode, result.stderr), (3, b""))
        self.assertEqual(objects(result)[-1]["assert"],
                         {"line": 7,
                          "message": "subnet 10.0.0.0/24 on eth2 has unexpected conflict on eth0"})

    def test_an_error_of_the_file_names_file_and_line(self):
        name = self.file(["# a comment", *PREPARATION, '{"op":"table.del","vrf":"blue"}'])
        result = run("replay", name)
        self.assertEqual(result.returncode, 2)
        self.assertEqual(result.stderr.decode(), f"{name}:7: there is no VRF 'blue'\n")
        self.assertEqual(result.stdout, b"")

    def test_what_was_printed_before_the_error_stands(self):
        result = self.expect_file_error(['{"op":"snapshot"}', "{}"], 2, "'op' is missing")
        self.assertEqual(objects(result), [{"t": 0.0, "snapshot": {}}])

    def test_fields_and_values_are_named(self):
        self.expect_file_error(['{"op":"table.ad","vrf":"red"}'], 1, "'table.ad'")
        self.expect_file_error(['{"op":"table.add"}'], 1, "'vrf' is missing")
        self.expect_file_error(['{"op":"table.add","vrf":7}'], 1, "'vrf'", "7")
        self.expect_file_error(['{"op":"table.add","vrf":"red","name":1}'], 1, "unknown", "'name'")
        self.expect_file_error(['{"op":"vip.add","vrf":"red","addr":"10.0.0.256/24"}'], 1,
                               "'addr'", "10.0.0.256/24")
        self.expect_file_error(['{"op":"advance","seconds":1}', '{"op":"snapshot","at":0.5}'], 2,
                               "'at'", "0.5")
        self.expect_file_error(['{"op":"table.del","vrf":"' + "x" * 100_000 + '"}'], 1, "xxx")

    def test_text_that_is_no_scenario_is_refused(self):
        for data in (b"{", b"[]", b"nonsense", b'{"op":"snapshot"} {}', b'{"op":"snapshot",}',
                     b'{"op":"snapshot","op":"snapshot"}', b'{"op":"advance","seconds":NaN}',
                     b'{"op":"advance","seconds":1e999}',
                     b'{"op":"table.add","vrf":"\xff"}', b'{"op":"table.add","vrf":"\\ud800"}',
                     "{\"op\":\"snapshot\"}".encode("utf-16"), b'{"op":"snapshot"}\0',
                     b"\0" * 1000, bytes(range(256)), b"[" * 100_000,
                     b'{"op":' * 100_000, b"\x7fELF\x02\x01\x01"):
            with self.subTest(data=data[:40]):
                self.expect_file_error(data, 1)

    def test_what_it_says_is_text_that_no_terminal_obeys(self):
        for data in (b'\xff\xfe', b'{"\x1b[2J":1}', b'{"op":"\\u001b[2J\\u009b"}', b"\x1b]0;x\x07"):
            message = replay(data).stderr.decode()
            self.assertTrue(message.rstrip("\n").isprintable(), message)

    def test_crlf_and_a_last_line_without_an_end_are_fine(self):
        result = replay(b'# comment\r\n\r\n{"op":"snapshot"}\r\n{"op":"snapshot"}')
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(len(objects(result)), 2)

    def test_a_last_line_that_is_torn_is_told_behind_all_that_comes_before_it(self):
        whole = b'{"op":"table.add","vrf":"red"}\n{"op":"snapshot"}\n'
        last = b'{"op":"table.add","vrf":"blue"}'
        printed = replay(whole).stdout
        for size in range(1, len(last)):
            with self.subTest(size=size):
                result = replay(whole + last[:size])
                self.assertEqual(result.returncode, 2)
                self.assertIn(b"-:3: the last line is torn: not a JSON text: ", result.stderr)
                self.assertEqual(result.stdout, printed)
        for end in (last, last + b"\n", b"# a remark that is tor", b" "):
            self.assertEqual(replay(whole + end).returncode, 0)
        for wrong in (b'{"op":"tab"}', b'{"op":"tab\n'):
            self.assertNotIn(b"torn", replay(whole + wrong).stderr)

    def test_a_line_without_an_end_is_given_up(self):
        with open("/dev/zero", "rb") as zeros:
            result = subprocess.run([PROGRAM, "replay", "-"], stdin=zeros, capture_output=True,
                                    timeout=30)
        self.assertEqual(result.returncode, 2)
        self.assertIn(b"-:1: the line is longer than", result.stderr)
        result = run("replay", "/dev/zero")
        self.assertEqual(result.returncode, 2)

    def test_a_file_that_cannot_be_read_is_an_error(self):
        for name, why in (("/no/such/file", "No such file"), ("/", "Is a directory"), ("", "No such")):
            result = run("replay", name)
            self.assertEqual(result.returncode, 2)
            self.assertIn(why, result.stderr.decode())
            self.assertTrue(result.stderr.decode().startswith(f"{name}:"))

    def test_a_command_line_that_makes_no_sense_is_refused(self):
        name = self.file([])
        for arguments, word in (([], "FILE"), ([name, "other"], "other"),
                                ([name, "--trace"], "--trace"), ([name, "--trace", "10"], "10"),
                                ([name, "--trace", "-1"], "-1"), ([name, "--trace", "x"], "x"),
                                ([name, "--class", "IntfCleanupSm"], "--trace"),
                                ([name, "--trace", "3", "--class", "Nobody"], "IntfCleanupSm"),
                                ([name, "--event"], "--event")):
            with self.subTest(arguments=arguments):
                result = run("replay", *arguments)
                self.assertEqual(result.returncode, 2)
                self.assertEqual(result.stdout, b"")
                self.assertIn(word, result.stderr.decode())

    def test_a_class_does_not_swallow_the_file(self):
        name = self.file(PREPARATION)
        result = run("replay", "--trace", "8", "--class", "IpIntfStatusSm", name)
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertNotEqual(result.stdout, b"")

    def test_help_explains_each_option_and_operation(self):
        result = run("replay", "--help")
        self.assertEqual((result.returncode, result.stderr), (0, b""))
        for word in ("FILE", "--events", "--trace", "--class", "Exit status", "echo '{",
                     "ip.intf.add: vrf, intf, [primary \"0.0.0.0/0\"]", "manager.stop\n"):
            self.assertIn(word, result.stdout.decode())
        self.assertIn("replay", run("--help").stdout.decode())

    def test_output_that_cannot_be_written_is_a_failure(self):
        with open("/dev/full", "w", encoding="ascii") as full:
            result = subprocess.run([PROGRAM, "replay", "-"], input=b'{"op":"snapshot"}\n',
                                    stdout=full, stderr=subprocess.PIPE, timeout=30)
        self.assertEqual(result.returncode, 70)
        self.assertIn(b"cannot write", result.stderr)

    def test_input_that_trickles_in_is_answered_at_once(self):
        with subprocess.Popen([PROGRAM, "replay", "-"], stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE) as process:
            watchdog = threading.Timer(30, process.kill)
            watchdog.start()
            try:
                for time in (1.0, 2.0):
                    process.stdin.write(b'{"op":"advance","seconds":1}\n{"op":"snapshot"}\n')
                    process.stdin.flush()
                    self.assertEqual(json.loads(process.stdout.readline())["t"], time)
                process.stdin.close()
                self.assertEqual(process.wait(), 0)
            finally:
                watchdog.cancel()

    def test_progress_is_shown_on_a_terminal_and_erased(self):
        line = b'{"op":"advance","seconds":1}\n'
        terminal, end = pty.openpty()
        shown = []
        begun = threading.Event()

        def listen():
            while chunk := self.read(terminal):
                shown.append(chunk)
                begun.set()

        listener = threading.Thread(target=listen)
        listener.start()
        with subprocess.Popen([PROGRAM, "replay", "-"], stdin=subprocess.PIPE,
                              stdout=subprocess.DEVNULL, stderr=end) as process:
            os.close(end)
            watchdog = threading.Timer(30, process.kill)
            watchdog.start()
            while not begun.is_set():  # so long as it takes until there is something to show
                process.stdin.write(line * 100)
                process.stdin.flush()
            process.stdin.close()
            self.assertEqual(process.wait(), 0)
            watchdog.cancel()
        listener.join()
        os.close(terminal)
        text = b"".join(shown).decode()
        self.assertRegex(text, r"\r\x1b\[Kline \d+, \d+\.000 s")
        self.assertTrue(text.endswith("\r\x1b[K"), repr(text[-40:]))
        self.assertEqual(replay(line * 20_000).stderr, b"")

    @staticmethod
    def read(terminal):
        try:
            return os.read(terminal, 4096)
        except OSError:
            return b""

    def test_a_long_file_takes_no_more_memory_than_a_short_one(self):
        def memory(repetitions):
            """Peak of a process that replays so often the same changes, in KiB."""
            changes = "".join(line + "\n" for line in (
                '{"op":"ip.intf.del","vrf":"red","intf":"eth0"}',
                '{"op":"ip.intf.add","vrf":"red","intf":"eth0","primary":"10.0.0.1/24"}',
                '{"op":"advance","seconds":2}')) + "# comment\n" * 97
            with tempfile.NamedTemporaryFile("w") as file:
                file.writelines(f"{line}\n" for line in PREPARATION)
                file.writelines(changes for _ in range(repetitions))
                file.flush()
                # AddressSanitizer would keep what is given back.
                keep_nothing = "quarantine_size_mb=0:thread_local_quarantine_size_kb=0"
                environment = {**os.environ, "ASAN_OPTIONS": keep_nothing}
                process = os.posix_spawn(PROGRAM, [PROGRAM, "replay", file.name], environment)
                _, status, usage = os.wait4(process, 0)
            self.assertEqual(os.waitstatus_to_exitcode(status), 0)
            return usage.ru_maxrss

        short, million_lines = memory(100), memory(10_000)
        # The file has 11 MiB; sanitizers have some of their own.
        self.assertLess(million_lines, short + 4096)


if __name__ == "__main__":
    unittest.main()
