"""Completing a command line in bash and in zsh offers what the program's help says, and nothing else."""

import os
import pathlib
import pty
import re
import shlex
import subprocess
import sys
import tempfile
import unittest
import unittest.mock

PROGRAM = str(pathlib.Path(sys.argv.pop(1)).resolve())
SCRIPTS = pathlib.Path(__file__).resolve().parent.parent / "intfaddr/completion"

# A line editor is had by an interactive shell alone. It types the line, has all that may come written
# into it, as a person can, and ends.
ZSHRC = f"""
fpath=({SCRIPTS} $fpath)
autoload -Uz compinit
compinit -u -d $ZDOTDIR/known
everything() {{ _main_complete; compstate[insert]=all; compstate[list]= }}
zle -C everything complete-word everything
zle-line-init() {{
    BUFFER=$TYPED CURSOR=$#TYPED
    zle everything
    print -r -- $BUFFER > $ZDOTDIR/answer
    exit
}}
zle -N zle-line-init
"""


def completed_by_bash(*words, folder=None):
    """What the last word may become."""
    typed = " ".join(f"'{word}'" for word in (PROGRAM, *words))
    script = (f"source {SCRIPTS}/intfaddr.bash; COMP_WORDS=({typed}); COMP_CWORD={len(words)}; _intfaddr; "
              "printf '%s\\n' \"${COMPREPLY[@]}\"")
    result = subprocess.run(["bash", "-c", script], capture_output=True, text=True, timeout=60,
                            cwd=folder)
    if result.returncode != 0 or result.stderr:
        raise RuntimeError(f"{words}: {result.stderr}")
    return {line for line in result.stdout.splitlines() if line}


def completed_by_zsh(home, *words, folder=None):
    typed = shlex.join([PROGRAM, *words[:-1]]) + " " + words[-1]
    answer = pathlib.Path(home, "answer")
    answer.unlink(missing_ok=True)
    keyboard, terminal = pty.openpty()
    try:
        result = subprocess.run(["zsh", "-d", "-i"], stdin=terminal, stdout=terminal, stderr=subprocess.PIPE,
                                text=True, timeout=60, cwd=folder, start_new_session=True,
                                env={**os.environ, "ZDOTDIR": home, "TERM": "dumb", "TYPED": typed})
    finally:
        os.close(keyboard)
        os.close(terminal)
    if result.stderr or not answer.exists():
        raise RuntimeError(f"{words}: {result.stderr}")
    made = answer.read_text(encoding="utf-8")
    return set() if made.strip() == typed.strip() else set(shlex.split(made)[len(words):])


def helped(*command):
    return subprocess.run([PROGRAM, *command, "--help"], capture_output=True, text=True,
                          timeout=30).stdout


def commands():
    return {line.split()[0] for line in helped().split("Subcommands:\n")[1].splitlines()
            if re.match(r"  \S", line)}


class Completion:
    def test_every_command(self):
        self.assertEqual(self.completed(""), commands() | {"--help", "--version"})
        self.assertEqual(self.completed("loo"), {"lookup"})

    def test_every_option_of_every_command(self):
        for command in commands():
            with self.subTest(command):
                known = set(re.findall(r"^  (?:-\w,)?(--[\w-]+)", helped(command), re.MULTILINE))
                self.assertIn("--help", known)
                self.assertEqual(self.completed(command, "--"), known)

    def test_the_words_of_the_grammar(self):
        self.assertLessEqual({"vrf", "intf", "family"}, self.completed("show", ""))
        self.assertEqual(self.completed("show", "family", ""), {"4", "6"})
        self.assertEqual(self.completed("vip", "a"), {"add"})
        self.assertNotIn("is", self.completed("replay", ""))
        self.assertLessEqual({"intf", "vrf"}, self.completed("why-not", "10.0.0.1/24", ""))

    def test_the_names_of_this_machine(self):
        for words in (["show", "intf", "l"], ["lowest6", "l"], ["linklocal", "l"]):
            self.assertIn("lo", self.completed(*words))
        self.assertIn("default", self.completed("subnets", "vrf", "d"))

    def test_files(self):
        with tempfile.TemporaryDirectory() as folder:
            name = "some$(>made).jsonl"  # nothing is carried out
            (pathlib.Path(folder) / name).touch()
            for words in (["replay", "so"], ["what-if", "so"], ["agent", "--record", "so"],
                          ["record", "start", "so"]):
                self.assertEqual(self.completed(*words, folder=folder), {name}, words)
            self.assertEqual(self.completed("show", "so", folder=folder), set())
            self.assertEqual(os.listdir(folder), [name])

    def test_no_such_command(self):
        self.assertEqual(self.completed("nothing", ""), set())


class Bash(Completion, unittest.TestCase):
    completed = staticmethod(completed_by_bash)

    def test_no_name_is_carried_out(self):
        with tempfile.TemporaryDirectory() as folder:
            listing = pathlib.Path(folder) / "ls"  # as if these were the machine's names
            listing.write_text("#!/bin/sh\nprintf '%s\\n' '$(>made)' 'ns-$(>made)'\n")
            listing.chmod(0o755)
            with unittest.mock.patch.dict(os.environ, PATH=f"{folder}:{os.environ['PATH']}"):
                self.assertIn("$(>made)", self.completed("show", "intf", "", folder=folder))
                self.assertEqual(self.completed("show", "vrf", "$", folder=folder), {"$(>made)"})
            self.assertEqual(os.listdir(folder), ["ls"])


class Zsh(Completion, unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.home = cls.enterClassContext(tempfile.TemporaryDirectory())
        pathlib.Path(cls.home, ".zshrc").write_text(ZSHRC, encoding="utf-8")

    def completed(self, *words, folder=None):
        return completed_by_zsh(self.home, *words, folder=folder)


if __name__ == "__main__":
    unittest.main()
