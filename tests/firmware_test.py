#!/usr/bin/env python3
"""Scans the firmware tables of real machines and holds the answers against an independent decoder's.

usage: firmware_test.py INVSCAN [MACHINE...]

Every table of data/smbios becomes a capture of a machine that shows it under /sys and, when its
entry point is a 32-bit one, of a machine that has it in memory. Whatever the decoder reports as well
must be the same there, but for the differences listed below.
"""

import json
import pathlib
import re
import struct
import subprocess
import sys
import tempfile
from collections import Counter, namedtuple

DATA = pathlib.Path(__file__).with_name("data") / "smbios"

# One thing that the decoder says, in its words: a field of a structure type.
Fact = namedtuple("Fact", "type field text")
# How and what was scanned: the table's version, and whether it was shown under /sys.
Scan = namedtuple("Scan", "version native")


# --- What the decoder says ------------------------------------------------------------------------

def decoded(text):
    """The decoder's structures as (type, fields), without the lists that some fields have."""
    structures = []
    for line in text.splitlines():
        if found := re.match(r"Handle 0x[0-9A-F]+, DMI type (\d+),", line):
            structures.append((int(found[1]), {}))
        elif structures and re.match(r"\t[^\t]", line):
            name, _, value = line[1:].partition(":")
            structures[-1][1][name] = value[1:]
    return structures


def of_type(structures, number):
    return [fields for kind, fields in structures if kind == number]


def in_kib(text):
    number, unit = text.split()[:2]
    return int(number) << {"kB": 0, "MB": 10, "GB": 20, "TB": 30}[unit]


# --- The captures ---------------------------------------------------------------------------------

ENTRY_POINT_SIZE = 32
ENTRY_POINT_ADDRESS = 0xF5340
TABLE_ADDRESS = 0xE8000


def under_sys(root, dump):
    size = dump[6] if dump.startswith(b"_SM3_") else dump[5]
    tables = root / "sys/firmware/dmi/tables"
    tables.mkdir(parents=True)
    (tables / "smbios_entry_point").write_bytes(dump[:size])
    (tables / "DMI").write_bytes(dump[ENTRY_POINT_SIZE:])


def in_memory(root, dump):
    """The first MiB of memory. Moving the table leaves the entry point's whole sum as it was."""
    entry = bytearray(dump[:ENTRY_POINT_SIZE])
    struct.pack_into("<I", entry, 0x18, TABLE_ADDRESS)
    entry[0x15] = 0
    entry[0x15] = -sum(entry[0x10:0x1F]) & 0xFF
    (root / "dev").mkdir(parents=True)
    with open(root / "dev/mem", "wb") as memory:
        memory.truncate(1 << 20)
        memory.seek(ENTRY_POINT_ADDRESS)
        memory.write(entry)
        memory.seek(TABLE_ADDRESS)
        memory.write(dump[ENTRY_POINT_SIZE:])


def without_memory_devices(dump):
    """As older firmware had it: the memory devices become inactive structures (type 126)."""
    changed = bytearray(dump)
    at = ENTRY_POINT_SIZE
    while at + 4 <= len(dump):
        if dump[at] == 17:
            changed[at] = 126
        at = dump.index(b"\0\0", at + dump[at + 1]) + 2
    return bytes(changed)


def scan(program, dump, native):
    """The rows of the groups."""
    with tempfile.TemporaryDirectory() as name:
        capture = pathlib.Path(name)
        (capture / "machine.json").write_text('{"capture": 1}')
        (under_sys if native else in_memory)(capture / "root", dump)
        output = subprocess.run(
            [program, "--machine", capture, *([] if native else ["--classic"]), "--format", "json",
             "SMBIOS", "Memory Modules", "Memory", "ComponentID"],
            check=True, capture_output=True, timeout=300).stdout
    groups = json.loads(output)["groups"]
    return {group: groups[group]["rows"] for group in groups}


# --- The same fact in the scan's words ------------------------------------------------------------

PARTS = {1: "System", 2: "Board", 3: "Enclosure"}
IDENTITY = ("Manufacturer", "Version", "Serial Number")
SMBIOS_FIELDS = {
    **{f"{PARTS[kind]} {field}": (kind, field) for kind in PARTS for field in IDENTITY},
    "BIOS Vendor": (0, "Vendor"),
    "BIOS Version": (0, "Version"),
    "BIOS Date": (0, "Release Date"),
    "BIOS Size": (0, "ROM Size"),
    "System Product Name": (1, "Product Name"),
    "System UUID": (1, "UUID"),
    "Board Product": (2, "Product Name"),
    "Enclosure Type text": (3, "Type"),
    "Enclosure Asset Tag": (3, "Asset Tag"),
    "PowerOn Password text": (24, "Power-On Password Status"),
}


COMPONENT_FIELDS = {
    "Manufacturer": (1, "Manufacturer"),
    "Product": (1, "Product Name"),
    "Version": (1, "Version"),
    "Serial Number": (1, "Serial Number"),
    "UUID": (1, "UUID"),
    "Family": (1, "Family"),
    "SKU Number": (1, "SKU Number"),
    "Board Manufacturer": (2, "Manufacturer"),
    "Board Product": (2, "Product Name"),
    "Board Serial Number": (2, "Serial Number"),
    "Enclosure Serial Number": (3, "Serial Number"),
    "Asset Tag": (3, "Asset Tag"),
}


def date(text):
    month, day, year = text.split("/")
    return f"{year}-{month}-{day}"


def words(same, others):
    """Translates a list of words, leaving out what has no name; longer words are looked for
    first."""
    names = {word: word for word in same.split(", ")} | others
    pattern = re.compile("|".join(map(re.escape, sorted(names, key=len, reverse=True))))
    return lambda text: " ".join(names[word] for word in pattern.findall(text))


def in_mb(text):
    return in_kib(text) >> 10


WORDS = {
    (0, "Release Date"): date,
    (0, "ROM Size"): lambda text: f"{in_kib(text)}K",
    (1, "UUID"): str.upper,
    (3, "Type"): lambda text: {"Multi-system": "Multi-system chassis"}.get(text, text),
    (5, "Maximum Memory Module Size"): in_mb,
    (5, "Associated Memory Slots"): int,
    (6, "Installed Size"): in_mb,
    (6, "Type"): words("Standard, EDO, Parity, ECC, Burst EDO, SDRAM", {"FPM": "Fast Page Mode"}),
    (16, "Maximum Capacity"): in_mb,
    (16, "Number Of Devices"): int,
    (17, "Size"): in_mb,
    (17, "Type Detail"): words(
        "Fast-paged, Pseudo-static, Synchronous, CMOS, EDO, Window DRAM, Cache DRAM, Registered, "
        "Unegistered",
        {"Static Column": "Static column", "RAMBus": "Rambus", "Non-Volatile": "Non-volatile"}),
}

# What firmware makers wrote as text.
TEXTS = {
    (0, "Vendor"), (0, "Version"), (1, "Product Name"), (2, "Product Name"), (3, "Asset Tag"),
    (1, "Family"), (1, "SKU Number"), (6, "Socket Designation"), (17, "Locator"), (17, "Bank Locator"),
    *((kind, field) for kind in PARTS for field in IDENTITY),
}


def says_nothing(fact):
    """The decoder's ways to say so. A text of the firmware may well be "None"."""
    if fact[:2] in TEXTS:
        return fact.text in ("Not Specified", "<BAD INDEX>")
    return fact.text in ("Not Installed", "No Module Installed", "None", "Not Settable")


# --- Where the two must differ --------------------------------------------------------------------

def without(pattern):
    return lambda text: None if re.search(pattern, text) else text


def at_most(limit):
    return lambda text: text if in_kib(text) <= limit else f"{limit} kB"


def other_byte_order(uuid):
    groups = uuid.split("-")
    return "-".join([bytes.fromhex(group)[::-1].hex() for group in groups[:3]] + groups[3:])


def always(_):
    return True


def classically(scan):
    return not scan.native


def classically_before_2_6(scan):
    return not scan.native and scan.version < (2, 6)


# Where and when a rule holds, what it makes of the decoder's words (None: the scan leaves the fact
# out), and why. Rules apply in turn; one that changes nothing on any machine is a fault.
Rule = namedtuple("Rule", "fields holds change why")
DIFFERENCES = [
    Rule(TEXTS, always, lambda text: text.strip() or None,
         "Firmware pads texts, and hosts compare them."),
    Rule(TEXTS, always, without("Not Available|This is OEM|System Manufacturer|System Model|"
                                "No Asset Information"),
         "Texts that makers of firmware leave in place of a value; hosts know these five."),
    Rule({(17, "Form Factor"), (17, "Type"), (17, "Type Detail")}, always,
         without("^(Other|Unknown)$"), "Hosts have names for kinds of memory only."),
    Rule({(17, "Type")}, classically, without("^(DDR[45]|LPDDR|HBM|Logical non-volatile)"),
         "Hosts know the types up to FBD2."),
    Rule({(17, "Type Detail")}, always,
         lambda text: text.replace("Unbuffered (Unregistered)", "Unegistered"),
         "Hosts compare with this spelling."),
    Rule({(16, "Maximum Capacity")}, classically, at_most(2 << 30),
         "The value that sends to an extended size is taken for the size itself."),
    Rule({(1, "UUID")}, always,
         lambda text: text.replace("Not Present", "ffffffff-ffff-ffff-ffff-ffffffffffff"),
         "The decoder's word for a UUID of ones; for one of zeros, which says nothing, it has another."),
    Rule({(1, "UUID")}, classically_before_2_6, other_byte_order,
         "Little-endian whatever the version; the standard and the decoder say so since 2.6."),
]


def memory_arrays(structures, scan):
    """Hosts know of one array; natively all of system memory count."""
    arrays = [fields for fields in of_type(structures, 16) if fields["Use"] == "System Memory"]
    return arrays if scan.native else arrays[:1]


def largest_module(capacity, slots, biggest):
    """The decoder reports the capacity of all slots together. Hosts take a power of two for that of
    one slot when it does not divide well, or not into modules as large as those that are there."""
    share = capacity // slots
    fits = share.bit_count() == 1 and share >= biggest
    return capacity if capacity.bit_count() == 1 and not fits else share


# --- Holding one against the other ----------------------------------------------------------------

class Comparison:
    """What is expected of one scan, and how often each rule and attribute mattered."""

    def __init__(self, structures, scan, used, compared):
        self.structures, self.scan, self.used, self.compared = structures, scan, used, compared

    def said(self, kind, field, fields):
        """A fact in the scan's words; None when it is left out."""
        fact = Fact(kind, field, fields.get(field))
        if says_nothing(fact):
            fact = fact._replace(text=None)
        for rule in DIFFERENCES:
            if fact.text is not None and fact[:2] in rule.fields and rule.holds(self.scan):
                changed = rule.change(fact.text)
                self.used[rule.why] += changed != fact.text
                fact = fact._replace(text=changed)
        return None if fact.text is None else WORDS.get(fact[:2], str)(fact.text)

    def facts(self, names):
        row = {}
        for attribute, (kind, field) in names.items():
            found = of_type(self.structures, kind)
            row[attribute] = self.said(kind, field, found[0]) if found else None
        return row

    def smbios(self):
        row = self.facts(SMBIOS_FIELDS)
        # Without the structure, the password's state is not known.
        row["PowerOn Password text"] = row["PowerOn Password text"] or "Unknown"
        return [row]

    def component(self):
        """A UUID of ones is none here. Natively only: a classic scan has the UUID from elsewhere where
        hosts do not know it from the table."""
        row = self.facts(COMPONENT_FIELDS) if self.scan.native else {}
        if row and set(row["UUID"] or "F") <= set("F-"):
            row["UUID"] = None
        return [row]

    def memory_modules(self):
        """Hosts know twelve old modules."""
        module, _ = self.memory_specs()
        devices, old_modules = of_type(self.structures, 17), of_type(self.structures, 6)
        rows = list(map(self.device, devices)) or list(map(self.old_module, old_modules[:12]))
        return [{"Max Module Size MB": module, **row} for row in rows]

    def device(self, fields):
        names = self.said(17, "Locator", fields), self.said(17, "Bank Locator", fields)
        types = self.said(17, "Type Detail", fields), self.said(17, "Type", fields)
        return {"Module Size MB": self.said(17, "Size", fields) or 0,
                "Socket Name": "/".join(filter(None, names)),
                "Packaging": self.said(17, "Form Factor", fields) or "",
                "Memory Type": " ".join(filter(None, types))}

    def old_module(self, fields):
        forms = [word for word in ("DIMM", "SIMM") if word in fields["Type"].split()]
        return {"Module Size MB": self.said(6, "Installed Size", fields) or 0,
                "Socket Name": self.said(6, "Socket Designation", fields) or "",
                "Packaging": forms[0] if forms else "",
                "Memory Type": self.said(6, "Type", fields)}

    def memory(self):
        module, slots = self.memory_specs()
        return [{"Max Memory MB": module * slots or None, "Num Slots Supported": slots or None}]

    def memory_specs(self):
        """The largest module and the number of slots: of the memory controller of old firmware and
        of the memory arrays."""
        module = slots = 0
        for controller in of_type(self.structures, 5)[:1]:
            slots = self.said(5, "Associated Memory Slots", controller)
            module = max(self.said(5, "Maximum Memory Module Size", controller),
                         self.biggest(6, "Installed Size"))
        if arrays := memory_arrays(self.structures, self.scan):
            slots = slots or sum(self.said(16, "Number Of Devices", fields) for fields in arrays)
            biggest = self.biggest(17, "Size")
            for fields in arrays:
                own = self.said(16, "Number Of Devices", fields) if len(arrays) > 1 else slots
                capacity = self.said(16, "Maximum Capacity", fields)
                if own:
                    module = max(module, largest_module(capacity, own, biggest))
        return module, slots

    def biggest(self, kind, field):
        return max((self.said(kind, field, fields) or 0
                    for fields in of_type(self.structures, kind)), default=0)

    def complaints(self, groups):
        for group, expected in (("SMBIOS", self.smbios()), ("Memory", self.memory()),
                                ("ComponentID", self.component()),
                                ("Memory Modules", self.memory_modules())):
            rows = groups[group]
            if len(rows) != len(expected):
                yield f"{group}: {len(rows)} rows, not {len(expected)}"
            for number, (row, facts) in enumerate(zip(rows, expected), 1):
                for attribute, fact in facts.items():
                    self.compared[group, attribute] += fact is not None
                    if row.get(attribute) != fact:
                        yield (f"{group} {number} {attribute}: {row.get(attribute)!r}, "
                               f"the decoder says {fact!r}")


def version_of(text):
    """As the decoder takes it: some entry points have misprints."""
    return tuple(map(int, re.search(r"^SMBIOS (\d+)\.(\d+)", text, re.MULTILINE).groups()))


def forms(dump, structures):
    """The table as it is, and without its memory devices where it has old modules as well."""
    yield dump, structures
    if of_type(structures, 6):
        yield without_memory_devices(dump), [each for each in structures if each[0] != 17]


def processor_counts(program, name, text):
    """The cores and threads that the records are printed with, against the decoder's. Of processors a
    table keeps 80, and before version 2.5 the standard has no such fields."""
    printed = subprocess.run([program, "smbios", "--read", DATA / f"{name}.bin"], check=True,
                             capture_output=True, text=True).stdout
    ours = re.findall(r"^  (Core|Thread)s +(\d+)$", printed, re.MULTILINE)
    processors = of_type(decoded(text), 4)[:80] if version_of(text) >= (2, 5) else []
    theirs = [(word, fields[f"{word} Count"]) for fields in processors
              for word in ("Core", "Thread") if f"{word} Count" in fields]
    if ours != theirs:
        yield f"{name}, smbios: {ours}, the decoder says {theirs}"


def self_check(program, machines):
    """This test is worth nothing when it finds nothing."""
    (dump, _), (_, text) = list(machines.values())[:2]
    comparison = Comparison(decoded(text), Scan(version_of(text), True), Counter(), Counter())
    assert list(comparison.complaints(scan(program, dump, True)))


def main():
    program = sys.argv[1]
    machines = {path.stem: (path.read_bytes(), path.with_suffix(".txt").read_text())
                for path in sorted(DATA.glob("*.bin"))}
    self_check(program, machines)
    used, compared, found = Counter(), Counter(), []
    for name in sys.argv[2:] or machines:
        dump, text = machines[name]
        found += processor_counts(program, name, text)
        for form, structures in forms(dump, decoded(text)):
            for native in (True,) if dump.startswith(b"_SM3_") else (True, False):
                comparison = Comparison(structures, Scan(version_of(text), native), used, compared)
                found += (f"{name}, {'native' if native else 'classic'}: {complaint}"
                          for complaint in comparison.complaints(scan(program, form, native)))
    if not sys.argv[2:]:
        found += (f"no machine needs the rule: {rule.why}" for rule in DIFFERENCES
                  if not used[rule.why])
    print(*found, f"{sum(compared.values())} facts in {len(compared)} attributes were compared",
          sep="\n")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
