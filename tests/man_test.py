"""The manual has a page for each command, with all that the command's help says, and knows each key of the
configuration and each operation of a scenario.
"""

import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

PROGRAM = pathlib.Path(sys.argv.pop(1)).resolve()
ROOT = pathlib.Path(__file__).resolve().parent.parent


def help_of(*command):
    return subprocess.run([PROGRAM, *command, "--help"], check=True, capture_output=True, text=True).stdout


COMMANDS = re.findall(r"^  ([a-z0-9-]+) ", help_of().partition("Subcommands:")[2], re.MULTILINE)


class Manual(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        subprocess.run([sys.executable, ROOT / "docs/man/make", PROGRAM, cls.folder.name], check=True)
        # As it is read, without what roff needs.
        cls.pages = {file.name: re.sub(r"\\(f[BIRP]|&)", "", file.read_text()).replace("\\", "")
                     for file in pathlib.Path(cls.folder.name).iterdir()}

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def test_each_command_has_its_page(self):
        self.assertGreater(len(COMMANDS), 10)
        self.assertEqual({f"intfaddr-{command}.8" for command in COMMANDS},
                         {name for name in self.pages if name.startswith("intfaddr-") and name.endswith(".8")})
        for command in COMMANDS:
            self.assertIn(f"intfaddr-{command}", self.pages["intfaddr.8"])

    def test_each_option_and_each_sentence_of_a_help_is_there(self):
        for command in COMMANDS:
            text = help_of(command).partition("Operations and their fields")[0]
            page = " ".join(self.pages[f"intfaddr-{command}.8"].split())
            with self.subTest(command):
                options = re.findall(r"^  (?:-h,)?(--[a-z0-9-]+)", text, re.MULTILINE)
                self.assertIn("--help", options)
                for option in options:
                    self.assertIn(option, page)
                for word in re.findall(r"[A-Za-z]{4,}", text.partition("Options:")[2]):
                    if word not in ("UINT", "FLOAT", "false", "Needs", "Exit", "status"):
                        self.assertIn(word, page)

    def test_each_key_of_the_configuration_is_there(self):
        keys = re.findall(r"^# ([a-z-]+) = ", (ROOT / "docs/intfaddr.toml").read_text(), re.MULTILINE)
        self.assertGreater(len(keys), 10)
        for key in keys:
            self.assertIn(f"{key} = ", self.pages["intfaddr.conf.5"])

    def test_each_operation_is_there(self):
        listed = help_of("replay").partition("Operations and their fields")[2]
        operations = re.findall(r"^  ([a-z0-9.]+)", listed, re.MULTILINE)
        self.assertGreater(len(operations), 20)
        for operation in operations:
            self.assertIn(operation, self.pages["intfaddr-scenario.5"])


if __name__ == "__main__":
    unittest.main()
