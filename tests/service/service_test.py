#!/usr/bin/env python3
# The real service on simulated cards, over its socket.
#
# usage: service_test.py [CLASS.TEST]
import array
import contextlib
import hashlib
import http.client
import json
import os
import pathlib
import random
import re
import signal
import socket
import struct
import sys
import threading
import time
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "whole"))
from programs_test import CARD, PROGRAMS, SECONDS_MOST, TOP, Bench, Program  # noqa: E402

SERVICE = PROGRAMS / "kelvaned/kelvaned"
TOOL = PROGRAMS / "kelvanectl/kelvanectl"


class Caller:
    """A client: what it asks is answered in any order, and events come between."""

    def __init__(self, test, path):
        self.test, self.events, self.answers, self.last_id, self.files = test, [], {}, 0, []
        self.socket, self.partial = socket.socket(socket.AF_UNIX), b""
        test.addCleanup(self.socket.close)
        self.socket.settimeout(SECONDS_MOST)
        self.socket.connect(str(path))

    def send(self, method, file=None, **parameters):
        self.last_id += 1
        line = json.dumps({"jsonrpc": "2.0", "id": self.last_id, "method": method, "params": parameters}) + "\n"
        beside = [] if file is None else [(socket.SOL_SOCKET, socket.SCM_RIGHTS, array.array("i", [file]))]
        self.socket.sendmsg([line.encode()], beside)
        return self.last_id

    def hear(self):
        """One more line; None at the end."""
        while b"\n" not in self.partial:
            data, beside, _, _ = self.socket.recvmsg(1 << 16, socket.CMSG_LEN(4))
            for _, _, content in beside:
                self.files += array.array("i", content)
            if not data:
                return None
            self.partial += data
        line, self.partial = self.partial.split(b"\n", 1)
        told = json.loads(line)
        if told.get("method") == "event":
            self.events.append(told["params"])
        else:
            self.answers[told["id"]] = told.get("result", told.get("error"))
        return told

    def answer(self, asked):
        while asked not in self.answers:
            self.test.assertIsNotNone(self.hear(), "the service has ended")
        return self.answers.pop(asked)

    def ask(self, method, **parameters):
        return self.answer(self.send(method, **parameters))

    def wait_for(self, kind, **data):
        """The first event of that kind, among those heard and to come; it and those before are forgotten."""
        while True:
            for i, event in enumerate(self.events):
                if event["type"] == kind and data.items() <= event["data"].items():
                    del self.events[:i + 1]
                    return event
            self.test.assertIsNotNone(self.hear(), "the service has ended")


class Service(Bench):
    def setUp(self):
        super().setUp()
        self.path = self.host / "run/kelvane/kelvaned.sock"

    def start(self, *options, verbs=""):
        """A card, a service on it that is up, and a client of it."""
        self.card = self.start_card(verbs=verbs)
        self.service = Program(self, SERVICE, *options)
        caller = self.call()
        while caller.ask("service_status")["state"] != "up":
            time.sleep(0.05)
        return caller

    def call(self):
        for _ in range(SECONDS_MOST * 20):
            try:
                return Caller(self, self.path)
            except (FileNotFoundError, ConnectionRefusedError):
                self.assertIsNone(self.service.process.poll(), self.service.err)
                time.sleep(0.05)
        self.fail("no socket")

    def test_operations_records_and_refusals(self):
        caller = self.start()
        for method, parameters, expected in (
                ("set_laser_channel_flex_grid", {"address": "module/4", "channel": 1931500, "tx_rx": "tx"}, {}),
                ("get_laser_channel_flex_grid", {"address": "module/4", "tx_rx": "tx"}, {"channel": 1931500}),
                ("set_laser", {"address": "module/1", "laser": True, "timeout_ms": 60000}, {}),
                ("get_laser", {"address": "0xff0001ff"}, {"laser": True}),
                ("get_seu_pl_uncorrectable", {}, {"state": "ok"})):
            self.assertEqual(caller.ask(method, **parameters), expected, method)
        config = caller.ask("global_provisioned_config", address="sirane/2")
        self.assertEqual(config["tx_channel_flex_grid"], [1931500, 1931000])
        for method, parameters, code, said in (
                ("get_lasers", {}, -32601, "there is no method get_lasers"),
                ("get_laser", {"address": "module/6"}, -32602, '"module/6" is no address'),
                ("subscribe", {"address": "board"}, -32602, "subscribe takes no address"),
                ("set_laser", {"address": "module/0", "laser": 7}, 2153906177, "ORDUNE_SIRANE_SETLASER_ERROR"),
                ("get_laser", {"address": "0xff0700ff"}, 22, "KELVANE_RET_CODE_EINVAL"),
                ("download_software", {"download_device": 2, "digest": "0" * 32}, -32602, "the image is missing")):
            error = caller.ask(method, **parameters)
            self.assertEqual(error["code"], code, error)
            self.assertIn(said, error["message"])
            self.assertEqual(error["data"]["operation"], method)
        methods = [method["name"] for method in caller.ask("rpc.discover")["methods"]]
        self.assertEqual(len(methods), 75)
        for line, code in ((b"x" * 70000, -32600), (b"[" * 10000, -32600), (b'{"id":1}', -32600), (b"\xff", -32700)):
            caller.socket.sendall(line + b"\n")
            self.assertEqual(caller.hear()["error"]["code"], code)
        caller.socket.sendall(b'{"jsonrpc":"2.0","method":"get_laser","params":{"address":"module/0"}}\n{"half')
        caller.socket.shutdown(socket.SHUT_WR)  # one that is not answered, and half a line
        self.assertIsNone(caller.hear())

    def test_images_go_in_and_logs_come_out(self):
        caller, watcher = self.start(verbs="program-time 1500"), self.call()
        watcher.ask("subscribe")
        image = random.Random(5).randbytes(200000)
        (self.folder / "image").write_bytes(image)
        reading, writing = os.pipe()
        for file in reading, writing, os.open(self.folder, os.O_RDONLY):
            asked = caller.send("download_software", download_device="sirane", digest="0" * 32, file=file)
            self.assertEqual(caller.answer(asked)["message"], "the image is no regular file")
            os.close(file)
        file = os.open(self.folder / "image", os.O_RDONLY)
        asked = caller.send("download_software", download_device="sirane", digest="0" * 32, file=file)
        self.assertEqual(caller.answer(asked)["message"], "ORDUNE_MD5_FAIL")
        digest = hashlib.md5(image).hexdigest()
        asked = caller.send("download_software", download_device="sirane", digest=digest, file=file)
        self.assertEqual(caller.answer(asked), {})
        before = caller.ask("get_software_running", address="sirane/1")
        asked = caller.send("program_activate_software", address="sirane/1")
        late = caller.send("get_laser", address="module/5")  # of another sirane, and behind it all the same
        self.assertEqual(caller.answer(late), {"laser": False})
        self.assertEqual(caller.answers.pop(asked), {})
        self.assertEqual(watcher.wait_for("progress")["data"]["operation"], "program_activate_software")
        after = caller.ask("get_software_running", address="sirane/1")
        self.assertEqual((after["major"], after["minor"]), (before["major"], before["minor"] + 1))
        self.assertEqual(list(pathlib.Path(os.environ.get("TMPDIR", "/tmp")).glob("kelvane_image.*")), [])
        self.verb("eprom", "3", "clear")
        for method, parameters, name in (("ps_print_trace", {}, "ordune.log"), ("ps_print_eprom_trace", {}, None),
                                         ("ps_print_sel_trace", {"address": "sirane/1"}, "sirane_1.log")):
            told = caller.ask(method, **parameters)
            text = os.read(caller.files.pop(), 1 << 20) if told["bytes"] else b""
            self.assertEqual(len(text), told["bytes"])
            self.assertEqual(told["file"] if text else None, name)

    def test_what_happens_is_told_to_those_who_subscribed(self):
        caller, watcher = self.start(verbs="alarm raise 4 SRN_TEMP"), self.call()
        snapshot = watcher.ask("subscribe")
        self.assertEqual(snapshot["alarms"]["sirane/1"], ["SRN_SUMMARY_ALRM", "SRN_TEMP"])
        lines = (TOP / "docs/service.md").read_text().split("```python\n")[1].split("```")[0]
        program = Program(self, sys.executable, "-c", lines)
        program.wait_for("laser of module 0: False\nsnapshot None {'sirane/1': ['SRN_SUMMARY_ALRM', 'SRN_TEMP']}\n")
        self.verb("alarm", "raise", "2", "RX_NTWK_LOF")
        program.wait_for("alarm_raised module/0 {'alarm': 'RX_NTWK_LOF'}\n")
        told = watcher.wait_for("alarm_raised", alarm="RX_NTWK_LOF")
        self.assertEqual((told["address"], told["instance"]), ("module/0", snapshot["instance"]))
        self.verb("alarm", "clear", "2", "RX_NTWK_LOF")
        watcher.wait_for("alarm_cleared", alarm="RX_NTWK_LOF")
        self.verb("unplug", "3")
        self.assertEqual(watcher.wait_for("plugin", plugged=0)["address"], "module/1")
        self.assertEqual(watcher.wait_for("module", is_present=False)["address"], "module/1")
        caller.ask("set_laser", address="module/0", laser=True)
        self.assertEqual(watcher.wait_for("module", laser=True)["address"], "module/0")
        modules = caller.ask("service_status")["modules"]
        self.assertEqual([modules["module/0"], modules["module/1"]],
                         [{"is_present": True, "laser": True}, {"is_present": False, "laser": None}])
        caller.ask("set_xpm2_led", address="module/0", led="green")
        self.assertEqual(watcher.wait_for("finished", operation="set_xpm2_led")["data"]["code"], 0)
        caller.ask("set_pm_parameters", address="board", pm_interval=1)
        first = watcher.wait_for("batch")["data"]
        self.assertEqual(first["record"]["xpm2_port"][1]["optical_output_power_dbm"], -40.0)
        self.verb("skip-batch")
        self.assertEqual(watcher.wait_for("batches_missed")["data"]["count"], 1)
        self.hang()
        watcher.wait_for("watch", status="not_alive")
        self.assertEqual(watcher.wait_for("module", laser=None)["data"]["is_present"], None)
        self.assertEqual(caller.ask("get_laser", address="module/0")["code"], 64174)
        self.verb("resume")
        watcher.wait_for("state", state="linking")
        watcher.wait_for("state", state="up")
        watcher.wait_for("module", laser=True)
        self.verb("alarm", "raise", "2", "RX_NTWK_LOF")
        watcher.wait_for("alarm_raised", alarm="RX_NTWK_LOF")
        self.verb("upset", "uncorrectable")
        watcher.wait_for("upset", value=1)
        self.verb("remove")
        self.assertIn("the card is gone", watcher.wait_for("state", state="ended")["data"]["reason"])
        self.assertIsNone(watcher.hear())
        self.assertEqual(self.service.wait(), 1)

    def http(self, method="GET", path="/metrics"):
        """The status, the headers and the text of one request, at the address that the service tells."""
        connection = http.client.HTTPConnection(re.search("http://([0-9.:]+)/", self.service.err)[1],
                                                timeout=SECONDS_MOST)
        with contextlib.closing(connection):
            connection.request(method, path)
            answer = connection.getresponse()
            return answer.status, answer.headers, answer.read().decode()

    def scrape(self, until):
        """By name and labels, the values once that one of them is there."""
        while True:
            status, _, text = self.http()
            self.assertEqual(status, 200)
            values = dict(line.rsplit(" ", 1) for line in text.splitlines() if line[0] != "#")
            if until(values):
                return values
            time.sleep(0.05)

    def test_metrics_over_http(self):
        caller = self.start("--http", "0")
        name = 'kelvane_module_optical_output_power_dbm{module="module/%d"}'
        caller.ask("set_pm_parameters", address="board", pm_interval=1)
        self.scrape(lambda values: values.get(name % 5) == "-40")
        caller.ask("set_laser", address="module/5", laser=True)
        first = self.scrape(lambda values: float(values[name % 5]) > -10)
        self.scrape(lambda values: values[name % 5] != first[name % 5])
        inventory = caller.ask("get_xpm2_inventory_inf", address="module/5")
        serial = f'serial_number="{inventory["serial_number"]}"'
        self.scrape(lambda values: any(it.startswith("kelvane_module_info") and serial in it for it in values))
        self.scrape(lambda values: values['kelvane_module_laser{module="module/5"}'] == "1")
        self.verb("alarm", "raise", "2", "RX_NTWK_LOS")
        self.scrape(lambda values: values['kelvane_alarm{alarm="RX_NTWK_LOS",module="module/0"}'] == "1")
        self.verb("unplug", "9")
        self.scrape(lambda values: values['kelvane_module_is_present{module="module/5"}'] == "0" and
                    not [it for it in values if '"module/5"' in it and "is_present" not in it])
        for method, path, status in (("HEAD", "/metrics", 200), ("POST", "/metrics", 405), ("DELETE", "/", 405),
                                     ("GET", "/", 404), ("GET", "/metrics?x=" + "x" * 20000, 414)):
            answered = self.http(method, path)
            self.assertEqual(answered[0], status, answered)
            self.assertEqual(answered[1].get("Allow"), "GET, HEAD" if status == 405 else None)
            self.assertEqual("" in answered[2:], method == "HEAD")
        where = re.search("127.0.0.1:([0-9]+)", self.service.err)
        flood = [socket.create_connection(("127.0.0.1", int(where[1])), SECONDS_MOST) for _ in range(40)]
        with contextlib.suppress(BrokenPipeError, ConnectionResetError):  # cut off in the middle of its headers
            flood[0].sendall(b"GET /metrics HTTP/1.1\r\n" + b"a: b\r\n" * 100000)
            while flood[0].recv(65536):
                pass
        self.assertEqual(caller.ask("get_laser", address="module/0"), {"laser": False})
        for it in flood:
            it.close()
        self.hang()
        values = self.scrape(lambda values: values["kelvane_card_up"] == "0")
        self.assertEqual([it for it in values if "_port_" in it or "_power_" in it or "_module_laser" in it], [])
        self.assertEqual(values['kelvane_alarm{alarm="RX_NTWK_LOS",module="module/0"}'], "1")
        for wrong, said in ((where[1], "Address already in use"), ("x:80000", "x:80000 is no HOST:PORT"),
                            ("[::1]:x", "[::1]:x is no HOST:PORT"), ("no.such.host.invalid:1", "cannot find no.such.host")):
            second = Program(self, SERVICE, "--http", wrong)
            self.assertEqual(second.wait(), 1)
            self.assertIn(said, second.err)

    def recorded(self, file):
        """The entries of a recording, as kind, offset and value."""
        data, entries = file.read_bytes(), []
        self.assertEqual(data[:8], b"KELVREC\0")
        at = 64
        while at < len(data):
            _, count, lost, _ = struct.unpack_from("<4I", data, at)
            self.assertEqual(lost, 0)
            for _, _, offset, value, _, kind, _ in struct.iter_unpack("<IIIIHBB", data[at + 16:at + 16 + 20 * count]):
                entries.append((kind, offset, value))
            at += 16 + 20 * count
        return entries

    def test_recordings(self):
        file = self.folder / "recording"
        caller = self.start("--record", file)
        second = Program(self, SERVICE, "--record", file, "--socket", self.folder / "other")
        self.assertEqual(second.wait(), 1)
        self.assertEqual(second.err, f"kelvaned: cannot record in {file}: Device or resource busy\n")
        self.assertEqual(caller.ask("get_laser", address="module/5"), {"laser": False})
        command, answer = (2, 0x01E00100, 3), (1, 0x01E02100, 3)  # get_laser, of the third sirane
        for _ in range(SECONDS_MOST * 20):
            entries = self.recorded(file)
            if answer in entries:
                break
            time.sleep(0.05)
        self.service.process.kill()  # what was done a second ago is there
        self.service.wait()
        entries = self.recorded(file)
        self.assertLess(entries.index(command), entries.index(answer))
        self.assertNotIn(7, [kind for kind, _, _ in entries])
        self.assertIn(3, [kind for kind, _, _ in entries])
        again = Program(self, TOOL, "--direct", "--json", "--record", file, "call", "get_laser",
                        '{"address":"module/5"}')
        self.assertEqual((again.wait(), again.out), (0, '{"laser":false}\n'), again.err)
        entries = self.recorded(file)
        self.assertLess(entries.index(command), entries.index(answer))
        self.assertEqual(entries[-1][0], 7)

    def test_limits_and_queues(self):
        caller, others = self.start(verbs="delay get_network_loopback 1500"), [self.call() for _ in range(5)]
        watcher = self.call()
        watcher.ask("subscribe")
        slow = caller.send("get_network_loopback", address="module/0", timeout_ms=100)
        taken_back = caller.send("set_xpm2_led", address="module/0", led="red", timeout_ms=50)
        for asked, begun in (taken_back, False), (slow, True):
            error = caller.answer(asked)
            self.assertEqual((error["code"], error["data"].get("begun")), (-32002, begun), error)
        ids = [[other.send("get_network_loopback", address="module/0") for _ in range(64)] for other in others]
        refused = [other.answer(one) for other, one in zip(others[4:], ids[4:]) for one in one]
        self.assertEqual(sum(1 for one in refused if one.get("message") == "the queue of sirane/0 is full"), 64)
        refused = others[0].ask("get_network_loopback", address="module/5")
        self.assertEqual(refused["message"], "64 requests of this client are under way")
        self.assertEqual(caller.ask("get_network_loopback", address="module/5"), {"enable": False})  # of another sirane
        for other, asked in zip(others[:4], ids[:4]):
            self.assertEqual([other.answer(one) for one in asked], [{"enable": False}] * 64)
        self.assertEqual(watcher.wait_for("finished", id=slow)["data"],
                         {"operation": "get_network_loopback", "id": slow, "code": 0})
        self.assertEqual(caller.ask("get_xpm2_led", address="module/0"), {"led": "off"})
        self.verb("laser-time", "1000")
        lasers = [caller.send("set_laser", address="module/2", laser=True) for _ in range(13)]
        self.assertEqual(caller.answer(lasers[12])["code"], -32001)
        self.assertEqual([caller.answer(one) for one in lasers[:12]], [{}] * 12)
        crowd = [self.call() for _ in range(125)]
        self.assertEqual(crowd[-1].hear()["error"]["message"], "128 clients are connected")
        self.assertIsNone(crowd[-1].hear())
        self.assertEqual(crowd[0].ask("get_network_loopback", address="module/0"), {"enable": False})

    def test_how_it_starts_and_ends(self):
        self.service = Program(self, SERVICE)
        self.assertEqual(self.service.wait(), 1)
        self.assertIn(f"cannot make {self.host}/run", self.service.err)
        self.host.mkdir(mode=0o700)
        self.service = Program(self, SERVICE)  # before there is a card
        caller = self.call()
        self.assertEqual(caller.ask("get_laser", address="module/0")["code"], -32003)
        watcher = self.call()
        self.assertIsNone(watcher.ask("subscribe")["alarms"]["sirane/0"])
        self.start_card(verbs="delay get_network_loopback 60000")
        watcher.wait_for("state", state="linking")
        self.assertEqual(caller.ask("get_laser", address="module/0")["code"], -32005)
        watcher.wait_for("progress", operation="link_up")
        watcher.wait_for("state", state="up")
        for options, said in (([], f"process {self.service.process.pid} is the service at "),
                              (["--socket", self.folder / "other"], f"process {self.service.process.pid} has the card"),
                              (["--socket", self.folder / ("s" * 108)], "the path of a socket has at most 107 ")):
            second = Program(self, SERVICE, *options)
            self.assertEqual(second.wait(), 1)
            self.assertIn(said, second.err)
        hanging = caller.send("get_network_loopback", address="module/0")
        waiting = caller.send("get_network_loopback", address="module/1")
        caller.ask("is_xpm2_present", address="module/2")  # of another sirane: those two have come before
        self.service.process.terminate()
        for asked in hanging, waiting:
            self.assertEqual(caller.answer(asked)["code"], -32003)
        self.assertIsNone(caller.hear())
        self.assertEqual((self.service.wait(), self.path.exists()), (0, False))
        self.service = Program(self, SERVICE)
        self.call()
        self.service.process.kill()
        self.service.wait()
        self.assertTrue(self.path.exists())
        self.verb("restart", "cold")
        time.sleep(1)  # and its notice waits for the next one, which links up
        self.service = Program(self, SERVICE)  # takes the dead one's place
        caller = self.call()
        while (status := caller.ask("service_status"))["state"] != "up":
            time.sleep(0.05)
        self.assertEqual(status["process"], self.service.process.pid)

    def test_a_storm_of_clients_on_a_card_with_faults(self):
        """Each request has one outcome, and each subscriber a complete account."""
        first = self.start("--http", "0", verbs="error get_laser ORDUNE_TIMEOUT 10%\ndelay get_xpm2_led 30 5%\n"
                                                "drop-interrupt 1%\ndouble-interrupt 5%\nlate-interrupt 3 5%\n"
                                                "laser-time 20\n")
        until, outcomes = time.monotonic() + float(os.environ.get("KELVANE_STORM_SECONDS", "4")), []
        scrapes = []
        watchers = [self.call() for _ in range(4)]
        begins = [watcher.ask("subscribe")["seq"] for watcher in watchers]
        watchers[3].socket.close()  # one that dies, and one, the last, that reads nothing meanwhile

        def play(seed, caller):
            dice, asked, heard = random.Random(seed), [], {}
            while time.monotonic() < until:
                for _ in range(dice.randrange(1, 30)):
                    where = f"module/{dice.randrange(6)}"
                    method, more = dice.choice((("get_laser", {}), ("get_xpm2_led", {}), ("set_xpm2_led", {"led": "red"}),
                                                ("set_laser", {"laser": dice.random() < 0.5}))[:3 + seed % 2])
                    if dice.random() < 0.2:
                        more = {**more, "timeout_ms": dice.randrange(1, 20)}
                    asked.append(caller.send(method, address=where, **more))
                while len(caller.answers) < len(asked) - dice.randrange(30):
                    before = len(caller.answers)
                    caller.hear()
                    self.assertEqual(len(caller.answers), before + 1)  # none twice
            while len(caller.answers) < len(asked):
                caller.hear()
            heard = {one.get("code", 0) for one in caller.answers.values()}
            outcomes.append((sorted(caller.answers) == asked, heard, len(asked)))

        def scrape():
            while time.monotonic() < until:
                scrapes.append(self.http()[0])

        def watch(watcher):
            while watcher.hear() is not None:
                pass

        players = [threading.Thread(target=play, args=(seed, self.call())) for seed in range(8)]
        listeners = [threading.Thread(target=watch, args=(watcher,)) for watcher in watchers[:2]]
        scraper = threading.Thread(target=scrape)
        for thread in [*players, *listeners, scraper]:
            thread.start()
        dying = self.call()
        for _ in range(60):
            dying.send("set_xpm2_led", address="module/0", led="red")
        dying.socket.close()
        for thread in [*players, scraper]:
            thread.join(SECONDS_MOST)
        self.assertEqual([complete for complete, _, _ in outcomes], [True] * 8)
        self.assertLessEqual(set.union(*(heard for _, heard, _ in outcomes)), {0, -32001, -32002, 0x8010000F})
        self.assertEqual(set(scrapes), {200})
        values = self.scrape(lambda _: True)
        ended = sum(int(count) for name, count in values.items() if name.startswith("kelvane_commands_total"))
        self.assertIn(ended - sum(asked for _, _, asked in outcomes), range(61))  # and those of one that died
        self.assertEqual(first.ask("service_status")["clients"], 1 + 3 + 8)
        self.service.process.terminate()
        watch(watchers[2])
        for thread in listeners:
            thread.join(SECONDS_MOST)
        self.assertEqual(self.service.wait(), 0)
        for watcher, begin in zip(watchers[:3], begins):
            for event in watcher.events:
                begin += event["data"]["count"] if event["type"] == "events_lost" else 1
                self.assertEqual(event["seq"], begin)
            self.assertEqual(watcher.events[-1]["data"].get("state"), "ended", watcher.events[-3:])


if __name__ == "__main__":
    unittest.main()
