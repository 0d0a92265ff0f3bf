"""Completing a command line in bash offers what the program's help says, and nothing else."""

import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest
import unittest.mock

PROGRAM = str(pathlib.Path(sys.argv.pop(1)).resolve())
SCRIPT = pathlib.Path(__file__).resolve().parent.parent / "intfaddr/completion/intfaddr.bash"


def completed(*words, folder=None):
    """What the last word may become."""
    typed = " ".join(f"'{word}'" for word in (PROGRAM, *words))
    script = (f"source {SCRIPT}; COMP_WORDS=({typed}); COMP_CWORD={len(words)}; _intfaddr; "
              "printf '%s\\n' \"${COMPREPLY[@]}\"")
    result = subprocess.run(["bash", "-c", script], capture_output=True, text=True, timeout=60,
                            cwd=folder)
    if result.returncode != 0 or result.stderr:
        raise RuntimeError(f"{words}: {result.stderr}")
    return {line for line in result.stdout.splitlines() if line}


def helped(*command):
    return subprocess.run([PROGRAM, *command, "--help"], capture_output=True, text=True,
                          timeout=30).stdout


def commands():
    return {line.split()[0] for line in helped().split("Subcommands:\n")[1].splitlines()
            if re.match(r"  \S", line)}


class Completion(unittest.TestCase):
    def test_every_command(self):
        self.assertEqual(completed(""), commands() | {"--help", "--version"})
        self.assertEqual(completed("loo"), {"lookup"})

    def test_every_option_of_every_command(self):
        for command in commands():
            with self.subTest(command):
                known = set(re.findall(r"^  (?:-\w,)?(--[\w-]+)", helped(command), re.MULTILINE))
                self.assertIn("--help", known)
                self.assertEqual(completed(command, "--"), known)

    def test_the_words_of_the_grammar(self):
        self.assertLessEqual({"vrf", "intf", "family"}, completed("show", ""))
        self.assertEqual(completed("show", "family", ""), {"4", "6"})
        self.assertEqual(completed("vip", "a"), {"add"})
        self.assertNotIn("is", completed("replay", ""))
        self.assertLessEqual({"intf", "vrf"}, completed("why-not", "10.0.0.1/24", ""))

    def test_the_names_of_this_machine(self):
        for words in (["show", "intf", "l"], ["lowest6", "l"], ["linklocal", "l"]):
            self.assertIn("lo", completed(*words))
        self.assertIn("default", completed("subnets", "vrf", "d"))

    def test_files(self):
        with tempfile.TemporaryDirectory() as folder:
            (pathlib.Path(folder) / "some.jsonl").touch()
            for words in (["replay", "so"], ["what-if", "so"], ["agent", "--record", "so"]):
                self.assertEqual(completed(*words, folder=folder), {"some.jsonl"}, words)
            self.assertEqual(completed("show", "so", folder=folder), set())

    def test_no_name_is_carried_out(self):
        with tempfile.TemporaryDirectory() as folder:
            listing = pathlib.Path(folder) / "ls"  # as if these were the machine's names
            listing.write_text("#!/bin/sh\nprintf '%s\\n' '$(>made)' 'ns-$(>made)'\n")
            listing.chmod(0o755)
            with unittest.mock.patch.dict(os.environ, PATH=f"{folder}:{os.environ['PATH']}"):
                self.assertIn("$(>made)", completed("show", "intf", "", folder=folder))
                self.assertEqual(completed("show", "vrf", "$", folder=folder), {"$(>made)"})
            self.assertEqual(os.listdir(folder), ["ls"])

    def test_no_such_command(self):
        self.assertEqual(completed("nothing", ""), set())


if __name__ == "__main__":
    unittest.main()
