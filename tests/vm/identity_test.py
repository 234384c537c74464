"""Asks virtual machines of several hypervisors what they are, against independent tools inside:
identity_test.py INVSCAN DIRECTORY

DIRECTORY keeps the kernel between runs. The hypervisors are one emulator in disguise: guests tell
hypervisors by signature, firmware and port."""

import json
import re
import shutil
import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).parent.parent))

import machine  # noqa: E402
from hardware_test import GROUPS as HARDWARE, mode_complaints, processor_complaints  # noqa: E402

PROGRAM = str(Path(sys.argv[1]).resolve())
HELPER = str(Path(PROGRAM).parent.parent / "lib/invscan/bin/cpuid")
DIRECTORY = Path(sys.argv[2]).resolve()
FILES = (PROGRAM, HELPER, "/usr/bin/perl", "/usr/bin/lscpu", "/usr/bin/lspci",
         "/usr/sbin/dmidecode", "/usr/bin/systemd-detect-virt",
         "/lib/x86_64-linux-gnu/libudev.so.1", "/lib/udev/hwdb.bin", "/usr/share/misc/pci.ids")

MODES = ("native", "classic")
IDENTITY = ("ComponentID", "Lpar", "VirtualMachineGuest")
# VMware lets every program use its port; the emulator wants to see the privilege.
PRIVILEGED = "LC_ALL=C /usr/bin/perl -e 'syscall(172, 3) == 0 or die; exec @ARGV or die'"
GROUPS = " ".join(f"'{name}'" for name in (*IDENTITY, *HARDWARE))
SCAN = f"{PRIVILEGED} {PROGRAM} --format json {GROUPS} 2>/dev/null"
TOOL = "/usr/bin/vmware-rpctool"
COMMANDS = {"tool": f"printf '#!/bin/sh\\necho node-7\\n' >{TOOL}; chmod +x {TOOL}",
            "native": SCAN, "classic": f"{SCAN} --classic", "virt": "systemd-detect-virt",
            "lscpu": "lscpu | cat", "listing": "lscpu -J -e", "firmware": "dmidecode -t 1",
            "devices": "lspci -vmmnn"}
OFFLINE = {"offline": "echo 0 >/sys/devices/system/cpu/cpu1/online"}

# Those that the library's own classification does not know; native sources name them.
OTHERS = {"xen": "Xen", "oracle": "VirtualBox"}
VMWARE = ("VMwareVMware", "VMware, Inc.", "VMware7,1")


def emulator(signature):
    """qemu with another signature than its own."""
    place = DIRECTORY / "emulator"
    (place / "bin").mkdir(parents=True, exist_ok=True)
    for name in ("lib", "share"):  # it looks for its files beside its program
        if not (place / name).is_symlink():
            (place / name).symlink_to(f"/usr/{name}")
    # Three instructions, each with four of the twelve letters.
    pattern = re.compile(rb"(\xc7.{1,3})TCGT(.?\xc7.{1,3})CGTC(.?\xc7.{1,3})GTCG", re.DOTALL)
    letters = [signature.encode().ljust(12, b"\0")[i:i + 4] for i in (0, 4, 8)]
    code, count = pattern.subn(
        lambda found: b"".join(part for pair in zip(found.groups(), letters) for part in pair),
        Path(shutil.which("qemu-system-x86_64")).read_bytes())
    if count != 1:
        raise unittest.SkipTest("this qemu has its signature where it cannot be replaced")
    program = place / "bin/qemu-system-x86_64"
    program.write_bytes(code)
    program.chmod(0o755)
    return program


def fields(text):
    return dict(re.findall(r"^\s*([^:\n]+):\s+(.*?)\s*$", text, re.MULTILINE))


def device(text):
    """Name and class of a device as lspci has them, and as we put what it has no name for."""
    found = fields(text)
    (vendor, number), (name, code), (kind, _) = (
        re.fullmatch(r"(.*) \[([0-9a-f]{4})\]", found[key]).groups()
        for key in ("Vendor", "Device", "Class"))
    if vendor == "Vendor":
        return [f"Device {number}:{code}", kind]
    return [f"{vendor} {name}" + (f" {code}" if name == "Device" else ""), kind]


class Identities(unittest.TestCase):
    def boot(self, signature, maker, product, *options, more={}, cpu="Nehalem,check=off"):
        maker, product = (text.replace(",", ",,") for text in (maker, product))
        outputs = machine.boot(
            DIRECTORY, FILES, more | COMMANDS, "-M", "vmport=off", "-m", "2048", "-cpu", cpu,
            *options, "-smbios", f"type=1,manufacturer={maker},product={product},version=V-2,"
            "serial=S-1,uuid=01234567-89ab-cdef-0123-456789abcdef",
            emulator=emulator(signature) if signature else "qemu-system-x86_64")
        scans = {}
        for mode in MODES:
            groups = json.loads(outputs[mode])["groups"]
            scans[mode] = {name: group["rows"] for name, group in groups.items()}
        return outputs, scans

    def assert_hardware(self, outputs, scans):
        native, classic = ([groups[name] for name in HARDWARE] for groups in scans.values())
        found = [*processor_complaints(*native[:2], outputs["listing"], outputs["lscpu"]),
                 *mode_complaints(native, classic)]
        self.assertEqual([what for holds, what in found if not holds], [])
        self.assertEqual([[row["Name"], row["Class"]] for row in native[2]],
                         [device(part) for part in outputs["devices"].strip().split("\n\n")])

    def assert_identity(self, outputs, groups, hypervisor):
        identity, lpar = groups["ComponentID"][0], groups["Lpar"][0]
        firmware = fields(outputs["firmware"])
        for ours, theirs in (("Manufacturer", "Manufacturer"), ("Product", "Product Name"),
                             ("Version", "Version"), ("Serial Number", "Serial Number")):
            self.assertEqual(identity[ours], firmware[theirs])
        self.assertEqual(identity["UUID"].lower(), firmware["UUID"].lower())
        self.assertEqual(lpar["OnlineVirtualCpus"], outputs["listing"].count('"online": true'))
        self.assertEqual(lpar["ActivePackages"], int(fields(outputs["lscpu"])["Socket(s)"]))
        self.assertEqual((lpar["IsVirtual"], lpar.get("HypervisorType")),
                         ("T" if hypervisor else "F", hypervisor))
        guest = {"UUID": "S-1" if hypervisor == "Hyper-V" else identity["UUID"],
                 "HypervisorType": hypervisor}
        isKnown = hypervisor and hypervisor not in OTHERS.values()
        self.assertEqual(groups["VirtualMachineGuest"], [guest] if isKnown else [])

    def assert_machine(self, virt, disguise, *options, guest=None, told=(), modes=MODES, **given):
        """The hypervisor goes by that name with the other tool; guest is its name in the library's
        own classification. The modes in which the port tells of the administrator's keys."""
        outputs, scans = self.boot(*disguise, *options, **given)
        self.assertEqual(outputs["virt"].strip(), virt)
        self.assert_hardware(outputs, scans)
        for mode in modes:
            with self.subTest(mode):
                other = OTHERS.get(virt) if mode == "native" else None
                self.assert_identity(outputs, scans[mode], guest or other)
                node = scans[mode]["Lpar"][0].get("NodeID")
                self.assertEqual(node, "node-7" if mode in told else None)

    def test_vmware(self):
        self.assert_machine("vmware", VMWARE, "-M", "pc,vmport=on", "-smp",
                            "sockets=2,cores=2,threads=2", guest="VMware", told=MODES)

    def test_vmware_without_its_port(self):
        self.assert_machine("vmware", VMWARE, "-smp", "sockets=8", guest="VMware")

    def test_kvm_with_two_nodes(self):
        nodes = ("-object", "memory-backend-ram,id=a,size=1G", "-numa", "node,memdev=a,cpus=0-3",
                 "-object", "memory-backend-ram,id=b,size=1G", "-numa", "node,memdev=b,cpus=4-7")
        # It has VMware's port, too, which native sources do not believe.
        self.assert_machine("kvm", ("KVMKVMKVM", "QEMU", "Standard PC"), "-M", "pc,vmport=on",
                            "-smp", "sockets=2,cores=4", *nodes, guest="KVM", told=("classic",),
                            more=OFFLINE)

    def test_hyper_v(self):
        disguise = ("Microsoft Hv", "Microsoft Corporation", "Virtual Machine")
        self.assert_machine("microsoft", disguise, "-M", "q35,vmport=off", "-smp", "4",
                            guest="Hyper-V")

    def test_management_of_hyper_v(self):
        # Here the two must differ: the partition that manages the others is no guest.
        self.assert_machine("microsoft", ("Microsoft Hv", "Maker", "Model 7"))

    def test_xen(self):
        # Its firmware would call the hypervisor that it believes in.
        self.assert_machine("xen", ("XenVMMXenVMM", "Xen", "HVM domU"), "-smp", "2", "-M",
                            "q35,vmport=off", "-bios", machine.OVMF, more=OFFLINE,
                            modes=("native",))

    def test_virtualbox(self):
        self.assert_machine("oracle", ("VBoxVBoxVBox", "innotek GmbH", "VirtualBox"))

    def test_no_hypervisor(self):
        self.assert_machine("none", (None, "Maker", "Model 7"), cpu="Nehalem,check=off,-hypervisor")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
