"""The agent answers what docs/api.yaml says, and docs/api.yaml says what it answers.

Every path, parameter, field and error that is documented is provoked, and all that comes of it is
held to the document. As agent_live_test.py, in namespaces of the test's own.
"""

import contextlib
import http.client
import json
import os
import socket
import threading
from urllib.parse import quote

from live import machine
from live.api import API, fields, fields_of, operations, ref, resolved, validate
from live.case import AgentCase, main

# What an agent that goes on well does not have.
RARE = {"Status.rebuilds[].why", "Status.rebuilds[].count",  # it has had nothing to repair
        "Changed.kept",  # its disk holds what is to be kept
        "Event.lost"}  # nobody is that slow here
GROUP_MEMBER = 65534


class Unix(http.client.HTTPConnection):
    def __init__(self, path, timeout=20):
        super().__init__("agent", timeout=timeout)
        self.path = path

    def connect(self):
        self.sock = socket.socket(socket.AF_UNIX)
        self.sock.settimeout(self.timeout)
        self.sock.connect(self.path)


class Api(AgentCase):
    def setUp(self):
        super().setUp()
        self.seen = set()  # path, method, status of what has been answered
        self.anywhere = set()  # statuses of refused requests
        self.fields = set()
        os.chmod(self.folder, 0o755)

    def begin(self, *arguments):
        machine.make_vrf("red")
        machine.join("red", "e0", "red", "e1")
        for address in ("192.0.2.1/24", "2001:db8::1/64"):
            machine.ip("addr", "add", address, "dev", "e0", vrf="red")
        machine.ip("addr", "add", "2001:db8::2/64", "dev", "e0", "preferred_lft", "0", vrf="red")
        self.socket = self.path("run") + "/intfaddr.sock"
        self.agent = self.start("--run-dir", self.path("run"), *arguments)
        self.agent.snapshot()
        for address in ("192.0.2.2/24", "192.0.2.1/16"):
            machine.ip("addr", "add", address, "dev", "e1", vrf="red")
        self.assert_soon(lambda: self.get("/v1/addresses")[1].count(b"waitsFor") == 2)

    def ask(self, method, target, body=None, connection=None, headers=None):
        """Status and body; the reply is held to what is documented."""
        with contextlib.closing(connection or Unix(self.socket)) as asking:
            asking.request(method, target, body, headers or {})
            reply = asking.getresponse()
            return self.held(method, target, reply, reply.read())

    def get(self, target):
        return self.ask("GET", target)

    def held(self, method, target, reply, text):
        documented = self.documented(method, target)
        status = str(reply.status)
        content = reply.headers.get_content_type()
        if documented and status in documented[2]["responses"]:
            path, method, operation = documented
            self.seen.add((path, method, status))
            response = resolved(operation["responses"][status])
        else:
            self.assertIn(status, API["x-anywhere"], (method, target, text))
            self.anywhere.add(status)
            response = resolved(API["x-anywhere"][status])
        self.assertIn(content, response["content"], (method, target))
        schema = response["content"][content].get("schema")
        if schema and content == "application/json" and text:
            self.check(schema, json.loads(text))
        return reply.status, text

    def check(self, schema, document):
        validate(ref(schema["$ref"].rsplit("/", 1)[1]), document)
        self.fields |= fields_of(schema, document)

    def documented(self, method, target):
        segments = target.split("?")[0].split("/")
        for path, of, operation in operations():
            pattern = path.split("/")
            if method == of and len(pattern) == len(segments) and all(
                    one in ("{vrf}", other) for one, other in zip(pattern, segments)):
                return path, of, operation
        return None

    def as_another(self, act):
        """By a user who may ask, and may change nothing."""
        os.chmod(self.socket, 0o666)
        os.chmod(self.path("run"), 0o755)
        child = os.fork()
        if child == 0:
            status = 1
            with contextlib.suppress(BaseException):
                os.setgroups([])
                os.setuid(GROUP_MEMBER)
                status = 0 if act() else 1
            os._exit(status)
        self.assertEqual(os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]), 0)

    # Of all paths.

    def test_every_path_and_parameter_is_documented_and_is_there(self):
        self.begin()
        listed = {(one["path"], one["method"]):
                  (one["parameters"] and set(one["parameters"]), set(one["needed"]))
                  for one in json.loads(self.get("/v1")[1])["paths"]}
        documented = {}
        for path, method, operation in operations():
            query = [one for one in operation["parameters"] if one["in"] == "query"]
            takes_any = any(one["schema"].get("type") == "object" for one in query)
            names = [] if not query else {one["name"] for one in query}
            documented[path, method] = (None if takes_any else names,
                                        {one["name"] for one in query if one.get("required")})
        self.assertEqual(listed, documented)

    def test_every_answer_field_and_error_is_documented_and_is_there(self):
        self.begin("--listen", "127.0.0.1:0")
        self.answers()
        self.refusals()
        self.changes()
        self.watched()
        self.what_is_refused_anywhere()
        every = {(path, method, status) for path, method, operation in operations()
                 for status in operation["responses"]}
        self.assert_ends_well(self.agent)
        self.health()
        self.assertEqual(self.seen, every)
        self.assertEqual(self.anywhere, set(API["x-anywhere"]))
        documented = set()
        for _, _, operation in operations():
            for response in operation["responses"].values():
                for content in resolved(response)["content"].values():
                    documented |= fields(content.get("schema", {}))
        self.assertEqual(documented - self.fields, RARE)

    # What is asked, so that every field has its turn.

    def answers(self):
        for target in ("/v1", "/v1/vrfs", "/v1/addresses", "/v1/addresses?address=192.0.2.2",
                       "/v1/vrfs/red/addresses?family=4&interface=e1&state=PREFERRED",
                       "/v1/vrfs/red/addresses?prefix=192.0.2.0/24", "/v1/subnets",
                       "/v1/vrfs/red/subnets", "/v1/vrfs/red/state",
                       "/v1/lookup?address=192.0.2.1", "/v1/lookup?address=192.0.2.77&vrf=red",
                       "/v1/lookup?address=192.0.2.77&interface=e0",
                       "/v1/lowest6?interface=e0", "/v1/lowest6?interface=e0&vrf=red",
                       "/v1/linklocal?interface=e0", "/v1/explain?address=192.0.2.2&vrf=red",
                       "/v1/explain?address=192.0.2.2&interface=e1",
                       "/v1/status", "/v1/trace", "/healthz", "/metrics", "/v1/dump/tables?max=3&verbose&vrf=red",
                       "/v1/dump/machines?verbose=false"):
            self.assertEqual(self.get(target)[0], 200, target)
        gone = '{"op":"kernel.del","vrf":"red","intf":"e0"}\n'
        self.assertEqual(self.ask("POST", "/v1/whatif", gone)[0], 200)

    def refusals(self):
        no_vrf = {"/v1/vrfs/none/addresses", "/v1/vrfs/none/subnets", "/v1/vrfs/none/state",
                  "/v1/lookup?address=::1&vrf=none", "/v1/lowest6?interface=e0&vrf=none",
                  "/v1/linklocal?interface=e0&vrf=none", "/v1/explain?address=::1&vrf=none",
                  "/v1/watch?vrf=none", "/v1/dump/tables?vrf=none", "/v1/dump/machines?vrf=none"}
        for target in no_vrf:
            self.assertEqual(self.get(target)[0], 404, target)
        for path, method, _ in operations():
            if "whatif" not in path and method == "GET":
                self.assertEqual(self.get(path.replace("{vrf}", "red") + "?colour=red")[0], 400)
        self.assertEqual(self.ask("PUT", "/v1/trace?Nobody=1")[0], 400)
        self.assertEqual(self.ask("PUT", "/v1/record?file=relative")[0], 400)
        self.assertEqual(self.ask("DELETE", "/v1/record?file=relative")[0], 400)
        for method in ("PUT", "DELETE"):
            self.assertEqual(self.ask(method, "/v1/virtual")[0], 400)
            self.assertEqual(self.ask(method, "/v1/virtual?address=::7&vrf=none")[0], 404)
            for target in ("/v1/virtual?address=::7", "/v1/record?file=/x", "/v1/trace?*=9"):
                if (target.split("?")[0], method) not in {(path, of) for path, of, _ in operations()}:
                    continue
                target = target.split("?")[0] if method == "DELETE" and "record" in target else target
                self.as_another(lambda: self.ask(method, target)[0] == 403)
                self.seen.add((target.split("?")[0], method, "403"))
        self.assertEqual(self.ask("POST", "/v1/whatif", "nonsense")[0], 400)

    def changes(self):
        self.assertEqual(self.ask("PUT", "/v1/trace?*=0")[0], 200)
        self.assertEqual(self.ask("DELETE", "/v1/record")[0], 200)
        recording = "/v1/record?limit=1048576&file=" + quote(self.path("recording"))
        self.assertEqual(self.ask("PUT", recording)[0], 200)
        self.assertEqual(self.ask("PUT", recording)[0], 409)
        self.get("/v1/status")
        self.assertEqual(self.ask("DELETE", "/v1/record")[0], 200)
        self.assertEqual(self.ask("PUT", "/v1/virtual?address=192.0.2.9&vrf=red")[0], 200)
        self.assertEqual(self.ask("DELETE", "/v1/virtual?address=192.0.2.9&vrf=red")[0], 200)
        with open(self.path("config"), "w") as file:
            file.write('[virtual]\nred = ["192.0.2.8"]\n')
        self.assert_ends_well(self.agent)
        self.begin_again("--config", self.path("config"))
        self.assertEqual(self.ask("DELETE", "/v1/virtual?address=192.0.2.8&vrf=red")[0], 409)

    def begin_again(self, *arguments):
        self.agent = self.start("--run-dir", self.path("run"), "--listen", "127.0.0.1:0",
                                *arguments)
        self.agent.snapshot()

    def watched(self):
        """Begun with what stands, with changes, resumed, and anew."""
        begun = set()
        last = None
        for target, headers in (("/v1/watch?initial", {}), ("/v1/watch", {}),
                                ("/v1/watch", None), ("/v1/watch", {"Last-Event-ID": "mine"})):
            connection = Unix(self.socket)
            connection.request("GET", target, headers={"Last-Event-ID": last}
                               if headers is None else headers)
            reply = connection.getresponse()
            self.held("GET", target, reply, None)
            self.ask("PUT", "/v1/virtual?address=192.0.2.9&vrf=red")
            self.ask("DELETE", "/v1/virtual?address=192.0.2.9&vrf=red")
            gone = False
            while not gone:
                line = reply.readline().decode().rstrip("\n")
                if line.startswith("id: "):
                    last = line.removeprefix("id: ")
                if line.startswith("data: "):
                    event = json.loads(line.removeprefix("data: "))
                    self.check(ref("Event"), event)
                    begun.add(event.get("begin"))
                    gone = event.get("present") is False
            connection.close()
        self.assertEqual(begun, {"table", "changes", "resumed", "anew", None})

    # Errors of any request.

    def what_is_refused_anywhere(self):
        self.assertEqual(self.get("/v1/nothing")[0], 404)
        self.assertEqual(self.ask("DELETE", "/v1/vrfs")[0], 405)
        self.assertEqual(self.ask("PUT", "/v1/virtual", "x" * 70_000)[0], 413)
        self.assertEqual(self.ask("GET", "/v1/nothing", headers={"X": "x" * 9000})[0], 431)
        self.raw(b"nonsense\r\n\r\n", 400)
        self.raw(b"GET /v1/nothing HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: gzip\r\n\r\n", 501)
        notice = next(iter(self.agent.told("127.0.0.1:")))
        port = int(notice.rsplit("127.0.0.1:", 1)[1].split()[0].rstrip("/;,."))
        tcp = http.client.HTTPConnection("127.0.0.1", port, timeout=20)
        self.assertEqual(self.ask("GET", "/v1/vrfs", connection=tcp)[0], 200)
        self.assertEqual(self.ask("PUT", "/v1/nothing", connection=tcp)[0], 403)
        tcp = http.client.HTTPConnection("127.0.0.1", port, timeout=20)
        self.assertEqual(self.ask("GET", "/v1/nothing", connection=tcp,
                                  headers={"Host": "evil.example"})[0], 421)
        slow = threading.Thread(target=self.raw, args=(b"GET /v1 HTTP/1.1\r\n", 408))
        slow.start()
        self.too_many()
        slow.join()

    def raw(self, text, status):
        with contextlib.closing(Unix(self.socket)) as connection:
            connection.connect()
            connection.sock.sendall(text)
            reply = http.client.HTTPResponse(connection.sock)
            reply.begin()
            self.held("GET", "/v1/nothing", reply, reply.read())
        self.assertEqual(reply.status, status)

    def too_many(self):
        """Where 63 are connected, the child of the 64th finds no room."""
        idle = []
        asking = Unix(self.socket)
        asking.connect()
        busy = Unix(self.socket)
        busy.connect()
        refused = None
        while refused is None:
            one = Unix(self.socket)
            one.connect()
            idle.append(one)
            with contextlib.suppress(BrokenPipeError):  # he was told before he asked
                one.sock.sendall(b"GET /v1/nothing HTTP/1.1\r\nHost: x\r\n\r\n")
            reply = http.client.HTTPResponse(one.sock)
            reply.begin()
            self.held("GET", "/v1/nothing", reply, reply.read())
            refused = True if reply.status == 503 else None
            self.assertLess(len(idle), 70)
        operation = '{"op":"kernel.del","vrf":"red","intf":"e0"}\n'
        self.assertEqual(self.ask("POST", "/v1/whatif", operation, asking)[0], 500)
        for one in idle:
            one.close()
        busy.close()
        # Two at the same time, when there is room for what they start.
        self.assert_soon(lambda: self.ask("POST", "/v1/whatif", operation)[0] == 200)
        with contextlib.closing(Unix(self.socket)) as first:
            first.request("POST", "/v1/whatif", operation)
            self.assertEqual(self.ask("POST", "/v1/whatif", operation)[0], 503)
            self.assertEqual(first.getresponse().status, 200)

    def health(self):
        """What it loses it reads anew, and does not know until then."""
        machine.make_vrf("large")
        self.flap("large", 500)
        self.begin_again("--receive-buffer", "4096")
        self.assert_soon(lambda: self.get("/healthz")[0] == 503)


if __name__ == "__main__":
    main()
