"""Holds the helper program cpuid against lscpu and the cpuid tool, here and inside virtual machines:
cpuid_test.py HELPER DIRECTORY

DIRECTORY keeps the kernel between runs."""

import re
import subprocess
import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).parent.parent))

import machine  # noqa: E402
from helpers_test import tree_of  # noqa: E402

HELPER = str(Path(sys.argv[1]).resolve())
DIRECTORY = Path(sys.argv[2]).resolve()

COMMANDS = {"helper": HELPER, "lscpu": "lscpu", "caches": "lscpu -B --caches=NAME,ONE-SIZE",
            "cpuid": "cpuid -1"}
# The same again without one of the processors.
OFFLINE = {"offline": f"echo 0 >/sys/devices/system/cpu/cpu1/online; {HELPER}"}


def virtual_machine(smp, cpu, *options, more={}):
    return machine.boot(DIRECTORY, [HELPER, "/usr/bin/lscpu", "/usr/bin/cpuid"], COMMANDS | more,
                        "-m", "256", "-smp", smp, "-cpu", f"{cpu},check=off", *options)


class Processors(unittest.TestCase):
    def assert_within(self, expected, node):
        self.assertEqual(dict(node), dict(node) | expected)

    def assert_agreement(self, outputs, counts=("Active", "BiosTotal")):
        """The answer, when tools and firmware agree. (Tools find hypervisors by other rules.)"""
        lscpu = dict(re.findall(r"^ *(.+?): +(.+)$", outputs["lscpu"], re.MULTILINE))
        sockets, cores, threads, family, model, stepping = (int(lscpu[field]) for field in (
            "Socket(s)", "Core(s) per socket", "Thread(s) per core", "CPU family", "Model", "Stepping"))
        caches = dict(line.split() for line in outputs["caches"].splitlines() if line)
        # A line such as "(multi-processing synth) = multi-core (c=4), hyper-threaded (t=2)".
        stated = re.search(r"\(multi-processing synth\) = .*", outputs["cpuid"])[0]
        stated = {"c": "1", "t": "1"} | dict(re.findall(r"\(([ct])=(\d+)\)", stated))

        answer = tree_of(outputs["helper"])
        table = answer.only("ProcessorTable")
        for count in counts:
            self.assert_within({
                f"{count}PackageCount": sockets, f"{count}CoreCount": sockets * cores,
                f"{count}ProcessorCount": int(lscpu["CPU(s)"])}, table)
        self.assertEqual(len(table.children["Processor"]), sockets)
        for package in table.children["Processor"]:
            self.assert_within({
                "Manufacturer": lscpu["Vendor ID"], "BrandName": lscpu["Model name"], "Is64bit": 1,
                "ActiveCoreCount": cores, "ActiveProcCount": cores * threads,
                "TotalCoreCount": cores, "TotalProcCount": cores * threads, "ProcsPerCore": threads,
                "L2CacheSizeKB": int(caches["L2"]) // 1024,
                "L3CacheSizeKB": int(caches.get("L3", 0)) // 1024}, package)
            self.assertEqual(package.only("CPUID"), {
                "CorePerPackageCount": int(stated["c"]), "HtPerCoreCount": int(stated["t"]),
                "Signature": package["Signature"]})
            signature = int(package["Signature"], 16)
            self.assertEqual((signature >> 8 & 15) + (signature >> 20), family)
            self.assertEqual((signature >> 4 & 15) + (signature >> 12 & 0xF0), model)
            self.assertEqual(signature & 15, stepping)
        return answer

    def assert_offline(self, outputs, *expected):
        table = tree_of(outputs["offline"]).only("ProcessorTable")
        totals = [package["TotalProcCount"] for package in table.children["Processor"]]
        self.assertEqual((table["ActiveProcessorCount"], table["ActiveCoreCount"], totals), expected)

    def test_this_machine(self):
        self.assert_agreement({name: subprocess.check_output(command, shell=True, text=True)
                               for name, command in COMMANDS.items()}, ("Active",))

    def test_intel_sockets_cores_and_threads(self):
        outputs = virtual_machine("sockets=2,cores=2,threads=2", "Nehalem", more=OFFLINE)
        answer = self.assert_agreement(outputs)
        signature = re.search(r'hypervisor_id \(0x40000000\) = "(.*)"', outputs["cpuid"])[1]
        self.assertEqual(answer.only("Hypervisor")["Vendor"], signature)
        # The second thread of a core, so that all cores stay.
        self.assert_offline(outputs, 7, 4, [4, 4])

    def test_amd_cores(self):
        outputs = virtual_machine("sockets=1,cores=8", "EPYC", more=OFFLINE)
        self.assert_agreement(outputs)
        self.assert_offline(outputs, 7, 7, [8])

    def test_sockets_alone(self):
        self.assert_agreement(virtual_machine("sockets=8", "qemu64"))

    def test_a_hypervisor_that_hides(self):
        answer = self.assert_agreement(virtual_machine(
            "1", "max,-hypervisor", "-smbios",
            "type=1,manufacturer=VMware,, Inc.,product=VMware7,,1,version=None,serial=S-1,"
            "uuid=01234567-89ab-cdef-0123-456789abcdef"))
        self.assert_within({"Vendor": "", "Virtualization": "VMware"}, answer.only("Hypervisor"))
        self.assertEqual(answer.only("System"), {
            "Manufacturer": "VMware, Inc.", "ProductName": "VMware7,1", "Version": "None",
            "SerialNumber": "S-1", "UUID": "01234567-89AB-CDEF-0123-456789ABCDEF"})


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
