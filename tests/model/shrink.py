"""Shrinks a scenario that shows something to the fewest and plainest lines that still show it."""

import json
from itertools import combinations
from typing import Callable, Iterator

NEEDED = {"op", "vrf", "intf", "addr", "source", "seconds"}


def shrink(lines: list[str], shows: Callable[[list[str]], bool]) -> list[str]:
    """`shows` answers false for lines that are no valid scenario."""
    lines = [line for line in lines if not line.startswith("#")]
    size = len(lines) // 2
    while size:
        start, removed = 0, False
        while start < len(lines):
            candidate = lines[:start] + lines[start + size:]
            if shows(candidate):
                lines, removed = candidate, True
            else:
                start += size
        if not removed or size > 1:
            size //= 2
    lines = plainer(lines, shows)
    renamed = with_plain_names(lines)
    return renamed if shows(renamed) else lines


def with_plain_names(lines: list[str]) -> list[str]:
    """Interfaces numbered as they come."""
    names: dict[str, str] = {}
    operations = [json.loads(line) for line in lines]
    for operation in operations:
        for field in ("intf", "unnumbered", "source"):
            if name := operation.get(field):
                operation[field] = names.setdefault(name, f"Ethernet{len(names) + 1}")
    return [json.dumps(operation, separators=(",", ":")) for operation in operations]


def plainer(lines: list[str], shows: Callable[[list[str]], bool]) -> list[str]:
    """Leaves out what the lines say beyond need, then tries again with fewer lines."""
    for number in range(len(lines)):
        found = True
        while found:
            found = False
            for line in plainer_lines(lines[number]):
                candidate = [*lines[:number], line, *lines[number + 1:]]
                if shows(candidate):
                    lines, found = candidate, True
                    break
    for count in (1, 2):
        for out in combinations(reversed(range(len(lines))), count):
            candidate = [line for number, line in enumerate(lines) if number not in out]
            if shows(candidate):
                return plainer(candidate, shows)
    return lines


def plainer_lines(line: str) -> Iterator[str]:
    operation = json.loads(line)
    for field, value in operation.items():
        if field not in NEEDED:
            rest = {name: other for name, other in operation.items() if name != field}
            yield json.dumps(rest, separators=(",", ":"))
        if type(value) is list and value:
            for index in range(len(value)):
                fewer = {**operation, field: value[:index] + value[index + 1:]}
                yield json.dumps(fewer, separators=(",", ":"))
