#!/usr/bin/env python3
"""Times whole processes side by side: the agent on a capture of each firmware table in tests/data
against dmidecode on the same table.

usage: side_by_side.py INVSCAN [RUNS]

Runs take turns, so that both meet the same load, and both programs are fresh copies, so that how
their files came into the page cache does not matter. Printed are the medians in milliseconds, and
the agent's time as a part of dmidecode's.
"""

import pathlib
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

DATA = pathlib.Path(__file__).parent.parent / "tests" / "data" / "smbios"
ENTRY_POINT_SIZE = 32


def make_capture(directory, dump):
    tables = directory / "root/sys/firmware/dmi/tables"
    tables.mkdir(parents=True)
    size = dump[6] if dump.startswith(b"_SM3_") else dump[5]
    (tables / "smbios_entry_point").write_bytes(dump[:size])
    (tables / "DMI").write_bytes(dump[ENTRY_POINT_SIZE:])
    (directory / "machine.json").write_text('{"capture": 1}')


def milliseconds(command):
    begin = time.perf_counter()
    subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=True)
    return 1000 * (time.perf_counter() - begin)


def main(program, runs=100):
    ratios = []
    with tempfile.TemporaryDirectory() as scratch:
        agent, dmidecode = (shutil.copy(each, scratch) for each in (program, "/usr/sbin/dmidecode"))
        for file in sorted(DATA.glob("*.bin"), key=lambda path: path.stat().st_size):
            capture = pathlib.Path(scratch) / file.stem
            make_capture(capture, file.read_bytes())
            ours = [agent, "SMBIOS", "Memory Modules", "--machine", capture]
            theirs = [dmidecode, "--from-dump", file]
            times = [(milliseconds(ours), milliseconds(theirs)) for _ in range(int(runs))]
            ours_median, theirs_median = (statistics.median(side) for side in zip(*times))
            ratios.append(ours_median / theirs_median)
            print(f"{file.stem:36} {file.stat().st_size:6} bytes {ours_median:6.2f} "
                  f"{theirs_median:6.2f} {ratios[-1]:6.2f}")
    print(f"median of the ratios {statistics.median(ratios):.2f}, largest {max(ratios):.2f}")


if __name__ == "__main__":
    main(*sys.argv[1:])
