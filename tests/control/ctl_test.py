#!/usr/bin/env python3
# kelvanectl as people and shells use it: on a card of its own, and through a service that is played here.
#
# usage: ctl_test.py [CLASS.TEST]
import array
import json
import os
import pathlib
import socket
import sys
import threading
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "whole"))
from programs_test import PROGRAMS, Bench, Program

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
            self.assertTrue(self.direct(*line.split()).startswith(expected), f"{line}: {self.direct(*line.split())}")
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

    def test_what_cannot_be_asked(self):
        for line, expected in (
                ("list", "3 kelvanectl: get_software_running: no service listens on "), ("nothing", "2 kelvanectl: "),
                ("--direct --timeout 1 list", "2 kelvanectl: --timeout is the service's"),
                ("--direct list", "3 kelvanectl: get_software_running at board: there is no UIO device called ")):
            self.assertTrue(self.ctl(*line.split()).startswith(expected), self.ctl(*line.split()))
        self.assertTrue(self.ctl("list", "--socket", "x" * 108).startswith("2 kelvanectl: get_software_running: a socket"))
        self.assertTrue(self.ctl("--json", "list").startswith('3 {"code":-32003,"message":"no service listens on '))


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
                (None, "3 kelvanectl: get_laser: the service ended before it answered")):
            asked = self.serve(answer)
            self.assertTrue((said := self.ctl("get", "module/0", "laser", "--timeout", "2.5")).startswith(expected), said)
            self.assertEqual(asked, [("get_laser", {"address": "module/0", "timeout_ms": 2500}, [])])


if __name__ == "__main__":
    unittest.main()
