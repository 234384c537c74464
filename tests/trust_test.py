#!/usr/bin/env python3
"""Runs the agent as root where another user has prepared the place: trust_test.py INVSCAN

Skipped without root, and so is what takes a namespace where none can be made."""

import json
import os
import resource
import shutil
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
        self.scratch = Path(self.enterContext(tempfile.TemporaryDirectory(dir="/tmp")))
        self.scratch.chmod(0o755)

    def place(self, path, owner, mode=None):
        os.chown(path, owner, owner, follow_symlinks=False)
        if mode is not None:
            path.chmod(mode)
        return path

    def directory(self, name, mode, owner=0):
        os.mkdir(self.scratch / name)
        return self.place(self.scratch / name, owner, mode)

    def file(self, path, text, mode, owner=0):
        path.write_text(text)
        return self.place(path, owner, mode)

    def link(self, path, target, owner):
        os.symlink(target, path)
        return self.place(path, owner)

    def fifo(self, path, owner):
        os.mkfifo(path)
        return self.place(path, owner)

    def run_agent(self, *arguments, program=PROGRAM, **options):
        options = {"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE,
                   "stderr": subprocess.PIPE, "timeout": PATIENCE, "text": True} | options
        return subprocess.run([program, *arguments], **options)

    def program_for_all(self):
        """A copy: others may not reach the checkout."""
        shutil.copytree(Path(PROGRAM).parent.parent / "lib/invscan", self.scratch / "lib/invscan")
        shutil.copytree(Path(PROGRAM).parent, self.scratch / "bin")
        return self.scratch / "bin/invscan"

    def refused(self, *arguments, **options):
        run = self.run_agent(*arguments, **options)
        self.assertEqual((run.returncode, run.stderr.count("\n")), (2, 1), (arguments, run))
        return run.stderr

    def mode_of(self, path):
        return stat.S_IMODE(path.lstat().st_mode)


class WrittenFiles(TrustTest):
    def test_nothing_that_another_user_put_there_is_written_to(self):
        victim = self.file(self.scratch / "victim", "untouched", 0o644)
        shared, others = self.directory("shared", 0o1777), self.directory("others", 0o755, OTHER)
        own = self.directory("own", 0o755)
        planted = [self.link(shared / "of other", victim, OTHER),
                   self.link(shared / "of root", victim, 0),
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

    def test_links_of_the_kernel_lead_to_no_other_file(self):
        own = self.directory("own", 0o700)
        table = Path(__file__).parent / "data/smbios/asrock-ryzen-board.bin"
        # What the links say would be paths, of files in the root directory and in their own.
        made = Path("/memfd:nameless (deleted)"), own / "former (deleted)"
        for file in (os.memfd_create("nameless"), os.open(own / "former", os.O_RDWR | os.O_CREAT)):
            self.addCleanup(os.close, file)
            (own / "former").unlink(missing_ok=True)
            link = f"/proc/{os.getpid()}/fd/{file}"
            for reason, *options in (
                    ("leads to what has no name", "list", "--output"),
                    ("not a regular file", "smbios", "--read", table, "--force", "--dump")):
                with self.subTest(leads_to=os.readlink(link), options=options):
                    self.assertIn(f"{link}: {reason}", self.refused(*options, link))
        for path in made:
            self.addCleanup(path.unlink, missing_ok=True)
            self.assertFalse(path.exists())

    def test_access_is_what_was_promised(self):
        theirs = self.file(self.scratch / "theirs", "old", 0o640, OTHER)
        for umask in (0, 0o777):
            report, capture = self.scratch / f"report {umask}", self.scratch / f"capture {umask}"
            for path in (report, theirs):
                self.assertEqual(self.run_agent("list", "--output", path, umask=umask).returncode, 0)
            self.assertEqual((self.mode_of(report), self.mode_of(theirs), theirs.stat().st_uid),
                             (0o600, 0o640, OTHER))
            run = self.run_agent("capture", capture, "Memory", umask=umask)
            self.assertEqual(run.returncode, 0, run)
            modes = {(path.is_dir(), self.mode_of(path)) for path in (capture, *capture.rglob("*"))
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
                subprocess.run(["sh", "-c", script, PROGRAM, name], stdout=stream, check=True,
                               timeout=PATIENCE, cwd=self.scratch)
            self.assertRegex(file.read_text(), r"^before\n\d+\nbehind\n$", name)
            self.assertEqual(os.listdir(self.scratch), ["redirected"])


class ReadFiles(TrustTest):
    def test_replays_open_regular_files_only(self):
        capture = self.directory("capture", 0o755)
        self.file(capture / "machine.json", '{"capture": 1}', 0o644)
        (capture / "root/proc").mkdir(parents=True)
        self.fifo(capture / "root/proc/meminfo", 0)
        outside = self.directory("outside", 0o755)
        self.file(outside / "machine.json", '{"capture": 1}', 0o644)
        self.link(outside / "root", "/", 0)
        run = self.run_agent("--machine", outside, "get", "Memory", "Total Physical")
        self.assertEqual((run.returncode, run.stdout), (4, ""), "this machine's own files")
        run = self.run_agent("-f", "-e", "trace=open,openat,openat2", PROGRAM, "--machine", capture,
                             "Memory", program="strace")
        opened = ["O_PATH" in line for line in run.stderr.splitlines() if 'meminfo"' in line]
        self.assertEqual((run.returncode, set(opened)), (0, {True}), run)

    def test_what_may_not_be_read_is_denied(self):
        """And is neither absent nor 0 for who is not root."""
        figures = self.file(self.scratch / "figures", "0.5 0.5 0.5 1/1 1\n", 0o600)
        program = self.program_for_all()
        script = ('mount --bind "$1" /proc/loadavg || exit 77; "$0" UnixCpuMeter; '
                  'setpriv --reuid 65534 --clear-groups "$0" UnixCpuMeter; echo $?')
        run = subprocess.run(["unshare", "-m", "sh", "-c", script, program, figures],
                             capture_output=True, text=True, timeout=PATIENCE)
        if run.returncode != 0:
            self.skipTest("no namespace for mounts can be made")
        self.assertRegex(run.stdout, r"  LoadAvg1 +0\.5")
        self.assertTrue(run.stdout.endswith("\nDenied: UnixCpuMeter (run as root)\n3\n"), run)


class Programs(TrustTest):
    def helper(self, home, body):
        """A home whose cpuid does that and answers."""
        (home / "bin").mkdir()
        self.file(home / "bin/cpuid", f"#!/bin/sh\n{body}\necho 1.0 0 OK\n", 0o755)
        return {"env": os.environ | {"ORV_HOMEDIR": str(home)}}

    def test_only_homes_that_nobody_else_can_change_are_believed(self):
        mark = self.scratch / "mark"
        self.directory("theirs", 0o755, OTHER)
        os.chdir(self.scratch)
        self.addCleanup(os.chdir, "/")
        for home, believed in ((self.directory("own", 0o755), True),
                               (self.directory("theirs/inner", 0o755), False),
                               (self.directory("open", 0o777), False),
                               (self.directory("relative", 0o755), False)):
            options = self.helper(home, f"touch {mark}")
            if home.name == "relative":
                options["env"]["ORV_HOMEDIR"] = "relative"
            run = self.run_agent("helper", "cpuid", **options)
            self.assertEqual((run.returncode, mark.exists(), "ORV_HOMEDIR" in run.stderr),
                             (0, believed, not believed), (home, run))
            mark.unlink(missing_ok=True)

    def test_nothing_runs_of_the_current_directory(self):
        mark = self.scratch / "mark"
        self.file(self.scratch / "cpuid", f"#!/bin/sh\ntouch {mark}\necho 1.0 0 OK\n", 0o755)
        hidden = 'mount -t tmpfs none /proc || exit 77; "$0" helper cpuid; exit 0'
        run = subprocess.run(["unshare", "-m", "sh", "-c", hidden, PROGRAM], cwd=self.scratch,
                             capture_output=True, timeout=PATIENCE)
        if run.returncode != 0:
            self.skipTest("no namespace for mounts can be made")
        self.assertFalse(mark.exists(), run)

    def test_little_of_the_environment_is_passed_on(self):
        told = self.scratch / "told"
        options = self.helper(self.directory("own", 0o755), f"/usr/bin/env > {told}")
        for name in ("BASH_FUNC_ls%%", "BASH_ENV", "ENV", "LOCPATH", "GCONV_PATH", "LD_LIBRARY_PATH",
                     "HOME"):
            options["env"][name] = "."
        self.assertEqual(self.run_agent("helper", "cpuid", **options).returncode, 0)
        names = {line.split("=")[0] for line in told.read_text().splitlines()}
        told_of = self.run_agent("--help").stdout.split("get of the environment: ")[1]
        known = told_of.split(".\n")[0].replace(",", "").split()
        self.assertEqual({name for name in names - {"PWD", "SHLVL", "OLDPWD", "_"}
                          if name not in known and not name.startswith("LC_")}, set())

    def test_roots_scan_is_told_to_those_who_may_read_it(self):
        kept = self.directory("kept", 0o755)
        boot_id = Path("/proc/sys/kernel/random/boot_id").read_text()
        figures = self.file(self.scratch / "figures", "0.5 0.5 0.5 1/1 1\n", 0o600)
        scan = json.dumps({"invscan": "2.8.0", "hostname": "h", "time": "2026-11-21T06:24:00Z",
                           "groups": {
            "UnixCpuMeter": {"status": "ok", "rows": [{"LoadAvg1": 42.5}]},
            "Scan Info": {"status": "ok",
                          "rows": [{"Scan Date": "2026-11-21-07.24.00.000000"}]}}})
        program = self.program_for_all()

        def told(*options):
            script = (f"mount --bind {figures} /proc/loadavg && mount -t tmpfs none /run && "
                      f"cp -a {kept} /run/invscan || exit 77; "
                      f'exec setpriv --reuid={OTHER} --clear-groups "$@"')
            run = self.run_agent("-m", "sh", "-c", script, "sh", program, "UnixCpuMeter",
                                 *options, program="unshare")
            if run.returncode in (1, 77):
                self.skipTest("no namespace for mounts can be made")
            return run.stdout

        def keep(name, text, mode=0o644, owner=0):
            self.file(kept / name, text, mode, owner)

        keep("scan.json", scan), keep("boot-id", boot_id)
        text = told()
        self.assertRegex(text, "LoadAvg1 +42.5")
        self.assertIn("from root's scan of 2026-11-21 07:24", text)
        self.assertIn("from root's scan", told("--format", "summary"))
        self.assertNotIn("42.5", told("--format", "json"))
        # What may be read here is told of now, and what root could not read either is told as such.
        keep("scan.json", scan.replace('"rows": [{"Load', '"incomplete": "/x: permission denied", '
                                       '"rows": [{"LoadAvg5": 7, "Load'))
        self.assertIn("Denied: in part: UnixCpuMeter", told())
        keep("scan.json", scan)
        for distrusted in (lambda: keep("scan.json", scan, 0o664),
                           lambda: keep("scan.json", scan, 0o644, OTHER),
                           lambda: keep("boot-id", boot_id.replace("-", "+")),
                           lambda: keep("scan.json", scan[:-1]), lambda: kept.chmod(0o777),
                           lambda: keep("scan.json", scan, 0o600)):
            distrusted()
            self.assertNotIn("42.5", told())
            keep("scan.json", scan), keep("boot-id", boot_id), kept.chmod(0o755)
        (kept / "scan.json").rename(kept / "other")
        self.link(kept / "scan.json", "other", 0)
        self.assertNotIn("42.5", told())

    def test_no_wait_is_without_an_end(self):
        zone, pid = self.fifo(self.scratch / "zone", 0), self.scratch / "pid"
        run = self.run_agent("Memory", "--format", "json", env=os.environ | {"TZ": f":{zone}"})
        self.assertEqual(run.returncode, 0, run)
        leaving = f"setsid sh -c 'echo $$ > {pid}; sleep 1000' & sleep 1000"
        options = self.helper(self.directory("own", 0o755), leaving)
        self.assertIn("no answer within", self.refused("helper", "cpuid", "--timeout", "1", **options))
        self.assertFalse(Path("/proc", pid.read_text().strip()).exists())


class Shortage(TrustTest):
    def limited(self, limit, value, *arguments, **options):
        def preparation():
            resource.setrlimit(limit, (value, value))
        return self.run_agent(*arguments, preexec_fn=preparation, **options)

    def test_groups_wait_for_processes(self):
        run = self.limited(resource.RLIMIT_NPROC, 3, "--jobs", "16", user=61234,
                           program=self.program_for_all())
        self.assertIn((run.returncode, run.stderr), ((0, ""), (3, "")))  # what is root's to read

    def test_little_stack_and_small_files_end_nothing(self):
        # Sanitizers take more of it.
        stack = 1 << 20 if b"__asan_init" in Path(PROGRAM).read_bytes() else 64 << 10
        run = self.limited(resource.RLIMIT_STACK, stack, "--format", "json")
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        trace = self.scratch / "trace"
        options = ("--trace", "max", "--trace-file", trace)
        run = self.limited(resource.RLIMIT_FSIZE, 100, "Regional", *options)
        self.assertEqual((run.returncode, trace.stat().st_size), (0, 100), run)
        capture = self.scratch / "capture"
        run = self.limited(resource.RLIMIT_FSIZE, 1000, "capture", capture, "Memory")
        self.assertEqual((run.returncode, os.listdir(self.scratch)), (2, ["trace"]), run)


if __name__ == "__main__":
    if os.geteuid() != 0:
        print("skipped: only root can be told from another user here")
        sys.exit(SKIPPED)
    os.environ["ASAN_OPTIONS"] = "detect_leaks=0"
    unittest.main(argv=sys.argv[:1])
