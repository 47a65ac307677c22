#!/usr/bin/env python3
# The reader of trace rings, on files that are written here word by word.
#
# usage: trace_ring_reader_test.py [CLASS.TEST]
import fcntl
import os
import struct
import unittest

from programs_test import PROGRAMS, Bench, Program

READER = PROGRAMS / "tools/trace_ring_reader"
TEXT, TEXT_AND_NUMBER, TWO_TEXTS = 0xC04000000C8, 0xC05000000CB, 0x1C05000000CA
START = 1600000000 * 10**9
PROCESS = 5000000  # no process has that id
HEADER = {"magic": 0x474E49525F4D564B, "version": 1, "entry_bytes": 144, "message_bytes": 16, "entries": 2,
          "pid": PROCESS, "": 0, "start": START, "name": b"FORGED", "program": b"maker", "next": 2, "last": START,
          "capacity": 2, "reserved": 0, "dropped": 3}
SAY = "trace_ring_reader: "
HEAD = f"{SAY}process {PROCESS} (maker), dead, started 2020-09-13 12:26:40.000000\n"
LINE = "2020-09-13 12:26:40.000000 FORGED        Slot:00 [d:000|n:000|h:000] tid=9 "


def entry(message=b"text", sequence=2, time=0, tag=TEXT, slot=0, address=0, length=16, function=b"f"):
    return struct.pack("<QQQiIiI88s16s", sequence, START + time, tag, slot, address, 9, length, function, message)


class TraceRingReader(Bench):
    def forge(self, *entries, size=4096 + 2 * 144, file="0.FORGED", process=PROCESS, **words):
        header = struct.pack("<QIIIIiIQ32s16s40xQQ48xIIQ", *{**HEADER, **words}.values())
        path = self.folder / f"kelvane_trace.{process}.{file}"
        path.write_bytes((header.ljust(4096, b"\0") + b"".join(entries)).ljust(size, b"\0")[:size])
        return path

    def read(self, *words):
        # Status and what it says, on the error stream first.
        reader = Program(self, READER, *words)
        return f"{reader.wait()} {reader.err}{reader.out}"

    def test_merges_rings_by_time_and_says_what_it_cannot_do(self):
        self.assertEqual(self.read(), f"1 {SAY}no rings in {self.folder}\n")
        self.forge(entry(b"two", time=2000, slot=-1, address=0xFFFFFFFF), file="0.A", name=b"KELVANE_ERR__")
        self.forge(entry(b"one", time=1000, address=0xFF0102FF),
                   entry(b"three\0\0\0\xFD\xFF\xFF\xFF", 4, 3000, TEXT_AND_NUMBER, 12),
                   file="1.B", name=b"KELVANE_INFO_")
        self.forge(entry(b"of old"), process=4, pid=4, start=START - 1)
        self.forge(entry(b"older"), file="2.OF_THE_SAME_ID", start=START - 2)
        one = "2020-09-13 12:26:40.000001 KELVANE_INFO_ Slot:00 [d:001|n:002|h:255] tid=9 f: one\n"
        two = "2020-09-13 12:26:40.000002 KELVANE_ERR__ Slot:-1 [d:255|n:255|h:255] tid=9 f: two\n"
        three = "2020-09-13 12:26:40.000003 KELVANE_INFO_ Slot:12 [d:000|n:000|h:000] tid=9 f: three -3\n"
        for words, expected in (
                ("", f"0 {HEAD}{one}{two}{three}"), ("--last 2", f"0 {HEAD}{two}{three}"),
                (f"--level INFO {PROCESS}", f"0 {HEAD}{one}{three}"), ("-l ERROR -r KELVANE_INFO_ -n 0", f"0 {HEAD}"),
                ("--ring NOWHERE", f"1 {HEAD}{SAY}no ring NOWHERE of process {PROCESS}\n"),
                *((f"{option}1", f"1 {SAY}no rings of process 1 in {self.folder}\n") for option in ("", "--remove "))):
            self.assertEqual(self.read(*words.split()), expected, words)
        for words in ("x", "1 2", "-1x", "--last -1", "--last x", "-u x", "--level error", "--remove", "--odd", "99999999999"):
            self.assertRegex(self.read(*words.split()), r"(?s)^2 .*\nTry trace_ring_reader --help\n$", words)
        self.assertTrue(self.read("--help").startswith("0 Usage: "))
        (self.folder / "kelvane_trace.1.0.ODD").touch()
        listed = self.read("--list").splitlines()
        self.assertEqual(listed[0], f"0 {SAY}1 files in {self.folder} are no sound rings or not yours to read")
        self.assertRegex(listed[2], f"^{PROCESS} dead  maker +2020-09-13 12:26:40.000000 KELVANE_ERR__ +2 +2 +3$")
        self.assertEqual((len(listed), len(self.read("--list", 4).splitlines())), (6, 3))
        self.assertEqual(Program(self, "sh", "-c", '"$0" --list >/dev/full', READER).wait(), 1)
        self.assertEqual(self.read("--remove", PROCESS)[:2], "0 ")
        self.assertEqual(len(self.files("kelvane_trace.")), 2)

    def test_of_another_users_files_none_is_taken_for_the_processs_own(self):
        if os.geteuid() != 0:
            self.skipTest("NOT TESTED: only root can give a file to another user")
        self.forge(entry(b"own"))
        other = self.forge(entry(b"foreign"), file="1.FORGED", start=START + 1)
        os.chown(other, 12345, -1)
        with open(other, "rb") as alive:
            fcntl.flock(alive, fcntl.LOCK_EX)
            self.assertEqual(self.read(PROCESS), f"0 {HEAD}{LINE}f: own\n")
            self.assertIn(f"0 {SAY}those of user 12345 are left out; --user 12345 takes them\n", self.read("--list"))
            said = self.read("--user", 12345)
            self.assertTrue(said.startswith(f"0 {SAY}rings of user 12345\n{SAY}process {PROCESS} (maker), alive"), said)
            self.assertTrue(said.endswith(f"{LINE}f: foreign\n"), said)
            self.assertEqual(self.read("--remove", PROCESS), "0 ")
            self.assertEqual(self.files("kelvane_trace."), [other])
        self.assertEqual(self.read("--remove", PROCESS, "-u", 12345), f"0 {SAY}rings of user 12345\n")
        self.assertEqual(self.files("kelvane_trace."), [])

    def test_follows_until_the_process_ends(self):
        path = self.forge(entry(b"first"), entry(b"second", 4))
        with open(path, "r+b", buffering=0) as ring:
            fcntl.flock(ring, fcntl.LOCK_EX)  # as the owner does
            reader = Program(self, READER, "--follow")

            def write(following, *entries):
                for ticket, message, sequence in entries:
                    os.pwrite(ring.fileno(), entry(message, sequence), 4096 + ticket % 2 * 144)
                os.pwrite(ring.fileno(), struct.pack("<Q", following), 128)

            reader.wait_for("f: second\n")
            self.assertEqual(self.read("--remove", PROCESS), f"1 {SAY}process {PROCESS} is alive, its rings stay\n")
            write(4, (2, b"third", 6))  # the writer of ticket 3 died
            reader.wait_for("f: third\n")
            write(5, (4, b"fifth", 10))
            reader.wait_for("f: fifth\n")
            write(7, (6, b"seventh", 14), (5, b"", 15))  # overtaken by the next lap already
            reader.wait_for("f: seventh\n")
            write(101, (100, b"last", 202), (99, b"dropped", 15))
            fcntl.flock(ring, fcntl.LOCK_UN)
        self.assertEqual(reader.wait(), 0)
        self.assertEqual(reader.out, "".join(f"{LINE}f: {word}\n" for word in (
            "first", "second", "third", "fifth", "seventh", "last")))
        self.assertEqual(reader.err, f"{HEAD.replace('dead', 'alive')}"
                         f"{SAY}1 entries were overwritten before they could be read\n"
                         f"{SAY}92 entries were overwritten before they could be read\n"
                         f"{SAY}process {PROCESS} has ended\n")

    def test_forged_headers_are_no_rings(self):
        refused = (f"1 {SAY}1 files in {self.folder} are no sound rings or not yours to read\n"
                   f"{SAY}no rings in {self.folder}\n")
        for words in ({"magic": 1}, {"version": 2}, {"entries": 0xFFFFFFFF}, {"capacity": 0}, {"capacity": 3},
                      {"entries": 0, "capacity": 0}, {"entry_bytes": 160}, {"message_bytes": 0, "entry_bytes": 128},
                      {"message_bytes": 17, "entry_bytes": 145}, {"message_bytes": 65544, "entry_bytes": 65672},
                      {"name": b"n" * 32}, {"name": b"\033[2J"}, {"size": 207}):
            self.forge(**words)
            self.assertEqual(self.read(), refused, words)
        self.forge(size=4096 + 143, program=b"\a" * 16)
        self.assertEqual(self.read(), "0 " + HEAD.replace("maker", "?" * 15))

    def test_forged_entries_show_what_is_there(self):
        full, most = b"y" * 16, 0xFFFFFFFF
        for words, shown in (
                ({"length": 8}, "f: text"),
                ({"message": full, "length": most, "function": b"x" * 88}, f"{'x' * 88}: {'y' * 16}"),
                ({"message": full, "length": most, "tag": TWO_TEXTS}, f"f: {'y' * 16} "),  # the second one is beyond
                ({"message": full, "length": most, "tag": TEXT_AND_NUMBER}, f"f: {'y' * 16} "),
                ({"message": b"z", "length": 11, "tag": TEXT_AND_NUMBER}, "f: z "),  # a number cut short
                ({"message": b"z", "length": 0, "tag": TEXT_AND_NUMBER}, "f:  ")):
            self.forge(entry(**words))
            self.assertEqual(self.read(), f"0 {HEAD}{LINE}{shown}\n")

    def test_only_plain_files_of_the_right_name_are_listed(self):
        path = self.forge(entry())
        for name in ("-7.0.A", "7.A", "7.0.", "99999999999.0.A", "7.0.A.B", "7.4294967296.A", " 7.0.A"):
            (self.folder / f"kelvane_trace.{name}").write_text("would be counted")
        (self.folder / "kelvane_trace.7.1.LINK").symlink_to(path)
        (self.folder / "kelvane_trace.7.2.FOLDER").mkdir()
        os.mkfifo(self.folder / "kelvane_trace.7.3.FIFO")
        self.assertEqual(self.read(), f"0 {SAY}3 files in {self.folder} are no sound rings or not yours to read\n"
                         f"{HEAD}{LINE}f: text\n")
        self.environment["KELVANE_TRACE_DIR"] = f"{self.folder}/missing"
        self.assertEqual(self.read(), f"1 {SAY}{self.folder}/missing: No such file or directory\n")

    def test_a_start_keeps_the_living_and_the_one_that_wrote_last(self):
        kept = [self.forge(process=1, file="0.LAST"), self.forge(process=1, file="1.EARLIER_BUT_WITH_IT", last=2),
                self.forge(process=2, last=1), self.forge(process=1, file="2.LIVES_WITH_THE_SAME_ID", start=1)]
        gone = [self.forge(process=1, file="3.OLDER", start=1, last=3), self.forge(process=3, last=START - 1),
                self.forge(process=4, last=2**63), self.forge(process=5, size=0)]  # of the future, and never begun
        kept += [self.forge(process=6, size=0), self.forge(process="note")]  # one about to begin, and a foreign one
        os.utime(gone[-1], (1, 1))
        with open(kept[2], "rb") as alive, open(kept[3], "rb") as alive_too:
            fcntl.flock(alive, fcntl.LOCK_EX)
            fcntl.flock(alive_too, fcntl.LOCK_EX)
            self.start_card()
            client = self.start_client()
        pid = str(client.process.pid)
        left = [path for path in self.files("kelvane_trace.") if path.name.split(".")[1] != pid]
        self.assertEqual(sorted(left), sorted(kept))
        client.kill()  # its rings stay readable
        self.assertIn(f" tid={pid} kelvane_device_create: start", self.read("--level", "INFO", pid))


if __name__ == "__main__":
    unittest.main()
