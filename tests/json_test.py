"""What commands print with --json is what docs/json.md says, whoever answers."""

import json
import re
import subprocess
import sys
import tempfile
import time
import unittest

import jsonschema

from live.schema import SCHEMAS, check

PROGRAM = sys.argv.pop(1)
QUESTIONS = {"show": [[], ["127.0.0.1"], ["203.0.113.7"], ["vrf", "default", "family", "4"]],
             "lookup": [["127.0.0.1"], ["127.9.9.9"], ["203.0.113.7"]],
             "subnets": [[], ["vrf", "default"]],
             "lowest6": [["lo"], ["none0"]],
             "linklocal": [["lo"]],
             "explain": [["127.0.0.1"], ["127.9.9.9"], ["203.0.113.7"]],
             "why-not": [["127.0.0.1/8", "intf", "lo"], ["203.0.113.7/24", "intf", "lo"],
                         ["203.0.113.7/24", "vrf", "default", "intf", "none0"]],
             "what-if": [["-"]]}
SCENARIO = '{"op":"kernel.del","vrf":"default","intf":"lo"}\n'


def asked(*words):
    result = subprocess.run([PROGRAM, *words, "--json"], input=SCENARIO,
                            capture_output=True, text=True, timeout=30)
    if result.returncode not in (0, 1, 3):
        raise RuntimeError(f"{words}: exit {result.returncode}: {result.stderr}")
    return json.loads(result.stdout)


def helped(*command):
    return subprocess.run([PROGRAM, *command, "--help"], capture_output=True, text=True,
                          timeout=30).stdout


class Json(unittest.TestCase):
    def test_every_command_that_asks_is_tried(self):
        listed = helped().split("Subcommands:\n")[1]
        commands = [line.split()[0] for line in listed.splitlines() if re.match(r"  \S", line)]
        self.assertEqual({*QUESTIONS, "dump", "ring", "status", "monitor", "trace"},
                         {command for command in commands if re.search(r"^  --json", helped(command), re.MULTILINE)})

    def test_of_a_single_look_at_the_kernel(self):
        for command, questions in QUESTIONS.items():
            for words in questions:
                document = asked(command, *words, "--kernel")
                check(command, document)
                self.assertEqual(document["from"], "kernel")

    def test_of_an_agent(self):
        with tempfile.TemporaryDirectory() as folder:
            agent = subprocess.Popen([PROGRAM, "agent", "--run-dir", folder],
                                     stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                     stderr=subprocess.DEVNULL)
            try:
                deadline = time.monotonic() + 20
                while (asked("show", "--run-dir", folder)["from"] != "agent"
                       or asked("show", "--run-dir", folder)["notKnown"]):
                    self.assertLess(time.monotonic(), deadline)
                    time.sleep(0.05)
                for command, questions in QUESTIONS.items():
                    for words in questions:
                        document = asked(command, *words, "--run-dir", folder)
                        check(command, document)
                        self.assertEqual(document["from"], "agent")
                check("status", asked("status", "--run-dir", folder))
                for what in ("tables", "machines"):
                    check("dump", asked("dump", what, "--run-dir", folder))
                check("ring", asked("ring", "--run-dir", folder))
                check("trace", asked("trace", "--run-dir", folder))
                check("trace", asked("trace", "off", "--run-dir", folder))
                self.check_monitor(folder)
            finally:
                agent.kill()
                agent.wait()

    def check_monitor(self, folder):
        monitor = subprocess.Popen([PROGRAM, "monitor", "--initial", "--json", "--run-dir", folder],
                                   stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True)
        lines = []
        while not lines or "complete" not in lines[-1]:
            lines.append(json.loads(monitor.stdout.readline()))
            check("monitor", lines[-1])
        monitor.kill()
        monitor.communicate()
        self.assertGreater(len(lines), 2)

    def test_what_is_not_documented_is_noticed(self):
        document = asked("show", "--kernel")
        document["addresses"][0]["colour"] = "red"
        with self.assertRaises(jsonschema.ValidationError):
            check("show", document)
        document = asked("show", "--kernel")
        del document["addresses"][0]["state"]
        with self.assertRaises(jsonschema.ValidationError):
            check("show", document)
        self.assertGreaterEqual(len(SCHEMAS), 3)


if __name__ == "__main__":
    unittest.main()
