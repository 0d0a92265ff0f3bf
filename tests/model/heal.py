#!/usr/bin/env python3
"""Holds the program's repairs to the plain rules, over random scenarios of all kinds of trouble.

    heal.py PROGRAM [--scenarios N] [--operations N] [--seed S] [--profile NAME] [--jobs N]

Each scenario, and first each of scenarios/known, is replayed with --heal, and then left alone until all is over. What must hold:

- It ends well, and nothing is wrong with any table of a manager that runs.
- No table is repaired that would have got well by itself: where an audit was the first to have one
  rebuilt, the plain rules, left alone from that moment, or from when the fault was found, end in trouble.

Exit status: 0 all is well; 1 it is not, and the scenario is shrunk and printed; 2 a wrong command line.
"""

import json
import math
import os
import subprocess
import sys
import tempfile
from functools import partial
from multiprocessing import Pool
from pathlib import Path
from types import SimpleNamespace

from compare import TIME_LIMIT, arguments
from find_trouble import kinds_of_trouble
from generate import scenario
from scenario import Router
from shrink import shrink
from table import SubnetSet, Table
from trouble import troubles
from values import (IPV4, IPV6, Content, EntryKey, Masked, Prefix, WorkKey, parse_any_address,
                    parse_masked)

KNOWN = Path(__file__).resolve().parents[2] / "scenarios" / "known"
SETTLED = {"op": "advance", "seconds": 60}


class Bystander(Router):
    """Knows what is published, and runs no machines."""

    def manager_start(self) -> None:
        self.manager = SimpleNamespace(machines={})

    def manager_stop(self) -> None:
        self.manager = None


def parse_any_masked(text: str) -> Masked:
    return parse_masked(text, IPV6 if ":" in text else IPV4)


def key_of(key: dict) -> EntryKey:
    return EntryKey(key["intf"], parse_any_address(key["addr"]), key["vip"])


def subnet_of_text(text: str) -> Prefix:
    return Prefix(*parse_any_masked(text)) if text else Prefix()


def table_of(router: Router, vrf: str, shown: dict) -> Table:
    """The table that a snapshot shows. What its indexes lead to is made anew where it is no row."""
    table = Table(router.run, vrf, {})

    def row(shown_row: dict):
        content = Content(key_of(shown_row["key"]), shown_row["intf"],
                          subnet_of_text(shown_row["subnet"]))
        return table.rows.get(content) or SimpleNamespace(content=content)

    for each in shown["rows"]:
        table.row_is(row(each).content)
    for each in shown["byAddr"]:
        table.by_addr[key_of(each["key"])] = row(each)
    for each in shown["subnets"]:
        subnet_set = SubnetSet(each["intf"], subnet_of_text(each["subnet"]))
        table.by_subnet[subnet_set.subnet] = subnet_set
        for members, keys in ((subnet_set.rows, each["entries"]),
                              (subnet_set.deprecated, each["deprecated"])):
            for key in map(key_of, keys):
                content = Content(key, subnet_set.intf, subnet_set.subnet)
                members[key] = table.rows.get(content) or SimpleNamespace(content=content)
    for intf, text in shown["linkLocal"].items():
        addr = parse_any_address(text)
        found = [each for content, each in table.rows.items()
                 if content.key == EntryKey(intf, addr, False)]
        table.link_local[intf] = found[0] if found else SimpleNamespace(
            content=Content(EntryKey(intf, addr, False), intf, Prefix()))
    return table


def troubles_shown(lines: list[str], snapshot: dict) -> set[str]:
    """What is wrong with the tables that the snapshot shows, of what the lines publish."""
    router = Bystander(lambda line: None)
    for number, line in enumerate(lines, 1):
        if not line.startswith("#"):
            router.apply(number, line)
    router.started()

    machines = {}
    for vrf, shown in snapshot.items():
        table = table_of(router, vrf, shown)
        router.directory.members[vrf] = table
        deferred = [WorkKey(each["intf"], parse_any_masked(each["addr"]))
                    for each in shown["deferred"]]
        machines[vrf] = SimpleNamespace(table=table, vrf=vrf, inputs=router.inputs, run=router.run,
                              kernel=router.inputs.kernel(vrf), deferred=deferred,
                              working_rows=set(deferred),
                              cleanup_backlog=SimpleNamespace(pending=shown["cleanup"]))
    router.manager = SimpleNamespace(machines=machines)
    return troubles(router)


def left_alone(lines: list[str], time: float) -> list[str]:
    """The operations before that time, and nothing but time after it."""
    kept: list[str] = []
    now = 0.0
    for line in lines:
        if line.startswith("#"):
            continue
        operation = json.loads(line)
        start = operation.get("at", now)
        end = start + operation.get("seconds", 0.0)
        if start >= time or end > time:
            break
        now = end
        kept.append(line)
    return [*kept, json.dumps({"op": "advance", "seconds": time - now})]


def patience(lines: list[str]) -> float:
    """For how long a fault may stay."""
    first = json.loads(next(line for line in lines if not line.startswith("#")))
    return max(first.get("deferredIntfAddDelay", 2.0), 0.0) + 1.0


def complaint(program: str, file: Path, lines: list[str]) -> str | None:
    """What is wrong with the repairs of the scenario."""
    lines = [line for line in lines if line.startswith("#") or json.loads(line)["op"] != "expect"]
    ends = [json.dumps({"op": "manager.start"})] if not runs_at_the_end(lines) else []
    whole = [*lines, *ends, json.dumps(SETTLED), json.dumps({"op": "snapshot"})]
    file.write_text("\n".join(whole) + "\n", encoding="utf-8")
    try:
        result = subprocess.run([program, "replay", file, "--heal"], stdin=subprocess.DEVNULL,
                                capture_output=True, text=True, timeout=TIME_LIMIT)
    except subprocess.TimeoutExpired:
        return f"no end after {TIME_LIMIT} s"
    if result.returncode or result.stderr:
        return f"exit status {result.returncode}: {result.stderr.strip()}"
    printed = [json.loads(line) for line in result.stdout.splitlines()]
    if wrong := troubles_shown(whole, printed[-1]["snapshot"]):
        return "; ".join(sorted(wrong))
    failed = [line["assert"]["message"] for line in printed if "assert" in line]
    first = next((line for line in printed if "healed" in line or "assert" in line), None)
    if first and "healed" in first and first["healed"]["why"] not in failed:
        found = math.ceil(first["t"] - patience(whole)) - 1
        if not any(kinds_of_trouble(left_alone(whole, time)) for time in (first["t"], found)):
            return f"at {first['t']} a table is repaired that is well: {first['healed']['why']}"
    return None


def runs_at_the_end(lines: list[str]) -> bool:
    ops = [json.loads(line)["op"] for line in lines if not line.startswith("#")]
    return ([op for op in ops if op.startswith("manager.")] or ["manager.start"])[-1] == "manager.start"


def is_valid(lines: list[str]) -> bool:
    try:
        router = Bystander(lambda line: None)
        for number, line in enumerate(lines, 1):
            if not line.startswith("#"):
                router.apply(number, line)
        return True
    except Exception:  # whatever a line that makes no sense comes to
        return False


def heal_one(program: str, directory: str, operations: int, profile: str | None,
             seed: int) -> tuple[int, str | None]:
    file = Path(directory, f"{os.getpid()}.jsonl")
    return seed, complaint(program, file, scenario(seed, operations, profile))


def known_ones_end_well(program: str, directory: str) -> bool:
    files = sorted(KNOWN.glob("*.jsonl"))
    for file in files:
        lines = [line for line in file.read_text(encoding="utf-8").splitlines() if line.strip()]
        if wrong := complaint(program, Path(directory, "known.jsonl"), lines):
            print(f"{file}: {wrong}")
            return False
    return bool(files)


def main() -> int:
    wanted = arguments()
    program = os.path.abspath(wanted.program)
    total = 0
    with tempfile.TemporaryDirectory() as directory, Pool(wanted.jobs) as pool:
        if not known_ones_end_well(program, directory):
            return 1
        work = partial(heal_one, program, directory, wanted.operations, wanted.profile)
        seeds = range(wanted.seed, wanted.seed + wanted.scenarios)
        for seed, wrong in pool.imap_unordered(work, seeds, chunksize=4):
            if wrong:
                pool.terminate()
                pool.join()
                print(f"The scenario of seed {seed}, after {total} that end well: {wrong}")
                file = Path(directory, "shrinking.jsonl")
                few = shrink(scenario(seed, wanted.operations, wanted.profile),
                             lambda lines: is_valid(lines)
                             and complaint(program, file, lines) is not None)
                print(f"\nThe shortest scenario that shows it ({len(few)} lines): "
                      f"{complaint(program, file, few)}\n")
                print("\n".join(few))
                return 1
            total += 1
    print(f"{total} scenarios end well, and nothing was repaired that was well.")
    return 0


if __name__ == "__main__":
    sys.exit(main())
