"""Runs diskscan in a virtual machine with every kind of disk that can be emulated, against lsblk
inside: disks_test.py DISKSCAN DIRECTORY

DIRECTORY keeps the kernel between runs."""

import os
import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).parent.parent))

import helpers_test  # noqa: E402
import machine  # noqa: E402

PROGRAM = str(Path(sys.argv[1]).resolve())
DIRECTORY = Path(sys.argv[2]).resolve()

PROGRAMS = [PROGRAM, "/usr/bin/lsblk", "/usr/bin/setpriv", "/sbin/lvm", "/sbin/mdadm", "/sbin/mkfs.ext4"]
MODULES = ("virtio-pci virtio-blk virtio-scsi mptsas ahci nvme xhci-pci usb-storage sdhci-pci mmc-block "
           "sd-mod sr-mod sg raid1 dm-mod zram loop crc32c-generic ext4").split()

# Two SAS disks, a disk and an optical drive at a virtual SCSI host, SATA, virtio and USB disks, a
# memory card, a namespace of its own and one that two controllers share.
DEVICES = """
    -device mptsas1068,id=m -device scsi-hd,bus=m.0,drive=d0,wwn=0x5000c50000000010
    -device scsi-hd,bus=m.0,drive=d1,wwn=0x5000c50000000011
    -device virtio-scsi-pci,id=v -device scsi-hd,bus=v.0,lun=3,drive=d2 -device scsi-cd,bus=v.0,lun=4
    -device ahci,id=a -device ide-hd,bus=a.2,drive=d3 -device virtio-blk-pci,drive=d4
    -device qemu-xhci -device usb-storage,drive=d5
    -device nvme,serial=one,drive=d6
    -device nvme-subsys,id=shared -device nvme,serial=two,subsys=shared
    -device nvme,serial=two,subsys=shared -device nvme-ns,drive=d7,shared=on
    -device sdhci-pci -device sd-card,drive=d8
""".split()
DISKS = 9
DISK_BYTES = 128 << 20

# A mirror of two disks, a logical volume on it and a third, swap, a file system on a bare disk, and
# one that is mounted twice, first at a place with a blank in its name.
SETUP = r"""
    exec 2>&1; export DM_DISABLE_UDEV=1; cd /root
    shared=$(echo /dev/nvme[12]n1)
    printf 'n\np\n1\n\n+60M\nn\np\n2\n\n\nw\n' | busybox fdisk /dev/vda
    mdadm --create /dev/md0 --level=1 --raid-devices=2 --metadata=1.2 --run /dev/sda /dev/sdb
    lvm vgcreate vg /dev/md0 /dev/nvme0n1
    lvm lvcreate -y -Zn -Wn -l 100%FREE -n data vg
    for device in /dev/mapper/vg-data /dev/vda1 $shared; do mkfs.ext4 -q -F $device; done
    busybox mkswap /dev/vda2; busybox swapon /dev/vda2
    mkdir -p lv "a blank" again bare
    mount /dev/mapper/vg-data lv; mount /dev/vda1 "a blank"; mount --bind "a blank" again
    mount $shared bare; echo 64M >/sys/block/zram0/disksize
    busybox dd if=/dev/zero of=image bs=1M count=8; busybox losetup /dev/loop0 image
"""
COMMANDS = {
    # Disks come up in their own time.
    "wait": "for second in $(busybox seq 60); do "
            f"[ $(ls /sys/class/block | busybox grep -cE '^(sd.|vda|nvme.n1|mmcblk0)$') = {DISKS} ] "
            "&& break; busybox sleep 1; done",
    "setup": f"({SETUP})",
    "lsblk": helpers_test.LSBLK,
    "diskscan": PROGRAM,
    "unprivileged": f"/usr/bin/setpriv --reuid 65534 --clear-groups {PROGRAM}",
}


def options():
    yield from ["-machine", "pc", "-m", "768", *DEVICES]
    for number in range(DISKS):
        image = DIRECTORY / f"disk{number}.raw"
        image.write_bytes(b"")
        os.truncate(image, DISK_BYTES)
        yield from ["-drive", f"file={image},if=none,format=raw,id=d{number}"]


class Disks(unittest.TestCase):
    def test_agrees_with_lsblk(self):
        outputs = machine.boot(DIRECTORY, PROGRAMS, COMMANDS, *options(), modules=MODULES)
        answer = outputs["diskscan"]
        self.assertEqual(outputs["unprivileged"], answer)
        helpers_test.assert_agreement(self, answer, outputs["lsblk"])
        scan = helpers_test.tree_of(answer).only("ScsiInfo")
        disks = scan.only("DiskTable").children["Disk"]
        self.assertEqual(len(disks), DISKS + 1, outputs["setup"])  # with the optical drive
        self.assertEqual(len({disk["WWPN"] for disk in disks}), 3)  # none, and of the SAS disks
        partitions = {each["Mount"]: each
                      for each in scan.only("PartitionTable").children["Partition"]}
        self.assertEqual(set(partitions), {"", "swap", "/root/a blank", "/root/bare", "/root/lv"})
        self.assertEqual(len(partitions["/root/lv"].children["Disk"]), 3)
        self.assertEqual({adapter["Type"] for adapter in scan.only("HbaTable").children["HBA"]},
                         {"SAS", "SATA", "SCSI", "USB"})


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
