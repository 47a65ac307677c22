#!/usr/bin/env python3
# What kelvanectl tells of recordings, which are made here word by word.
#
# usage: recording_test.py [CLASS.TEST]
import json
import pathlib
import random
import struct
import sys
import unittest
import zlib

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "whole"))
from programs_test import PROGRAMS, Bench, Program  # noqa: E402

TOOL = PROGRAMS / "kelvanectl/kelvanectl"
READ, WRITE, INTERRUPT, RUN, DIGEST, THREAD, END = range(1, 8)
SYNC = 0xFF00FF00
COMMAND, RESPONSE, ALARM, PM = 0x01D00000, 0x01D02000, 0x01D04000, 0x01D08000  # of sirane/1
STATUS, SOURCE, ENABLE = 0x24, 0x30, 0x20
LATER = 300  # ms, after which an interrupt and a message do not belong together


def sent(command, reference, *data, sync=SYNC):
    return [(WRITE, COMMAND + 0x100 + 4 * i, word)
            for i, word in enumerate((command, reference, len(data), 0, sync, 0, *data))] + [(WRITE, COMMAND, 4)]


TAKEN = [(READ, COMMAND + 4, 2), (READ, COMMAND + 4, 4), (WRITE, COMMAND, 2)]


def answered(command, reference, *data, rc=0, sync=SYNC, mailbox=RESPONSE, by=4):
    return [(READ, mailbox + 4, 2), (READ, mailbox + 4, 4),
            *((READ, mailbox + 0x100 + 4 * i, word)
              for i, word in enumerate((command, reference, len(data), 0, sync, rc, *data))),
            (WRITE, mailbox, by), (WRITE, mailbox, 2)]


def interrupt(source):
    return [(INTERRUPT, 0, 1), (READ, STATUS, 2), (READ, SOURCE, source), (WRITE, STATUS, 2)]


def recording(entries, ended=True):
    """A millisecond between two entries, or as many as a bare number says."""
    time, packed = 0, [struct.pack("<16sHBB", b"main", 1, THREAD, 0)]
    for entry in [*entries, *([(END, 0, 0)] if ended else [])]:
        if isinstance(entry, int):
            time += entry * 1000000
        elif entry[0] == DIGEST:
            packed.append(struct.pack("<16sHBB", bytes.fromhex(entry[1]), 1, DIGEST, 0))
        else:
            time += 1000000
            kind, offset, value, *flags = entry
            packed.append(struct.pack("<QIIHBB", time, offset, value, 1, kind, *(flags or [0])))
    head = struct.pack("<8sIIQII16s12x", b"KELVREC", 1, 64, 1700000000 * 10**9, 4711, 0x02000000, b"a program")
    blocks = [packed[i:i + 5] for i in range(0, len(packed), 5)]
    return head + struct.pack("<I", zlib.crc32(head)) + b"".join(
        struct.pack("<4sIII", b"KBLK", len(block), 0, zlib.crc32(b"".join(block))) + b"".join(block)
        for block in blocks)


class Recording(Bench):
    def tell(self, data, *options, subcommand="show", status=0):
        file = self.folder / "recording"
        file.write_bytes(data)
        tool = Program(self, TOOL, *options, "recording", subcommand, file)
        self.assertEqual(tool.wait(), status, tool.err)
        return tool

    def story(self, entries, *fields):
        lines = self.tell(recording(entries), "--json").out.splitlines()
        return [tuple(json.loads(line)[field] for field in fields) for line in lines]

    def test_what_went_wrong_stands_out(self):
        get, module = (3, 77, 0, 0xFF0100FF), "sirane/1"
        whole = [*sent(*get), *TAKEN, *answered(*get, 1)]
        silent = [(WRITE, 0x01C0C008, 5), (READ, 0x01C0C00C, 4), (WRITE, 0x01C0C008, 6)]
        for entries, expected in (
                (whole, [("command", "get_laser", None)]),
                ([*sent(*get), *TAKEN, *answered(*get, rc=0x8FFF0001)], [("command", "get_laser", "UNKNOWN")]),
                ([*sent(*get), *TAKEN, *answered(*get, rc=0x8010000F)], [("command", "get_laser", "ORDUNE_TIMEOUT")]),
                ([*sent(*get), (READ, COMMAND + 4, 16), (WRITE, COMMAND, 2)],
                 [("command", "get_laser", "the firmware refused the message")]),
                ([*sent(*get), (READ, COMMAND + 4, 2), (WRITE, COMMAND, 2)],
                 [("command", "get_laser", "the firmware did not take it")]),
                ([*sent(3, 76, 0, 0xFF0100FF), *TAKEN, *whole],
                 [("command", "get_laser", "no answer came"), ("command", "get_laser", None)]),
                ([*sent(2, 76, 0, 0xFF0100FF, sync=5), *TAKEN, *whole, *answered(2, 76, sync=5)],  # by callback
                 [("command", "set_laser", None), ("command", "get_laser", None)]),
                ([*sent(*get), *TAKEN], [("command", "get_laser", "no answer until the recording ends")]),
                ([*whole, *answered(*get)],
                 [("command", "get_laser", None), ("message", "get_laser", "nobody waited for this answer")]),
                ([*sent(*get), *TAKEN, *answered(4, 77)],
                 [("command", "get_laser", "no answer until the recording ends"),
                  ("message", "set_laser_channel", "nobody waited for this answer")]),
                ([*sent(*get), *TAKEN, *answered(*get, by=16)],
                 [("command", "get_laser", "the host dropped the message")]),
                ([*sent(24, 9, 0, 0xFF01FFFF, sync=13), *TAKEN, *answered(24, 9, 0, 0xFF01FFFF, sync=13, mailbox=PM)],
                 [("command", "enable_pm_notify", None), ("message", "enable_pm_notify", None)]),
                ([(WRITE, ENABLE, 1), *interrupt(17), *whole, LATER, (READ, 0, 0)], [("command", "get_laser", None)]),
                ([(WRITE, ENABLE, 1), *whole, *interrupt(17), LATER, (READ, 0, 0)], [("command", "get_laser", None)]),
                ([(WRITE, ENABLE, 1), *whole, LATER, *interrupt(17), LATER, (READ, 0, 0)],
                 [("command", "get_laser", "no interrupt came with this message"),
                  ("interrupt", None, "no message came with this interrupt")]),
                ([(WRITE, ENABLE, 1), *interrupt(18), *whole, *interrupt(17), LATER, (READ, 0, 0)],
                 [("interrupt", None, "no message came with this interrupt"), ("command", "get_laser", None)]),
                ([(WRITE, ENABLE, 1), *sent(*get), *TAKEN, (READ, STATUS, 1), (READ, 0x2C, 18), (READ, STATUS, 3), (WRITE, STATUS, 3),
                  *answered(*get), LATER, (READ, 0, 0)],
                 [("command", "get_laser", None),
                  ("interrupt", None, "the host cleared it without a look at whose it is"),
                  ("interrupt", None, "no message came with this interrupt")]),  # of sirane/0
                ([(INTERRUPT, 0, 19, 1)], [("interrupt", None, "none can come any more")]),
                ([*silent, (WRITE, 0x01C0C008, 7), (READ, 0x01C0C00C, 7)],
                 [("watch", None, "the firmware does not echo"), ("watch", None, None)]),
                ([(READ, 0x03FFFFFC, 0xFFFFFFFF, 1), (READ, 0, 0xFFFFFFFF, 1), (READ, 0x04000000, 0xFFFFFFFF, 1),
                  (READ, 0, 7)], [("card", None, "nothing answers"), ("card", None, None)]),
                ([(WRITE, COMMAND, 0), (WRITE, 0x01C0C000, 1024), (READ, 0x01C0C004, 1024)],
                 [("reset", None, None), ("dap", None, None), ("dap", None, None)])):
            self.assertEqual(self.story(entries, "kind", "command", "problem"), expected, module)

    def test_an_exchange_in_full(self):
        entries = [*sent(3, 77, 0, 0xFF0100FF), *TAKEN, *answered(3, 77, 0, 0xFF0100FF, 1)]
        self.assertEqual(
            self.story(entries, "seconds", "took_ms", "thread", "sirane", "mailbox", "ref_id", "address", "sent",
                       "answer", "rc"),
            [(0.001, 23.0, "main", "sirane/1", "command", 77, "module/2", [0, 0xFF0100FF], [0, 0xFF0100FF, 1], 0)])
        states = self.story(entries, "states")[0][0]
        self.assertEqual([(it["mailbox"], it["by"], it["state"]) for it in states],
                         [("command", "host", 4), ("command", "card", 4), ("response", "card", 4),
                          ("response", "host", 4)])
        told = self.tell(recording(entries)).out.splitlines()
        self.assertTrue(told[0].endswith("/recording: a program, process 4711, from 2023-11-14 22:13:20 UTC"), told[0])
        self.assertEqual(told[1:], [
            "    0.001000  sirane/1  command      get_laser                         module/2     23.000 ms  done",
            "              sent     00000000 ff0100ff",
            "              answered 00000000 ff0100ff 00000001",
            "              states   command: host 4 card 4; response: card 4 host 4",
            "1 happened, 0 went wrong; 0 words read and 0 written beside the mailboxes"])

    def test_what_is_asked_for(self):
        words = range(40)
        entries = [*sent(3, 1, 0, 0xFF0100FF), *TAKEN, *answered(3, 1, *words), 1000,
                   *sent(5, 2, 0, 0xFF0101FF), *TAKEN, *answered(5, 2),
                   (RUN, 0x02000040, 65536), (RUN, 0x02000040, 70000), (DIGEST, "00112233445566778899aabbccddeeff"),
                   (RUN, 0x02000040, 30)]
        for options, expected in (
                (["--command", "get_laser"], ["get_laser"]), (["--address", "module/3"], ["get_laser_channel"]),
                (["--from", "1"], ["get_laser_channel", None, None]), (["--from", "5"], [])):
            file = self.folder / "recording"
            file.write_bytes(recording(entries, ended=False))
            tool = Program(self, TOOL, "--json", "recording", "show", file, *options)
            self.assertEqual(tool.wait(), 0)
            self.assertEqual([json.loads(line)["command"] for line in tool.out.splitlines()], expected)
        told = self.tell(recording(entries, ended=False)).out
        self.assertIn("00000000 00000001 00000002 00000003", told)
        self.assertIn("0000000b and 28 more\n", told)
        self.assertIn("70000 words, MD5 00112233445566778899aabbccddeeff\n", told)
        self.assertIn("! the recording ends before the image (30 words or more)\n", told)
        self.assertTrue(told.endswith("; the program ended without ending its recording\n"))

    def test_a_timeline_has_a_track_a_mailbox_and_a_track_a_thread(self):
        entries = [(WRITE, ENABLE, 1), *sent(3, 1, 0, 0xFF0100FF), *TAKEN, *interrupt(17),
                   *answered(3, 1, rc=0x8010000F)]
        events = json.loads(self.tell(recording(entries), subcommand="timeline").out)["traceEvents"]
        named = {(it["pid"], it["tid"]): it["args"]["name"] for it in events if it["name"] == "thread_name"}
        slices = [(named[it["pid"], it["tid"]], it["name"], it["ph"], it["ts"], it.get("dur"), it["args"])
                  for it in events if it["ph"] != "M"]
        failed = {"address": "module/2", "problem": "ORDUNE_TIMEOUT"}
        self.assertEqual(slices, [
            ("sirane/1 command", "get_laser", "X", 2000.0, 24000.0, failed),
            ("main", "get_laser", "X", 2000.0, 24000.0, failed),
            ("card", "interrupt", "i", 14000.0, None, {"text": "number 1"}),
            ("main", "interrupt", "i", 14000.0, None, {"text": "number 1"})])

    def test_damaged_and_cut_files_are_read_as_far_as_they_go(self):
        whole = recording([*sent(3, 1, 0, 0xFF0100FF), *TAKEN, *answered(3, 1, 5), *sent(5, 2), *TAKEN, *answered(5, 2)])
        cut = self.tell(whole[:-30], "--json", status=1)
        self.assertIn(" bytes of the recording are damaged or cut off\n", cut.err)
        self.assertEqual(len(cut.out.splitlines()), 2)
        hole = bytearray(whole)
        hole[64 + 2 * 116 + 30] ^= 1  # in the third block
        self.assertIn("kelvanectl: 116 bytes of the recording are", self.tell(bytes(hole), "--json", status=1).err)
        lost = bytearray(whole)
        lost[64 + 8] = 9
        self.assertIn("kelvanectl: the recorder left out 9 entries", self.tell(bytes(lost)).err)
        dice = random.Random(7)
        for _ in range(30):
            damaged = bytearray(whole)
            for _ in range(dice.randrange(1, 20)):
                damaged[dice.randrange(64, len(damaged))] = dice.randrange(256)
            file = self.folder / "recording"
            file.write_bytes(damaged[:dice.randrange(64, len(damaged))])
            self.assertIn(Program(self, TOOL, "recording", "show", file).wait(), (0, 1))
        head = bytearray(whole)
        head[24] ^= 1
        later = bytearray(whole)
        later[8] = 2
        for data, said in ((b"", "is no recording"), (b"KELVREC\0", "is no recording"), (whole[1:], "is no recording"),
                           (head, "is damaged"), (later, "has version 2 of the layout, this program reads 1")):
            self.assertIn(said, self.tell(bytes(data), status=1).err)
        for path, said in ((self.folder, "is no recording"), ("/dev/null", "is no recording"),
                           (self.folder / "none", "No such file or directory")):
            tool = Program(self, TOOL, "recording", "show", path)
            self.assertEqual(tool.wait(), 1)
            self.assertIn(said, tool.err)


if __name__ == "__main__":
    unittest.main()
