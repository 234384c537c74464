#!/usr/bin/env python3
"""Runs the helper program cpuid as its callers and people do.

usage: cpuid_program_test.py CPUID
"""

import fcntl
import json
import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

CPUID = str(Path(sys.argv[1]).resolve())

# A machine with a hypervisor and a brand that would close its node and open another.
BRAND = b"CPU\n)\n(Host\nSerialNumber:s=1".ljust(48, b"\0")
LEAVES = {
    "00000000.00000000": ["00000001", "756e6547", "6c65746e", "49656e69"],
    "00000001.00000000": ["000906ea", "00000000", "80000000", "00000000"],
    "40000000.00000000": ["40000001", "4b4d564b", "564b4d56", "0000004d"],
} | {f"8000000{2 + part}.00000000": [f"{int.from_bytes(BRAND[at:at + 4], 'little'):08x}"
                                     for at in range(16 * part, 16 * part + 16, 4)]
     for part in range(3)}


def run(*arguments, **options):
    return subprocess.run([CPUID, *arguments], stdout=options.pop("stdout", subprocess.PIPE),
                          stderr=options.pop("stderr", subprocess.PIPE), timeout=30, **options)


class Cpuid(unittest.TestCase):
    def capture(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        capture = {"capture": 1, "cpuid": LEAVES}
        Path(directory.name, "machine.json").write_text(json.dumps(capture))
        return directory.name

    def test_a_capture_and_its_trace(self):
        helper = run("-d", "--machine", self.capture())
        self.assertEqual(helper.returncode, 0)
        answer = helper.stdout.decode().splitlines()
        self.assertEqual(answer[:2], ["1.0 0 OK", "(ProcessorTable"])
        self.assertIn("      BrandName:s=CPU ) (Host SerialNumber:s=1", answer)
        self.assertIn("   Vendor:s=KVMKVMKVM", answer)
        self.assertNotIn("(Host", map(str.strip, answer))
        # The trace is what the capture has.
        self.assertEqual(json.loads("{" + helper.stderr.decode().rstrip(",\n") + "}"), LEAVES)

    def test_wrong_usage_is_one_line(self):
        for arguments in (["-x"], ["--machine"], ["--machine", "/nonexistent"], ["-d", "more"]):
            helper = run(*arguments)
            self.assertEqual((helper.returncode, helper.stdout), (2, b""), arguments)
            self.assertEqual(helper.stderr.count(b"\n"), 1, helper.stderr)
        self.assertIn(b"usage: cpuid", run("--help").stdout)

    def test_needs_nothing_around_it(self):
        whole = run().stdout
        self.assertEqual(run(cwd="/", env={}).stdout.count(b"\n"), whole.count(b"\n"))
        closed = run("-d", stderr=None, preexec_fn=lambda: (os.close(0), os.close(2)))
        self.assertEqual(closed.stdout.count(b"\n"), whole.count(b"\n"))
        with open("/dev/full", "wb") as full:
            self.assertEqual(run(stdout=full).returncode, 1)

    def test_does_not_wait_for_a_reader_of_the_trace(self):
        reader, writer = os.pipe()
        fcntl.fcntl(writer, fcntl.F_SETPIPE_SZ, 4096)
        os.write(writer, b"x" * 4096)
        self.assertEqual(run("-d", stderr=writer).returncode, 0)
        os.close(reader)
        self.assertEqual(run("-d", stderr=writer).returncode, 0)
        os.close(writer)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
