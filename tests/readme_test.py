"""The README's example is the one that is built here, and prints what the README says."""

import pathlib
import subprocess
import sys

root = pathlib.Path(__file__).resolve().parent.parent
readme = (root / "README.md").read_text()
example = (root / "examples" / "embed.cpp").read_text()

if f"```cpp\n{example}```\n" not in readme:
    sys.exit("README.md does not show examples/embed.cpp as it is")

printed = subprocess.run([sys.argv[1]], check=True, capture_output=True, text=True).stdout.strip()
if f"It prints `{printed}`." not in readme:
    sys.exit(f"README.md does not say that examples/embed.cpp prints '{printed}'")
