"""docs/scenarios.md shows what the program prints: its sample files are replayed as it says.
docs/astray.md explains each scenario in which the rules lead astray.

A block of JSON is the file that the paragraph before it names; in a block of console text a line
that begins with "$ " is a command, and the lines after it are all that it prints.
IPLIB_REWRITE_GOLDEN=1 in the environment puts what is printed now in their place.
"""

import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

PROGRAM = pathlib.Path(sys.argv.pop(1)).resolve()
ROOT = pathlib.Path(__file__).resolve().parent.parent
GUIDE = ROOT / "docs" / "scenarios.md"
ASTRAY = ROOT / "docs" / "astray.md"

SAMPLE_FILE = re.compile(r"`([\w-]+\.jsonl)`(?:(?!\n\n).)*\n\n```json\n(.*?)```\n", re.DOTALL)
CONSOLE = re.compile(r"(?<=```console\n).*?(?=```\n)", re.DOTALL)
KNOWN = re.compile(r"(?<=\| scenario \| healed \|\n\|---\|---\|\n)(\|.*\n)+")
OPERATION = re.compile(r"^\| `([\w.]+)` \| (?!fields)", re.MULTILINE)


def run(command, directory):
    environment = {**os.environ, "PATH": f"{directory}:{os.environ['PATH']}"}
    return subprocess.run(command, shell=True, cwd=directory, env=environment, timeout=30,
                          stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True).stdout


def console(text, directory):
    commands = [line for line in text.splitlines() if line.startswith("$ ")]
    return "".join(f"{line}\n{run(line.removeprefix('$ '), directory)}" for line in commands)


def healed(file):
    """What healing makes of the scenario, without its expectations but at their times."""
    lines = []
    for line in file.read_text().splitlines():
        if line.startswith("#"):
            continue
        operation = json.loads(line)
        if operation["op"] == "expect":
            operation = {**operation, "op": "advance", "seconds": 0}
            operation.pop("rows", None)
            operation.pop("lookup", None)
        lines.append(json.dumps(operation))
    lines.append(json.dumps({"op": "advance", "seconds": 60}))
    result = subprocess.run([PROGRAM, "replay", "--heal", "-"], input="\n".join(lines) + "\n",
                            capture_output=True, text=True, timeout=30)
    if result.returncode or result.stderr:
        return f"exit status {result.returncode}: {result.stderr}"
    repairs = [(line["t"], line["healed"]) for line in map(json.loads, result.stdout.splitlines())
               if "healed" in line]
    return "; ".join(f"at {time:g} (+{len(repair['added'])} -{len(repair['removed'])}): "
                     f"{repair['why']}" for time, repair in repairs) or "nothing"


class Guide(unittest.TestCase):
    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.directory = pathlib.Path(temporary.name)
        self.text = GUIDE.read_text()
        (self.directory / "intfaddr").symlink_to(PROGRAM)
        (self.directory / "scenarios").symlink_to(ROOT / "scenarios")

    def test_samples_are_what_the_program_prints(self):
        files = SAMPLE_FILE.findall(self.text)
        self.assertEqual(len(files), self.text.count("```json\n"), "a sample has no name")
        for name, content in files:
            (self.directory / name).write_text(content)
        if os.environ.get("IPLIB_REWRITE_GOLDEN"):
            GUIDE.write_text(CONSOLE.sub(lambda match: console(match[0], self.directory),
                                         self.text))
            self.text = GUIDE.read_text()
        blocks = CONSOLE.findall(self.text)
        self.assertGreater(len(blocks), 0)
        for block in blocks:
            with self.subTest(block.partition("\n")[0]):
                self.assertEqual(console(block, self.directory), block)

    def test_known_scenarios_are_healed_as_it_says(self):
        rows = "".join(f"| `{file.stem}` | {healed(file)} |\n"
                       for file in sorted((ROOT / "scenarios" / "known").glob("*.jsonl")))
        if os.environ.get("IPLIB_REWRITE_GOLDEN"):
            GUIDE.write_text(KNOWN.sub(lambda _: rows, self.text))
            self.text = GUIDE.read_text()
        self.assertEqual(KNOWN.search(self.text)[0], rows)

    def test_each_known_scenario_has_its_advice(self):
        explained = re.findall(r"^`([\w-]+)`:", ASTRAY.read_text(), re.MULTILINE)
        known = [file.stem for file in (ROOT / "scenarios" / "known").glob("*.jsonl")]
        self.assertEqual(sorted(explained), sorted(known))

    def test_operations_exist(self):
        operations = OPERATION.findall(self.text)
        self.assertGreater(len(operations), 0)
        for operation in operations:
            with self.subTest(operation):
                said = run(f"""echo '{{"op": "{operation}", "x": 1}}' | intfaddr replay -""",
                           self.directory)
                self.assertRegex(said, r"^-:1: (field '\w+' is missing|unknown field 'x')")


if __name__ == "__main__":
    unittest.main()
