#!/usr/bin/env python3
"""Redacted captures of real machines: no secret of theirs is left, in any spelling, and a replay
tells as much as before.

usage: redaction_test.py AGENT [TABLES MACHINES]

TABLES has firmware tables with what an independent decoder prints of them, MACHINES archives of
captures; beside them stand the captures of this tree.
"""

import json
import pathlib
import re
import signal
import subprocess
import sys
import tempfile
import time

HERE = pathlib.Path(__file__).parent
PATIENCE = 300

# What the decoder's text has of firmware that nobody filled in.
PLACEHOLDER = re.compile(
    r"((local)?host|not (specified|available|present)|to be fill.*|fill by.*|default string|unknown|none|null|no asset.*"
    r"|[x.]+|[0-]+|[f-]+|dimm\d_assettag|0?1234567(8|890?)\.?|9?876543210?|)$", re.IGNORECASE)
DECODED = re.compile(r"^\s*(?:Serial Number|Asset Tag|UUID): (.*?)\s*$|MAC address ([0-9A-F:]{17})",
                     re.MULTILINE)

# One machine that has secrets of every kind in every place; the tables are put into it.
MAC, DIGITS, EUI = "08:00:27:ab:cd:ef", "080027abcdef", "0a0027fffeabcdef"
HOST, DOMAIN, USER = "atlas-backup", "corp.example.org", "maria"
SERIAL, WWN, NODE = "S3Z8NB0K123456A", "5002538e40a1b2c3", "esx-host-17"
INSTALLATION, BOOT = "0f343b0931126a20f133d67c2b018a3b", "5b2e6a1c-94d0-4f0b-9d5a-3b1f6c0d7e8f"
PLANTED = [MAC, DIGITS, EUI, HOST, DOMAIN, USER, SERIAL, WWN, NODE, INSTALLATION, BOOT,
           "08-00-27-ab-cd-ef", "a00:27ff:feab:cdef", "0800.27ab.cdef", SERIAL.encode().hex(),
           "192.0.2.77", "9d7e4c10", "68016775HA"]
PAGE = b"\0\x80\0" + bytes([len(SERIAL)]) + SERIAL.encode()
FILES = {
    "etc/hosts": f"127.0.0.1 localhost\n192.0.2.77 {HOST.title()}.{DOMAIN} {HOST}\n",
    "etc/machine-id": INSTALLATION + "\n", "proc/sys/kernel/random/boot_id": BOOT + "\n",
    "etc/resolv.conf": f"search {DOMAIN}\nnameserver fe80::a00:27ff:feab:cdef%eth0\n",
    "proc/cmdline": f"root=UUID={BOOT} ip={HOST} home=/home/{USER} 3\n",
    "proc/self/mountinfo": f"21 1 8:1 / / rw - ext4 /dev/sda1 rw\n"
                           f"22 21 8:2 / /home/{USER} rw - ext4 /dev/mapper/{USER}-{HOST} rw\n",
    "proc/net/if_inet6": f"fe80000000000000{EUI} 02 40 20 80 enx{DIGITS}\n",
    f"sys/class/net/enx{DIGITS}/address": MAC + "\n",
    "sys/class/fc_host/host0/symbolic_name": f"QLE2562 FW:v5 HN:{HOST.upper()}.{DOMAIN}\n",
    "sys/class/fc_host/host0/port_name": f"0x{WWN}\n",
    "proc/rd/c0/current_status": "  Vendor: IBM  Model: X\n  Serial Number: 68016775HA  Disk\n",
    "sys/block/dm-0/dm/name": f"vg-{USER}\n",
    "sys/block/sda/device/wwid": f"t10.ATA     Samsung SSD {SERIAL}\n",
    "sys/block/sda/device/vpd_pg80": PAGE, "sys/block/sda/device/vpd_pg83": PAGE,
    "sys/block/sda/device/name": f"nvme.144d-{SERIAL.encode().hex()} naa.{WWN}\n",
    "sys/devices/pci0000:00/config": PAGE * 9,
    "run/udev/data/b8:0": f"S:disk/by-id/ata-X_{SERIAL}\nE:ID_SERIAL_SHORT={SERIAL}\nE:ID_WWN=0x{WWN}\n",
    f"dev/disk/by-id/ata-Samsung_{SERIAL}/x": "", f"dev/disk/by-id/wwn-0x{WWN}/x": "",
}
FACTS = {
    "capture": 1,
    "uname": {"sysname": "Linux", "nodename": f"{HOST}.{DOMAIN}", "release": "6.1.0-0123456789",
              "version": "#1", "machine": "x86_64"},
    "netlink": {"18": [{"index": 2, "label": "enx" + DIGITS, "mac": MAC}],
                "22": [{"index": 2, "label": "enx" + DIGITS, "address": "192.0.2.77", "prefix": 24},
                       {"index": 2, "address": "fe80::a00:27ff:feab:cdef", "prefix": 64}]},
    "hosts": {"192.0.2.77": f"{HOST}.{DOMAIN}."},
    "commands": [
        {"line": "vmware-rpctool 'info-get guestinfo.orv_node_id' 2>/dev/null", "output": NODE},
        {"line": "/sbin/fdisk -l /dev/sda", "output": "Disk identifier: 0x9d7e4c10\n"},
        {"line": "ifconfig -a 2>/dev/null", "output": "eth0 ether 08-00-27-AB-CD-EF 0800.27AB.CDEF\n"}],
    "helpers": [{"command": "diskscan", "output": f"1.0 0 OK\n(Disk\n   WWNN:s=0x{WWN}\n   "
                 f"Mount:s=/home/{USER}\n   Id:s={HOST.upper()} x{SERIAL.lower()}y\n)\n"}],
    "devices": {"/dev/sg0 scsi 12018000ff00": PAGE.hex(), "/dev/sg0 scsi a1": PAGE.hex(),
                "/dev/sg0 scsi 120000006000": (b"\0" * 36 + SERIAL.encode()).hex()},
    "guest_channel": {"00000013.00000000": ["5b2e6a1c", "94d04f0b", "9d5a3b1f", "6c0d7e8f"]},
    "unreadable": {f"/home/{USER}/x": "EACCES"},
}
# Where an address begins with a letter, the classic sources have none, and afterwards none does. Of
# the hostile machine some files cannot be checked.
MODES = {"aliases-and-merged-names": [()], "hostile": []}


def run(*command, status=0):
    done = subprocess.run([str(word) for word in command], capture_output=True, timeout=PATIENCE)
    assert done.returncode == status, (command, done)
    return done


class Test:
    def __init__(self, agent, scratch):
        self.agent, self.scratch, self.number = agent, scratch, 0
        self.store = scratch / "store"
        self.store.write_text("[agent]\nredact_key = k\n")
        catalogue = json.loads(run(agent, "describe", "--format", "json").stdout)
        self.sensitive = {(group["name"], each["name"]) for group in catalogue
                          for each in group["attributes"] if each["sensitive"]}

    def fresh(self):
        self.number += 1
        return self.scratch / str(self.number)

    def scan(self, capture, *options):
        return {name: group["rows"] for name, group in json.loads(run(
            self.agent, "--machine", capture, "--format", "json", "--config", self.store,
            *options).stdout)["groups"].items()}

    def scanned_secrets(self, rows):
        """But names of mounts, of which some parts are every machine's."""
        for group, each in rows.items():
            for row in each if group != "Partition" else ():
                yield from (str(value) for name, value in row.items() if (group, name) in self.sensitive)

    def check(self, capture, secrets, *more):
        """Returns what could not be checked."""
        redacted = self.fresh()
        done = run(self.agent, "capture", redacted, "--redact", "--machine", capture, "--config",
                   self.store, *more)
        for mode in MODES.get(capture.name, [(), ("--classic",)]):
            secrets |= set(self.scanned_secrets(self.scan(capture, *mode)))
            ours, replayed = self.scan(capture, "--redact", *mode), self.scan(redacted, *mode)
            values = "\n".join(str(value) for rows in ours.values() for row in rows
                               for value in row.values())
            assert_absent(secrets, {"scan --redact": values.encode()}, capture)
            difference = self.outline(ours) ^ self.outline(replayed)
            assert not difference, (capture, mode, sorted(difference))
        contents = {path: b"" if path.is_dir() or path.is_symlink() else path.read_bytes()
                    for path in redacted.rglob("*")}
        names = "\n".join(str(path.relative_to(redacted)) + " " +
                          (str(path.readlink()) if path.is_symlink() else "") for path in contents)
        assert_absent(secrets, {**contents, "names": names.encode()}, capture)
        return re.findall(r"cannot be checked: (.*)", done.stderr.decode()), redacted

    def outline(self, rows):
        """The attributes that each row has, and the values of those that tell nobody."""
        def value(group, name, told):
            is_open = name == "ID" or "/" in str(told) or (group, name) in self.sensitive
            return bool(told) if is_open else told
        return {f"{group} {number} {name}={value(group, name, told)}" for group, each in rows.items()
                for number, row in enumerate(each) for name, told in row.items()}


def forms(secret):
    """A secret as it may stand in a file, in lower case; whether inside a word, too."""
    text = secret.strip().lower()
    if len(text) < 4 or PLACEHOLDER.match(text) or re.match(r"(0|127|255)\.|::1?(/|$)|(00:){5}00$", text):
        return
    yield text.encode(), len(text) > 7 and re.search(r"\d", text)
    if re.match(r"[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}$", text):
        raw = bytes.fromhex(text.replace("-", ""))
        for order in (raw, raw[3::-1] + raw[5:3:-1] + raw[7:5:-1] + raw[8:]):
            yield from ((order.lower(), True), (order.hex().encode(), True),
                        (order.hex(" ")[:23].encode(), True))
    elif re.match(r"([0-9a-f]{2}:){5}[0-9a-f]{2}$", text):
        yield bytes.fromhex(text.replace(":", "")).lower(), True


def assert_absent(secrets, contents, machine):
    known = {form: secret for secret in secrets for form in forms(secret)}
    for place, content in contents.items():
        content = content.lower()
        for (form, is_anywhere), secret in known.items():
            word = rb"(?<![a-z0-9])%s(?![a-z0-9])" % re.escape(form)
            found = form in content and (is_anywhere or re.search(word, content))
            assert not found, f"{machine}: {secret} stands in {place}"


def put_table(root, table):
    """In sysfs, and in memory where firmware of that kind has it."""
    entry, structures = bytearray(table[:32]), table[32:]
    tables = root / "sys/firmware/dmi/tables"
    tables.mkdir(parents=True)
    (tables / "smbios_entry_point").write_bytes(entry)
    (tables / "DMI").write_bytes(structures)
    if not entry.startswith(b"_SM_"):
        return
    address = 0x110000
    entry[0x18:0x1C] = address.to_bytes(4, "little")
    for at, begin, end in ((0x15, 0x10, 0x1F), (0x04, 0, entry[5])):
        entry[at] = 0
        entry[at] = -sum(entry[begin:end]) & 0xFF
    (root / "dev").mkdir(exist_ok=True)
    with open(root / "dev/mem", "wb") as memory:
        for at, content in ((0xF0000, SERIAL.encode()), (0xF0010, entry), (0xFFFFF, b"\0"),
                            (address, structures)):
            memory.seek(at)
            memory.write(content)


def test_table(test, table):
    text = table.with_suffix(".txt").read_text(errors="replace")
    decoded = {one or other for one, other in DECODED.findall(text)}
    capture = test.fresh()
    for name, content in FILES.items():
        path = capture / "root" / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content if isinstance(content, bytes) else content.encode())
    put_table(capture / "root", table.read_bytes())
    (capture / "machine.json").write_text(json.dumps(FACTS))
    left_out, redacted = test.check(capture, {*PLANTED, *decoded})
    assert left_out == ["/sys/devices/pci0000:00/config", "devices: /dev/sg0 scsi a1"], left_out
    kept = (redacted / "root/sys/firmware/dmi/tables/DMI").read_bytes()
    for placeholder in filter(PLACEHOLDER.match, decoded):
        own = [content.lower().count(placeholder.strip().lower().encode())
               for content in (table.read_bytes()[32:], kept)]
        assert own[0] == own[1] or len(placeholder.strip()) < 4, (table, placeholder, own)
    assert json.loads((redacted / "machine.json").read_text())["uname"]["release"].endswith("0123456789")
    for output in (("smbios", "--redact", "--read", table), ("helper", "diskscan", "--redact",
                                                             "--machine", capture)):
        printed = run(test.agent, *output, "--config", test.store).stdout
        assert_absent({*decoded, WWN, HOST, USER}, {output: printed}, table)


def test_interruption(test):
    """A capture has no machine.json while what was recorded is there, and goes when it is stopped."""
    for ending in (signal.SIGKILL, signal.SIGTERM):
        is_late = True
        while is_late:  # the agent was done before it was stopped
            capture = test.fresh()
            with subprocess.Popen([test.agent, "capture", capture, "--redact", "--config", test.store],
                                  stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) as agent:
                while agent.poll() is None and not (capture / ".recording/root").exists():
                    time.sleep(0.001)
                agent.send_signal(ending)
            is_late = agent.returncode == 0
        names = {path.name for path in capture.iterdir()} - {"root"} if capture.exists() else None
        assert names == ({".recording"} if ending == signal.SIGKILL else None), (ending, names)
    done = run(test.agent, "capture", test.fresh(), "--machine", HERE / "machines/nothing", status=2)
    assert b"--redact" in done.stderr


def main():
    agent = pathlib.Path(sys.argv[1]).absolute()
    tables, machines = [pathlib.Path(path) for path in sys.argv[2:]] or [
        HERE / "data/smbios", HERE / "data/machines"]
    memory = "/dev/shm" if pathlib.Path("/dev/shm").is_dir() else None  # of many small files
    with tempfile.TemporaryDirectory(dir=memory) as directory:
        test = Test(agent, pathlib.Path(directory))
        test_interruption(test)
        for table in sorted(tables.glob("*.bin")):
            test_table(test, table)
        captures = [path.parent for path in HERE.glob("machines/*/machine.json")]
        for archive in machines.glob("*.tar.gz"):
            run("tar", "xf", archive, "-C", directory)
            captures.append(test.scratch / archive.name.removesuffix(".tar.gz"))
        for capture in captures:
            test.check(capture, set())


main()
