"""The README's examples are the files that they are said to be, and print what it says."""

import pathlib
import subprocess
import sys
import textwrap

embed, intfaddr = sys.argv[1:]
root = pathlib.Path(__file__).resolve().parent.parent
readme = (root / "README.md").read_text()


def output_of(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True, cwd=root).stdout


def shown(text, what):
    if text not in readme:
        sys.exit(f"README.md does not show {what}:\n{text}")


shown(f"```cpp\n{(root / 'examples/embed.cpp').read_text()}```\n", "examples/embed.cpp as it is")
lines = output_of(embed).splitlines()
shown("It prints " + " and then ".join(f"`{line}`" for line in lines), "what examples/embed.cpp prints")

scenario = "scenarios/flap-and-conflict.jsonl"
shown(f"```json\n{(root / scenario).read_text()}```\n", f"{scenario} as it is")
printed = textwrap.indent(output_of(intfaddr, "replay", "--trace", "3", scenario), "    ")
shown(f"    $ scripts/run replay --trace 3 {scenario}\n{printed}\n", f"what {scenario} prints")
