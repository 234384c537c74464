"""Scans a virtual machine with every kind of disk that can be emulated, against lsblk, lsscsi and
findmnt inside, and by both sets of sources: disks_test.py INVSCAN DIRECTORY

DIRECTORY keeps the kernel between runs."""

import json
import os
import re
import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).parent.parent))

import helpers_test  # noqa: E402
import machine  # noqa: E402

AGENT = Path(sys.argv[1]).resolve()
DISKSCAN = AGENT.parent.parent / "lib/invscan/bin/diskscan"
DIRECTORY = Path(sys.argv[2]).resolve()

UDEV = ["/lib/systemd/systemd-udevd", "/bin/udevadm"]
UDEV += [f"/lib/udev/{name}" for name in ("ata_id", "cdrom_id", "scsi_id")]
UDEV += [f"/usr/lib/udev/rules.d/{name}.rules"
         for name in ("50-udev-default", "60-cdrom_id", "60-persistent-storage")]
PROGRAMS = [AGENT, DISKSCAN, *UDEV, "/usr/bin/lsblk", "/usr/bin/lsscsi", "/usr/bin/findmnt",
            "/usr/bin/strace", "/usr/bin/setpriv", "/sbin/lvm", "/sbin/mdadm", "/sbin/dmsetup",
            "/sbin/mkfs.ext4"]
MODULES = ("virtio-pci virtio-blk virtio-scsi mptsas ahci ata-piix sym53c8xx vmw-pvscsi nvme xhci-pci "
           "usb-storage uas sdhci-pci mmc-block floppy sd-mod sr-mod st sg scsi-debug raid1 dm-mod "
           "dm-multipath dm-round-robin zram loop crc32c-generic ext4").split()

# Two SAS disks; a disk, an empty optical drive and two paths to another disk at a virtual SCSI host;
# SATA and IDE disks, and an optical drive with a medium; parallel SCSI, virtio and USB disks, a
# memory card, a floppy; two namespaces of one controller and one that two controllers share.
DEVICES = """
    -device mptsas1068,id=m -device scsi-hd,bus=m.0,drive=d0,wwn=0x5000c50000000010
    -device scsi-hd,bus=m.0,drive=d1,wwn=0x5000c50000000011
    -device virtio-scsi-pci,id=v -device scsi-hd,bus=v.0,lun=3,drive=d2 -device scsi-cd,bus=v.0,lun=4
    -device scsi-hd,bus=v.0,lun=5,drive=path1,share-rw=on,serial=paths,wwn=0x5000c50000000020
    -device scsi-hd,bus=v.0,lun=6,drive=path2,share-rw=on,serial=paths,wwn=0x5000c50000000020
    -device ahci,id=a
    -device ide-hd,bus=a.2,drive=d3,serial=ahci,model=A_model_longer_than_SCSI_has_room_for
    -device ide-hd,bus=ide.0,drive=d9,serial=ide -device ide-cd,bus=ide.1,drive=cd,serial=cd
    -device lsi53c895a,id=l -device scsi-hd,bus=l.0,drive=d10,vendor=ACME,product=Rapid,serial=lsi
    -device pvscsi,id=p -device scsi-hd,bus=p.0,drive=d11,device_id=pv
    -device virtio-blk-pci,drive=d4,serial=virtio
    -device qemu-xhci,id=x -device usb-storage,bus=x.0,drive=d5,serial=usb
    -device usb-uas,bus=x.0,id=u,serial=uas -device scsi-hd,bus=u.0,drive=d12
    -device nvme,id=n,serial=one -device nvme-ns,bus=n,drive=d6 -device nvme-ns,bus=n,drive=d13
    -device nvme-subsys,id=shared -device nvme,serial=two,subsys=shared
    -device nvme,serial=two,subsys=shared -device nvme-ns,drive=d7,shared=on
    -device sdhci-pci -device sd-card,drive=d8 -device floppy,drive=floppy
""".split()
DRIVES = {**{f"d{number}": 128 << 20 for number in range(14)}, "path1": 64 << 20, "path2": 64 << 20,
          "cd": 5 << 20, "floppy": 1440 << 10}
DISKS = 17  # all but the last two, and one in memory

# A mirror of two disks, a logical volume on it and a third, a map of both paths, swap, a file system
# on a bare disk, and one that is mounted twice, first at a place with a blank in its name; a tape.
SETUP = r"""
    exec 2>&1; export DM_DISABLE_UDEV=1; cd /root; echo 1 >/proc/sys/kernel/printk
    busybox rmmod scsi_debug; busybox insmod scsi_debug.ko ptype=1
    shared=$(echo /dev/nvme[12]n1)
    paths=$(busybox grep -hs . /sys/bus/scsi/devices/*:[56]/block/*/dev)
    sas=$(for disk in /sys/class/sas_end_device/*/device/*/*/block/*; do echo /dev/${disk##*/}; done)
    printf 'n\np\n1\n\n+60M\nn\np\n2\n\n\nw\n' | busybox fdisk /dev/vda
    mdadm --create /dev/md0 --level=1 --raid-devices=2 --metadata=1.2 --run $sas
    lvm vgcreate vg /dev/md0 /dev/nvme0n1
    lvm lvcreate -y -Zn -Wn -l 100%FREE -n data vg
    dmsetup create paths --table "$(echo 0 131072 multipath 0 0 1 1 round-robin 0 2 0 $paths)"
    for device in /dev/mapper/vg-data /dev/vda1 $shared; do mkfs.ext4 -q -F $device; done
    busybox mkswap /dev/vda2; busybox swapon /dev/vda2
    mkdir -p lv "a blank" again bare
    mount /dev/mapper/vg-data lv; mount /dev/vda1 "a blank"; mount --bind "a blank" again
    mount $shared bare; echo 64M >/sys/block/zram0/disksize
    busybox dd if=/dev/zero of=image bs=1M count=8; busybox losetup /dev/loop0 image
    /lib/systemd/systemd-udevd --daemon; udevadm trigger --subsystem-match=block; udevadm settle
    echo '#!/bin/sh
    case "$*" in *-r*) busybox rmmod sg;; *) busybox insmod /root/sg.ko;; esac' >/sbin/modprobe
    busybox chmod +x /sbin/modprobe
"""
GROUPS = 'Storage Partition PartitionToStorage "SAN Adapter"'
COMMANDS = {
    # Disks come up in their own time.
    "wait": "for second in $(busybox seq 60); do "
            f"[ $(ls /sys/class/block | busybox grep -cE '^(sd.|vda|nvme.n.|mmcblk0)$') = {DISKS} ] "
            "&& break; busybox sleep 1; done",
    "setup": f"({SETUP})",
    "lsblk": helpers_test.LSBLK,
    "lsscsi": "/usr/bin/lsscsi -g 2>/dev/null",
    "findmnt": "findmnt --json --list --bytes --output SOURCE,TARGET,SIZE,AVAIL",
    "diskscan": str(DISKSCAN),
    "unprivileged": f"/usr/bin/setpriv --reuid 65534 --clear-groups {DISKSCAN}",
    "native": f"{AGENT} --format json {GROUPS} 2>/dev/null",
    "strace": f"strace -f -e trace=open,openat,execve,init_module,finit_module {AGENT} {GROUPS} "
              "2>&1 >/dev/null | busybox grep -oE '(\"/dev/|execve.\"|module).*'",
    "classic": f"busybox rmmod sg; {AGENT} --classic --format json Storage 2>/dev/null",
    "modules": "busybox lsmod",
    **{f"replay{how}": f"{AGENT} {how} capture /root/of{how} {GROUPS} >/dev/null 2>&1; "
                       f"{AGENT} {how} --machine /root/of{how} --format json {GROUPS} 2>/dev/null"
       for how in ("", "--classic")},
}

# Device, attribute, lsblk's value and the row's, where they differ.
UNLIKE_LSBLK = {
    ("sr0", "Total Size", 1023, 0),  # the driver's for no medium
    ("mmcblk0", "Model", "", "QEMU!"),  # its name, which lsblk does not look for
    ("vda", "Manufacturer", "0x1af4", ""),  # there is no hardware database
}
# Serial number by native sources, attribute, classic value and native one, where they differ.
UNLIKE_CLASSIC = {
    ("ahci", "Model", "A_model_longer_t", "A_model_longer_than_SCSI_has_room_for"),
    # By udev or the USB device: there is no page for it.
    *((serial, "Serial Number", "", serial) for serial in ("d2", "pv", "uas", "cd")),
    ("", "Device", "", "fd0"),
}
TYPES = {"disk": 30, "cd/dvd": 17, "tape": 3}


def options():
    yield from ["-machine", "pc", "-m", "768", *DEVICES]
    for name, size in DRIVES.items():
        image = DIRECTORY / f"{name.replace('path2', 'path1')}.raw"
        image.write_bytes(b"")
        os.truncate(image, size)
        yield from ["-drive", f"file={image},if=none,format=raw,id={name},file.locking=off"]


def rows_of(scan):
    return {name: group["rows"] for name, group in json.loads(scan)["groups"].items()}


def differences(rows, others, attributes, key):
    """Where rows of a device are not what others have, which are of the same devices."""
    return {(row[key], each, others[device][each], row[each]) for device, row in rows.items()
            for each in attributes if device in others and others[device][each] != row[each]}


def by_device(rows):
    return {row["Device"] or "fd0": row for row in rows}


def as_row(node):
    texts = {"Model": "model", "Manufacturer": "vendor", "Serial Number": "serial"}
    return {"Total Size": node["size"] >> 20,
            **{name: (node[column] or "").strip() for name, column in texts.items()}}


class Disks(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.outputs = machine.boot(DIRECTORY, PROGRAMS, COMMANDS, *options(), modules=MODULES)
        cls.rows = rows_of(cls.outputs["native"])
        cls.devices = by_device(cls.rows["Storage"])

    def test_helper_agrees_with_lsblk(self):
        answer = self.outputs["diskscan"]
        self.assertEqual(self.outputs["unprivileged"], answer)
        helpers_test.assert_agreement(self, answer, self.outputs["lsblk"])
        scan = helpers_test.tree_of(answer).only("ScsiInfo")
        disks = scan.only("DiskTable").children["Disk"]
        self.assertEqual(len({disk["WWPN"] for disk in disks}), 3)  # none, and of the SAS disks
        adapters = scan.only("HbaTable").children["HBA"]
        self.assertEqual({each["Type"] for each in adapters}, {"SAS", "SATA", "IDE", "SCSI", "USB"})
        self.assertIn("uas", {each["Description"] for each in adapters})

    def test_native_storage_agrees_with_lsblk_and_lsscsi(self):
        nodes = json.loads(self.outputs["lsblk"])["blockdevices"]
        listed = {node["kname"]: as_row(node) for node in nodes
                  if node["type"] in ("disk", "rom") and not helpers_test.NO_DISKS.match(node["kname"])}
        self.assertEqual(self.devices.keys(), {*listed, "fd0", "st0"}, self.outputs["setup"])
        attributes = ("Model", "Manufacturer", "Serial Number", "Total Size")
        self.assertEqual(differences(self.devices, listed, attributes, "Device"), UNLIKE_LSBLK)
        lines = re.findall(r"\[(\d+):\S+\s+(\S+).* /dev/(\S+) +/dev/sg", self.outputs["lsscsi"])
        self.assertEqual({(f"host{host}", TYPES[kind], name) for host, kind, name in lines},
                         {(row["SAN Adapter"], row["Type"], name) for name, row in self.devices.items()
                          if row["SAN Adapter"]})

    def test_classic_storage_equals_native_storage(self):
        rows = by_device(rows_of(self.outputs["classic"])["Storage"])
        # Of the block layer alone.
        self.assertEqual(self.devices.keys() - rows.keys(),
                         {"vda", "mmcblk0", "nvme0n1", "nvme0n2",
                          *(name for name in self.devices if re.match("nvme[12]n1", name))})
        self.assertEqual(differences(self.devices, rows, [*self.devices["sda"]][1:], "Serial Number"),
                         UNLIKE_CLASSIC)
        self.assertNotRegex(self.outputs["modules"], r"(?m)^sg ")

    def test_capture_replays_commands_to_devices_too(self):
        native, classic = (rows_of(self.outputs[name]) for name in ("replay", "replay--classic"))
        for group in ("Storage", "PartitionToStorage", "SAN Adapter"):
            self.assertEqual(native[group], self.rows[group])
        self.assertEqual(classic["Storage"], rows_of(self.outputs["classic"])["Storage"])

    def test_partitions_agree_with_findmnt_and_join(self):
        mounts = [mount for mount in json.loads(self.outputs["findmnt"])["filesystems"]
                  if mount["source"].startswith("/dev/")]
        partitions = [row for row in self.rows["Partition"] if row["Device Name"].startswith("/dev/")]
        self.assertEqual([(row["FS Access Point"], row["FS Mount Point"],
                           row["FS Total Size"], row["FS Free Size"]) for row in partitions[:-1]],
                         [(each["source"], each["target"], each["size"] >> 10, each["avail"] >> 10)
                          for each in mounts])
        self.assertEqual([row["FS Type"] for row in partitions], [131] * 4 + [130])
        pairs = self.rows["PartitionToStorage"]
        self.assertLess({row["FS Access Point"] for row in partitions},
                        {pair["PartitionAccessPoint"] for pair in pairs})
        self.assertLess({pair["StorageDevice"] for pair in pairs}, self.devices.keys())

    def test_native_scan_opens_no_device_and_starts_no_program(self):
        used = re.findall(r'"(/[^"]+)",', self.outputs["strace"])
        self.assertEqual(set(used), {str(AGENT), "/dev/null"})
        self.assertEqual(used.count(str(AGENT)), 1)
        self.assertNotIn("module", self.outputs["strace"])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
