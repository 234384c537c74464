"""Scans a virtual machine whose file server is stopped and whose disk stops answering: dead_test.py
INVSCAN DIRECTORY

DIRECTORY keeps the kernel between runs."""

import json
import sys
import unittest
from pathlib import Path

import machine

PROGRAM = str(Path(sys.argv[1]).resolve())
DIRECTORY = Path(sys.argv[2]).resolve()
MODULES = "nfsd nfsv4 sd-mod sg scsi-debug".split()

# The server's tables are the kernel's own: who the client is, what is exported, and its root.
SETUP = r"""
    exec 2>&1; echo 1 >/proc/sys/kernel/printk
    busybox ip link set lo up; mkdir /sbin /export /net /again
    mount -t tmpfs -o size=4m none /export; mount -t nfsd none /proc/fs/nfsd
    echo nfsd 127.0.0.1 2000000000 client >/proc/net/rpc/auth.unix.ip/channel
    echo client /export 2000000000 9218 65534 65534 0 >/proc/net/rpc/nfsd.export/channel
    echo 'client 1 \x00000000 2000000000 /export' >/proc/net/rpc/nfsd.fh/channel
    echo -2 -3 +4 >/proc/fs/nfsd/versions; echo tcp 2049 >/proc/fs/nfsd/portlist
    echo 2 >/proc/fs/nfsd/threads
    mount -t nfs4 -o vers=4.1,hard,addr=127.0.0.1,clientaddr=127.0.0.1 127.0.0.1:/ /net
    mount --bind /net /again; busybox rmmod sg
    echo '#!/bin/sh
    case "$*" in *-r*) busybox rmmod sg;; *) busybox insmod /root/sg.ko;; esac
    echo "$@: $?" >>/root/asked' >/sbin/modprobe; busybox chmod +x /sbin/modprobe
"""
LIMIT = 4000  # milliseconds; microseconds for statistics
SPACE = f"echo '[hwscanner]\ntimeout = {LIMIT}000' >/root/store; {PROGRAM} --config /root/store "
SCAN = SPACE + "--format json Partition 2>/dev/null"
CLASSIC = (f"echo '[hwscanner]\ntimeout = {LIMIT}' >/root/store; rm -f /root/asked; {PROGRAM} "
           "--config /root/store --classic --format json Storage 2>/dev/null")
DEBUG = "/sys/bus/pseudo/drivers/scsi_debug"
COMMANDS = {"setup": f"({SETUP})", "alive": SCAN,
            "stop": "echo 0 >/proc/fs/nfsd/threads", "dead": SCAN,
            "explain": f"{SPACE} explain Partition 2>/dev/null",
            "answering": CLASSIC,
            "silence": f"echo 4 >{DEBUG}/opts; echo 1 >{DEBUG}/every_nth",
            "silent": CLASSIC, "asked": "cat /root/asked",
            # Else the machine waits for the disk when it is switched off.
            "answers": f"echo 0 >{DEBUG}/opts; busybox sleep 3"}


class Dead(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.outputs = machine.boot(DIRECTORY, [PROGRAM], COMMANDS, "-m", "512", modules=MODULES)

    def group(self, output, name):
        return json.loads(self.outputs[output])["groups"][name]

    def test_stopped_server_costs_one_time_out_and_no_other_row(self):
        alive, dead = self.group("alive", "Partition"), self.group("dead", "Partition")
        places = [row["FS Mount Point"] for row in alive["rows"]
                  if row["FS Access Point"] == "127.0.0.1:/"]
        self.assertEqual(places, ["/net", "/again"], self.outputs["setup"])
        for before, after in zip(alive["rows"], dead["rows"], strict=True):
            if before["FS Mount Point"] in places:
                self.assertEqual(before["FS Total Size"], 4096)
                before |= dict.fromkeys(("Physical Size", "FS Total Size", "FS Free Size"), 0)
            self.assertEqual(after, before)
        self.assertGreaterEqual(dead["duration_ms"], LIMIT)
        self.assertLess(dead["duration_ms"], 2 * LIMIT)
        self.assertRegex(self.outputs["explain"], r"statvfs /net .* no answer in time\n"
                                                  r".*statvfs /again .* not asked: did not answer")

    def test_driver_is_to_be_unloaded_after_a_disk_hung(self):
        self.assertEqual(len(self.group("answering", "Storage")["rows"]), 1)
        silent = self.group("silent", "Storage")
        self.assertEqual((silent["status"], silent["rows"]), ("timeout", []))
        self.assertIn("no answer in time", silent["trouble"])
        # The kernel refuses that for as long as a command is under way.
        self.assertEqual(self.outputs["asked"].split("\n")[:2],
                         ["--first-time sg: 0", "--first-time -r sg: 1"])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
