#!/usr/bin/env python3
# The library as those meet it who have nothing but what was installed, in a folder that was moved since.
#
# usage: installed_test.py [CLASS.TEST]; BUILD, CMAKE, CC, CXX, CFLAGS and FORTIFIED come in the environment.
import os
import pathlib
import re
import shlex
import shutil
import signal
import subprocess
import sys
import unittest

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent))
from programs_test import Bench, Program  # pylint: disable=wrong-import-position

STRICT = ("-Wall", "-Wextra", "-Wpedantic", "-Wconversion", "-Werror")


class Installed(Bench):
    def setUp(self):
        super().setUp()
        self.run_program(os.environ["CMAKE"], "--install", os.environ["BUILD"], "--prefix", self.folder / "first")
        self.prefix = (self.folder / "first").rename(self.folder / "a prefix")
        self.libraries = next(self.prefix.rglob("libkelvane_platform.a")).parent
        self.environment["PKG_CONFIG_PATH"] = str(self.libraries / "pkgconfig")

    def run_program(self, *words, **environment):
        """What it says on standard output; its status must be 0."""
        done = subprocess.run([str(word) for word in words], env={**os.environ, **self.environment, **environment},
                              capture_output=True, text=True, check=False)
        self.assertEqual(done.returncode, 0, f"{words}\n{done.stdout}{done.stderr}")
        return done.stdout

    def test_every_header_stands_alone(self):
        headers = sorted(self.prefix.glob("include/**/*.h"), key=lambda header: header.name)
        self.assertEqual([header.name for header in headers], [
            "host_tree.h", "kelvane.h", "kelvane_address.h", "kelvane_alarm_names.h", "kelvane_arm_errors.h",
            "kelvane_callbacks.h", "kelvane_records.h", "kelvane_reserved.h", "mmio.h", "uio.h"])
        for header in headers:
            for compiler, language in (("CC", ("-std=c11", "-xc")), ("CXX", ("-std=c++20", "-xc++"))):
                self.run_program(os.environ[compiler], *language, *STRICT, "-fsyntax-only",
                                 f"-I{self.prefix}/include/kelvane", header)

    def test_the_shared_library_gives_the_operations_and_nothing_else(self):
        library = self.libraries / "libkelvane.so"
        said = self.run_program("readelf", "--dynamic", library)
        self.assertIn("Library soname: [libkelvane.so.1]\n", said)
        self.assertRegex(said, "Flags: .*NODELETE")  # its threads outlive a dlclose
        names = re.findall(r" [^A] (\w+)\b", self.run_program("nm", "--dynamic", "--defined-only", library))
        self.assertEqual(names, (HERE / "public_operations.txt").read_text().split())

    def test_whatever_is_installed_to_run_is_hardened(self):
        library = self.libraries / "libkelvane.so"
        for file in (library, *self.prefix.glob("*bin/*")):
            said = self.run_program("readelf", "--wide", "--file-header", "--program-headers", "--dynamic",
                                    "--dyn-syms", file)
            for sign in (r"Type: +DYN ", "GNU_RELRO", "Flags: NOW", "__stack_chk_fail",
                         *(["__[a-z]+_chk@"] if os.environ["FORTIFIED"] else []),
                         *([" PIE\n"] if file != library else [])):
                self.assertRegex(said, sign, file)

    def test_the_unit_starts_the_service_where_it_was_installed(self):
        self.assertIn(f'\nExecStart="{self.folder}/first/sbin/kelvaned" $KELVANED_OPTIONS\n',
                      (self.prefix / "lib/systemd/system/kelvaned.service").read_text())

    def test_an_application_is_built_and_runs(self):
        log = self.host / "root/kelvane.log"
        log.parent.mkdir(parents=True)
        log.touch()
        said = ("\tfile platforms/common/drivers/kelvane/lib/src/kelvane_trace_defs line 100 initTrace fopen file exists "
                "1.43 none ORDUNE_MBOX_BUSY 22 -1 ff02ff01\n")
        self.run_program(os.environ["CMAKE"], "-S", HERE / "consumer", "-B", self.folder / "build",
                         f"-DCMAKE_PREFIX_PATH={self.prefix}")
        self.run_program(os.environ["CMAKE"], "--build", self.folder / "build")
        for name in ("with_kelvane", "with_kelvane_static"):
            self.assertEqual(self.run_program(self.folder / "build" / name), said)
        for linked in ((), ("--static",)):
            flags = self.run_program("pkg-config", "--cflags", "--libs", *linked, "kelvane", "kelvane-platform")
            self.run_program(os.environ["CC"], "-std=c11", *STRICT, *os.environ["CFLAGS"].split(),
                             HERE / "consumer/consumer.c", "-o", self.folder / "consumer", *shlex.split(flags))
            self.assertEqual(self.run_program(self.folder / "consumer", LD_LIBRARY_PATH=str(self.libraries)), said)
            for library in self.libraries.glob("libkelvane.so*"):
                library.unlink()
        self.assertEqual(re.findall("(KELVANE_[A-Z_]+) .* main: (.*)", self.run_program(
            self.prefix / "bin/trace_ring_reader")),
            [("KELVANE_ZYNQ_", "ring 0"), ("KELVANE_SRN__", "ring 1"), ("KELVANE_PROM_", "ring 2")])
        self.assertEqual(log.read_text().count("INFO  Slot:00 main:file \n"), 4)

    def card(self, *verb):
        return self.run_program(self.prefix / "bin/card_simulator", "--send", "--host", self.host, *verb)

    def wait_for_line(self, pattern):
        """The next one that matches, after the time."""
        line = ""
        while not re.match(r"[0-9:]{8}\.[0-9]{3}  " + pattern, line):
            self.monitor.wait_for("\n")
            line = self.monitor.out[:self.monitor.found - 1].rpartition("\n")[2]

    def subscriptions(self):
        """Of all siranes, with the references of their requests."""
        return [one for device in ("1", "4", "7")
                for one in re.findall("(?:pm batches|alarm changes) on.*", self.card("show", device))]

    def test_the_monitor_tells_what_the_card_says(self):
        shutil.copytree(next(self.prefix.rglob("monitor.c")).parent, self.folder / "monitor")
        self.run_program("make", "--directory", self.folder / "monitor")
        alone = Program(self, self.folder / "monitor/monitor")
        self.assertEqual((alone.wait(), alone.err), (
            1, f"monitor: no UIO device ZYNQFPGA below {self.host}/sys/class/uio: No such file or directory\n"))
        self.start_card()
        # A shell lets its background jobs ignore SIGINT; the monitor has to cope with that as well.
        self.monitor = Program(self, "env", "--ignore-signal=INT", self.folder / "monitor/monitor")
        self.wait_for_line("keep-alive  +board  +the firmware is alive$")
        before = self.subscriptions()
        for verb, *lines in (
                ("restart",), ("hang", "keep-alive  +board  +the firmware does not answer$"),
                ("resume", "keep-alive  +board  +the firmware is alive$"),
                ("batch-interval 200", *(f"performance  +sirane {sirane} port 1  +batch [0-9]+: OSNR [0-9.]+ dB, "
                                         "pre-FEC BER [0-9.e+-]+, " for sirane in "0120")),
                ("alarm raise 1.n0 RX_NTWK_LOF", "alarms  +sirane 0  +host 0 0 0 0, network 2000 0, module "),
                ("unplug 6", "plug-in  +sirane 1 port 1  +module state 0$"),
                ("plug 6", "plug-in  +sirane 1 port 1  +module state 1$"),
                ("upset uncorrectable", r"generic  +board  +uncorrectable upset \(1\)$"),
                ("restart warm", r"restart  +board  +1 \(warm\)$", r"restart  +board  +4 \(warm, done\)$")):
            self.card(*verb.split())
            for line in lines:
                self.wait_for_line(line)
            if verb in ("resume", "restart warm"):  # it has to ask again for what the firmware has forgotten
                while len(now := self.subscriptions()) < 6 or set(now) & set(before):
                    pass
                before = now
        self.monitor.process.send_signal(signal.SIGINT)
        self.assertEqual((self.monitor.wait(), self.monitor.err), (0, ""))
        self.assertEqual(self.subscriptions(), [])


if __name__ == "__main__":
    unittest.main()
