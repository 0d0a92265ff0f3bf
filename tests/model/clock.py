"""Virtual time: tasks run in the order of their expiry, those of one instant in the order in
which they were armed. The clock moves only in `move_to`."""

import math
from typing import Callable


class Task:
    """A timer: armed at most once, and not armed any more when it runs."""

    def __init__(self, scheduler: "Scheduler", run: Callable[[], None]):
        self.scheduler = scheduler
        self.run = run
        self.expiry: float | None = None
        self.place = 0
        scheduler.tasks.append(self)

    def destroy(self) -> None:
        self.expiry = None
        self.scheduler.tasks.remove(self)

    def armed(self) -> bool:
        return self.expiry is not None

    def arm(self, delay: float) -> None:
        self._arm_at(self.scheduler.expiry_after(delay))

    def arm_lowest(self, delay: float) -> None:
        """Keeps an earlier or equal expiry, and its place."""
        expiry = self.scheduler.expiry_after(delay)
        if self.expiry is None or expiry < self.expiry:
            self._arm_at(expiry)

    def arm_now(self) -> None:
        self._arm_at(self.scheduler.now)

    def _arm_at(self, expiry: float) -> None:
        self.scheduler.armings += 1
        self.expiry, self.place = expiry, self.scheduler.armings


class Scheduler:
    def __init__(self, yield_every: int):
        self.now = 0.0
        self.tasks: list[Task] = []
        self.armings = 0
        self.yield_every = yield_every
        self.yield_questions = 0

    def expiry_after(self, delay: float) -> float:
        """The time when the task runs: what is overdue runs now."""
        expiry = max(self.now, self.now + delay)
        if delay > 0 and expiry == self.now:
            expiry = math.nextafter(self.now, math.inf)
        return expiry

    def should_yield(self) -> bool:
        self.yield_questions += 1
        return self.yield_every > 0 and self.yield_questions % self.yield_every == 0

    def move_to(self, time: float) -> None:
        while due := [task for task in self.tasks if task.armed() and task.expiry <= time]:
            task = min(due, key=lambda task: (task.expiry, task.place))
            self.now = max(self.now, task.expiry)
            task.expiry = None
            self.yield_questions = 0
            task.run()
        self.now = time
