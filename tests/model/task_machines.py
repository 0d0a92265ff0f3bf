"""The two kinds of work of a VRF that are put off: the clean-up of interfaces whose status or
device went, and the adding of addresses that were in conflict."""

from clock import Task
from run import BrokenInvariant
from values import FAMILY_NAME, WorkKey


class CleanupRequest:
    def __init__(self, intf: str, family: int, time: float):
        self.intf = intf
        self.family = family
        self.time = time
        self.processed = False  # early: only its place in the queue is left


class CleanupBacklog:
    """`pending` by (interface, family), and `queue` in the order of the requests."""

    def __init__(self) -> None:
        self.pending: dict[tuple[str, int], CleanupRequest] = {}
        self.queue: list[CleanupRequest] = []

    def add(self, intf: str, family: int, time: float) -> None:
        request = CleanupRequest(intf, family, time)
        self.pending[intf, family] = request
        self.queue.append(request)


class IntfCleanupSm:
    def __init__(self, vrf, backlog: CleanupBacklog):
        self.vrf = vrf
        self.run = vrf.run
        self.backlog = backlog
        self.delay = vrf.run.config.cleanup_delay
        self.task = Task(vrf.run.scheduler, self.handle_task_run)

    def destroy(self) -> None:
        self.task.destroy()

    def trace(self, level: int, function: str, template: str, *values) -> None:
        self.run.trace(level, "IntfCleanupSm", function, template, *values)

    def maybe_schedule_task(self) -> None:
        self.task.arm_lowest(self.delay)
        self.trace(8, "maybeScheduleTask", "task is scheduled to run in {} seconds",
                   self.task.expiry - self.run.now)

    def handle_task_run(self) -> None:
        now, queue = self.run.now, self.backlog.queue
        self.trace(8, "handleTaskRun", "starting backlog processing at {} with {} items in queue",
                   now, len(queue))
        while queue:
            front = queue[0]
            if self.delay > now - front.time:
                self.wait_for(front, now)
                break
            queue.pop(0)
            self.handle_request(front)
            if self.run.scheduler.should_yield():
                self.trace(8, "handleTaskRun", "yielding with {} items remaining", len(queue))
                self.task.arm_now()
                break
        else:
            self.trace(9, "handleTaskRun", "backlog queue is empty")
        if queue and not self.task.armed():
            raise BrokenInvariant("task not rescheduled even though {} items remain in the backlog "
                                  "queue", len(queue))

    def wait_for(self, front: CleanupRequest, now: float) -> None:
        remaining = self.delay - (now - front.time)
        if remaining <= 0.0:
            raise BrokenInvariant("delay {} is not supposed to be less than 0", remaining)
        self.task.arm(remaining)
        self.trace(8, "handleTaskRun", "queue front cannot be processed for {} seconds", remaining)

    def handle_request(self, front: CleanupRequest) -> None:
        key = front.intf, front.family
        family = FAMILY_NAME[front.family]
        pending = self.backlog.pending.get(key)
        if not front.processed:
            self.backlog.pending.pop(key, None)
            if pending is not front:
                raise BrokenInvariant("invalid entry in backlog for {} af {} ptr {} != ptr {}",
                                      front.intf, family, pending, front)
            self.vrf.process_cleanup_intf(*key)
        elif pending is front:
            raise BrokenInvariant("invalid backlog entry for {} af {}", front.intf, family)
        elif pending and pending.time < front.time:
            raise BrokenInvariant("invalid backlog entry for {} af {} emplacementTime {} < {}",
                                  front.intf, family, pending.time, front.time)


class DeferredIntfAddSm:
    def __init__(self, vrf, backlog: dict[WorkKey, None]):
        self.vrf = vrf
        self.run = vrf.run
        self.backlog = backlog
        self.delay = vrf.run.config.deferred_add_delay
        self.bookmark: WorkKey | None = None
        self.reschedule_when_complete = False
        self.task = Task(vrf.run.scheduler, self.handle_task_run)

    def destroy(self) -> None:
        self.task.destroy()

    def trace(self, level: int, function: str, template: str, *values) -> None:
        self.run.trace(level, "DeferredIntfAddSm", function, template, *values)

    def maybe_schedule_task(self) -> None:
        self.trace(8, "maybeScheduleTask", "backlog count is {}", len(self.backlog))
        if not self.backlog:
            return
        self.reschedule_when_complete = self.task.armed()
        self.task.arm_lowest(self.delay)
        self.trace(8, "maybeScheduleTask", "task is scheduled to run in {} seconds",
                   self.task.expiry - self.run.now)

    def handle_task_run(self) -> None:
        self.trace(8, "handleTaskRun", "starting work with {} backlog entries to be processed",
                   len(self.backlog))
        self.trace(9, "handleTaskRun", "bookmark hasValue {} value {}",
                   self.bookmark is not None, self.bookmark or WorkKey())
        keys = list(self.backlog)
        start = keys.index(self.bookmark) if self.bookmark in self.backlog else 0
        self.bookmark = None
        handled = 0
        for key in keys[start:]:
            if handled and self.run.scheduler.should_yield():
                self.bookmark = key
                self.trace(8, "handleTaskRun",
                           "yielding at {} with {} items pending and {} items processed",
                           key, len(self.backlog), handled)
                self.task.arm_now()
                return
            self.vrf.process_deferred_intf_add(key)
            handled += 1
        if not self.backlog:
            self.trace(8, "handleTaskRun", "work complete")
        elif self.reschedule_when_complete:
            self.task.arm(self.delay)
            self.reschedule_when_complete = False
            self.trace(8, "handleTaskRun", "rescheduling with {} items remaining in the backlog",
                       len(self.backlog))
        else:
            self.trace(8, "handleTaskRun", "idling timer with {} items remaining in the backlog",
                       len(self.backlog))
