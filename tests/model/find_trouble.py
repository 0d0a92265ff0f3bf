#!/usr/bin/env python3
"""Looks for states in which the rules themselves lead astray: a failed invariant, a row that
nobody stands for, an address that is lost, indexes that disagree. Prints the shortest scenario of
each kind, and of each other road to it (another set of operations).

    find_trouble.py [--scenarios N] [--operations N] [--seed S] [--profile NAME] [--roads N]
"""

import argparse
import json
import multiprocessing
import os
from collections import Counter, defaultdict
from functools import partial
from random import Random

from generate import PROFILES, scenario
from run import BrokenInvariant
from scenario import ExpectationFailed, Router, ScenarioError
from shrink import shrink
from trouble import settle, troubles

SHRUNK_AT_MOST = 24  # scenarios of one kind and one worker's share


def kinds_of_trouble(lines: list[str]) -> set[str]:
    """After the last line, when time has settled. Of no valid scenario: none."""
    router = Router(lambda line: None)
    try:
        for number, line in enumerate(lines, 1):
            if not line.startswith("#"):
                router.apply(number, line)
        router.started()
        settle(router)
    except BrokenInvariant as broken:
        return {f"assertion: {broken.template}"}
    except (ScenarioError, ExpectationFailed):
        return set()
    return troubles(router)


def road_of(lines: list[str]) -> str:
    return " ".join(sorted({json.loads(line)["op"] for line in lines}))


def rank(lines: list[str]) -> tuple[int, int]:
    return len(lines), sum(map(len, lines))


def search(operations: int, profile: str | None, seeds: range):
    """The kinds met, and the shortest scenario of each kind and road."""
    met: Counter[str] = Counter()
    shrunk: Counter[str] = Counter()
    shortest: dict[tuple[str, str], list[str]] = {}
    for seed in seeds:
        length = Random(seed).randint(operations // 4, operations)
        lines = scenario(seed, length, profile)
        for kind in sorted(kinds_of_trouble(lines)):
            met[kind] += 1
            if shrunk[kind] == SHRUNK_AT_MOST:
                continue
            shrunk[kind] += 1
            few = shrink(lines, lambda candidate: kind in kinds_of_trouble(candidate))
            road = kind, road_of(few)
            if road not in shortest or rank(few) < rank(shortest[road]):
                shortest[road] = few
    return met, shortest


def main() -> None:
    parser = argparse.ArgumentParser(description="Looks for states in which the rules go astray.")
    parser.add_argument("--scenarios", type=int, default=4000)
    parser.add_argument("--operations", type=int, default=60, help="of a scenario, at most")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--profile", choices=PROFILES)
    parser.add_argument("--roads", type=int, default=3, help="shown at most, of one kind")
    wanted = parser.parse_args()

    jobs = len(os.sched_getaffinity(0))
    shares = [range(wanted.seed + start, wanted.seed + wanted.scenarios, jobs)
              for start in range(jobs)]
    met: Counter[str] = Counter()
    roads: dict[str, dict[str, list[str]]] = defaultdict(dict)
    with multiprocessing.Pool(jobs) as pool:
        for more, shortest in pool.imap_unordered(
                partial(search, wanted.operations, wanted.profile), shares):
            met += more
            for (kind, road), lines in shortest.items():
                if road not in roads[kind] or rank(lines) < rank(roads[kind][road]):
                    roads[kind][road] = lines
    for kind in sorted(met):
        print(f"## {kind}: {met[kind]} of {wanted.scenarios} scenarios, "
              f"{len(roads[kind])} roads\n")
        for lines in sorted(roads[kind].values(), key=rank)[:wanted.roads]:
            print("\n".join(lines), end="\n\n")


if __name__ == "__main__":
    main()
