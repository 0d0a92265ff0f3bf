"""What every machine of one run shares: the clock, the configuration, and what is printed.

Lines are finished JSON texts, each with the time `t`, handed to `write` as they come about.
"""

import json
from dataclasses import dataclass
from typing import Callable

from clock import Scheduler
from values import text_of

quote = json.dumps


class RangeError(Exception):
    """An input that the rules refuse. Stops the handler that meets it, and nobody else."""


class BrokenInvariant(Exception):
    """A state that the rules rule out. Ends the run."""

    def __init__(self, template: str, *values):
        super().__init__(template.format(*map(text_of, values)))
        self.template = template


@dataclass(frozen=True)
class Config:
    cleanup_delay: float = 1.5
    deferred_add_delay: float = 2.0
    ignore_kernel: bool = False
    task_priority: int = 3
    yield_every: int = 0


class Run:
    def __init__(self, config: Config, write: Callable[[str], None], events: bool = False,
                 trace_level: int = -1, trace_classes: list[str] | None = None):
        self.config = config
        self.scheduler = Scheduler(config.yield_every)
        self.write = write
        self.events = events
        self.trace_level = trace_level
        self.trace_classes = trace_classes
        self.failure: RangeError | None = None

    @property
    def now(self) -> float:
        return self.scheduler.now

    def print(self, member: str, value: str) -> None:
        self.write(f'{{"t":{self.now!r},"{member}":{value}}}')

    def trace(self, level: int, where: str, function: str, template: str, *values) -> None:
        if level > self.trace_level or (self.trace_classes and where not in self.trace_classes):
            return
        message = template.format(*map(text_of, values))
        self.print("trace", f'{{"level":{level},"class":"{where}","function":"{function}",'
                            f'"message":{quote(message)}}}')

    def event(self, vrf: str, attribute: str, key, present: bool) -> None:
        if self.events:
            self.print("event", f'{{"vrf":{quote(vrf)},"attribute":"{attribute}",'
                                f'"key":{quote(text_of(key))},"present":{text_of(present)}}}')

    def isolated(self, handler: Callable, *arguments) -> None:
        """One delivery, or one step of a walk: its failure is kept, and the rest goes on."""
        try:
            handler(*arguments)
        except RangeError as failure:
            self.failure = self.failure or failure

    def walk(self, keys, handler: Callable) -> None:
        """Handles every key there was at the beginning, except those that are gone by then."""
        for key in list(keys):
            if key in keys:
                self.isolated(handler, key)

    def notify(self, observers: list, handler: str, *arguments) -> None:
        """Tells every observer that has such a handler, in the order in which they came."""
        for observer in list(observers):
            if observer in observers and hasattr(observer, handler):
                self.isolated(getattr(observer, handler), *arguments)
