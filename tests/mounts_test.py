#!/usr/bin/env python3
"""Scans mounts made for the purpose and holds the rows against what findmnt and df tell.

usage: mounts_test.py INVSCAN

They are in a namespace of their own. Where none can be made the test is skipped.
"""

import ctypes
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

SKIPPED = 77
CLONE_NEWNS, MS_REC_PRIVATE = 0x20000, 0x44000
# What rows have no mount of: see the rules of the group.
LEFT_OUT = re.compile(r"/dev/pts|/proc|/\.amd")
TYPES_LEFT_OUT = re.compile(r"devpts|proc|sysfs|rpc_pipefs|shm|ocfs2_dlmfs")
CODES = {"ext4": 131, "tmpfs": 267, "rootfs": 290, "xfs": 283, "btrfs": 279, "f2fs": 284, "vfat": 11}
libc = ctypes.CDLL(None, use_errno=True)


def mount(source, target, kind, flags=0, options=""):
    target.mkdir(exist_ok=True)
    if libc.mount(source.encode(), str(target).encode(), kind.encode(), flags, options.encode()):
        raise OSError(ctypes.get_errno(), f"{kind} on {target}")


def make_mounts(root):
    mount("tmpfs", root / "a b\\c\td#e", "tmpfs", options="size=1m")
    mount("\u00fc x", root / "again", "tmpfs", options="size=4k")
    mount("tmpfs", root / "again", "tmpfs", options="size=8k")
    mount("none", root / "ram", "ramfs")
    mount(str(root / "a b\\c\td#e"), root / "bound", "", flags=0x1000)


def make_dead_mounts(root):
    """Of file systems whose programs never answer; the descriptors keep them."""
    kept = []
    for number in range(2):
        kept.append(os.open("/dev/fuse", os.O_RDWR))
        options = f"fd={kept[-1]},rootmode=40000,user_id=0,group_id=0"
        mount(f"alice@fileserver{number}.example:/export/bob", root / f"dead{number}", "fuse.sshfs",
              options=options)
    return kept


def run(*command, status=0):
    done = subprocess.run(command, capture_output=True, text=True, timeout=300)
    assert done.returncode == status, (command, done.returncode, done.stderr)
    return done.stdout


def rows_of(text):
    return json.loads(text)["groups"]["Partition"]["rows"]


def space_of(directory):
    figures = os.statvfs(directory)
    return figures.f_blocks * figures.f_frsize // 1024, figures.f_bavail * figures.f_frsize // 1024


def check_rows(rows):
    fields = "SOURCE,TARGET,FSTYPE,MAJ:MIN"
    found = json.loads(run("findmnt", "-J", "-l", "-v", "-o", fields))["filesystems"]
    mounts = [each for each in found if not LEFT_OUT.search(each["target"])
              and not TYPES_LEFT_OUT.search(each["fstype"])]
    rows = [row for row in rows if row["FS Mount Point"] != "swap"]
    assert [row["FS Mount Point"] for row in rows] == [each["target"] for each in mounts]
    for row, each in zip(rows, mounts):
        kind, is_remote = each["fstype"], each["fstype"] == "fuse.sshfs"
        assert row["FS Access Point"] == each["source"], (row, each)
        assert row["FS Type"] == CODES.get(kind, 65535), (row, each)
        assert row["Type"] == (2 if is_remote else 1), row
        expected = (4 if is_remote else 6 if kind == "ramfs" else
                    3 if kind == "tmpfs" or not each["maj:min"].startswith("0:") else 0)
        assert row["Media Type"] == expected, (row, each)
        total, free = (0, 0) if is_remote else space_of(each["target"])
        assert (row["Physical Size"], row["FS Total Size"]) == (total, total), row
        assert abs(row["FS Free Size"] - free) <= max(total // 20, 1024), (row, free)
        if total:
            df = run("df", "-k", "--output=size", each["target"]).split()[-1]
            assert int(df) == total, (row, df)


def check_dead_mounts(program, store):
    """The rows of the others are whole."""
    rows = rows_of(run(program, "partition", "--format", "json", "--config", store,
                       status=3))
    check_rows(rows)
    dead = [row for row in rows if row["Type"] == 2]
    assert [row["Server Hostname"] for row in dead] == ["fileserver0.example", "fileserver1.example"]
    assert all(row["FS Total Size"] == 0 and row["Server Path"] == "/export/bob" for row in dead)
    told = run(program, "explain", "partition", "--config", store, status=3)
    for row in dead:
        assert re.search(rf"statvfs {row['FS Mount Point']} .* no answer in time", told), told


def check_redaction(program, store, capture):
    """No name is left in a redacted capture, nor in what is told of the servers that are dead, and a
    replay equals the redacted scan."""
    names = (b"alice", b"bob", b"fileserver", b"a b", b"scratch")
    scan = run(program, "capture", capture, "--redact", "--config", store, "--format", "json",
               status=3)
    for file in capture.rglob("*"):
        text = file.read_bytes() if file.is_file() and not file.is_symlink() else b""
        for name in names:
            assert name not in text, (file, name)
    told = subprocess.run([program, "partition", "--redact", "--config", store, "--format", "json"],
                          capture_output=True)
    assert told.stderr.count(b"statvfs /tmp/redacted-") == 2, told.stderr
    assert not any(name in told.stdout + told.stderr for name in names), told
    replayed = run(program, "--machine", capture, "--format", "json")
    assert rows_of(replayed) == rows_of(scan)
    assert "/tmp/redacted-" in replayed and "@redacted-" in replayed


def main():
    program = os.path.abspath(sys.argv[1])
    if libc.unshare(CLONE_NEWNS) or libc.mount(b"none", b"/", None, MS_REC_PRIVATE, None):
        return SKIPPED
    # Those of network namespaces vanish from here too when somebody deletes the files that they are on.
    subprocess.run(["umount", "--all", "--lazy", "--types", "nsfs"])
    with tempfile.TemporaryDirectory(dir="/tmp", prefix="scratch") as directory:
        root = pathlib.Path(directory)
        mount("tmpfs", root, "tmpfs")  # goes with all that is mounted in it
        try:
            store = root / "store"
            store.write_text("[hwscanner]\ntimeout = 700000\n[agent]\nredact_key = k\n")
            make_mounts(root)
            check_rows(rows_of(run(program, "partition", "--format", "json")))
            if os.access("/dev/fuse", os.R_OK | os.W_OK):
                kept = make_dead_mounts(root)
                check_dead_mounts(program, store)
                check_redaction(program, store, root / "capture")
                for descriptor in kept:
                    os.close(descriptor)
        finally:
            libc.umount2(str(root).encode(), 2)
    return 0


if __name__ == "__main__":
    sys.exit(main())
