#!/usr/bin/env python3
"""Keeps a copy of an agent's tables, over broken connections too, and prints what changes in it.

    watch.py [SOCKET]
"""

import http.client
import json
import socket
import sys
import time


class Agent(http.client.HTTPConnection):
    def __init__(self, path):
        super().__init__("agent")
        self.path = path

    def connect(self):
        self.sock = socket.socket(socket.AF_UNIX)
        self.sock.connect(self.path)


class Copy:
    def __init__(self):
        self.rows = set()
        self.coming = None  # while a table is told: what of it has come
        self.last_id = None
        self.is_told = False  # anything, on this connection

    def apply(self, event):
        self.is_told = True
        if event.get("begin") in ("table", "anew"):
            self.coming = set()
        elif "complete" in event:
            for row in self.rows - self.coming:
                print("-", *row, flush=True)
            for row in self.coming - self.rows:
                print("+", *row, flush=True)
            self.rows, self.coming = self.coming, None
        elif "present" in event:
            row = (event["vrf"], f"{event['address']}/{event['prefixLength']}",
                   event["interface"] or "-")
            rows = self.rows if self.coming is None else self.coming
            (rows.add if event["present"] else rows.remove)(row)
            if rows is self.rows:
                print("+" if event["present"] else "-", *row, flush=True)

    def follow(self, path):
        """Until the connection breaks."""
        agent, self.is_told = Agent(path), False
        agent.request("GET", "/v1/watch?initial",
                      headers={"Last-Event-ID": self.last_id} if self.last_id else {})
        answer = agent.getresponse()
        if answer.status != 200:
            raise http.client.HTTPException(answer.read())
        data, last_id = "", self.last_id
        for line in answer:
            name, _, value = line.decode().rstrip("\n").partition(": ")
            if name == "data":
                data = value
            elif name == "id":
                last_id = value
            elif line == b"\n":  # the event is whole
                if data:
                    self.apply(json.loads(data))
                data, self.last_id = "", last_id


def main(path="/run/intfaddr/intfaddr.sock"):
    copy, wait = Copy(), 0.1
    while True:
        try:
            copy.follow(path)
        except (OSError, http.client.HTTPException) as error:
            print(f"watch.py: {error!r}", file=sys.stderr)
        wait = 0.1 if copy.is_told else min(2 * wait, 5.0)
        time.sleep(wait)


if __name__ == "__main__":
    try:
        main(*sys.argv[1:])
    except KeyboardInterrupt:
        pass
