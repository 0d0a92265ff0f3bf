"""Copies of the tables that clients keep, whatever becomes of their connections and of the agent.

As agent_live_test.py, in namespaces of the test's own. The examples are the clients, each behind a
proxy that cuts its connections off after some bytes. The copies are what follows from what they
print.
"""

import json
import os
import pathlib
import random
import socket
import subprocess
import sys
import threading

from live import machine
from live.agent import end
from live.case import PROGRAM, AgentCase, addresses, main

FOLDER = pathlib.Path(__file__).resolve().parent.parent / "examples"
EXAMPLES = [[sys.executable, str(FOLDER / "watch.py")], [sys.argv.pop(1)]]


class Proxy:
    """Between a client and the agent's socket."""

    def __init__(self, path, target, seed):
        self.path = path
        self.target = target
        self.random = random.Random(seed)
        self.cuts = True
        self.began = []  # how each connection began, where it came to that
        self.listener = socket.socket(socket.AF_UNIX)
        self.listener.bind(path)
        self.listener.listen()
        threading.Thread(target=self._serve, daemon=True).start()

    def _serve(self):
        while True:
            try:
                client, _ = self.listener.accept()
            except OSError:
                return
            with client, socket.socket(socket.AF_UNIX) as agent:
                try:
                    agent.connect(self.target)
                    self._relay(client, agent)
                except OSError:
                    pass

    def _relay(self, client, agent):
        agent.sendall(client.recv(65536))
        left = self.random.randint(1, self.random.choice([500, 20000, 100000]))
        heard = b""
        while left > 0:
            # So that a quiet connection is cut off as well.
            agent.settimeout(self.random.uniform(0.0, 1.0) if self.cuts else 0.2)
            try:
                piece = agent.recv(65536)
            except TimeoutError:
                if self.cuts:
                    break
                continue
            if not piece:
                break
            if self.cuts:
                piece = piece[:left]
                left -= len(piece)
            heard += piece
            client.sendall(piece)
        self.began += [how for how in ("table", "anew", "resumed")
                       if f'"begin":"{how}"'.encode() in heard]

    def close(self):
        self.listener.close()


class Copy:
    """What an example has, by the lines that it prints."""

    def __init__(self, command):
        self.rows = set()
        self.wrong = []
        self.process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                        stderr=subprocess.PIPE, text=True)
        self.said = []
        self.readers = [threading.Thread(target=self._read, daemon=True),
                        threading.Thread(target=lambda: self.said.extend(self.process.stderr),
                                         daemon=True)]
        for reader in self.readers:
            reader.start()

    def _read(self):
        for line in self.process.stdout:
            sign, row = line.rstrip("\n").split(" ", 1)
            if (sign == "+") == (row in self.rows):
                self.wrong.append(line)
            (self.rows.add if sign == "+" else self.rows.discard)(row)

    def close(self):
        end(self.process, self.readers)


class Watched(AgentCase):
    def setUp(self):
        super().setUp()
        self.random = random.Random(1)
        for vrf in ("red", "blue"):
            machine.make_vrf(vrf)
            machine.join(vrf, "e0", vrf, "e1")
        self.there = set()
        self.change(80)

    def change(self, count):
        """So many addresses come or go."""
        lines = {"red": [], "blue": []}
        pool = addresses(60)
        for _ in range(count):
            one = (self.random.choice(["red", "blue"]), self.random.choice(pool))
            verb = "del" if one in self.there else "add"
            self.there ^= {one}
            lines[one[0]].append(f"addr {verb} {one[1]} dev e0")
        for vrf, some in lines.items():
            machine.batch(some, vrf)

    def table(self):
        """The agent's own, as the examples print rows; None where it is not known yet."""
        answer = machine.run(PROGRAM, "show", "--json", "--run-dir", self.path("run"))
        document = json.loads(answer.stdout)
        if document["from"] != "agent" or document["notKnown"]:
            return None
        return {f"{one['vrf']} {one['address']}/{one['prefixLength']} {one['interface'] or '-'}"
                for one in document["addresses"] if one["place"] == "table"}

    def test_copies_hold_over_broken_connections_and_restarts(self):
        proxies, copies = [], []
        for number, command in enumerate(EXAMPLES):
            proxies.append(Proxy(self.path(f"proxy{number}"), self.path("run/intfaddr.sock"), number))
            self.addCleanup(proxies[-1].close)
            copies.append(Copy([*command, proxies[-1].path]))
            self.addCleanup(copies[-1].close)
        for restart in range(3):
            agent = self.start("--run-dir", self.path("run"), events=False)
            agent.snapshot()
            for _ in range(40):
                self.change(self.random.randint(1, 30))
                if self.random.random() < 0.2:
                    machine.run(PROGRAM, "vip", self.random.choice(["add", "del"]),
                                "10.99.0.1", "--run-dir", self.path("run"))
                if self.random.random() < 0.2:
                    machine.wait_for(lambda: False, 0.3)
            if restart < 2:
                self.assert_ends_well(agent)
        for proxy in proxies:
            proxy.cuts = False
        for copy, proxy in zip(copies, proxies):
            self.assert_soon(lambda: copy.rows == self.table(), 20.0,
                             lambda: f"{copy.rows ^ (self.table() or set())} {copy.said[-3:]}")
            self.assertEqual(copy.wrong, [])
            self.assertIsNone(copy.process.poll())
            self.assertIn("resumed", proxy.began)
            self.assertIn("anew", proxy.began)
            self.assertGreater(len(copy.rows), 20)
        self.assert_ends_well(agent)
        self.assertFalse(os.path.exists(self.path("run/intfaddr.sock")))


if __name__ == "__main__":
    main()
