"""What an agent measures is well-formed, and what docs/alerts.yaml and docs/grafana-dashboard.json ask
for is there.

As agent_live_test.py, in namespaces of the test's own. Needs promtool, which scripts/setup unpacks.
"""

import http.client
import json
import pathlib
import re
import shutil
import subprocess
import sys

import yaml

from live import machine
from live.case import AgentCase, main

ROOT = pathlib.Path(__file__).resolve().parents[1]
UNPACKED = ROOT / "build/tools/prometheus/usr/bin/promtool"
PROMTOOL = UNPACKED if UNPACKED.exists() else shutil.which("promtool")
ALERTS = ROOT / "docs/alerts.yaml"
DASHBOARD = json.loads((ROOT / "docs/grafana-dashboard.json").read_text())
# Prometheus itself has it.
UP = "up"
LABELS = {"vrf", "interface", "le"}


def promtool(*words, **options):
    return subprocess.run([PROMTOOL, *words], capture_output=True, text=True, check=False, **options)


def named(expression):
    """The metrics that an expression is about."""
    return set(re.findall(r"\b(?:intfaddr_\w+|process_\w+|up)\b", expression))


def samples_of(text):
    """The series of each name."""
    found = {}
    for line in text.splitlines():
        if not line.startswith("#"):
            series = line.rsplit(" ", 1)[0]
            found.setdefault(series.split("{")[0], []).append(series)
    return found


class Metrics(AgentCase):
    def running(self):
        """An agent of which each family has a sample."""
        machine.make_vrf("red")
        machine.join("red", "e0", "red", "e1")  # both with a link-local address
        machine.ip("addr", "add", "192.0.2.1/24", "dev", "e0", vrf="red")
        self.agent = self.start("--run-dir", self.path("run"), "--listen", "127.0.0.1:0")
        self.agent.snapshot()
        machine.ip("addr", "add", "192.0.2.2/24", "dev", "e1", vrf="red")
        self.assert_soon(lambda: "waiting_longest_seconds{" in self.metrics()
                         and "timestamp_seconds " in self.metrics())

    def metrics(self):
        notice = next(iter(self.agent.told("answers at")))
        port = int(re.search(r"127\.0\.0\.1:(\d+)", notice).group(1))
        connection = http.client.HTTPConnection("127.0.0.1", port, timeout=20)
        connection.request("GET", "/metrics")
        reply = connection.getresponse()
        self.assertEqual(reply.status, 200)
        self.assertEqual(reply.headers["Content-Type"], "text/plain; version=0.0.4; charset=utf-8")
        text = reply.read().decode()
        connection.close()
        return text

    def assert_silent(self, result, said=""):
        self.assertEqual((result.returncode, result.stderr), (0, ""), result.stdout)
        if not said:
            self.assertEqual(result.stdout, "")
        self.assertIn(said, result.stdout)

    def test_what_it_measures_is_well_formed(self):
        self.running()
        text = self.metrics()
        self.assert_silent(promtool("check", "metrics", input=text))
        for of_name in samples_of(text).values():
            self.assertEqual(len(of_name), len(set(of_name)), of_name)
        self.assertLessEqual(set(re.findall(r'[{,](\w+)="', text)), LABELS)
        self.assertIn('intfaddr_rows{vrf="red"} 3\n', text)
        self.assertIn('intfaddr_waiting_longest_seconds{vrf="red",interface="e1"} ', text)
        self.assertIn("intfaddr_started 1\n", text)
        self.assertIn("intfaddr_http_clients 1\n", text)
        self.assert_ends_well(self.agent)

    def test_a_name_may_be_anything(self):
        """What is no UTF-8 comes as something that is, and two such names as two."""
        for name in (b'ns-a"b\\', b"ns-v\xfe", b"ns-v\xff", "ns-v\ufffd".encode()):
            self.assertEqual(machine.run("ip", "netns", "add", name).returncode, 0)
        self.running()
        self.assert_soon(lambda: len(samples_of(self.metrics())["intfaddr_rows"]) == 6)
        text = self.metrics()
        self.assert_silent(promtool("check", "metrics", input=text))
        self.assertEqual(len(set(samples_of(text)["intfaddr_rows"])), 6)
        self.assert_ends_well(self.agent)

    def test_rules_and_dashboard_ask_for_all_that_is_there_and_for_nothing_else(self):
        self.running()
        there = set(samples_of(self.metrics()))
        rules = yaml.safe_load(ALERTS.read_text())["groups"][0]["rules"]
        asked = set.union(*(named(rule["expr"]) for rule in rules))
        self.assertEqual(asked - there, {UP})
        described = set.union(*(named(rule["annotations"]["description"]) for rule in rules))
        self.assertEqual(described - there, set())
        shown = set.union(*(named(target["expr"]) for panel in DASHBOARD["panels"]
                            for target in panel.get("targets", [])))
        self.assertEqual(shown, there)
        variables = {one["name"]: one for one in DASHBOARD["templating"]["list"]}
        self.assertEqual(variables["datasource"]["type"], "datasource")
        self.assertLessEqual(named(variables["vrf"]["query"]["query"]), there)
        self.assert_ends_well(self.agent)

    def test_each_panel_has_a_unit_and_the_chosen_data_source(self):
        for panel in DASHBOARD["panels"]:
            if panel["type"] != "row":
                self.assertTrue(panel["fieldConfig"]["defaults"]["unit"], panel["title"])
                for one in [panel, *panel["targets"]]:
                    self.assertEqual(one["datasource"]["uid"], "${datasource}", panel["title"])
        numbers = [panel["id"] for panel in DASHBOARD["panels"]]
        self.assertEqual(len(numbers), len(set(numbers)))

    def test_the_rules_are_rules_and_say_what_is_wrong_when_it_is(self):
        self.assert_silent(promtool("check", "rules", ALERTS), "SUCCESS")
        self.assert_silent(promtool("test", "rules", ROOT / "tests/live/alerts_test.yaml"), "SUCCESS")
        for rule in yaml.safe_load(ALERTS.read_text())["groups"][0]["rules"]:
            self.assertEqual(set(rule["annotations"]), {"summary", "description"}, rule["alert"])


if __name__ == "__main__":
    if not PROMTOOL:
        print("skipped: there is no promtool; scripts/setup unpacks it")
        sys.exit(77)
    main()
