#!/usr/bin/env python3
"""Keeps a copy of an agent's tables, over broken connections too: watch.py [SOCKET]"""

import http.client
import json
import socket
import sys
import time


class Agent(http.client.HTTPConnection):
    def connect(self):
        self.sock = socket.socket(socket.AF_UNIX)
        self.sock.connect(sys.argv[1] if len(sys.argv) > 1 else "/run/intfaddr/intfaddr.sock")


def tell(gone, come):
    for sign, rows in (("-", gone), ("+", come)):
        for row in rows:
            print(sign, *row, flush=True)


def events(last_id):
    """Each with its id, until the connection breaks."""
    agent, data = Agent("agent"), None
    agent.request("GET", "/v1/watch?initial", headers={"Last-Event-ID": last_id} if last_id else {})
    reply = agent.getresponse()
    if reply.status != 200:
        raise http.client.HTTPException(reply.read())
    for line in reply:
        name, _, value = line.decode().rstrip("\n").partition(": ")
        last_id = value if name == "id" else last_id
        data = json.loads(value) if name == "data" else data
        if not name:  # the event is whole
            yield last_id, data or {}
            data = None


copy, coming, last_id = set(), None, None  # `coming`: what has come of a table that is being told
while True:
    try:
        for last_id, event in events(last_id):
            if event.get("begin") in ("table", "anew"):
                coming = set()
            elif "complete" in event:
                tell(copy - coming, coming - copy)
                copy, coming = coming, None
            elif "present" in event:
                row = event["vrf"], f"{event['address']}/{event['prefixLength']}", event["interface"] or "-"
                rows = copy if coming is None else coming
                (rows.add if event["present"] else rows.remove)(row)
                if coming is None:
                    tell([] if event["present"] else [row], [row] if event["present"] else [])
    except (OSError, http.client.HTTPException) as error:
        print(f"watch.py: {error!r}", file=sys.stderr)
    time.sleep(0.5)
