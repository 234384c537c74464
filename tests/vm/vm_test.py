"""Scans virtual machines from the inside, against dmidecode inside: vm_test.py INVSCAN DIRECTORY

DIRECTORY keeps the kernel between runs."""

import json
import sys
import unittest
from collections import Counter
from pathlib import Path

sys.path.insert(0, str(Path(__file__).parent.parent))

import firmware_test  # noqa: E402
import machine  # noqa: E402

PROGRAM = str(Path(sys.argv[1]).resolve())
DIRECTORY = Path(sys.argv[2]).resolve()

HELPER = str(Path(PROGRAM).parent.parent / "lib/invscan/bin/cpuid")

GROUPS = 'SMBIOS "Memory Modules" Memory ComponentID'
COMMANDS = {
    "dmidecode": "dmidecode",
    "native": f"{PROGRAM} --format json {GROUPS} 2>/dev/null",
    "classic": f"{PROGRAM} --classic --format json {GROUPS} 2>/dev/null",
    "explain": f"/usr/bin/setpriv --reuid 65534 --clear-groups {PROGRAM} --classic explain SMBIOS",
}

# The classic search takes the first "_DMI_" whose table can be read. SeaBIOS has that word in its code
# too, with an address behind it that is memory here; the kernel refuses to read that, and the search
# goes on to the true one. (With less memory nothing is there, which reads as a table of nothing.)
MEMORY = "2048"

# What a maker would have written into the firmware.
FIRMWARE = [
    "-smbios", "type=1,manufacturer=Bench,product=Model 7,version=B,serial=S-0042,"
               "uuid=01234567-89ab-cdef-0123-456789abcdef",
    "-smbios", "type=2,manufacturer=Bench,product=Board 7,version=1,serial=B-0042",
    "-smbios", "type=3,manufacturer=Bench,version=C,serial=C-0042,asset=A-1",
    "-smbios", "type=17,loc_pfx=DIMM_A,bank=BANK 0,manufacturer=Bench,serial=M-1,asset=M,part=P",
]


class VirtualMachines(unittest.TestCase):
    def boot(self, *options):
        programs = [PROGRAM, HELPER, "/usr/sbin/dmidecode", "/usr/bin/setpriv"]
        return machine.boot(DIRECTORY, programs, COMMANDS, "-m", MEMORY, *FIRMWARE, *options)

    def assert_agreement(self, outputs, mode):
        text = outputs["dmidecode"]
        groups = json.loads(outputs[mode])["groups"]
        scan = firmware_test.Scan(firmware_test.version_of(text), mode == "native")
        compared = Counter()
        comparison = firmware_test.Comparison(firmware_test.decoded(text), scan, Counter(), compared)
        rows = {name: group["rows"] for name, group in groups.items()}
        self.assertEqual(list(comparison.complaints(rows)), [])
        # The comparison had something to compare.
        self.assertEqual(rows["SMBIOS"][0]["System Serial Number"], "S-0042")
        self.assertGreater(sum(compared.values()), 20)

    def test_legacy_firmware_with_a_32_bit_entry_point(self):
        outputs = self.boot("-machine", "pc,smbios-entry-point-type=32")
        for mode in ("native", "classic"):
            with self.subTest(mode):
                self.assert_agreement(outputs, mode)
        self.assertRegex(outputs["explain"], "/dev/mem.*permission denied.*run as root")

    def test_uefi_with_a_64_bit_entry_point(self):
        outputs = self.boot("-machine", "q35,smbios-entry-point-type=64", "-bios", machine.OVMF)
        self.assertIn("SMBIOS 3.", outputs["dmidecode"])
        self.assert_agreement(outputs, "native")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
