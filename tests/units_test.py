"""Units for systemd: units_test.py DIRECTORY PATH/TO/invscan

The directory is where the build has made them. systemd checks them, and their commands are run with as
few rights as they have there.
"""

import os
import re
import shutil
import stat
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

UNITS = Path(sys.argv[1])
PROGRAM = os.path.abspath(sys.argv[2])
NAMES = ["invscan-scan.service", "invscan-textfile.service", "invscan-textfile.timer"]
# Of 100, by what systemd thinks of each setting. What is missing: root, the host's network, its /proc
# and its home directories, which are what is scanned.
MOST_EXPOSED = 20
ADM = 4


class Units(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory(dir="/tmp")
        self.addCleanup(scratch.cleanup)
        self.scratch = Path(scratch.name)
        for name in NAMES:
            text = re.sub(r"=\S*/bin/invscan ", f"={PROGRAM} ", (UNITS / name).read_text())
            (self.scratch / name).write_text(text)

    @unittest.skipUnless(shutil.which("systemd-analyze"), "systemd-analyze is not installed")
    def test_systemd_finds_nothing(self):
        def analyze(*arguments):
            done = subprocess.run(["systemd-analyze", *arguments], capture_output=True, text=True)
            self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
            return done.stderr
        self.assertEqual(analyze("verify", "--man=no", *(self.scratch / name for name in NAMES)), "")
        for name in NAMES[:2]:
            analyze("security", "--offline=true", f"--threshold={MOST_EXPOSED}", self.scratch / name)

    @unittest.skipUnless(os.geteuid() == 0, "only root can take rights away as the units do")
    def test_commands_work_without_rights(self):
        for name, mode, wanted in [(NAMES[0], 0o640, '"Memory": {"id"'),
                                   (NAMES[1], 0o644, "\ninvscan_memory_page_size_bytes 4096\n")]:
            with self.subTest(unit=name):
                file = self.scratch / "output"
                file.unlink(missing_ok=True)
                unit = (self.scratch / name).read_text()
                path = Path(re.search(r"--output (\S+)", unit)[1])
                for command in re.findall(r"^ExecStart(?:Pre)?=(.*)$", unit, re.M):
                    done = subprocess.run(
                        ["setpriv", "--bounding-set=-all", "--inh-caps=-all", "--no-new-privs",
                         f"--regid={ADM}", "--clear-groups", "sh", "-c",
                         "exec " + command.replace(str(path), str(file))
                         .replace(str(path.parent), str(self.scratch))],
                        env={"PATH": "/usr/bin:/bin"}, capture_output=True, text=True)
                    self.assertIn(done.returncode, (0, 1, 3), done.stderr)
                self.assertIn(wanted, file.read_text())
                self.assertEqual(stat.S_IMODE(file.stat().st_mode), mode)
                self.assertEqual(file.stat().st_gid, ADM)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
