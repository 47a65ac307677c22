#!/usr/bin/python3
# kelvanectl top in a terminal: what its screen shows, and how the terminal is left. Its Python is Debian's, which
# has the screen, not whichever comes first in the path.
#
# usage: top_test.py [CLASS.TEST]
import fcntl
import json
import os
import pathlib
import re
import select
import signal
import socket
import struct
import subprocess
import sys
import termios
import time
import unittest

import pyte

for folder in "whole", "service":
    sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / folder))
from programs_test import PROGRAMS, SECONDS_MOST, Bench, Program
from service_test import SERVICE, Service

CTL = PROGRAMS / "kelvanectl/kelvanectl"
ALTERNATE = {"TERM": "screen-256color"}  # has a second screen, and scrolls in ways that pyte does not know
COLOUR = re.compile(rb"\x1b\[[0-9;]*[34][0-9][;m]")


class Terminal:
    """A pseudo-terminal with a program in it, and what its screen shows."""

    def __init__(self, test, *words, **environment):
        self.test, self.said = test, b""
        self.own, self.slave = os.openpty()
        self.screen = pyte.Screen(80, 24)
        self.stream = pyte.ByteStream(self.screen)
        self.resize(80, 24)
        self.before = termios.tcgetattr(self.slave)
        self.process = subprocess.Popen(
            ["setpriv", "--pdeathsig", "KILL", "setsid", "--ctty", *map(str, words or [CTL, "top"])], stdin=self.slave,
            stdout=self.slave, stderr=self.slave, cwd=test.folder, env={**os.environ, **test.environment, "TERM": "linux",
                                                       "LC_ALL": "C.UTF-8", **environment})
        test.addCleanup(self.end)

    def end(self):
        self.process.kill()
        self.process.wait()
        for file in self.own, self.slave:
            if file >= 0:
                os.close(file)

    def resize(self, columns, rows):
        self.screen.resize(rows, columns)
        fcntl.ioctl(self.slave, termios.TIOCSWINSZ, struct.pack("HHHH", rows, columns, 0, 0))

    def type(self, text):
        os.write(self.own, text.encode())

    def line(self, begin):
        """The words of the line that begins so."""
        return next((it for it in self.screen.display if it.startswith(begin)), "")

    def wait_for(self, holds):
        """A text on the screen, or what a function finds there."""
        until = time.monotonic() + SECONDS_MOST
        while not (holds(self) if callable(holds) else any(holds in it for it in self.screen.display)):
            self.test.assertLess(time.monotonic(), until, "\n".join([str(holds), *self.screen.display]))
            if select.select([self.own], [], [], 0.1)[0]:
                said = os.read(self.own, 65536)
                self.said += said
                self.stream.feed(said)

    def wait(self):
        """Its status, or minus the signal, when it has left the terminal as it was."""
        self.wait_for(lambda _: self.process.poll() is not None)
        while select.select([self.own], [], [], 0)[0]:
            self.said += os.read(self.own, 65536)
        self.test.assertEqual(termios.tcgetattr(self.slave), self.before)
        for on, off in ((b"\x1b[?1049h", b"\x1b[?1049l"), (b"\x1b[?25l", b"\x1b[?25h")):
            self.test.assertGreaterEqual(self.said.rfind(off), self.said.rfind(on))
        return self.process.returncode


class Top(Bench):
    start, call = Service.start, Service.call

    def setUp(self):
        super().setUp()
        self.path = self.host / "run/kelvane/kelvaned.sock"

    def test_the_table_follows_the_card(self):
        caller = self.start(verbs="batch-interval 300\nunplug 3\n")
        top = Terminal(self)
        top.wait_for("card: up, firmware: alive")
        top.wait_for(lambda it: it.line("module/0").split()[1:3] == ["off", "-40.00"])
        top.wait_for(lambda it: it.line("module/1").split()[1:3] == ["absent", "-"])
        self.assertEqual(top.line("MODULE").split()[1:7], ["LASER", "OUTPUT", "INPUT", "OSNR", "PRE-FEC", "UNCORR"])
        self.assertEqual(caller.ask("set_laser", address="module/0", laser=True), {})
        self.verb("alarm", "raise", "1.n0", "RX_NTWK_LOF")
        top.wait_for(lambda it: re.match(r"module/0  on +-?0\.\d\d +-\d+\.\d\d +2\d\.\d  \d\.\de-04 +0 .*[▁-█].* RX_NTWK_LOF",
                                         it.line("module/0")))
        top.wait_for(lambda it: any(re.match(r"\d\d:\d\d:\d\d  module/0  alarm_raised +alarm=RX_NTWK_LOF ", line)
                                    for line in it.screen.display[14:]))
        figures = top.line("module/0").split()[2:6]
        top.wait_for(lambda it: it.line("module/0").split()[2:6] != figures)
        self.verb("alarm", "clear", "1.n0", "RX_NTWK_LOF")
        top.wait_for(lambda it: it.line("module/0").endswith("  none       "))
        top.type("h")
        top.wait_for("history of batches: optical_input_power_dbm from -")
        top.resize(120, 40)
        top.wait_for(lambda it: "celsius" in it.screen.display[4] and it.screen.display[39].startswith("q ends"))
        top.resize(60, 10)
        top.wait_for(lambda it: it.screen.display[0].startswith("top needs 80x24, this is 60x10;"))
        top.resize(80, 24)
        top.wait_for("card: up")
        self.hang()
        top.wait_for("firmware: not_alive")
        self.verb("resume")
        top.wait_for("firmware: alive")
        self.verb("batch-interval", "600000")  # what it shows afterwards it has asked for
        self.service.process.kill()
        top.wait_for("no service: tried again every second")
        Program(self, SERVICE)
        top.wait_for("card: up, firmware: alive")
        top.wait_for(lambda it: re.match(r"module/0  on +-?0\.\d\d", it.line("module/0")))
        top.type("q")
        self.assertEqual(top.wait(), 0)

    def test_whatever_ends_it_leaves_the_terminal_as_it_was(self):
        self.start()
        for end, status in (("q", 0), ("\x03", 130), ("\x1c", -signal.SIGQUIT), (signal.SIGTERM, 143),
                            (signal.SIGHUP, -signal.SIGHUP), (signal.SIGSEGV, -signal.SIGSEGV), (signal.SIGABRT, -6)):
            top = Terminal(self, **ALTERNATE)
            top.wait_for("card: up")
            self.assertIn(b"\x1b[?1049h", top.said)
            if isinstance(end, str):
                top.type(end)
            else:
                top.process.send_signal(end)
            self.assertEqual((end, top.wait()), (end, status))
        shell = Terminal(self, "bash", "-mc", '"$0" top; echo "stopped $?"; read; fg; echo "ended $?"', CTL,
                         **ALTERNATE)
        shell.wait_for("card: up")
        shell.type("\x1a")
        shell.wait_for("stopped 148")
        self.assertEqual(termios.tcgetattr(shell.slave), shell.before)
        self.assertIn(b"\x1b[?1049l", shell.said)
        shell.screen.reset()
        shell.resize(90, 30)
        shell.type("\n")
        shell.wait_for(lambda it: "card: up" in it.screen.display[0] and it.screen.display[29].startswith("q ends"))
        shell.type("q")
        shell.wait_for("ended 0")
        self.assertEqual(shell.wait(), 0)
        gone = Terminal(self)
        gone.wait_for("card: up")
        os.close(gone.own)
        gone.own = -1
        self.assertEqual(gone.process.wait(SECONDS_MOST), -signal.SIGHUP)

    def test_a_terminal_says_what_it_can(self):
        self.start(verbs="batch-interval 300\n")
        for environment, is_coloured, blocks in (({}, True, "[▁-█]"), ({"NO_COLOR": "1"}, False, "[▁-█]"),
                                                 ({"TERM": "vt100"}, False, "[▁-█]"), ({"LC_ALL": "C"}, True, "[_#]")):
            top = Terminal(self, **environment)
            top.wait_for("card: up")
            top.wait_for(lambda it: re.search(f"{blocks}+  none ", it.line("module/5")))
            top.type("q")
            self.assertEqual((top.wait(), bool(COLOUR.search(top.said))), (0, is_coloured), environment)
        for words, environment, said in (
                (["top", "--json"], {}, "top has no --json"), (["--direct", "top"], {}, "top needs the service"),
                (["top"], {"TERM": "dumb"}, 'TERM is "dumb", which is no'), (["top"], {"TERM": "?"}, 'TERM is "?", which')):
            top = Terminal(self, CTL, *words, **environment)
            top.wait_for("kelvanectl: " + said)
            self.assertEqual(top.wait(), 2)
        piped = Program(self, CTL, "top")
        self.assertEqual((piped.wait(), piped.err[:33]), (2, "kelvanectl: top needs a terminal;"))

    def test_what_a_service_says_is_not_trusted(self):
        self.path.parent.mkdir(mode=0o700, parents=True)
        listening = socket.socket(socket.AF_UNIX)
        self.addCleanup(listening.close)
        listening.bind(str(self.path))
        listening.listen()
        top = Terminal(self)

        def converse(count, events=(), **answers):
            """Answers that many requests of a new connection, those that have no result with an error."""
            with listening.accept()[0] as connection, connection.makefile() as lines:
                for _ in range(count):
                    asked = json.loads(lines.readline())
                    result = answers.get(asked["method"])
                    answer = {"error": {"code": 22, "message": "NO"}} if result is None else {"result": result}
                    connection.sendall(json.dumps({"id": asked["id"], **answer}).encode() + b"\n")
                for event in events:
                    connection.sendall(json.dumps({"method": "event", "params": event}).encode() + b"\n")
                yield

        older = {"subscribe": {"state": "up", "alarms": {"sirane/1": None}}, "is_xpm2_present": {"is_present": True},
                 "get_laser": {"laser": True}}
        newer = {"subscribe": {"state": "up", "modules": {"module/0": {"is_present": True, "laser": None},
                                                          "module/1": 7, "module/9": {}}, "alarms": []},
                 "service_status": {"firmware": "alive"}, "get_global_pm": {"xpm2_port": [{"optical_output_power_dbm": -1.5}, 7]}}
        odd = [{"type": kind, "address": address, "data": data} for kind, address, data in (
            ("alarm_raised", "module/2", {"alarm": "X\x1b[2J\u009b" + "y" * 99}), ("batch", "sirane/9", []), ("batch", 3, None),
            ("batch", "sirane/0", {"record": {"sirane_port": 5, "xpm2_port": [{"optical_output_power_dbm": 1e300}, []]}}),
            ("module", "module/1", {"is_present": "\x1b", "laser": [1]}), ("state", None, "x" * 5000), (None, {}, 1))]
        for count, events, answers, line in ((17, (), older, "module/5  on "), (5, (), newer, "module/0  -        -1.50 "),
                                             (5, odd, newer, "module/0  -       1e+300"), (1, (), {}, "NO  ")):
            for _ in converse(count, events, **answers):
                top.wait_for(lambda it: it.line(line))
        self.assertIn("module/2  -        -1.50       -     -        -       -              X\\x1b[2J\\x+", top.screen.display)
        self.assertIsNone(top.process.poll())
        top.type("q")
        self.assertEqual(top.wait(), 0)


if __name__ == "__main__":
    unittest.main()
