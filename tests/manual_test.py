"""The manual passes the checkers, and completion works in real shells: manual_test.py DIRECTORY

The directory is where the build has put what it printed of both.
"""

import os
import pty
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

DOCUMENTS = Path(sys.argv[1]).resolve()
PAGES = ["invscan.1", "libinvscan.3", "invscan.conf.5", "OrvHWConfig.xml.5"]
PATIENCE = 60
# What is typed before Tab, and what the shell then takes for the arguments, of which the last was
# completed.
TYPED = [
    ("desc", ["describe"]),
    ("scan opera", ["scan", "Operating System"]),
    ("Sto", ["Storage"]),
    ("'Memory Mo", ["Memory Modules"]),
    ("get 'Memory Modules' 'Module S", ["get", "Memory Modules", "Module Size MB"]),
    ("get memory total\\ ph", ["get", "memory", "Total Physical"]),
    ("get processor intel", ["get", "processor", "Intel MMX(tm) Technology"]),
    ("--classic describe --format mark", ["--classic", "describe", "--format", "markdown"]),
    ("--trace mi", ["--trace", "mi"]),
    ("smbios --du", ["smbios", "--dump"]),
    ("smbios --dump du", ["smbios", "--dump", "dump file"]),
    ("capture su", ["capture", "sub dir"]),
    ("capture new 'scan i", ["capture", "new", "Scan Info"]),
    ("helper di", ["helper", "diskscan"]),
    ("diff su", ["diff", "sub dir"]),
    ("diff - --all du", ["diff", "-", "--all", "dump file"]),
]


def needs(program):
    return unittest.skipUnless(shutil.which(program), f"{program} is not installed")


class Pages(unittest.TestCase):
    def complaints(self, *command):
        for page in PAGES:
            done = subprocess.run([*command, DOCUMENTS / page], capture_output=True, text=True,
                                  env={**os.environ, "LC_ALL": "C.UTF-8", "MANWIDTH": "80"})
            yield page, done.stdout, done.stderr

    @needs("man")
    def test_man_has_no_warnings(self):
        for page, text, warnings in self.complaints("man", "--warnings", "-E", "UTF-8", "-l"):
            self.assertEqual(warnings, "", page)
            self.assertIn("SEE ALSO", text, page)

    @needs("mandoc")
    def test_mandoc_has_no_complaint(self):
        for page, complaint, _ in self.complaints("mandoc", "-T", "lint", "-W", "style"):
            self.assertEqual(complaint, "", page)


class Completion(unittest.TestCase):
    def setUp(self):
        self.scratch = tempfile.TemporaryDirectory()
        self.addCleanup(self.scratch.cleanup)
        (Path(self.scratch.name) / "sub dir").mkdir()
        (Path(self.scratch.name) / "dump file").touch()

    def read_until(self, terminal, end):
        text = ""
        limit = time.monotonic() + PATIENCE
        while end not in text:
            ready, _, _ = select.select([terminal], [], [], limit - time.monotonic())
            self.assertTrue(ready, f"no {end!r} in {text!r}")
            text += os.read(terminal, 4096).decode(errors="replace")
        return text

    def check(self, set_up, *shell):
        """Types into the shell on a terminal; what it then runs prints its arguments."""
        child, terminal = pty.fork()
        if child == 0:
            os.chdir(self.scratch.name)
            os.environ.update(PS1="", TERM="dumb", HOME=self.scratch.name, LC_ALL="C.UTF-8")
            os.execvp(shell[0], shell)
        try:
            show = "invscan() { printf '<%s>' \"$@\"; echo ' don''e'; }"
            os.write(terminal, f"{set_up}; {show}; echo rea''dy\n".encode())
            self.read_until(terminal, "ready")
            for typed, words in TYPED:
                with self.subTest(typed=typed):
                    # Ctrl-U first: nothing is left of a line that went wrong.
                    os.write(terminal, f"\x15invscan {typed}\t\n".encode())
                    shown = "".join(f"<{word}>" for word in words)
                    answer = self.read_until(terminal, "> done")
                    self.assertIn(shown, answer.replace("/>", ">"))
        finally:
            os.kill(child, signal.SIGKILL)
            os.waitpid(child, 0)
            os.close(terminal)

    @needs("bash")
    def test_bash(self):
        self.check(f". '{DOCUMENTS}/invscan'", "bash", "--norc", "--noprofile", "-i")

    @needs("zsh")
    def test_zsh(self):
        self.check(f"autoload -Uz compinit; compinit -D; . '{DOCUMENTS}/_invscan'", "zsh", "-f", "-i")

    @needs("fish")
    def test_fish(self):
        for typed, words in TYPED:
            with self.subTest(typed=typed):
                line = "invscan " + typed.replace("\\", "\\\\").replace("'", "\\'")
                done = subprocess.run(
                    ["fish", "--no-config", "-c", f"source {DOCUMENTS}/invscan.fish; complete -C '{line}'"],
                    cwd=self.scratch.name, env={**os.environ, "HOME": self.scratch.name},
                    capture_output=True, text=True)
                offered = [each.split("\t")[0].rstrip("/") for each in done.stdout.splitlines()]
                self.assertEqual(done.stderr, "")
                self.assertEqual(offered, words[-1:] if typed != "--trace mi" else ["mid", "min"])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
