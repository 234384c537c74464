#!/usr/bin/env python3
"""Compares what diskscan tells of this machine with lsblk: diskscan_test.py DISKSCAN

lsblk reads the same kernel's facts on its own, and more of them: it opens devices. What is compared
is what both tell: disks and their SCSI addresses, what lies on which disks, and where it is mounted.
"""

import json
import os
import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

LSBLK = "lsblk --json --bytes --output-all"
# Disks to lsblk, but in memory.
NO_DISKS = re.compile(r"(ram|zram|loop)\d+$")


def tree_of(answer):
    """Tables of the answer by name: lists of nodes, which are values by name and "disks"."""
    lines = iter(answer.splitlines())
    if next(lines) != "1.0 0 OK":
        raise ValueError(f"no such response: {answer.splitlines()[0]}")
    tables, path = {}, []
    for line in map(str.lstrip, lines):
        if line == ")":
            path.pop()
        elif line.startswith("("):
            path.append(new_node(tables, path, line[1:]))
        else:
            name, value = line.split("=", 1)
            path[-1][name.split(":")[0]] = value
    return tables


def new_node(tables, path, name):
    if len(path) < 2:
        return tables if not path else tables.setdefault(name, [])
    node = {"disks": []}
    (path[-1] if len(path) == 2 else path[-1]["disks"]).append(node)
    return node


def walk(nodes, disks=()):
    """Every device with the disks above it in lsblk's tree, which has disks at its top."""
    for node in nodes:
        is_disk = node["type"] == "disk" and node["size"] and not NO_DISKS.match(node["kname"])
        below = (*disks, node["kname"]) if is_disk else disks
        yield node, below
        yield from walk(node.get("children", []), below)


def complaints(answer, listing):
    """Where the answer and lsblk's listing differ."""
    tables = tree_of(answer)
    disks, below, points, types = {}, {}, {}, {}
    for node, under in walk(json.loads(listing)["blockdevices"]):
        if node["kname"] in under:
            disks[node["kname"]] = node["hctl"]
        mounts = {"swap" if point == "[SWAP]" else point for point in node["mountpoints"] if point}
        if under and (mounts or node["kname"] not in under):
            below.setdefault(node["path"], set()).update(under)
            points[node["path"]] = mounts
            types[node["path"]] = node["fstype"]
    ours = {disk["Block"]: disk["Id"] for disk in tables["DiskTable"]}
    if set(ours) != set(disks):
        yield f"disks {sorted(ours)}, to lsblk {sorted(disks)}"
    for name, address in disks.items():
        if address and ours.get(name) != address:
            yield f"{name} has address {ours.get(name)}, to lsblk {address}"
    partitions = {each["Name"]: each for each in tables["PartitionTable"]}
    if set(partitions) != set(below):
        yield f"partitions {sorted(partitions)}, to lsblk {sorted(below)}"
    for name in set(partitions) & set(below):
        partition, mounts = partitions[name], points[name]
        if {disk["Block"] for disk in partition["disks"]} != below[name]:
            yield f"{name} lies on {partition['disks']}, to lsblk on {below[name]}"
        if partition["Mount"] not in (mounts or {""}):
            yield f"{name} is mounted at {partition['Mount']}, to lsblk at {mounts}"
        if mounts and types[name] and partition["Type"] != types[name]:
            yield f"{name} is {partition['Type']}, to lsblk {types[name]}"


class ThisMachine(unittest.TestCase):
    def run_it(self, *arguments, **options):
        return subprocess.run([PROGRAM, *arguments], text=True, capture_output=True, **options)

    def test_agrees_with_lsblk(self):
        listing = subprocess.check_output(LSBLK.split(), text=True)
        self.assertEqual(list(complaints(self.run_it().stdout, listing)), [])

    def test_tells_the_same_to_anybody_anywhere(self):
        usual = self.run_it().stdout
        with tempfile.TemporaryDirectory() as nowhere:
            # The program may lie where others cannot reach, so it comes as standard input.
            for user in {os.getuid(), 65534} if os.getuid() == 0 else {os.getuid()}:
                with open(PROGRAM, "rb") as program:
                    other = subprocess.run(["/proc/self/fd/0"], stdin=program, text=True, user=user,
                                           capture_output=True, cwd=nowhere, env={})
                self.assertEqual(other.stdout, usual)

    def test_opens_no_device(self):
        with tempfile.NamedTemporaryFile("r") as log:
            subprocess.run(["strace", "-e", "trace=open,openat", "-o", log.name, PROGRAM],
                           stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            opened = log.read()
        self.assertIn('"/sys/class/block', opened)
        self.assertNotIn('"/dev/', opened)

    def test_scans_a_capture(self):
        with tempfile.TemporaryDirectory() as capture:
            Path(capture, "machine.json").write_text('{"capture": 1}')
            answer = self.run_it("--machine", capture)
            self.assertEqual((answer.stdout, answer.returncode),
                             ("1.0 1 /sys/class/block is not there\n", 1))
            disk = Path(capture, "root/sys/devices/1:0:0:0/block/sdq")
            disk.mkdir(parents=True)
            (disk / "dev").write_text("65:0\n")
            (disk / "size").write_text("8\n")
            Path(capture, "root/sys/class/block").mkdir(parents=True)
            Path(capture, "root/sys/class/block/sdq").symlink_to("../../devices/1:0:0:0/block/sdq")
            tables = tree_of(self.run_it("--machine", capture).stdout)
            self.assertEqual([disk["Id"] for disk in tables["DiskTable"]], ["1:0:0:0"])

    def test_refuses_other_arguments_in_one_line(self):
        for arguments in (["-x"], ["--machine"], ["--machine", "/nowhere"], ["--help", "more"], [""]):
            with self.subTest(arguments):
                answer = self.run_it(*arguments)
                self.assertEqual((answer.returncode, answer.stdout), (2, ""))
                self.assertRegex(answer.stderr, r"^diskscan: .*\n$")
        self.assertIn("Usage:", self.run_it("--help").stdout)
        with open("/dev/full", "w") as full:
            self.assertEqual(subprocess.run([PROGRAM], stdout=full).returncode, 1)


if __name__ == "__main__":
    PROGRAM = os.path.abspath(sys.argv[1])
    unittest.main(argv=sys.argv[:1])
