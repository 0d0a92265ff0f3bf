#!/usr/bin/env python3
"""Replays a scenario file by the plain rules and prints what the program's replay prints.

    replay.py FILE [--events] [--trace LEVEL] [--class NAME ...]

Exit status: 0; 1 a failed expectation; 2 an error of the file or of the command line; 3 a failed
invariant.
"""

import argparse
import sys
from typing import Callable, Iterable

from run import BrokenInvariant
from scenario import ExpectationFailed, Router, ScenarioError
from snapshot import compact


def replay(source: Iterable[str], write: Callable[[str], None], **output) -> int:
    """Gives `write` every line that is printed. Returns the exit status; raises ScenarioError."""
    router = Router(write, **output)
    for number, line in enumerate(source, 1):
        if line.startswith("#") or not line.strip():
            continue
        try:
            router.apply(number, line)
        except BrokenInvariant as broken:
            router.run.print("assert", compact({"line": number, "message": str(broken)}))
            return 3
        except ExpectationFailed:
            return 1
    router.started()
    return 0


def main() -> int:
    parser = argparse.ArgumentParser(description="Replays a scenario by the plain rules.")
    parser.add_argument("file")
    parser.add_argument("--events", action="store_true", help="print the tables' notifications")
    parser.add_argument("--trace", type=int, default=-1, metavar="LEVEL",
                        help="print traces of this level and lower")
    parser.add_argument("--class", dest="trace_classes", action="append", metavar="NAME",
                        help="print traces of this class only; may be given again")
    arguments = parser.parse_args()
    try:
        with open(arguments.file, encoding="utf-8") as source:
            return replay(source, print, events=arguments.events, trace_level=arguments.trace,
                          trace_classes=arguments.trace_classes)
    except ScenarioError as error:
        print(f"{arguments.file}:{error.line}: {error}", file=sys.stderr)
    except (OSError, UnicodeDecodeError) as error:
        print(f"{arguments.file}: {error}", file=sys.stderr)
    return 2


if __name__ == "__main__":
    sys.exit(main())
