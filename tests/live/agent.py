"""An agent that runs, what it has printed, and the tables that follow from its events alone."""

import collections
import json
import os
import queue
import shlex
import signal
import subprocess
import threading
import time

from live.shown import by_vrf

# What the agents of a test are started by, if anything: words of a command line.
WRAPPER = shlex.split(os.environ.get("INTFADDR_AGENT_WRAPPER", ""))

Row = collections.namedtuple("Row", "vrf key intf subnet")
Snapshot = collections.namedtuple("Snapshot", "vrfs replica")


class Replica:
    """Rows, and the keys under which the other collections have them."""

    def __init__(self):
        self.rows = set()
        self.keys = set()
        self.link_local = set()
        self.wrong = []

    def apply(self, event):
        vrf, attribute, key = event["vrf"], event["attribute"], event["key"]
        collection, member = {
            "intfAddrEntry": (self.rows, Row(vrf, key, event.get("intf"), event.get("subnet"))),
            "intfAddrEntryFromAddr": (self.keys, (vrf, key)),
            "llIntfAddrEntryFromIntfId": (self.link_local, (vrf, key)),
        }.get(attribute, (set(), None))
        if member is None:
            return
        if event["present"]:
            collection.add(member)
        elif member in collection:
            collection.remove(member)
        else:
            self.wrong.append(f"goes without having come: {event}")

    def addresses(self):
        """As the snapshot has them: VRF, interface, address, subnet."""
        return {(row.vrf, row.intf, row.key.split(";")[1].removeprefix("addr="), row.subnet)
                for row in self.rows}


def end(process, readers):
    """Of a process, and of those who read what it says."""
    if process.poll() is None:
        process.kill()
        process.wait()
    for reader in readers:
        reader.join()
    process.stdout.close()
    process.stderr.close()


class Agent:
    def __init__(self, program, *arguments, events=True, read=True, wrapper=WRAPPER, **options):
        command = [*wrapper, program, "agent", *(["--events"] if events else []), *arguments]
        self.began = time.monotonic()
        self.process = subprocess.Popen(
            command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
            text=True, bufsize=1 << 20, **options)
        self.pid = self.process.pid
        self.replica = Replica()
        self.lines = []
        self.notices = []  # with the time of each
        self.last_line = 0.0
        self.snapshots = queue.Queue()
        self.readers = [threading.Thread(target=self._read_notices, daemon=True)]
        if read:
            self.readers.append(threading.Thread(target=self._read, daemon=True))
        for reader in self.readers:
            reader.start()

    def _read(self):
        for line in self.process.stdout:
            self.last_line = time.monotonic()
            line = line.rstrip("\n")
            if line.startswith('{"from":'):
                vrfs = by_vrf(json.loads(line))
                self.snapshots.put(Snapshot(vrfs, self.replica.addresses()))
                continue
            self.lines.append(line)
            try:
                event = json.loads(line).get("event")
            except ValueError:
                continue  # it was killed while it wrote
            if event:
                self.replica.apply(event)

    def _read_notices(self):
        for line in self.process.stderr:
            self.notices.append((time.monotonic(), line.rstrip("\n")))

    def told(self, text):
        return [line for _, line in list(self.notices) if text in line]

    def ask(self):
        """For a snapshot, without waiting for it."""
        self.process.send_signal(signal.SIGUSR1)

    def snapshot(self):
        # Before it handles signals one would end it.
        while self._ignores_signals() and self.process.poll() is None:
            time.sleep(0.01)
        self.ask()
        return self.snapshots.get(timeout=20)

    def _ignores_signals(self):
        with open(f"/proc/{self.pid}/status") as status:
            caught = next(int(line.split()[1], 16) for line in status
                          if line.startswith("SigCgt"))
        return not caught & (1 << (signal.SIGUSR1 - 1))

    def addresses(self, vrf):
        """Of the rows of one VRF now; None where there is no such VRF."""
        found = self.snapshot().vrfs.get(vrf)
        return found and sorted(row["address"] for row in found["rows"])

    def descriptors(self):
        return len(os.listdir(f"/proc/{self.pid}/fd"))

    def resident(self):
        """In MiB."""
        with open(f"/proc/{self.pid}/statm") as file:
            return int(file.read().split()[1]) * os.sysconf("SC_PAGESIZE") / 2**20

    def stop(self, how=signal.SIGTERM):
        """Returns the exit status, and how long it took."""
        while how == signal.SIGTERM and self._ignores_signals() and self.process.poll() is None:
            time.sleep(0.01)
        began = time.monotonic()
        self.process.send_signal(how)
        status = self.process.wait(timeout=20)
        took = time.monotonic() - began
        for reader in self.readers:
            reader.join(timeout=20)
        return status, took

    def close(self):
        end(self.process, self.readers)
