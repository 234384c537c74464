#!/usr/bin/env python3
"""Runs the helper programs as their callers and people do: helpers_test.py CPUID DISKSCAN"""

import fcntl
import json
import os
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest
from collections import defaultdict
from pathlib import Path

LSBLK = "lsblk --json --bytes --output-all"
# Disks to lsblk, but in memory, or floppies.
NO_DISKS = re.compile(r"(ram|zram|loop|fd)\d+$")

# A processor with a hypervisor and a brand that would close its node and open another.
LEAVES = {
    "00000000.00000000": ["00000001", "756e6547", "6c65746e", "49656e69"],
    "00000001.00000000": ["000906ea", "00000000", "80000000", "00000000"],
    "40000000.00000000": ["40000001", "4b4d564b", "564b4d56", "0000004d"],
    "80000002.00000000": [f"{word:08x}" for word in struct.unpack("<4I", b"CP\n)\n(Host\nA:s=1")],
}


class Node(dict):
    """A node of an answer: values by name, and lists of children."""

    def __init__(self):
        self.children = defaultdict(list)

    def only(self, name):
        (child,) = self.children[name]
        return child


def tree_of(answer):
    response, *lines = answer.rstrip("\n").split("\n")
    assert response == "1.0 0 OK", answer
    stack = [Node()]
    for line in map(str.lstrip, lines):
        if line == ")":
            stack.pop()
        elif line.startswith("("):
            stack.append(Node())
            stack[-2].children[line[1:]].append(stack[-1])
        else:
            name, kind, value = re.fullmatch(r"(\w+):([is])=(.*)", line).groups()
            stack[-1][name] = int(value) if kind == "i" else value
    assert len(stack) == 1, answer
    return stack[0]


def walk(nodes, disks=()):
    """Every device with the disks above it in lsblk's tree, which has disks at its top."""
    for node in nodes:
        is_disk = node["type"] in ("disk", "rom") and node["size"] and not NO_DISKS.match(node["kname"])
        below = {*disks, node["kname"]} if is_disk else {*disks}
        yield node, below
        yield from walk(node.get("children", []), below)


def assert_agreement(test, answer, listing):
    """What diskscan and lsblk both tell: disks and their SCSI addresses, what lies on which disks,
    and where it is mounted. lsblk tells more, as it opens devices."""
    scan = tree_of(answer).only("ScsiInfo")
    ours = {disk["Block"]: disk["Id"] for disk in scan.only("DiskTable").children["Disk"]
            if not disk["Block"].startswith("st")}  # tapes, which lsblk does not have
    partitions = {each["Name"]: each for each in scan.only("PartitionTable").children["Partition"]}
    disks, below = {}, defaultdict(set)
    for node, under in walk(json.loads(listing)["blockdevices"]):
        name, is_disk = node["kname"], node["kname"] in under
        if is_disk:
            disks[name] = node["hctl"] or ours.get(name)
        mounts = {"swap" if point == "[SWAP]" else point for point in node["mountpoints"] if point}
        if under and (mounts or not is_disk):
            below[node["path"]] |= under
            partition = partitions[node["path"]]
            test.assertIn(partition["Mount"], mounts or {""})
            if mounts and node["fstype"]:
                test.assertEqual(partition["Type"], node["fstype"])
    test.assertEqual(ours, disks)
    test.assertEqual(below, {name: {disk["Block"] for disk in partition.children["Disk"]}
                             for name, partition in partitions.items()})


def run(*command, **options):
    return subprocess.run(command, stdout=options.pop("stdout", subprocess.PIPE),
                          stderr=options.pop("stderr", subprocess.PIPE), timeout=300, **options)


class Helpers(unittest.TestCase):
    def test_wrong_usage_is_one_line(self):
        for program in (CPUID, DISKSCAN):
            for wrong in (["-x"], ["--machine"], ["--machine", "/nowhere"], ["--help", "more"], [""]):
                helper = run(program, *wrong)
                self.assertEqual((helper.returncode, helper.stdout), (2, b""), wrong)
                self.assertRegex(helper.stderr, rb"^(cpuid|diskscan): .*\n$")
            self.assertIn(b"sage: ", run(program, "--help").stdout)

    def test_needs_nothing_around_it(self):
        for command in ([CPUID, "-d"], [DISKSCAN]):
            lines = run(*command).stdout.count(b"\n")
            bare = run(*command, cwd="/", env={}, stderr=None,
                       preexec_fn=lambda: (os.close(0), os.close(2)))
            self.assertEqual((bare.returncode, bare.stdout.count(b"\n")), (0, lines))
            with open("/dev/full", "wb") as full:
                self.assertEqual(run(*command, stdout=full).returncode, 1)

    def test_scans_a_capture(self):
        with tempfile.TemporaryDirectory() as capture:
            Path(capture, "machine.json").write_text(json.dumps({"capture": 1, "cpuid": LEAVES}))
            cpuid, diskscan = run(CPUID, "-d", "--machine", capture), run(DISKSCAN, "--machine", capture)
        answer = tree_of(cpuid.stdout.decode())
        self.assertEqual(answer.only("ProcessorTable").only("Processor")["BrandName"], "CP ) (Host A:s=1")
        self.assertEqual(answer.only("Hypervisor")["Vendor"], "KVMKVMKVM")
        self.assertEqual(json.loads("{" + cpuid.stderr.decode().rstrip(",\n") + "}"), LEAVES)
        self.assertEqual((diskscan.stdout, diskscan.returncode),
                         (b"1.0 1 /sys/class/block is not there\n", 1))

    def test_does_not_wait_for_a_reader_of_the_trace(self):
        reader, writer = os.pipe()
        fcntl.fcntl(writer, fcntl.F_SETPIPE_SZ, 4096)
        os.write(writer, b"x" * 4096)
        self.assertEqual(run(CPUID, "-d", stderr=writer).returncode, 0)
        self.assertEqual(fcntl.fcntl(writer, fcntl.F_GETFL) & os.O_NONBLOCK, 0)
        os.close(reader)
        self.assertEqual(run(CPUID, "-d", stderr=writer).returncode, 0)
        os.close(writer)

    def test_tells_anybody_what_lsblk_tells_without_opening_devices(self):
        answer = run(DISKSCAN).stdout
        assert_agreement(self, answer.decode(), run(*LSBLK.split()).stdout)
        if os.getuid() == 0:
            # A copy, as others may neither reach nor run the program where it is.
            with tempfile.TemporaryDirectory(dir="/tmp") as reachable:
                os.chmod(reachable, 0o755)
                program = shutil.copy(DISKSCAN, reachable)
                os.chmod(program, 0o755)
                self.assertEqual(run(program, user=65534).stdout, answer)
        trace = run("strace", "-e", "trace=open,openat", DISKSCAN).stderr
        self.assertIn(b'"/sys/class/block', trace)
        self.assertNotIn(b'"/dev/', trace)


if __name__ == "__main__":
    CPUID, DISKSCAN = map(os.path.abspath, sys.argv[1:])
    unittest.main(argv=sys.argv[:1])
