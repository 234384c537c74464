"""Holds the helper program cpuid against lscpu and the cpuid tool, here and inside virtual machines:
cpuid_test.py HELPER DIRECTORY

DIRECTORY keeps the kernel between runs."""

import json
import re
import subprocess
import sys
import unittest
from pathlib import Path

import machine

HELPER = str(Path(sys.argv[1]).resolve())
DIRECTORY = Path(sys.argv[2]).resolve()

TOOLS = ["/usr/bin/lscpu", "/usr/bin/cpuid"]
COMMANDS = {
    "helper": HELPER,
    "lscpu": "lscpu -J",
    "caches": "lscpu -J -B -C",
    "cpuid": "cpuid -1",
    "registers": "cpuid -1 -r -l 1",
}
# The same again without one of the processors.
OFFLINE = {
    "helper-offline": f"echo 0 >/sys/devices/system/cpu/cpu1/online; {HELPER}",
    "lscpu-offline": "lscpu -J",
}


class Node(dict):
    """A node of an answer: values by name, and lists of children."""

    def __init__(self):
        self.children = {}

    def only(self, name):
        (child,) = self.children[name]
        return child


def answer_in(text):
    lines = iter(text.splitlines())
    assert next(lines) == "1.0 0 OK", text
    stack = [Node()]
    for line in map(str.strip, lines):
        if line.startswith("("):
            stack.append(Node())
            stack[-2].children.setdefault(line[1:], []).append(stack[-1])
        elif line == ")":
            stack.pop()
        elif value := re.fullmatch(r"(\w+):([is])=(.*)", line):
            stack[-1][value[1]] = int(value[3]) if value[2] == "i" else value[3]
        elif line:
            raise ValueError(f"{line!r} in {text}")
    assert len(stack) == 1, text
    return stack[0]


def fields_of(entries):
    found = {}
    for entry in entries:
        found[entry["field"].rstrip(":")] = entry["data"]
        found |= fields_of(entry.get("children", []))
    return found


class Machine:
    """What helper and tools say on one machine. The tools look for a hypervisor by other rules, so
    that only signatures compare."""

    def __init__(self, outputs):
        self.outputs = outputs
        self.answer = answer_in(outputs["helper"])
        self.table = self.answer.only("ProcessorTable")
        self.packages = self.table.children["Processor"]
        self.lscpu = fields_of(json.loads(outputs["lscpu"])["lscpu"])
        self.caches = {cache["name"]: int(cache["one-size"]) // 1024
                       for cache in json.loads(outputs["caches"])["caches"]}

    def cpuid_count(self, letter):
        """From a line such as "(multi-processing synth) = multi-core (c=4), hyper-threaded (t=2)"."""
        line = re.search(r"\(multi-processing synth\) = (.*)", self.outputs["cpuid"])[1]
        count = re.search(rf"\({letter}=(\d+)\)", line)
        return int(count[1]) if count else 1


def this_machine():
    return Machine({name: subprocess.check_output(command, shell=True, text=True)
                    for name, command in COMMANDS.items()})


def virtual_machine(smp, cpu, *options, more={}):
    return Machine(machine.boot(DIRECTORY, [HELPER, *TOOLS], COMMANDS | more, "-m", "256",
                                "-smp", smp, "-cpu", f"{cpu},check=off", *options))


class Processors(unittest.TestCase):
    def assert_agreement(self, vm):
        sockets, cores, threads = (int(vm.lscpu[field]) for field in (
            "Socket(s)", "Core(s) per socket", "Thread(s) per core"))
        self.assertEqual(len(vm.packages), sockets)
        self.assertEqual([vm.table[f"Active{kind}Count"] for kind in ("Package", "Core", "Processor")],
                         [sockets, sockets * cores, int(vm.lscpu["CPU(s)"])])
        for package in vm.packages:
            self.assert_package(package, vm, cores, threads)

    def assert_virtual(self, vm):
        self.assert_agreement(vm)
        # The emulator's firmware tells the truth.
        for kind in ("Package", "Core", "Processor"):
            self.assertEqual(vm.table[f"BiosTotal{kind}Count"], vm.table[f"Active{kind}Count"])

    def assert_package(self, package, vm, cores, threads):
        expected = {
            "Manufacturer": vm.lscpu["Vendor ID"], "BrandName": vm.lscpu["Model name"],
            "ActiveCoreCount": cores, "ActiveProcCount": cores * threads,
            "TotalCoreCount": cores, "TotalProcCount": cores * threads, "ProcsPerCore": threads,
            "L2CacheSizeKB": vm.caches["L2"], "L3CacheSizeKB": vm.caches.get("L3", 0),
            "Is64bit": 1}
        self.assertEqual(dict(package), dict(package) | expected)
        self.assertEqual(package.only("CPUID"), {
            "CorePerPackageCount": vm.cpuid_count("c"), "HtPerCoreCount": vm.cpuid_count("t"),
            "Signature": package["Signature"]})
        self.assertIn(f"eax=0x{package['Signature'].lower()} ", vm.outputs["registers"])
        family, model, stepping = (int(vm.lscpu[field]) for field in (
            "CPU family", "Model", "Stepping"))
        signature = int(package["Signature"], 16)
        self.assertEqual((signature >> 8 & 15) + (signature >> 20), family)
        self.assertEqual((signature >> 4 & 15) + (signature >> 12 & 0xF0), model)
        self.assertEqual(signature & 15, stepping)

    def test_this_machine(self):
        self.assert_agreement(this_machine())

    def test_intel_sockets_cores_and_threads(self):
        vm = virtual_machine("sockets=2,cores=2,threads=2", "Nehalem", more=OFFLINE)
        self.assert_virtual(vm)
        self.assertEqual(vm.packages[0].only("Features"), {"IEM64T": 1, "LM": 1})
        signature = re.search(r'hypervisor_id \(0x40000000\) = "(.*)"', vm.outputs["cpuid"])[1]
        self.assertEqual(vm.answer.only("Hypervisor")["Vendor"], signature)
        # The second thread of a core, so that all cores stay.
        table = answer_in(vm.outputs["helper-offline"]).only("ProcessorTable")
        self.assertEqual([table["ActiveProcessorCount"], table["ActiveCoreCount"]], [7, 4])
        self.assertEqual([package["TotalProcCount"] for package in table.children["Processor"]], [4, 4])

    def test_amd_cores(self):
        vm = virtual_machine("sockets=1,cores=8", "EPYC", more=OFFLINE)
        self.assert_virtual(vm)
        (package,) = answer_in(vm.outputs["helper-offline"]).only("ProcessorTable").children["Processor"]
        lscpu = fields_of(json.loads(vm.outputs["lscpu-offline"])["lscpu"])
        self.assertEqual(package["ActiveCoreCount"], int(lscpu["Core(s) per socket"]))
        self.assertEqual([package["TotalCoreCount"], package["TotalProcCount"]], [8, int(lscpu["CPU(s)"])])

    def test_eight_sockets(self):
        self.assert_virtual(virtual_machine("sockets=8", "qemu64"))

    def test_a_hypervisor_that_hides(self):
        vm = virtual_machine(
            "1", "max,-hypervisor", "-smbios",
            "type=1,manufacturer=VMware,, Inc.,product=VMware7,,1,version=None,serial=S-1,"
            "uuid=01234567-89ab-cdef-0123-456789abcdef")
        self.assert_virtual(vm)
        hypervisor = vm.answer.only("Hypervisor")
        self.assertEqual([hypervisor["Vendor"], hypervisor["Virtualization"]], ["", "VMware"])
        self.assertEqual(vm.answer.only("System"), {
            "Manufacturer": "VMware, Inc.", "ProductName": "VMware7,1", "Version": "None",
            "SerialNumber": "S-1", "UUID": "01234567-89AB-CDEF-0123-456789ABCDEF"})


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
