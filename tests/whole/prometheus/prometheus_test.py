#!/usr/bin/env python3
# What Prometheus makes of a real service's metrics, and of the rules that are installed for them.
#
# usage: prometheus_test.py [CLASS.TEST]; BUILD is the build folder, prometheus and promtool are in PATH.
import json
import pathlib
import re
import shutil
import socket
import subprocess
import sys
import time
import unittest
import urllib.error
import urllib.parse
import urllib.request

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "service"))
import service_test  # noqa: E402
from programs_test import SECONDS_MOST, TOP, Bench, Program  # noqa: E402

RULES = TOP / "packaging/prometheus"
# The names are those of the card's fields, and the tool takes one of them for a unit.
KNOWN_TO_PROMTOOL = 'kelvane_network_port_corrected_bits_count_pm_int use base unit "bytes" instead of "bits"\n'


def free_port():
    with socket.create_server(("127.0.0.1", 0)) as listener:
        return listener.getsockname()[1]


def get(url):
    with urllib.request.urlopen(url, timeout=SECONDS_MOST) as answer:
        return answer.read().decode()


class Rules(Bench):
    def test_promtool_agrees(self):
        shutil.copytree(RULES, self.folder, dirs_exist_ok=True)
        tests = sorted(path.name for path in RULES.glob("*_test.yml"))
        self.assertEqual(tests, ["kelvane.rules_day_test.yml", "kelvane.rules_test.yml"])
        for words in (["check", "config", "prometheus.yml"], ["check", "rules", "kelvane.rules.yml"], ["test", "rules", *tests]):
            done = subprocess.run(["promtool", *words], cwd=self.folder, capture_output=True, text=True, check=False)
            self.assertEqual(done.returncode, 0, done.stdout + done.stderr)


class Watched(Bench):
    """One card, its service, and Prometheus with what is installed, made quick."""

    start, call = service_test.Service.start, service_test.Service.call

    def start_all(self):
        self.port, self.path = free_port(), self.host / "run/kelvane/kelvaned.sock"
        self.caller = self.start("--http", f"127.0.0.1:{self.port}", verbs="batch-interval 500")
        for name, old, new in (("prometheus.yml", "_interval: 15s", "_interval: 1s"),
                               ("prometheus.yml", "127.0.0.1:9690", f"127.0.0.1:{self.port}"),
                               ("kelvane.rules.yml", r"for: \d+[smhd]", "for: 1s")):
            path = self.folder / name
            text = (path if path.exists() else RULES / name).read_text()
            self.assertRegex(text, old)
            path.write_text(re.sub(old, new, text))
        self.url = f"http://127.0.0.1:{free_port()}"
        self.prometheus = Program(self, "prometheus", f"--config.file={self.folder}/prometheus.yml",
                                  f"--storage.tsdb.path={self.folder}/data",
                                  f"--web.listen-address={self.url.removeprefix('http://')}")
        self.until(lambda: "Ready" in get(f"{self.url}/-/ready"))

    def until(self, is_so):
        """What it gives once that is something."""
        end = time.monotonic() + SECONDS_MOST
        while time.monotonic() < end:
            try:
                if found := is_so():
                    return found
            except (ConnectionError, urllib.error.URLError):
                self.assertIsNone(self.prometheus.process.poll(), self.prometheus.err)
            time.sleep(0.1)
        self.fail(f"never so; Prometheus said\n{self.prometheus.err}")

    def ask(self, query):
        """The labels of each series, without those of the scrape, with its value."""
        answer = json.loads(get(f"{self.url}/api/v1/query?" + urllib.parse.urlencode({"query": query})))
        series = []
        for one in answer["data"]["result"]:
            labels = one["metric"]
            labels.pop("__name__", None)
            if labels:
                self.assertEqual((labels.pop("job"), labels.pop("instance"), labels.pop("card")),
                                 ("kelvane", f"127.0.0.1:{self.port}", "this host"))
            series.append((labels, float(one["value"][1])))
        return series

    def wait_for_value(self, query, *expected):
        self.until(lambda: self.ask(query) == list(expected))

    def wait_for_alert(self, name, state="firing"):
        """Its labels and what it says; of one that is gone, nothing."""
        def find():
            alerts = json.loads(get(f"{self.url}/api/v1/alerts"))["data"]["alerts"]
            found = [alert for alert in alerts if alert["labels"]["alertname"] == name]
            if state is None:
                return not found
            return next((alert for alert in found if alert["state"] == state), None)
        return self.until(find)

    def test_what_the_card_does_is_seen(self):
        self.start_all()
        text = get(f"http://127.0.0.1:{self.port}/metrics")
        done = subprocess.run(["promtool", "check", "metrics"], input=text, capture_output=True, text=True, check=False)
        self.assertEqual(done.stdout + done.stderr, KNOWN_TO_PROMTOOL)
        self.wait_for_value("up", ({}, 1))
        self.wait_for_value("kelvane_card_up", ({}, 1))
        self.wait_for_value('kelvane_software_info{sirane="",module=""}', ({"version": "5.22"}, 1))

        power = 'kelvane_module_optical_input_power_dbm{module="module/3"}'
        (labels, before), = self.until(lambda: self.ask(power))
        self.assertEqual(labels, {"module": "module/3"})
        self.assertTrue(-20 < before < -5, before)
        self.until(lambda: self.ask(power)[0][1] != before)

        laser = 'kelvane_module_laser{module="module/0"}'
        for value in (True, False, True):
            self.assertEqual(self.caller.ask("set_laser", address="module/0", laser=value), {})
            self.wait_for_value(laser, ({"module": "module/0"}, value))
        self.wait_for_value('kelvane_commands_total{command="set_laser"}',
                            ({"command": "set_laser", "outcome": "done"}, 3))
        self.verb("alarm", "raise", "2", "RX_NTWK_LOS")
        alert = self.wait_for_alert("KelvaneSignalLost")
        self.assertEqual(alert["labels"], {
            "alertname": "KelvaneSignalLost", "severity": "critical", "module": "module/0", "job": "kelvane",
            "instance": f"127.0.0.1:{self.port}", "card": "this host"})
        self.assertEqual(alert["annotations"]["summary"], "this host module/0: signal lost")
        self.verb("alarm", "clear", "2", "RX_NTWK_LOS")
        self.wait_for_alert("KelvaneSignalLost", None)
        self.verb("memory-error", "uncorrectable")
        self.wait_for_alert("KelvaneMemoryUncorrectable")

    def test_silence_is_seen_and_its_end(self):
        self.start_all()
        self.wait_for_value("kelvane_card_up", ({}, 1))
        self.hang()
        self.wait_for_value("kelvane_card_up", ({}, 0))
        self.wait_for_alert("KelvaneCardDown")
        self.verb("resume")
        self.wait_for_value("kelvane_card_up", ({}, 1))
        self.wait_for_alert("KelvaneCardDown", None)
        self.service.kill()
        self.wait_for_value("up", ({}, 0))
        self.wait_for_alert("KelvaneServiceDown")
        self.assertEqual(self.ask("kelvane_card_up"), [])
        self.service = Program(self, service_test.SERVICE, "--http", f"127.0.0.1:{self.port}")
        self.wait_for_value("up", ({}, 1))
        self.wait_for_value("kelvane_card_up", ({}, 1))
        self.wait_for_alert("KelvaneServiceDown", None)


if __name__ == "__main__":
    unittest.main()
