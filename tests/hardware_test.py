#!/usr/bin/env python3
"""Scans captures of real machines, and this machine, and holds processors, packages and PCI devices
against what independent tools say of them.

usage: hardware_test.py INVSCAN
"""

import csv
import json
import pathlib
import re
import shutil
import subprocess
import sys
import tarfile
import tempfile
from collections import Counter

DATA = pathlib.Path(__file__).with_name("data") / "machines"
# Where the two must differ.
DIFFERENCES = {("hwloc-xeon-4s2c2t-offlines", "active packages"):
               "Its /proc/cpuinfo was taken before processors went offline."}
GROUPS = ("Processor", "PhysicalProcessor", "PCI Device")


def printed(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True, timeout=60).stdout


def scan(program, *options):
    run = subprocess.run([program, *options, "--format", "json", *GROUPS], capture_output=True,
                         text=True, timeout=60)
    assert run.returncode in (0, 3), run  # 3: the firmware's table is root's to read
    groups = json.loads(run.stdout)["groups"]
    return [groups[name]["rows"] for name in GROUPS]


def cache_total(text, level):
    """In KiB, all instances together."""
    if found := re.search(rf"^L{level} cache: +([\d.]+) (KiB|MiB)", text, re.MULTILINE):
        return float(found[1]) * (1024 if found[2] == "MiB" else 1)
    return 0


def processor_complaints(rows, packages, listing, text):
    cpus = json.loads(re.sub(r": -([,\n])", r": null\1", listing))["cpus"]
    online, offline = ([cpu for cpu in cpus if cpu["online"] == state] for state in (True, False))
    pairs = list(zip(online, rows))
    sockets = [(cpu["socket"], row["Physical ID"]) for cpu, row in pairs]
    cores = [(cpu["core"], (row["Physical ID"], row["Core ID"])) for cpu, row in pairs]
    threads = Counter(cpu["core"] for cpu in online)
    cores_in = {socket: len({cpu["core"] for cpu in online if cpu["socket"] == socket})
                for socket, _ in sockets}
    yield len(rows) == len(cpus), "number of processors"
    for name, found in (("packages", sockets), ("cores", cores)):
        sides = [len({pair[side] for pair in found}) for side in (0, 1)]
        yield sides == [len(set(found))] * 2, f"{name} are grouped differently"
    yield all(row["Threads per Core"] == threads[cpu["core"]] for cpu, row in pairs), "threads"
    yield all(row["Cores per Package"] == cores_in[cpu["socket"]] for cpu, row in pairs), "cores"
    yield all("Physical ID" not in row for row in rows[len(online):]), "offline ones have a place"
    for level in (2, 3):
        sizes = {}
        for cpu, row in pairs:
            caches, = (dict(zip(key.split(":"), cpu[key].split(":")))
                       for key in cpu if key.startswith("l1"))
            if f"l{level}" in caches:
                sizes[caches[f"l{level}"]] = row.get(f"L{level} Cache Size", 0)
        total = cache_total(text, level)
        yield abs(sum(sizes.values()) - total) <= total / 100, f"level {level}: {sizes}, not {total}"
    yield len({row["ID"] for row in rows}) == len(rows), "an ID is not of one processor alone"
    yield sum(package["ActiveProcessorCount"] for package in packages) == len(online), "active packages"
    yield sum(package["TotalProcessorCount"] for package in packages) == len(cpus), "packages"
    model = " ".join(re.search(r"Model name: +(.*)", text)[1].split())
    yield {row["Model"] for row in rows} == {model}, "model"


def mode_complaints(native, classic):
    ids = [row["ID"] for row in native[0] if "Physical ID" in row]
    yield set(ids) <= {row["ID"] for row in classic[0]}, "classic IDs differ"
    yield classic[1:] == native[1:], "classic packages or devices differ"


def pci_complaints(rows, truth):
    expected = [[f"Device {function['vendor']}:{function['device']}", f"Class {function['class'][:4]}"]
                for function in csv.DictReader(truth.open(), delimiter="\t")]
    yield [[row["Name"], row["Class"]] for row in rows] == expected, "PCI devices"


def machine_complaints(program, capture):
    truth = capture / "truth"
    native = scan(program, "--machine", capture)
    yield from processor_complaints(*native[:2], (truth / "lscpu-e.json").read_text(),
                                    (truth / "lscpu.txt").read_text())
    yield from mode_complaints(native, scan(program, "--machine", capture, "--classic"))
    if (truth / "pci.tsv").exists():
        yield from pci_complaints(native[2], truth / "pci.tsv")


def main():
    program, found, held = sys.argv[1], [], 0
    with tempfile.TemporaryDirectory() as name:
        checks = {}
        for archive in sorted(DATA.glob("*.tar.gz")):
            with tarfile.open(archive) as files:
                files.extractall(name)
            machine = archive.name.removesuffix(".tar.gz")
            checks[machine] = list(machine_complaints(program, pathlib.Path(name) / machine))
        if shutil.which("lscpu"):
            checks["this machine"] = list(processor_complaints(
                *scan(program)[:2], printed("lscpu", "-J", "-e"), printed("lscpu")))
    for machine, results in checks.items():
        found += (f"{machine}: {what}" for holds, what in results
                  if holds == ((machine, what) in DIFFERENCES))
        held += len(results)
    print(*found, f"{held} facts of {len(checks)} machines were compared", sep="\n")
    return 1 if found or held < 50 else 0


if __name__ == "__main__":
    sys.exit(main())
