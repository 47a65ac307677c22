#!/usr/bin/env python3
# kelvanectl as people and shells use it: on a card of its own, and through a service that is played here.
#
# usage: ctl_test.py [CLASS.TEST]
import array
import hashlib
import json
import os
import pathlib
import pty
import resource
import select
import socket
import subprocess
import sys
import tarfile
import threading
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "whole"))
from programs_test import AT_ONCE, PROGRAMS, Bench, Program

CTL = PROGRAMS / "kelvanectl/kelvanectl"


class Tool(Bench):
    def ctl(self, *words, typed="", **environment):
        """Its status and what it says, standard output before the errors that are its own."""
        tool = Program(self, CTL, *words, **environment)
        if typed:
            tool.write(typed)
        tool.process.stdin.close()
        status = tool.wait()
        own = [line for line in tool.err.splitlines(True) if line.startswith("kelvanectl: ")]
        return f"{status} {tool.out}{''.join(own)}"

    def begins(self, said, expected):
        self.assertEqual(said[:len(expected)], expected)

    def direct(self, *words, **more):
        return self.ctl("--direct", *words, **more)


class Direct(Tool):
    def test_values_of_the_card(self):
        self.start_card(verbs="set-register 1 9010 77\nalarm raise 1.n0 RX_NTWK_LOF\n"
                              "unplug 3\nerror get_laser ORDUNE_SIRANE_BUSY\n")
        for line, expected in (
                ("get module/0 laser", "1 kelvanectl: get_laser at module/0: ORDUNE_SIRANE_BUSY (2153775107)\n"),
                ("set module/0 laser on", "0 "), ("get module/0 laser", "0 laser  on\n"),
                ("--json get module/0 get_laser", '0 {"laser":true}\n'),
                ("set module/0 laser_channel 193500 tx", "0 "), ("get module/0 laser_channel tx", "0 channel  193500\n"),
                ("get module/1 is_xpm2_present", "0 is_present  no\n"),
                ("get board software_running", "0 major  5\nminor  22\n"),
                ("register read sirane/0 0x9010", "0 0x00000077  119\n"),
                ("register write sirane/0 36880 0x10", "0 "), ("register read 0xff00ffff 36880", "0 0x00000010  16\n"),
                ("alarms", "0 ADDRESS   ALARM\nmodule/0  RX_NTWK_LOF\nmodule/1  RX_NTWK_LOCH\n"),
                ("pm host/0.9", "2 kelvanectl: host/0.9 is no address"), ("config host/0.1", "2 kelvanectl: there is "),
                ("call get_laser {}", "2 kelvanectl: get_laser: get_laser needs an address"),
                ("call reset", "2 kelvanectl: reset: there is no such operation"),
                ("call get_laser 1", "2 kelvanectl: the parameters are no JSON object: 1\n"),
                ("reset card", "2 kelvanectl: This resets the whole card"), ("--yes init", "0 ")):
            self.begins(self.direct(*line.split()), expected)
        self.assertEqual(self.direct("get", "module/0", "laserr")[:63],
                         "2 kelvanectl: there is no laserr at module/0; there is software")
        listed = self.direct("list").splitlines()
        self.assertEqual(listed[0], "0 ADDRESS   PRESENT  LASER  TRAFFIC TYPE  VERSION  ALARMS")
        self.assertIn("module/1  no       -      -             0.0      1", listed)
        self.assertIn("sirane/0  -        -      -             2.7      0", listed)
        every = json.loads(self.direct("alarms", "--all", "--json").splitlines()[0][2:])["alarms"]["module/0"]
        self.assertEqual((every["RX_NTWK_LOF"], every["RX_NTWK_OOF"]), (True, False))
        shown = self.direct("show", "module/1")
        self.assertIn("is_xpm2_present     no\n", shown)
        self.assertIn("xpm2_inventory_inf  - (ORDUNE_XPM2_ENODEV)\n", shown)

    def test_firmware_and_logs_and_all_of_it_in_one_file(self):
        self.start_card(verbs="eprom 1 text hello\nprogram-time 1\nrefuse get_subsystem_status_info always\n")
        image, folder, archive = (str(self.folder / name) for name in ("sirane.bin", "logs", "all.tar.gz"))
        pathlib.Path(image).write_bytes(b"x" * 5000)
        os.mkdir(folder)
        update = "firmware", "update", "sirane/1", "sirane", image
        self.begins(self.direct(*update), "2 kelvanectl: the image's digest is missing, the first 32 ")
        pathlib.Path(image + ".md5").write_text(hashlib.md5(b"x" * 5000).hexdigest())
        self.begins(self.direct(*update), "2 kelvanectl: This programs sirane/1 ")
        waits = "kelvanectl: {} takes a while, and without the service tells nothing meanwhile\n"
        self.begins(self.direct("--yes", *update[:2], "board", "5", image), "1 " + waits.format("download_software") +
                    "kelvanectl: download_software: KELVANE_RET_CODE_EINVAL (22): ")
        self.begins(self.direct("--yes", *update), "0 WHEN    RUNNING  DOWNLOADED\nbefore  2.7      2.7\nafter   2.8      2.8\n")
        self.assertIn("sirane/1  2.8      2.8         -", self.direct("firmware", "show"))
        pathlib.Path(image + ".md5").write_text("0" * 32)
        self.assertIn("ORDUNE_MD5_FAIL (2150629379): the image does not match its digest",
                      self.direct("--yes", "firmware", "download", "sirane", image))
        self.begins(self.direct("logs", "-o", folder), "0 LOG           BYTES\nordune.log    ")
        self.assertIn("hello", (self.folder / "logs/sirane_1.log").read_text())
        self.assertEqual(self.direct("support", archive), "0 ")
        self.assertEqual(os.stat(archive).st_mode & 0o777, 0o600)
        with tarfile.open(archive) as found:
            texts = {it.name.split("/", 1)[1]: found.extractfile(it).read() for it in found}
        self.assertEqual(sorted(texts), [
            "alarms.json", "config.json", "inventory.json", "logs/ord_prom.log", "logs/ordune.log", "logs/sirane_0.log",
            "logs/sirane_1.log", "logs/sirane_2.log", "memory_errors.json", "pm.json", "service_status.json",
            "subsystem_status.json", "versions.json"])
        self.assertEqual(json.loads(texts["versions.json"])["sirane/1"]["software_running"], {"major": 2, "minor": 8})
        status = json.loads(texts["subsystem_status.json"])["sirane/0"]["subsystem_status_info"]
        self.assertEqual(status["error"]["code"], 64173)
        limit = lambda size: resource.setrlimit(resource.RLIMIT_FSIZE, (size, resource.RLIM_INFINITY))
        limit(512)
        self.addCleanup(limit, resource.RLIM_INFINITY)
        other = str(self.folder / "other.tar.gz")
        self.begins(self.direct("support", other), f"1 kelvanectl: cannot write {other}: File too large")
        self.assertEqual(self.files("other"), [])

    def test_lines_of_a_batch(self):
        self.start_card()
        lines = self.folder / "lines"
        lines.write_text("# laser\n\nset 'module/0' laser \\on # yes\nget module/0 nothing\nget \"module/0\" laser\n")
        wrong = "kelvanectl: there is no nothing at module/0; "
        for options, status, last in (([], 2, ""), (["--keep-going"], 5, "laser  on")):
            said = self.direct("batch", lines, *options)
            self.assertTrue(said.startswith(f"{status} {last}") and wrong in said, said)
            self.assertIn(f"kelvanectl: that was line 4 of {lines}\n", said)
        for text in "get module/0 'laser", "watch", "top", "list --direct --socket x", "batch -", "nothing":
            said = self.direct("batch", "-", typed="set module/0 laser off\n" + text)
            self.assertTrue(said.startswith("2 kelvanectl: ") and said.endswith("that was line 2 of -\n"), said)
        self.assertEqual(self.direct("get", "module/0", "laser"), "0 laser  on\n")

    def test_completion_and_manual_come_from_the_tables(self):
        for shell in "bash", "zsh":
            script = self.folder / shell
            script.write_text(self.ctl("completion", shell)[2:])
        for words, expected in (
                ("", "list show get"), ("firmware ", "show download activate update"), ("firmware download hes", "hespera_golden hespera"),
                ("get module/0 laser_c", "laser_channel laser_channel_flex_grid"), ("set module/0 laser o", "off on"),
                ("--timeout 5 show bo", "board"), ("logs --ou", "--output"), ("reset ca", "card")):
            shown = subprocess.run(["bash", "-c", '. "$0"; COMP_WORDS=(kelvanectl "${@}"); COMP_CWORD=$#; _kelvanectl_words; '
                                    'echo "${COMPREPLY[*]}"', self.folder / "bash", *words.split(" ")],
                                   capture_output=True, text=True, check=True).stdout
            self.assertTrue(shown.startswith(expected), f"{words}: {shown}")
        page = self.ctl("manual")
        for text in (".B firmware update ADDRESS KIND FILE\n", ".B laser_channel channel tx_rx\n", "\\-\\-keep\\-going"):
            self.assertIn(text, page)

    def test_what_cannot_be_asked(self):
        for line, expected in (
                ("list", "3 kelvanectl: no service listens on "), ("nothing", "2 kelvanectl: "),
                ("--direct --timeout 1 list", "2 kelvanectl: --timeout is the service's"),
                ("list --record x", "2 kelvanectl: --record goes with --direct;"),
                ("--direct --record . list", "1 kelvanectl: cannot record in .: Is a directory"),
                ("--direct list", "3 kelvanectl: get_global_alarms at sirane/0: there is no UIO device called ")):
            self.begins(self.ctl(*line.split()), expected)
        self.begins(self.ctl("list", "--socket", "x" * 108), "2 kelvanectl: a socket")
        self.begins(self.ctl("--json", "list"), '3 {"code":-32003,"message":"no service listens on ')


class Service(Tool):
    """What it says to a service, and makes of its answers."""

    def serve(self, *answers):
        """Gives each answer to the next request, of which the list that it returns has what came. A pair has a
        descriptor; one that is None ends the connection."""
        path = self.host / "run/kelvane/kelvaned.sock"
        path.parent.mkdir(mode=0o700, parents=True, exist_ok=True)
        path.unlink(missing_ok=True)
        listening = socket.socket(socket.AF_UNIX)
        self.addCleanup(listening.close)
        listening.bind(str(path))
        listening.listen()
        asked = []

        def run():
            client, _ = listening.accept()
            with client:
                for give in answers:
                    line, files, _, _ = socket.recv_fds(client, 65536, 4)
                    if not line:
                        return
                    request = json.loads(line.split(b"\n")[0])
                    asked.append((request["method"], request["params"], [os.read(it, 99) for it in files]))
                    for it in files:
                        os.close(it)
                    answer, file = give if isinstance(give, tuple) else (give, None)
                    if answer is None:
                        return
                    told = b"".join(json.dumps({"jsonrpc": "2.0", **({} if "method" in it else {"id": request["id"]}), **it})
                                    .encode() + b"\n" for it in answer)
                    rights = [(socket.SOL_SOCKET, socket.SCM_RIGHTS, array.array("i", [file]))] if file else []
                    client.sendmsg([told[:1]], rights)
                    client.sendall(told[1:])

        thread = threading.Thread(target=run, daemon=True)
        thread.start()
        self.addCleanup(thread.join, 10)
        return asked

    def test_errors_are_told_with_what_to_do(self):
        def error(code, **data):
            return [{"error": {"code": code, "message": "WHY\x1b[2J", "data": {"operation": "get_laser", **data}}}]
        for answer, expected in (
                (error(110), "4 kelvanectl: get_laser: WHY\\x1b[2J (110): the firmware did not answer in time; "),
                (error(-32002, begun=False), "4 kelvanectl: get_laser: WHY\\x1b[2J (-32002): nothing was sent"),
                (error(-32002, begun=True), "4 kelvanectl: get_laser: WHY\\x1b[2J (-32002): it goes on"),
                (error(-32005), "3 kelvanectl: get_laser: WHY\\x1b[2J (-32005): try again"),
                (error(-32001), "1 kelvanectl: get_laser: WHY"), (error(-32602), "2 kelvanectl: get_laser: WHY"),
                (error(0x80300003), "1 kelvanectl: get_laser: WHY\\x1b[2J (2150629379): the image does not match"),
                ([{"result": 5}], "1 kelvanectl: the service's answer has no result"),
                ([{"error": 5}], "1 kelvanectl: the service's answer has no result"),
                ([{"result": {"laser": "\x1b]0;x\x07\u009b"}}], "0 laser  \\x1b]0;x\\x07\\x9b\n"),
                (None, "3 kelvanectl: the service ended, or sent us away")):
            asked = self.serve(answer)
            self.begins(self.ctl("get", "module/0", "laser", "--timeout", "2.5"), expected)
            self.assertEqual(asked, [("get_laser", {"address": "module/0", "timeout_ms": 2500}, [])])

    def test_events_are_watched_until_the_service_ends(self):
        raised = {"method": "event", "params": {"instance": "i", "seq": 1, "time": "NOW", "type": "alarm_raised",
                                                "address": "module/0", "data": {"alarm": "RX\x1b"}}}
        batch = {"method": "event", "params": {"seq": 2, "time": "LATER", "type": "batch", "data": {"number": 1, "record": {}}}}
        snapshot = {"result": {"instance": "i", "seq": 0, "state": "up", "alarms": {"module/1": ["RX_NTWK_LOF"]}}}
        ended = "kelvanectl: the service ended, or sent us away (-32003): "
        for options, expected in (
                ([], "3 instance  i\nseq       0\nstate     up\nalarms\n  module/1  RX_NTWK_LOF\n"
                     "NOW  alarm_raised  module/0  alarm=RX\\x1b\nLATER  batch  -  number=1 record={...}\n" + ended),
                (["--json"], "3 " + "".join(json.dumps(it, separators=(",", ":")) + "\n" for it in (
                    snapshot["result"], raised["params"], batch["params"])) + '{"code":-32003,')):
            asked = self.serve([snapshot, raised, batch])
            self.begins(self.ctl("watch", *options), expected)
            self.assertEqual(asked, [("subscribe", {}, [])])

    def test_files_go_and_come_with_the_lines(self):
        (self.folder / "image").write_text("the image")
        (self.folder / "image.md5").write_text("0123456789abcdefABCDEF0123456789  image\n")
        progress = {"method": "event", "params": {"type": "progress", "data": {"operation": "download_software", "bytes": 4}}}
        asked = self.serve([{"result": {}}], [progress, {"result": {}}])
        download = "--yes", "firmware", "download", "sirane", self.folder / "image", "--json"
        self.assertEqual(self.ctl(*download), "0 " + json.dumps(progress["params"], separators=(",", ":")) + "\n" +
                         json.dumps({"file": str(self.folder / "image"), "bytes": 9}, separators=(",", ":")) + "\n")
        self.assertEqual(asked[1], ("download_software", {"download_device": "sirane",
                                                          "digest": "0123456789abcdefABCDEF0123456789"}, [b"the image"]))
        log = os.open(self.folder / "image", os.O_RDONLY)
        self.addCleanup(os.close, log)
        full, empty = ([{"result": {"file": "../x", "bytes": bytes}}] for bytes in (9, 0))
        self.serve((full, log), empty, [{"error": {"code": 64170, "message": "NO"}}], empty, (full, log))
        self.assertEqual(self.ctl("logs", "-o", self.folder).split("kelvanectl")[0],
                         "1 LOG           BYTES\nordune.log    9\nsirane_0.log  0\nsirane_1.log  -\nsirane_2.log  0\n"
                         "ord_prom.log  9\n")
        self.assertEqual((self.folder / "ordune.log").read_text(), "the image")

    def test_a_terminal_is_asked_and_told_and_interrupted(self):
        image = self.folder / "image"
        image.write_text("x")
        (self.folder / "image.md5").write_text("0" * 32)
        progress = {"method": "event", "params": {"type": "progress", "data": {
            "operation": "download_software", "bytes": 1500000, "bytes_total": 3000000, "seconds": 1}}}
        for status, talk in (
                (1, (("Go on? [y/N] ", "n\n"), ("nothing was sent", ""))),
                (130, (("Go on? [y/N] ", "y\n"), (" 50 %  1.50 MB/s  1 s left", "\x03"), ("work goes on", "")))):
            if status == 130:
                self.serve([{"result": {}}], [progress], [])
            child, terminal = pty.fork()
            if child == 0:
                os.execve(CTL, [CTL, "firmware", "download", "sirane", image], {**os.environ, **self.environment})
            self.addCleanup(os.close, terminal)
            shown = ""
            for awaited, typed in talk:
                while awaited not in shown:
                    self.assertTrue(select.select([terminal], [], [], AT_ONCE)[0], shown)
                    shown += os.read(terminal, 4096).decode()
                os.write(terminal, typed.encode())
            self.assertEqual(os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]), status)


if __name__ == "__main__":
    unittest.main()
