"""Every file under scenarios/ keeps what it promises: its expectations hold on the program, or the
run ends in the failed invariant that the file names."""

import json
import pathlib
import subprocess
import sys
import unittest

PROGRAM = sys.argv.pop(1)
ROOT = pathlib.Path(__file__).resolve().parent.parent / "scenarios"
FILES = sorted(ROOT.rglob("*.jsonl"))
ASSERTS = "-asserts.jsonl"
MESSAGE = "# assert: "


# No machine can be made for it, so that a repair changes nothing.
BEYOND_REPAIR = "name-too-long-for-a-namespace.jsonl"


def replay(file, *options):
    return subprocess.run([PROGRAM, "replay", str(file), *options], stdin=subprocess.DEVNULL,
                          capture_output=True, text=True, timeout=30)


def operations(file):
    return [json.loads(line) for line in file.read_text().splitlines()
            if line.strip() and not line.startswith("#")]


class Scenarios(unittest.TestCase):
    def each(self, files, check):
        self.assertGreater(len(files), 0)
        for file in files:
            with self.subTest(str(file.relative_to(ROOT))):
                check(file)

    def test_each_says_what_happens(self):
        def check(file):
            self.assertTrue(file.read_text().startswith("# "), "does not open with a comment")

        self.each(FILES, check)

    def test_expectations_hold(self):
        def check(file):
            last = operations(file)[-1]
            self.assertEqual(last["op"], "expect", "does not end in an expectation")
            self.assertTrue(last.keys() & {"rows", "lookup"}, "expects nothing at its end")
            result = replay(file)
            self.assertEqual((result.returncode, result.stderr), (0, ""), result.stdout)

        self.each([file for file in FILES if not file.name.endswith(ASSERTS)], check)

    def test_what_is_right_is_left_alone(self):
        def check(file):
            left = replay(file)
            healed = replay(file, "--heal")
            self.assertEqual((healed.returncode, healed.stdout, healed.stderr),
                             (left.returncode, left.stdout, left.stderr))

        self.each([file for file in FILES
                   if file.parent.name != "known" and file.name != BEYOND_REPAIR], check)

    def test_invariants_fail_as_named(self):
        def check(file):
            named = [line.removeprefix(MESSAGE) for line in file.read_text().splitlines()
                     if line.startswith(MESSAGE)]
            self.assertEqual(len(named), 1, f"needs one line '{MESSAGE}MESSAGE'")
            result = replay(file)
            self.assertEqual((result.returncode, result.stderr), (3, ""), result.stdout)
            failed = json.loads(result.stdout.splitlines()[-1])["assert"]
            self.assertEqual(failed["message"], named[0])

        self.each([file for file in FILES if file.name.endswith(ASSERTS)], check)


if __name__ == "__main__":
    unittest.main()
