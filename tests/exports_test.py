#!/usr/bin/env python3
"""Holds what libinvscan exports, and which libraries it needs, against what is agreed.

usage: exports_test.py [--renew] LIBRARY

exports.txt beside this file lists the exported names; --renew rewrites it from the library.
"""

import pathlib
import re
import subprocess
import sys

LIST = pathlib.Path(__file__).with_name("exports.txt")
SONAME = "libinvscan.so.2"
NEEDED = {"ld-linux-x86-64.so.2", "libc.so.6", "libexpat.so.1", "libgcc_s.so.1", "libm.so.6",
          "libmd.so.0", "libstdc++.so.6"}
SANITIZERS = re.compile(r"lib(asan|ubsan)\.so")


def output_of(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def exported_names(library):
    """Demangled; a constructor or destructor counts once for all its variants."""
    lines = output_of("nm", "-DC", "--defined-only", library).splitlines()
    names = {line.split(maxsplit=2)[2] for line in lines}
    # The address sanitizer adds a symbol for each variable.
    return {name for name in names if not name.startswith("__odr_asan")}


def dynamic_entries(library, tag):
    return set(re.findall(rf"\({tag}\).*\[(.*)\]", output_of("readelf", "-dW", library)))


def read_list():
    lines = LIST.read_text().splitlines()
    comment = [line for line in lines if line.startswith("#")]
    return comment, {line for line in lines if line and not line.startswith("#")}


def complaints(library):
    _, agreed = read_list()
    exported = exported_names(library)
    for name in sorted(exported - agreed):
        yield f"exported, but not in {LIST.name}: {name}"
    for name in sorted(agreed - exported):
        yield f"in {LIST.name}, but not exported: {name}"
    if exported != agreed:
        yield f"if that is intended, renew the list: {sys.argv[0]} --renew {library}"
    if (soname := dynamic_entries(library, "SONAME")) != {SONAME}:
        yield f"soname is {soname}, not {SONAME}"
    for needed in sorted(dynamic_entries(library, "NEEDED") - NEEDED):
        if not SANITIZERS.match(needed):
            yield f"needs a library that no host was told of: {needed}"


def main():
    library = sys.argv[-1]
    if sys.argv[1:-1] == ["--renew"]:
        comment, _ = read_list()
        names = sorted(exported_names(library))
        LIST.write_text("\n".join(comment + names) + "\n")
        return 0
    found = list(complaints(library))
    print(*found, sep="\n", end="\n" if found else "")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
