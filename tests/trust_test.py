#!/usr/bin/env python3
"""Runs the agent as root where another user has prepared the place: trust_test.py INVSCAN

Needs root, and namespaces; without root it is skipped, and so is what takes a namespace that cannot
be made.
"""

import os
import resource
import stat
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

SKIPPED = 77
PROGRAM = os.path.abspath(sys.argv[1])
OTHER = 65534
# Seconds that no run takes, however busy the machine is.
PATIENCE = 60


class TrustTest(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory(dir="/tmp")
        self.addCleanup(scratch.cleanup)
        self.scratch = Path(scratch.name)
        self.scratch.chmod(0o755)

    def directory(self, name, mode, owner=0):
        path = self.scratch / name
        path.mkdir()
        os.chown(path, owner, owner)
        path.chmod(mode)
        return path

    def file(self, path, text, mode, owner=0):
        path.write_text(text)
        os.chown(path, owner, owner)
        path.chmod(mode)
        return path

    def link(self, path, target, owner):
        os.symlink(target, path)
        os.lchown(path, owner, owner)
        return path

    def fifo(self, path, owner):
        os.mkfifo(path)
        os.chown(path, owner, owner)
        return path

    def run_agent(self, *arguments, program=PROGRAM, **options):
        options = {"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE,
                   "stderr": subprocess.PIPE, "timeout": PATIENCE, "text": True} | options
        return subprocess.run([program, *arguments], **options)

    def refused(self, *arguments, **options):
        run = self.run_agent(*arguments, **options)
        self.assertEqual((run.returncode, run.stderr.count("\n")), (2, 1), (arguments, run))
        return run.stderr


def mode_of(path):
    return stat.S_IMODE(path.lstat().st_mode)


class WrittenFiles(TrustTest):
    def test_nothing_that_another_user_put_there_is_written_to(self):
        victim = self.file(self.scratch / "victim", "untouched", 0o644)
        shared, others = self.directory("shared", 0o1777), self.directory("others", 0o755, OTHER)
        own = self.directory("own", 0o755)
        planted = [self.link(shared / "of other", victim, OTHER), self.link(shared / "of root", victim, 0),
                   self.link(others / "link", victim, OTHER), self.fifo(shared / "fifo", OTHER),
                   self.file(shared / "file", "planted", 0o666, OTHER),
                   self.link(shared / "directory", own, OTHER) / "report"]
        for path in planted:
            for options in (("list", "--output"), ("list", "--trace", "min", "--trace-file")):
                with self.subTest(path=path, options=options):
                    self.assertIn(str(path), self.refused(*options, path))
        os.link(victim, own / "second name")
        self.refused("list", "--trace", "min", "--trace-file", own / "second name")
        self.assertEqual((victim.read_text(), (shared / "file").read_text(), os.listdir(own)),
                         ("untouched", "planted", ["second name"]))
        self.assertIn("nobody reads", self.refused("list", "--output", self.fifo(own / "fifo", 0)))

    def test_access_is_what_was_promised(self):
        theirs = self.file(self.scratch / "theirs", "old", 0o640, OTHER)
        for umask in (0, 0o777):
            report, capture = self.scratch / f"report {umask}", self.scratch / f"capture {umask}"
            for path in (report, theirs):
                self.assertEqual(self.run_agent("list", "--output", path, umask=umask).returncode, 0)
            self.assertEqual(mode_of(report), 0o600)
            self.assertEqual((mode_of(theirs), theirs.stat().st_uid), (0o640, OTHER))
            run = self.run_agent("capture", capture, "Memory", umask=umask)
            self.assertEqual(run.returncode, 0, run)
            modes = {(path.is_dir(), mode_of(path)) for path in (capture, *capture.rglob("*"))
                     if not path.is_symlink()}
            self.assertEqual(modes, {(True, 0o700), (False, 0o600)})

    def test_captures_go_where_nobody_else_can_write(self):
        own = self.directory("own", 0o700)
        for path in (self.directory("other", 0o700, OTHER), self.directory("open", 0o777),
                     self.link(self.scratch / "link", own, OTHER)):
            self.assertIn(str(path), self.refused("capture", path, "Memory"))
            self.assertEqual(os.listdir(path), [])

    def test_output_goes_on_where_it_is_redirected_to(self):
        for name in ("-", "/dev/stdout", "/dev/fd/1"):
            script = 'echo before; "$0" get "Operating System" Type --output "$1"; echo behind'
            file = self.scratch / "redirected"
            with file.open("w") as stream:
                subprocess.run(["sh", "-c", script, PROGRAM, name], stdout=stream, check=True, timeout=PATIENCE,
                               cwd=self.scratch)
            self.assertRegex(file.read_text(), r"^before\n\d+\nbehind\n$", name)
            self.assertEqual(os.listdir(self.scratch), ["redirected"])


if __name__ == "__main__":
    if os.geteuid() != 0:
        print("skipped: only root can be told from another user here")
        sys.exit(SKIPPED)
    unittest.main(argv=sys.argv[:1])
