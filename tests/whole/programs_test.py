#!/usr/bin/env python3
# The real programs against each other: simulated cards, clients on them, and ./run, which is both.
#
# usage: programs_test.py [CLASS.TEST]
#
# BUILD is the build folder. KELVANE_KILLS says how often card and client are killed, 10 times unless set;
# KELVANE_KILL_SEED repeats the points of a run that failed.
import fcntl
import json
import os
import pathlib
import random
import resource
import select
import shutil
import signal
import socket
import subprocess
import tempfile
import time
import unittest

TOP = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ["BUILD"])
PROGRAMS = BUILD / "platforms/common/drivers/kelvane"
CARD = PROGRAMS / "card_simulator/card_simulator"
CLIENT = PROGRAMS / "mock_client/mock_client"
PROMPT = ">>> \n>>> Please enter input :"
SECONDS_MOST = 60  # ends a test that hangs; nothing waits that long
AT_ONCE = 10


class Program:
    """Its input is written as the test goes, its output collected as it comes. Its errors lie in a file: whatever it
    said there before the output that was seen is there to be seen, too."""

    def __init__(self, test, *words, **environment):
        self.test, self.out, self.found, self.errors = test, "", 0, tempfile.TemporaryFile()
        test.addCleanup(self.errors.close)
        pipe = subprocess.PIPE
        # Of a test that is stopped nothing stays.
        self.process = subprocess.Popen(["setpriv", "--pdeathsig", "KILL", *map(str, words)], stdin=pipe, stdout=pipe,
                                        stderr=self.errors, env={**os.environ, **test.environment, **environment})
        test.addCleanup(self.kill)

    @property
    def err(self):
        return os.pread(self.errors.fileno(), 1 << 20, 0).decode(errors="replace")

    def collect(self):
        """False once the output has ended."""
        stream = self.process.stdout
        self.test.assertTrue(select.select([stream], [], [], SECONDS_MOST)[0], f"hangs\n{self.out}\n{self.err}")
        text = os.read(stream.fileno(), 65536).decode(errors="replace")
        self.out += text
        return bool(text)

    def wait_for(self, text):
        """In the output, behind what earlier calls found."""
        while (at := self.out.find(text, self.found)) < 0:
            self.test.assertTrue(self.collect(), f"never said {text}\n{self.out}\n{self.err}")
        self.found = at + len(text)

    def write(self, text):
        self.process.stdin.write(text.encode())
        self.process.stdin.flush()

    def type(self, line):
        """One command, up to the next prompt; what both streams say to it, standard error first."""
        out, err = len(self.out), len(self.err)
        self.write(line + "\n")
        self.wait_for(PROMPT)
        return self.err[err:] + self.out[out:]

    def wait(self):
        """Its status, or minus the signal."""
        while self.collect():
            pass
        return self.process.wait(SECONDS_MOST)

    def kill(self):
        self.process.kill()
        self.process.wait()
        self.process.stdin.close()
        self.process.stdout.close()


class Bench(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        os.umask(0o022)  # a tree that others may write to is refused
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="kelvane_test_"))
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)  # a card that ends takes its files along
        self.host = self.folder / "the host"
        self.environment = {"KELVANE_HOST_ROOT": str(self.host), "KELVANE_TRACE_DIR": str(self.folder), "TZ": "UTC"}

    def start_card(self, *options, verbs=""):
        script = self.folder / "verbs"
        script.write_text(verbs)
        card = Program(self, CARD, "--quiet", "--host", self.host, "--ready-fd", 1, "--script", script, *options)
        card.wait_for(f"{self.host}\n")
        script.unlink()
        return card

    def start_client(self, *options):
        client = Program(self, CLIENT, *options)
        client.wait_for(PROMPT)
        return client

    def verb(self, *words):
        sent = Program(self, CARD, "--send", "--host", self.host, *words)
        self.assertEqual(sent.wait(), 0, sent.err)

    def service_status(self):
        with socket.socket(socket.AF_UNIX) as connection:
            connection.settimeout(SECONDS_MOST)
            connection.connect(str(self.host / "run/kelvane/kelvaned.sock"))
            connection.send(b'{"jsonrpc":"2.0","id":1,"method":"service_status"}\n')
            return json.loads(connection.recv(1 << 16))["result"]

    def hang(self):
        """The firmware falls silent, and the service's watch has noticed. Amid a message that takes it 300 seconds:
        the firmware then goes on, and falls silent once more."""
        for _ in range(10):
            self.verb("hang")
            until = time.monotonic() + 8
            while time.monotonic() < until:
                if self.service_status()["firmware"] == "not_alive":
                    return
                time.sleep(0.05)
            self.verb("resume")
        self.fail("the watch notices nothing")

    def files(self, begin):
        """Below the test's folder."""
        return [path for path in self.folder.rglob("*") if path.name.startswith(begin) and not path.is_dir()]


class Card(Bench):
    """The simulator's command line, its tree, its verbs from outside, and how it ends."""

    def run_card(self, *options, **environment):
        """Its status and what it says on both streams, in one text."""
        card = Program(self, CARD, *options, **environment)
        return f"{card.wait()} {card.out}{card.err}"

    def send(self, *verb):
        return self.run_card("--send", "--host", self.host, *verb)

    def test_command_lines_and_verbs_are_answered(self):
        running = self.start_card("--name", "CARD", verbs="# a bench\n\nset-register 1 9010 77\nunplug 2\n")
        self.assertEqual((self.host / "sys/class/uio/uio0/name").read_text(), "CARD\n")
        (self.folder / "bad").write_text("unplug 2\nunplug 2\n")
        (self.folder / "memory").touch()
        memory, other = self.folder / "memory", ("--quiet", "--host", self.folder)
        for options, expected in (
                (["show"], "nothing is expected but options; --help tells more\n"),
                (["--send"], "a verb is missing; --help lists them\n"),
                (["--send", "show"], "--send needs --host\n"),
                (["--uio-device", "x"], "--uio-device and --interrupt-file go together\n"),
                (["--host", self.host], f"a card runs on {self.host} already, process {running.process.pid}\n"),
                ([*other, "--script", self.folder / "bad"], f"{self.folder}/bad, line 2: unplug: there is no module"),
                ([*other, "--uio-device", "/none", "--interrupt-file", memory], "cannot open "),
                ([*other, "--interrupt-file", memory, "--uio-device", memory], "cannot map a BAR"),
                *(([option, *value], f"bad option {option}; --help tells more\n") for option, *value in (
                    ("--firmware", "5"), ("--firmware", "65536.1"), ("--seed", "x"), ("--client-type", "sonet"),
                    ("--name", "n" * 64), ("--ready-fd", "-1"), ("--link", ""), ("--host",)))):
            self.assertTrue(self.run_card(*options).startswith("1 card_simulator: " + expected), options)
        self.assertIn("0 card_simulator [OPTION...]  ", self.run_card("--help"))
        for verb, expected in ((["peek", "1f04000"], "0 0x55667788\n"), (["plug", "3"], "1 plug: there is a module "),
                               (["\033[2J\x7f"], "1 there is no verb \\x1b[2J\\x7f; help lists them\n"),
                               (["x" * 2000], "1 a line is text of up to 1024 characters\n"),
                               (["show"], "0 firmware 5.22, up"), (["remove"], "0 "), (["insert"], "0 ")):
            self.assertTrue(self.send(*verb).startswith(expected), verb)
        self.assertIn("1 card: no card runs on", self.run_card("--send", "--host", self.folder, "show"))

    def test_ends_on_a_signal_or_a_verb_and_takes_its_files_along(self):
        link = self.folder / "link"
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP, None):
            card = self.start_card("--link", link)
            self.assertEqual(os.readlink(link), str(self.host))
            (self.host / "root/kelvane.log").write_text("kept")
            if number:
                card.process.send_signal(number)
            else:
                self.assertEqual(self.send("quit"), "0 ")
            self.assertEqual(card.wait(), 0)
            self.assertFalse(os.path.lexists(link))
            self.assertEqual(self.files(""), [self.host / "root/kelvane.log"])
        shutil.rmtree(self.host)
        for kept in ([], [self.host, self.host / "root"]):  # what was there before the first of two cards
            for path in kept:
                path.mkdir()
            self.start_card().kill()
            card = self.start_card()
            card.process.terminate()
            self.assertEqual((card.wait(), sorted(self.folder.rglob("*"))), (0, kept))

    def test_a_tree_is_the_users_own(self):
        os.umask(0)
        self.start_card()
        for path, mode in (("", 0o700), ("sys/class/uio", 0o700), ("control", 0o600), ("dev/uio0", 0o600),
                           ("card.lock", 0o600)):
            self.assertEqual((self.host / path).stat().st_mode & 0o777, mode)
        tree, link = self.folder / "tree", self.folder / "link"
        tree.mkdir(0o700)
        link.symlink_to(tree)
        (tree / "root").symlink_to("/root")
        for options, said in ((("--quiet", "--host", f"{link}/"), f"card_simulator: {link} is a symbolic link"),
                              (("--quiet", "--host", tree), f"card_simulator: {tree}/root is a symbolic link"),
                              (("--send", "--host", link, "show"), f"card: {link} is a symbolic link")):
            self.assertEqual(self.run_card(*options), f"1 {said}: a card's tree has to be the user's own\n")

    def test_a_stopped_card_holds_nobody_for_ever(self):
        card = self.start_card()
        card.process.send_signal(signal.SIGSTOP)
        os.waitid(os.P_PID, card.process.pid, os.WSTOPPED | os.WNOWAIT)
        for name in ("control", "dev/uio0"):  # fills the queue of those who wait to be let in
            with self.assertRaises(BlockingIOError):
                while True:
                    waiting = socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET | socket.SOCK_NONBLOCK)
                    self.addCleanup(waiting.close)
                    waiting.connect(str(self.host / name))
        client = Program(self, CLIENT)
        self.assertEqual(self.send("show"), f"1 card: the card on {self.host} does not answer\n")
        self.assertEqual(client.wait(), 1)
        self.assertIn(f"Cannot open {self.host}/dev/uio0: Connection timed out\n", client.err)

    def test_at_its_limit_of_descriptors_it_serves_whom_it_has(self):
        card = self.start_card()
        proc = pathlib.Path(f"/proc/{card.process.pid}")
        connections = []

        def connect():
            connections.append(socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET))
            self.addCleanup(connections[-1].close)
            connections[-1].settimeout(SECONDS_MOST)
            connections[-1].connect(str(self.host / "control"))
            connections[-1].send(b"show")

        connect()
        self.assertTrue(connections[0].recv(65536).startswith(b"0firmware"))
        used = [int(path.name) for path in (proc / "fd").iterdir()]
        resource.prlimit(card.process.pid, resource.RLIMIT_NOFILE, (max(used) + 1,) * 2)
        for _ in range(max(used) + 2 - len(used)):  # one more than there is room for
            connect()
        while not card.err:
            self.assertIsNone(card.process.poll())
        end = time.monotonic() + AT_ONCE
        while not (proc / "syscall").read_text().startswith("7 "):  # it sleeps in poll
            self.assertLess(time.monotonic(), end)
        connections[0].close()
        self.assertTrue(connections[-1].recv(65536).startswith(b"0firmware"))
        self.assertEqual(card.err, "card_simulator: whoever connects now has to wait: Too many open files\n")

    def test_takes_over_and_away_what_dead_cards_left(self):
        self.start_card().kill()
        self.start_card("--firmware", "6.1")
        self.assertEqual(self.send("peek", "1f04004"), "0 0x00060001\n")
        self.host = self.host / ("d" * 120)  # deeper than a socket's address holds
        self.start_card("--client-type", "otn")
        self.assertEqual(self.send("alarm", "raise", "1.h0", "TX_HOST_LOL_0"), "0 ")
        self.environment["KELVANE_HOST_ROOT"] = str(self.host)
        self.start_client()
        roots = []  # where nobody chose one
        for _ in range(3):
            card = Program(self, CARD, "--quiet", "--ready-fd", 1, TMPDIR=str(self.folder))
            card.wait_for("\n")
            self.assertTrue(card.out.startswith(f"{self.folder}/kelvane_card."))
            roots.append(pathlib.Path(card.out.strip()))
            if len(roots) == 2:
                (roots[1] / "root/kelvane.log").write_text("kept")
            card.kill()
        self.assertFalse(roots[0].exists())
        self.assertEqual([path.name for path in roots[1].rglob("*")], ["root", "kelvane.log"])


class Session(Bench):
    """An operator's, from the first line to the last, on cards with firmware of different ages."""

    def test_of_every_firmware(self):
        """The last one takes 1.5 s for each sirane to come up."""
        for version, shown, verdict in (
                ("5.22", "5.16", ">>> SDK And Firmware are compatible\n"),
                ("5.21", "5.15", ">>> Warning: SDK not aligned update not needed\n"),
                ("5.23", "5.17", ""),
                ("2.6", "2.6", ">>> Incompatible: SDK not aligned update needed\n")):
            with self.subTest(version):
                card = self.start_card("--firmware", version)
                given = {name: (TOP / "tests/whole/session" / name).read_text() for name in ("input", "out", "err")}
                client = Program(self, CLIENT)
                client.write(given["input"])
                self.assertEqual(client.wait(), 0)
                self.assertEqual(client.out, given["out"].replace("{firmware}", shown).replace("{verdict}\n", verdict))
                self.assertEqual(client.err, given["err"])
                card.kill()

    def test_waits_for_completions_of_a_device_without_ports_that_nobody_asked_for(self):
        self.start_card()
        client = self.start_client("-a", "x")
        client.write("init 0\nquit\n")
        doing = pathlib.Path(f"/proc/{client.process.pid}/syscall")
        while not doing.read_text().startswith("202 "):  # a futex, on x86-64
            self.assertIsNone(client.process.poll())


    def test_has_the_card_for_itself(self):
        self.start_card()
        first = self.start_client()
        second = Program(self, CLIENT)
        self.assertEqual(second.wait(), 1)
        self.assertEqual(second.err, f">>> ERROR <<<Process {first.process.pid} has the card of {self.host}/dev/uio0: "
                                     "one at a time\n>>> ERROR <<<Failed to initialize PCIe interaction\n")
        first.kill()
        self.start_client()


class Upgrade(Bench):
    """From a file into the card's memory, to its firmware, to the version that runs, and into the log."""

    def test_the_story_of_one(self):
        self.start_card()
        client = self.start_client()
        image = self.folder / "image.bin"  # the largest: bytes 1, 2, 3 ... 250, 0, 1, 2 and so on
        image.write_bytes(((bytes(range(1, 251)) + b"\0") * 133679)[:33553403])
        pathlib.Path(f"{image}.md5").write_text("8b73650e8b75065157236f6e77d9104a  image.bin\n")
        self.assertIn(">>> Download completed \n", client.type(f"upgrade 1 {image}"))
        self.assertIn("Activate failed for device 1 return code:(-2144337919) retry_count = 2\n",
                      client.type(f"activate 1 {image}"))
        self.assertIn("Running Firmware Version for device (1): (2.8)", client.type("version 1"))
        self.assertIn(">>> ARM log traces saved to /root/ordune.log\n", client.type("dump_arm_logs"))
        self.assertRegex((self.host / "root/ordune.log").read_text(), (
            "(?s)firmware started.*download begun, device 1, kind 2, bytes 33553403.*digest is right.*image kept, "
            "device 1, kind 2, version 2.8.*programming begun, device 1.*image activated, device 1, version 2.8.*"
            "device reset"))


class Killed(Bench):
    """At random points: nothing hangs, the next one starts as if nothing had been, nothing is left behind that the
    next one does not take away."""
    LINES = ("read 1 9000", "write 4 9010 77", "version 0", "get 4", "pm 7", "dump_status_info", "sirane_reset 7",
             "init_sirane 1", "alarms 1", "read 8 1")
    LINE_S = 0.02  # about as long as one of them takes

    def points(self):
        seed = int(os.environ.get("KELVANE_KILL_SEED", random.randrange(1 << 32)))
        self.random = random.Random(seed)
        for point in range(int(os.environ.get("KELVANE_KILLS", 10))):
            with self.subTest(f"KELVANE_KILL_SEED={seed}, point {point}"):
                yield point

    def work_up_to_a_random_point(self, client):
        lines = self.random.choices(self.LINES, k=12)
        client.write("\n".join(lines) + "\n")
        for _ in range(self.random.randrange(len(lines))):
            client.wait_for(PROMPT)
        time.sleep(self.random.random() * self.LINE_S)

    def assert_an_orderly_end(self, card):
        client = self.start_client()
        self.assertIn("passed\n", client.type("read 1 9000"))
        client.write("quit\n")
        self.assertEqual(client.wait(), 0)
        self.assertEqual(Program(self, CARD, "--send", "--host", self.host, "quit").wait(), 0)
        self.assertEqual(card.wait(), 0)
        self.assertEqual(self.files(""), self.files("kelvane_trace."))

    def test_a_card_is_a_removed_one(self):
        for _ in self.points():
            card, client = self.start_card(), self.start_client()
            self.work_up_to_a_random_point(client)
            card.kill()
            start = time.monotonic()
            client.write("read 1 9000\nsirane_reset 7\nlaser_tout 2\n")
            self.assertEqual(client.wait(), 171)  # 64171, as a process status holds it
            self.assertLess(time.monotonic() - start, AT_ONCE)  # not 300 s each
            for said in ("failed\n>>> ERROR <<<Failed to read register 00009000  \n"
                         ">>> ERROR <<<Failed to read register \n",
                         ">>> ERROR <<<Failed to reset the sirane 7, rc=0xfaab\n",
                         "Diag command (laser timeout err) failed\n - rc = 64171\n"):
                self.assertIn(said, client.err)
        self.assert_an_orderly_end(self.start_card())

    def test_a_client_makes_room_for_the_next_one(self):
        card = self.start_card(verbs="laser-time 50\n")
        descriptors = pathlib.Path(f"/proc/{card.process.pid}/fd")
        while (descriptors / "1").exists():  # closed once it is ready
            time.sleep(0.001)
        without_client = len(list(descriptors.iterdir()))
        for point in self.points():
            start = time.monotonic()
            client = self.start_client(*(("-a", "1") if point % 2 else ()))
            self.assertLess(time.monotonic() - start, AT_ONCE)
            self.assertIn("passed\n", client.type("read 1 9000"))
            if point % 2:  # with requests under way that the card answers later, to the next one if it could
                client.write("init 4\n")
                time.sleep(self.random.random() * 4 * self.LINE_S)
            else:
                self.work_up_to_a_random_point(client)
            self.assertNotIn("failed", client.err)
            client.kill()
            killed = time.monotonic()
            while len(list(descriptors.iterdir())) != without_client:  # its socket
                self.assertLess(time.monotonic() - killed, AT_ONCE)
                time.sleep(0.001)
        self.assert_an_orderly_end(card)


class Run(Bench):
    """./run, the front door: it is the client, or the service, and the card is its."""

    def start(self, *options):
        os.chdir("/")  # it works from anywhere
        self.addCleanup(self.assert_that_the_card_ends)
        return Program(self, "setsid", TOP / "run", *options, KELVANE_BUILD=str(BUILD))

    def assert_that_the_card_ends(self):
        lock = self.host / "card.lock"  # which it holds as long as it lives
        if lock.exists():
            with open(lock, encoding="ascii") as file:
                fcntl.flock(file, fcntl.LOCK_EX)

    def test_is_the_client_on_the_card_that_is_asked_for(self):
        door = self.start("--firmware", "5.21", "--host", self.host, "--log")
        door.write("init 1\nread 1 9010\nquit\n")
        self.assertEqual(door.wait(), 0)
        self.assertIn(">>> Running Firmware Version for device (0): (5.15)\n", door.out)
        self.assertTrue(door.out.endswith(
            ">>> Value of register 0x00009010 on device 0xff00ffff is 0x00000001  \n" + PROMPT), door.out)
        self.assertTrue(door.err.startswith(
            f"run: the host's tree is {self.host}; its card takes ./card --host '{self.host}' VERB\n"
            ">>> DEBUG <<< Initialzing PCIe : Done\n"), door.err)
        self.assert_that_the_card_ends()
        self.assertGreater((self.host / "root/kelvane.log").stat().st_size, 1000)
        self.assertFalse((self.host / "dev").exists())

    def test_has_the_clients_status_and_tells_its_own_failures_apart(self):
        verbs = self.folder / "verbs"
        verbs.write_text("error diag_command 80100015 always\n")
        refused = self.start(f"--script={verbs}", f"--host={self.host}", "--", "-a", "x")
        refused.write("laser_tout 1\n")
        self.assertEqual(refused.wait(), 0x15)
        bad_card = self.start("--firmware", "new", "--host", self.host)
        self.assertEqual((bad_card.wait(), bad_card.out), (125, ""))
        for service, program in (((), "mock_client"), (("--service",), "kelvaned")):
            bad_option = self.start(*service, "-w", "1")
            self.assertEqual(bad_option.wait(), 125)
            self.assertEqual(bad_option.err, "run: unknown option -w; --help tells more, and options of "
                                             f"{program} go after --\n")
        self.assertEqual(self.start("--service", f"--host={self.host}", "--", "--socket").wait(), 2)
        self.assertEqual(self.start("--http", "0").wait(), 125)

    def test_is_the_service_that_ctl_reaches_until_an_interrupt(self):
        door = self.start("--service", "--http", "0", "--host", self.host)
        while "kelvaned: up: " not in door.err:
            self.assertIsNone(door.process.poll(), door.err)
            time.sleep(0.01)
        self.assertEqual(self.service_status()["process"], door.process.pid)
        self.assertIn("kelvaned: metrics at http://127.0.0.1:", door.err)
        tool = self.folder / "platforms/common/drivers/kelvane/kelvanectl/kelvanectl"  # of a build with our host
        tool.parent.mkdir(parents=True)
        tool.symlink_to(PROGRAMS / "kelvanectl/kelvanectl")
        (self.folder / "host").symlink_to(self.host)
        ctl = Program(self, "env", "--unset=KELVANE_HOST_ROOT", TOP / "ctl", "--direct", "call", "get_laser",
                      '{"address":"module/0"}', KELVANE_BUILD=str(self.folder))
        self.assertEqual((ctl.wait(), ctl.out), (3, ""))
        self.assertIn(f"process {door.process.pid} has the card: one at a time", ctl.err)
        os.killpg(door.process.pid, signal.SIGINT)
        self.assertEqual(door.wait(), 0)
        self.assertIn("kelvaned: stopped", door.err.splitlines())  # the card may have its say after it
        self.assert_that_the_card_ends()
        self.assertEqual(list(self.host.rglob("*")), [])

    def test_takes_the_card_along_when_it_is_killed(self):
        door = self.start("--host", self.host)
        door.wait_for(PROMPT)
        door.kill()
        self.assert_that_the_card_ends()


if __name__ == "__main__":
    unittest.main()
