#!/usr/bin/env python3
"""Times whole processes side by side: the agent's scan of this machine, and of its memory alone,
against lscpu, and against lshw and hwinfo where they are installed; the agent on a capture of each firmware table in tests/data against dmidecode on the
same table; and on a network of two interfaces against "ip -j addr".

usage: side_by_side.py INVSCAN [RUNS [scan|firmware]]

Runs (100 of each, or RUNS) take turns, so that both meet the same load, and both programs are fresh
copies, so that how their files came into the page cache does not matter. Printed are the medians in
milliseconds and the agent's time as a part of the other's: for firmware with the output written to a
file, and thrown away. Of a scan also the processes are counted.
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


def milliseconds(command, sink):
    begin = time.perf_counter()
    subprocess.run(command, stdout=sink, stderr=subprocess.DEVNULL, check=True)
    return 1000 * (time.perf_counter() - begin)


def medians(commands, sink, runs):
    times = [[milliseconds(command, sink) for command in commands] for _ in range(runs)]
    return [statistics.median(side) for side in zip(*times)]


# Run by a shell in a network of its own.
NETWORK = """
ip link set lo up && ip link add veth0 type veth peer name veth1 && ip link set veth0 up &&
ip addr add 192.0.2.1/24 dev veth0 && ip addr add 2001:db8::1/64 dev veth1 && exec "$0" "$@"
"""


def inside_network(program, runs):
    """The network groups, with the look-ups of names that nobody answers."""
    commands = ([program, "IP Address", "IPv6 Address", "Network Adapter"], ["ip", "-j", "addr"])
    ours, theirs = medians(commands, subprocess.DEVNULL, int(runs))
    print(f"network: {ours:5.2f} {theirs:5.2f} {ours / theirs:5.2f}")


def against_ip(program, runs):
    done = subprocess.run(["unshare", "--net", "sh", "-c", NETWORK, sys.executable, __file__,
                           "--inside-network", program, str(runs)])
    if done.returncode != 0:
        print("network: none can be made here")


def processes(command):
    """How many a command takes, itself included."""
    with tempfile.NamedTemporaryFile("r") as calls:
        subprocess.run(["strace", "-f", "-qq", "-o", calls.name,
                        "-e", "trace=clone,clone3,fork,vfork", *command],
                       stdout=subprocess.DEVNULL, check=True)
        return 1 + sum(" = " in line and " = -1" not in line for line in calls)


def compare_scans(program, runs):
    with tempfile.TemporaryDirectory() as scratch:
        agent = shutil.copy(program, scratch)
        for groups, other in (([], ["lscpu", "-J"]), (["memory"], ["lscpu", "-J"]),
                              ([], ["lshw", "-json"]), ([], ["hwinfo", "--all"])):
            if not shutil.which(other[0]):
                continue
            command = [agent, "--format", "json", *groups]
            copy = [shutil.copy(shutil.which(other[0]), scratch), *other[1:]]
            ours, theirs = medians((command, copy), subprocess.DEVNULL, runs)
            print(f"{'scan of ' + (groups or ['all groups'])[0]:20} {processes(command):2} processes   "
                  f"invscan {ours:5.2f}   {' '.join(other)} {theirs:5.2f}   ratio {ours / theirs:6.3f}")


def compare_firmware(program, runs):
    ratios = {"to a file": [], "thrown away": []}
    with tempfile.TemporaryDirectory() as scratch, tempfile.TemporaryFile() as file:
        agent, dmidecode = (shutil.copy(each, scratch) for each in (program, "/usr/sbin/dmidecode"))
        for table in sorted(DATA.glob("*.bin"), key=lambda path: path.stat().st_size):
            capture = pathlib.Path(scratch) / table.stem
            make_capture(capture, table.read_bytes())
            commands = ([agent, "SMBIOS", "Memory Modules", "--machine", capture],
                        [dmidecode, "--from-dump", table])
            line = f"{table.stem:32} {table.stat().st_size:6} bytes"
            for name, sink in zip(ratios, (file, subprocess.DEVNULL)):
                ours, theirs = medians(commands, sink, runs)
                ratios[name].append(ours / theirs)
                line += f"   {name}: {ours:5.2f} {theirs:5.2f} {ours / theirs:5.2f}"
            print(line)
    for name, all_ratios in ratios.items():
        print(f"{name}: median of the ratios {statistics.median(all_ratios):.2f}, "
              f"largest {max(all_ratios):.2f}")


def main(program, runs=100, part=""):
    for name, compare in (("scan", compare_scans), ("firmware", compare_firmware),
                          ("network", against_ip)):
        if part in ("", name):
            compare(program, int(runs))


if __name__ == "__main__":
    if sys.argv[1] == "--inside-network":
        inside_network(*sys.argv[2:])
    else:
        main(*sys.argv[1:])
