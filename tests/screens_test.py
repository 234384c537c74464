#!/usr/bin/env python3
"""Holds what the program shows on terminals of several widths against tests/screens/MACHINE.WIDTH.txt.
INVSCAN_RENEW=1 writes these files instead: look at them, as a person would, before you commit them.

usage: screens_test.py INVSCAN
"""

import fcntl
import os
import pathlib
import shutil
import struct
import subprocess
import sys
import tarfile
import tempfile
import termios
import unicodedata
import unittest

PROGRAM = pathlib.Path(sys.argv.pop()).resolve()
TESTS = pathlib.Path(__file__).resolve().parent
WIDTHS = (40, 80, 200)
ENTRY_POINT_SIZE = 32  # of a dump
# By name, the capture and the firmware table that goes into it.
MACHINES = {"laptop": ("data/machines/ghw-i7-1270p-laptop.tar.gz", "lenovo-thinkpad-t490"),
            "server": ("data/machines/ghw-dell-r610.tar.gz", "unisys-es3040"),
            "nvme": ("machines/disks", None),
            "guest": ("machines/vmware-guest", None),
            "hostile": ("machines/hostile", None)}


def lay_out(machine, source, firmware):
    if source.endswith(".gz"):
        with tarfile.open(TESTS / source) as archive:
            archive.extractall(machine.parent)
        (machine.parent / pathlib.Path(source).name.removesuffix(".tar.gz")).rename(machine)
    else:
        shutil.copytree(TESTS / source, machine, symlinks=True)
    if firmware:
        dump = (TESTS / f"data/smbios/{firmware}.bin").read_bytes()
        tables = machine / "root/sys/firmware/dmi/tables"
        tables.mkdir(parents=True)
        (tables / "smbios_entry_point").write_bytes(dump[:dump[6 if dump[3:4] == b"3" else 5]])
        (tables / "DMI").write_bytes(dump[ENTRY_POINT_SIZE:])


def on_terminal(width, *arguments, **environment):
    master, terminal = os.openpty()
    fcntl.ioctl(master, termios.TIOCSWINSZ, struct.pack("HHHH", 24, width, 0, 0))
    # Progress, which a busy machine gets to see, is no part of what is held here.
    with subprocess.Popen([PROGRAM, *arguments], stdin=terminal, stdout=terminal,
                          stderr=subprocess.DEVNULL, env={"PATH": "/usr/bin:/bin", "TERM": "xterm", **environment}):
        os.close(terminal)
        shown = b""
        try:
            while block := os.read(master, 65536):
                shown += block
        except OSError:  # the program has ended
            os.close(master)
    return shown.decode().replace("\r\n", "\n")


def columns(line):
    return sum(0 if unicodedata.combining(c) else 2 if unicodedata.east_asian_width(c) in "WF" else 1
               for c in line)


class Screens(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        cls.machines = {name: pathlib.Path(cls.folder.name) / name for name in MACHINES}
        for name, machine in cls.machines.items():
            lay_out(machine, *MACHINES[name])

    def assert_fits(self, text, width):
        for line in text.splitlines():
            self.assertLessEqual(columns(line), width, line)
            self.assertTrue(all(unicodedata.category(c) not in ("Cc", "Cf") for c in line), line)

    def test_what_the_machine_is(self):
        for name, machine in self.machines.items():
            for width in WIDTHS:
                with self.subTest(machine=name, width=width):
                    shown = on_terminal(width, "--machine", machine, "--color", "never")
                    expected = TESTS / f"screens/{name}.{width}.txt"
                    if "INVSCAN_RENEW" in os.environ:
                        expected.write_text(shown)
                    self.assertEqual(shown, expected.read_text())
                    self.assert_fits(shown, width)
                    self.assertLess(shown.count("\n"), 24 if width >= 80 else 40)

    def test_groups_fit_as_well(self):
        for name, machine in self.machines.items():
            for options in (["--all"], ["--all", "--bytes"], ["storage", "Partition", "processor"]):
                with self.subTest(machine=name, options=options):
                    for width in WIDTHS:
                        shown = on_terminal(width, *options, "--machine", machine, "--color=never")
                        self.assert_fits(shown, width)

    def test_nothing_is_abbreviated_but_on_terminals(self):
        command = [PROGRAM, "--machine", self.machines["laptop"]]
        whole = subprocess.run(command, capture_output=True, text=True).stdout
        self.assertEqual(whole[whole.index("Total Physical"):].split("\n")[0].split()[2:],
                         ["32542668", "KiB"])
        self.assertNotIn("\u2026", whole)
        shown = on_terminal(80, "memory", "--machine", command[2])
        self.assertIn(" 31 GiB\n", shown)
        self.assertIn("left to --all: Total Page", shown)
        exact = on_terminal(80, "memory", "--bytes", "--machine", command[2])
        self.assertIn(f" {32542668 * 1024} bytes\n", exact)

    def test_colour_is_for_terminals_that_want_it(self):
        group = ("memory", "--machine", self.machines["laptop"])
        self.assertIn("\x1B[1m", on_terminal(80, *group))
        self.assertNotIn("\x1B", on_terminal(80, *group, NO_COLOR="1"))
        self.assertNotIn("\x1B", on_terminal(80, *group, TERM="dumb"))
        run = subprocess.run([PROGRAM, *group, "--color", "always"], capture_output=True, text=True)
        self.assertIn("\x1B[1m", run.stdout)


if __name__ == "__main__":
    unittest.main()
