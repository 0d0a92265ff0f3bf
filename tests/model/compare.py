#!/usr/bin/env python3
"""Replays random scenarios by the program and by the plain rules, and compares all they print.

    compare.py PROGRAM [--scenarios N] [--operations N] [--seed S] [--profile NAME] [--jobs N]

Exit status: 0 all is equal; 1 a difference, which is shrunk to the fewest lines that show it and
printed; 2 a wrong command line.
"""

import argparse
import json
import multiprocessing
import os
import re
import subprocess
import sys
import tempfile
from dataclasses import dataclass
from functools import partial
from pathlib import Path

from generate import PROFILES, scenario
from replay import replay
from scenario import ScenarioError
from shrink import shrink

ENTITY = re.compile(r"entity#\d+")
OUTPUT = {"events": True, "trace_level": 9}
TIME_LIMIT = 60  # seconds for one scenario, which takes some milliseconds


@dataclass
class Outcome:
    """What a replay printed, and how it ended."""

    lines: list[str]
    status: int | str
    complaint: str = ""


def model_outcome(lines: list[str]) -> Outcome:
    printed: list[str] = []
    try:
        return Outcome(printed, replay(lines, printed.append, **OUTPUT))
    except ScenarioError as error:
        return Outcome(printed, 2, f"line {error.line}: {error}")


def program_outcome(program: str, lines: list[str], file: Path) -> Outcome:
    file.write_text("\n".join(lines) + "\n", encoding="utf-8")
    try:
        result = subprocess.run([program, "replay", file, "--events", "--trace", "9"],
                                stdin=subprocess.DEVNULL, capture_output=True, text=True,
                                timeout=TIME_LIMIT)
    except subprocess.TimeoutExpired:
        return Outcome([], f"none after {TIME_LIMIT} s")
    return Outcome(result.stdout.splitlines(), result.returncode, result.stderr.strip())


def same_line(one: str, other: str) -> bool:
    """Byte by byte, but for the number that an entity has."""
    return one == other or ENTITY.sub("entity#", one) == ENTITY.sub("entity#", other)


def first_difference(one: Outcome, other: Outcome) -> int | None:
    """The index of the first line that differs; behind the last one if only the end differs."""
    for index, (line, other_line) in enumerate(zip(one.lines, other.lines)):
        if not same_line(line, other_line):
            return index
    if (len(one.lines) != len(other.lines) or one.status != other.status
            or bool(one.complaint) != bool(other.complaint)):
        return min(len(one.lines), len(other.lines))
    return None


def differ(program: str, file: Path, lines: list[str]) -> bool:
    """Whether the lines are a valid scenario in which the two differ."""
    model = model_outcome(lines)
    return model.status != 2 and first_difference(
        model, program_outcome(program, lines, file)) is not None


@dataclass
class Compared:
    seed: int
    operations: int
    lines: int
    status: int
    equal: bool


def compare_one(program: str, directory: str, operations: int, profile: str | None,
                seed: int) -> Compared:
    lines = scenario(seed, operations, profile)
    model = model_outcome(lines)
    if model.status == 2:
        raise AssertionError(f"the scenario of seed {seed} is not valid: {model.complaint}")
    file = Path(directory, f"{os.getpid()}.jsonl")
    difference = first_difference(model, program_outcome(program, lines, file))
    applied = len(lines) - 1
    if model.status == 3:
        applied = json.loads(model.lines[-1])["assert"]["line"] - 1
    return Compared(seed, applied, len(model.lines), model.status, difference is None)


def show_difference(program: str, directory: str, lines: list[str]) -> None:
    file = Path(directory, "shrinking.jsonl")
    lines = shrink(lines, partial(differ, program, file))
    model, other = model_outcome(lines), program_outcome(program, lines, file)
    index = first_difference(model, other)
    if index is None:
        print("It did not differ when it was replayed again: the program is not the same each time.")
        return
    print(f"\nThe shortest scenario that shows it ({len(lines)} lines):\n")
    print("\n".join(lines))
    for who, outcome in (("The rules", model), (program, other)):
        print(f"\n{who}: exit status {outcome.status}, {len(outcome.lines)} lines, the first "
              f"difference in line {index + 1}")
        for number in range(max(index - 5, 0), min(index + 4, len(outcome.lines))):
            print(f"{'->' if number == index else '  '} {outcome.lines[number]}")
        if outcome.complaint:
            print(outcome.complaint)


def arguments() -> argparse.Namespace:
    def positive(text: str) -> int:
        if int(text) < 1:
            raise ValueError
        return int(text)

    parser = argparse.ArgumentParser(
        description="Compares a program's replay of random scenarios with the plain rules.")
    parser.add_argument("program")
    parser.add_argument("--scenarios", type=positive, default=2000)
    parser.add_argument("--operations", type=positive, default=200)
    parser.add_argument("--seed", type=int, default=1, help="of the first scenario")
    parser.add_argument("--profile", choices=PROFILES)
    parser.add_argument("--jobs", type=positive, default=len(os.sched_getaffinity(0)))
    result = parser.parse_args()
    if not os.access(result.program, os.X_OK):
        parser.error(f"{result.program}: no program")
    return result


def main() -> int:
    wanted = arguments()
    program = os.path.abspath(wanted.program)
    total = operations = lines = broken = 0
    with tempfile.TemporaryDirectory() as directory, multiprocessing.Pool(wanted.jobs) as pool:
        work = partial(compare_one, program, directory, wanted.operations, wanted.profile)
        seeds = range(wanted.seed, wanted.seed + wanted.scenarios)
        for result in pool.imap_unordered(work, seeds, chunksize=4):
            if not result.equal:
                pool.terminate()
                pool.join()
                print(f"The scenario of seed {result.seed} differs "
                      f"(after {total} scenarios that are equal).")
                show_difference(program, directory,
                                scenario(result.seed, wanted.operations, wanted.profile))
                return 1
            total += 1
            operations += result.operations
            lines += result.lines
            broken += result.status == 3
    print(f"{total} scenarios are equal: {operations} operations, {lines} lines of output compared "
          f"one by one, none left out; {broken} scenarios ended in a failed invariant.")
    return 0


if __name__ == "__main__":
    sys.exit(main())
