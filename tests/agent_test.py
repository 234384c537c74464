"""End-to-end tests of the agent: agent_test.py PATH/TO/invscan SOURCE_DIR"""

import csv
import hmac
import io
import json
import os
import pty
import re
import resource
import shutil
import signal
import stat
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

import jsonschema

PROGRAM = os.path.abspath(sys.argv[1])
SOURCE = Path(sys.argv[2])
NOBODY = 65534
SCHEMA = jsonschema.Draft202012Validator(json.loads(
    (SOURCE / "docs/invscan.schema.json").read_text()))
# Seconds that no run takes, however busy the machine is.
PATIENCE = 300

# What a person could put into a file name or release file to trouble a terminal or a table.
NODE = 'no"de,7'
DISTRIBUTION = 'Hall, \x1b]0;owned\x07 \u009b31m \x7f Gr\u00fc\u00dfe\\'

MACHINE = {
    "capture": 1,
    "uname": {"sysname": "Linux", "nodename": NODE, "release": "6.1.0-5",
              "version": "#1 SMP", "machine": "x86_64"},
    "page_size": 4096, "word_size": 64, "time": 1700000000,
    "environment": {"LC_ALL": "C.UTF-8", "TZ": "UTC0"},
    "locales": {"LC_MESSAGES": "C.UTF-8", "LC_CTYPE": "C.UTF-8"},
}
FIRMWARE = ["/sys/firmware/dmi/tables/smbios_entry_point", "/dev/mem"]
# Recorded by a user who may not read all, and without most groups.
PARTIAL = MACHINE | {
    "unreadable": {name: "EACCES" for name in ["/proc/loadavg", *FIRMWARE]},
    "absent": ["/proc/stat"],
}
FILES = {
    "proc/meminfo": "MemTotal: 8000000 kB\nMemFree: 4000000 kB\n"
                    "SwapTotal: 1000000 kB\nSwapFree: 500000 kB\n",
    "etc/os-release": f'NAME="x"\nPRETTY_NAME="{DISTRIBUTION}"\n',
}


UNSEEN = "[\x00-\x09\x0b-\x1f\x7f-\x9f\u200b-\u200f\u2028-\u202e\u2066-\u2069]"


class AgentTest(unittest.TestCase):
    def setUp(self):
        # Where every user can get, whatever TMPDIR is.
        scratch = tempfile.TemporaryDirectory(dir="/tmp")
        self.addCleanup(scratch.cleanup)
        self.scratch = Path(scratch.name)
        self.machine = self.make_machine("machine", MACHINE, FILES)
        self.partial = self.make_machine("partial", PARTIAL, FILES)

    def make_machine(self, name, machine, files):
        directory = self.scratch / name
        for path, text in files.items():
            file = directory / "root" / path
            file.parent.mkdir(parents=True, exist_ok=True)
            file.write_text(text, encoding="utf-8")
        (directory / "machine.json").write_text(json.dumps(machine))
        return directory

    def store(self, name, text):
        path = self.scratch / name
        path.write_text(text)
        return path

    def key_file(self, key):
        return self.store("key.conf", f"[agent]\nredact_key = {key}\n")

    def directory(self, name):
        path = self.scratch / name
        path.mkdir()
        return path

    def own_file_limit(self, size):
        return {"preexec_fn": lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (size, size))}

    def open_to_all(self, tree):
        self.scratch.chmod(0o755)
        for path in (tree, *tree.rglob("*")):
            if not path.is_symlink():  # which may lead to a file of the system
                path.chmod(path.stat().st_mode | 0o555)

    def program_for_all(self):
        """A copy of the program and its helpers: others may not reach the checkout."""
        prefix = self.scratch / "prefix"
        if not prefix.exists():
            built = Path(PROGRAM).parent.parent
            shutil.copytree(built / "lib/invscan", prefix / "lib/invscan")
            (prefix / "bin").mkdir()
            shutil.copy(PROGRAM, prefix / "bin")
            self.open_to_all(prefix)
        return prefix / "bin/invscan"

    def run_agent(self, *arguments, live=False, program=PROGRAM, **options):
        machine = [] if live else ["--machine", self.machine]
        options = {"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE,
                   "stderr": subprocess.PIPE, "timeout": PATIENCE} | options
        return subprocess.run([program, *machine, *arguments], **options)

    def answer(self, *arguments, **options):
        """Standard output of a run that has nothing to complain about."""
        run = self.run_agent(*arguments, **options)
        self.assertEqual((run.returncode, run.stderr.decode()), (0, ""), arguments)
        return run.stdout.decode("utf-8")

    def answer_here(self, *arguments):
        """Of this machine, where something may be root's to read."""
        run = self.run_agent(*arguments, live=True)
        self.assertIn(run.returncode, (0, 3), run.stderr)
        self.assertEqual(run.stderr.count(b"\n"), run.returncode == 3, run.stderr)
        return run.stdout.decode("utf-8")

    def assert_fails(self, run, status, *words):
        complaint = run.stderr.decode()
        self.assertEqual(run.returncode, status, complaint)
        self.assertEqual(complaint.count("\n"), 1, complaint)
        for word in ("invscan: ", *words):
            self.assertIn(word, complaint)


class Formats(AgentTest):
    def test_json_is_complete_and_exact(self):
        scan = json.loads(self.answer("--format", "json", "MEMORY", "operating system", "Memory",
                                      "ComponentID"))
        self.assertEqual(list(scan), ["invscan", "hostname", "time", "duration_ms", "groups"])
        self.assertEqual((scan["invscan"], scan["hostname"], scan["time"]),
                         ("2.8.0", NODE, "2023-11-14T22:13:20Z"))
        self.assertEqual(list(scan["groups"]), ["ComponentID", "Memory", "Operating System"])
        memory, system = (scan["groups"][name] for name in ("Memory", "Operating System"))
        self.assertEqual((memory["id"], memory["version"], memory["status"]), (3, 1, "ok"))
        self.assertEqual(memory["rows"][0]["Total Virtual"], 9000000)
        row = system["rows"][0]
        self.assertEqual(row["Name"], DISTRIBUTION)
        self.assertEqual(list(row)[:3], ["Name", "Type", "Type text"])
        self.assertEqual((row["Type"], row["Type text"]), (37, "LINUX"))

    def test_all_formats_tell_the_same(self):
        groups = json.loads(self.answer("--format", "json"))["groups"]
        rows = [(name, number, row) for name, group in groups.items()
                for number, row in enumerate(group["rows"], 1)]
        lines = [json.loads(line) for line in self.answer("--format", "jsonl").splitlines()]
        self.assertEqual([(x["group"], x["row"], x["attributes"]) for x in lines], rows)
        self.assertEqual({x["host"] for x in lines}, {NODE})

        text = self.answer("--format", "csv")
        table = list(csv.DictReader(io.StringIO(text, newline="")))
        self.assertEqual(list(table[0]), ["host", "group", "row", "attribute", "type", "value"])
        cells = [(x["group"], int(x["row"]), x["attribute"], x["value"]) for x in table]
        def spelt(value):
            return re.sub("[\x00-\x1f\x7f-\x9f]", lambda c: f"\\x{ord(c[0]):02x}", str(value))
        self.assertEqual(cells, [(name, number, attribute, spelt(value))
                                 for name, number, row in rows for attribute, value in row.items()
                                 if not attribute.endswith(" text")])
        self.assertEqual({x["type"] for x in table if x["attribute"] == "Type"}, {"KEL_ULONG"})

    def test_schema_holds_for_this_machine_and_a_replay(self):
        validator = SCHEMA
        validator.check_schema(validator.schema)
        for live in (False, True):
            for more in ((), ("--redact", "--config", self.key_file("k"))):
                scan = json.loads(self.run_agent("--format", "json", *more, live=live).stdout)
                validator.validate(scan)
        validator.validate(scan | {"time": None})
        scan["groups"]["Memory"]["rows"][0]["Free Physical"] = "1"
        with self.assertRaises(jsonschema.ValidationError):
            validator.validate(scan)

    def test_text_is_for_reading(self):
        text = self.answer()
        self.assertIn("  Total Physical  8000000 KiB\n", text)
        self.assertRegex(text, r"\nAbsent on this machine: .*SMBIOS")
        self.assertNotRegex(text, UNSEEN)
        self.assertIn(r"Hall, \x1b]0;owned\x07 \x9b31m \x7f Gr" + "\u00fc\u00dfe", text)
        for form in ("json", "jsonl", "csv"):
            self.assertNotRegex(self.answer("--format", form).replace("\r\n", "\n"), UNSEEN)

    def test_colour_is_for_terminals_that_want_it(self):
        for environment, is_coloured in (({"TERM": "xterm"}, True), ({"TERM": "dumb"}, False),
                                         ({"TERM": "xterm", "NO_COLOR": "1"}, False)):
            ours, theirs = pty.openpty()
            self.run_agent("Memory", stdout=theirs, env=environment)
            os.close(theirs)
            shown = os.read(ours, 1 << 16)
            os.close(ours)
            self.assertIn(b"Total Physical", shown)
            self.assertEqual(b"\x1b[1m" in shown, is_coloured, environment)


class Commands(AgentTest):
    def test_get(self):
        for arguments in (["get", "memory", "page size", "--timeout=60.5"],
                          ["--timeout", "60.5", "get", "Memory", "Page Size"]):
            self.assertEqual(self.answer(*arguments), "4096\n")
        self.assertEqual(self.answer("get", "Operating System", "Name"),
                         'Hall,  ]0;owned   31m   Gr\u00fc\u00dfe\\\n')

    def test_get_tells_why_nothing_is_there(self):
        for group, attribute, reason in (
                ("UnixCpuMeter", "LoadAvg1", "/proc/loadavg: permission denied when it was recorded; "
                 "capture the machine again as root"),
                ("Memory", "Max Memory MB", "no value"),
                ("Operating System", "Registered Owner", "never filled on Linux")):
            run = self.run_agent("get", group, attribute, "--machine", self.partial, live=True)
            self.assertEqual(run.stdout, b"")
            self.assert_fails(run, 4, group, attribute, reason)
        run = self.run_agent("get", "UnixCpuMeter", "LoadAvg1", "--redact", "--config",
                             self.key_file("k"), "--machine", self.partial, live=True)
        self.assert_fails(run, 4, "no value; without --redact")
        # What was asked for is there, whatever the group lacks besides.
        self.assertEqual(self.answer("get", "Memory", "Page Size", "--machine", self.partial,
                                     live=True), "4096\n")

    def test_get_several(self):
        lines = self.answer("get", "Memory", "Page Size", "Free Physical").splitlines()
        self.assertEqual(lines, ["Page Size\t4096", "Free Physical\t4000000"])
        self.assertEqual(set(lines) - set(self.answer("get", "Memory").splitlines()), set())
        mounts = "/dev/sda1 / ext4 rw 0 0\n/dev/sda2 /home ext4 rw 0 0\n"
        machine = self.make_machine("mounts", MACHINE, FILES | {"proc/self/mounts": mounts})
        ask = ("get", "Partition", "Device Name", "--machine", machine)
        self.assertEqual(self.answer(*ask, live=True), "1 /dev/sda1 /\t/dev/sda1\n"
                         "2 /dev/sda2 /home\t/dev/sda2\n")
        group = json.loads(self.answer(*ask, "--format", "json", live=True))["groups"]["Partition"]
        self.assertEqual([list(row) for row in group["rows"]],
                         [["Index", "Device Name", "FS Access Point", "FS Mount Point"]] * 2)

    def test_explain(self):
        groups = ("UnixCpuMeter", "Memory", "CpuMeter", "--machine", self.partial)
        run = self.run_agent("explain", *groups, live=True)
        self.assertEqual((run.returncode, run.stderr), (3, b""))
        text = run.stdout.decode()
        for line in (r"  /proc/meminfo +1 +[0-9.]+ +ok",
                     r"    /proc/meminfo\n      Total Physical, Free Physical.*",
                     r"    /proc/loadavg: permission denied when it was recorded; "
                     r"capture the machine again as root\n"
                     r"      LoadAvg1, LoadAvg5, LoadAvg15",
                     r"    /proc/stat: no such file or directory\n      .*\bIdleTime\b.*",
                     r"    /proc/uptime: never asked when it was recorded; "
                     r"capture the machine again\n      SystemUpTime"):
            self.assertRegex(text, f"(?mi)^{line}$")
        self.assertEqual([line for line in text.splitlines() if len(line) > 100], [])

        told = json.loads(self.run_agent("explain", *groups, "--format", "json", live=True).stdout)
        SCHEMA.validate(told)
        memory = told["groups"]["Memory"]
        self.assertEqual(memory["told_by"]["Page Size"], "page size")
        self.assertEqual(set(memory["reasons"]), {"Max Memory MB", "Num Slots Supported"})
        self.assertIn("/proc/meminfo", [use["source"] for use in memory["sources"]])

    def test_what_is_missing_is_told_for_what_it_is(self):
        ask = ("SMBIOS", "UnixCpuMeter", "CpuMeter", "Memory", "PCI Device", "--machine", self.partial)
        run = self.run_agent("--format", "json", *ask, live=True)
        groups = json.loads(run.stdout)["groups"]
        self.assertEqual({name: group["status"] for name, group in groups.items()},
                         {"SMBIOS": "denied", "UnixCpuMeter": "denied", "CpuMeter": "ok",
                          "Memory": "ok", "PCI Device": "unsupported"})
        self.assertEqual(groups["UnixCpuMeter"]["trouble"], "/proc/loadavg: permission denied when "
                         "it was recorded; capture the machine again as root")
        self.assertIn("smbios_entry_point", groups["Memory"]["incomplete"])
        lines = [": SMBIOS, UnixCpuMeter; in part: Memory (capture the machine again as root)",
                 ": PCI Device; in part: CpuMeter (capture the machine again)"]
        self.assertEqual(run.stderr.decode(), f"invscan: denied{lines[0]}\n"
                         f"invscan: never recorded{lines[1]}\n")
        text = self.run_agent(*ask, live=True)
        self.assertEqual((run.returncode, text.returncode, text.stderr), (3, 3, b""))
        self.assertTrue(text.stdout.decode().endswith(
            f"Denied{lines[0]}\nNever recorded{lines[1]}\n"), text.stdout)

    def test_reasons(self):
        text = self.answer("Memory", "--reasons")
        self.assertRegex(text, r"(?m)^  without a value:\n    /sys/.*, /dev/mem: no such file or "
                         r"directory\n      Max Memory MB, Num Slots Supported$")
        scan = json.loads(self.answer("Memory", "SMBIOS", "--reasons", "--format", "json"))
        SCHEMA.validate(scan)
        self.assertIn("/dev/mem", scan["groups"]["Memory"]["reasons"]["Max Memory MB"])
        self.assertEqual(len(scan["groups"]["SMBIOS"]["reasons"]), 23)

    def test_a_command_that_is_a_group_too(self):
        both = self.answer("--format", "json", "memory", "smbios")
        for words in (("smbios", "memory"), ("SMBIOS", "Memory"), ("scan", "Smbios", "MEMORY")):
            groups = json.loads(self.answer("--format", "json", *words))["groups"]
            self.assertEqual(list(groups), list(json.loads(both)["groups"]))
        self.assertEqual(list(json.loads(self.answer("SmBios", "--format=json"))["groups"]), ["SMBIOS"])
        for word in ("smbios", "SMBIOS"):
            self.assert_fails(self.run_agent(word), 2, "no firmware table")

    def test_catalogue(self):
        self.assertRegex(self.answer("list"), r"(?m)^4 +Operating System +22 +1 +yes$")
        self.assertIn("  3   Total Virtual: KEL_ULONG, KiB, stable, 0 is unknown\n",
                      self.answer("describe", "memory"))
        groups = json.loads(self.answer("describe", "--format", "json"))
        attributes = {a["name"]: a for g in groups if g["id"] == 4 for a in g["attributes"]}
        self.assertIn({"value": 37, "text": "LINUX"}, attributes["Type"]["values"])
        for form, file in (("markdown", "catalogue.md"), ("schema", "invscan.schema.json")):
            made = self.answer("describe", "--format", form)
            self.assertTrue(made == (SOURCE / "docs" / file).read_text(),
                            f"docs/{file} is old: invscan describe --format {form} makes it")

    def test_libraries_come_from_absolute_paths_only(self):
        planted = self.directory("planted")
        (planted / "libudev.so.1").write_text("no library")
        rows = [rows_of(json.loads(self.answer("scan", "PCI Device", "--format", "json", live=True,
                                               cwd=planted, env={"LD_LIBRARY_PATH": path})))[2]
                for path in ("", ":/nowhere;planted:.", "relative")]
        self.assertTrue(rows[0] == rows[1] == rows[2])

    def test_information(self):
        self.assertEqual(self.answer("--version", live=True), "invscan 2.8.0\n")
        self.assertIn("explain [GROUP...]", self.answer("--help", live=True))

    def test_helper(self):
        helper = {"command": "cpuid", "output": "; note\n1.0 3 partly\n(A\n x:f=.5\n)\n"}
        machine = self.make_machine("helped", MACHINE | {"helpers": [helper]}, FILES)
        self.assertEqual(self.answer("helper", "cpuid", "--machine", machine, live=True),
                         "Command 'cpuid' executed successfully\n"
                         "VT version = 1.0, result = 3, message = partly\n"
                         "(\n   (A\n      x:f=0.500000\n   )\n)\n")
        run = self.run_agent("helper", "diskscan")
        self.assertEqual((run.returncode, run.stdout, run.stderr.decode()),
                         (2, b"", "*** Fatal: could not execute 'diskscan'\n"
                          f'invscan: {self.machine}: holds no valid answer of "diskscan"\n'))


class Troubles(AgentTest):
    def test_wrong_usage(self):
        empty = self.directory("empty")
        broken = self.store("broken.conf", "[hwscanner]\nsources = both\n")
        for arguments, words in (
                (["memmory"],
                 'no group "memmory"; did you mean "Memory"?  ("invscan list" shows all)'),
                (["Operating"], 'did you mean "Operating System"?'),
                (["qqqqqqqq"], 'no group "qqqqqqqq"  ('),
                (["Memory", "a\nb\x1b[31m"], r'no group "a\x0ab\x1b[31m"'),
                (["get", "Memory", "free fysical"], 'did you mean "Free Physical"?'),
                (["get"], "usage: invscan get GROUP [ATTRIBUTE...]"),
                (["list", "Memory"], "usage: invscan list"),
                (["helper", "lspci"], 'no helper "lspci"; there are cpuid and diskscan'),
                (["describe", "--format", "csv"], "only text, json, markdown, schema"),
                (["--format", "xml"], "only text, json, jsonl, csv, prometheus"),
                (["--fromat", "json"], 'no option "--fromat"; did you mean "--format"?'),
                (["--timeout", "nan"], "0.001 to 86400 seconds"),
                (["--jobs", "1025"], "1 to 1024"),
                (["--output", ""], "--output"),
                (["--output"], "--output"),
                (["--trace", "all"], "min, mid, max"),
                (["--trace-file", "t"], "--trace-file needs --trace"),
                (["--trace", "min", "--trace-file", "/dev/null"], "/dev/null: not a regular file"),
                (["--machine", empty], str(empty)),
                (["--config", broken], f"{broken}:2"),
                (["--config", self.store("hw.conf", f"config_dir = {broken.parent}\n[hwscanner]\n"
                                         f"config_file = {broken.name}\n")],
                 f"{broken}: not a hardware configuration file"),
                (["capture", empty, "--machine", self.machine], "leave out --machine"),
                (["smbios", "--read", "x", "--machine", self.machine], "leave out --machine"),
                (["smbios", "--dump", "x", "--output", "y"], "leave out --output"),
                (["smbios", "--force"], "--force needs --dump"),
                (["Memory", "--dump", "x"], '--dump has no meaning for "scan"'),
                (["--reasons", "--format", "csv"], "--reasons needs --format text or json"),
                (["--reasons", "--redact"], "leave out --redact"),
                (["explain", "--redact"], '--redact has no meaning for "explain"')):
            with self.subTest(arguments):
                run = self.run_agent(*arguments, live=True)
                self.assertEqual(run.stdout, b"")
                self.assert_fails(run, 2, words)

    def test_unknown_settings_are_told(self):
        store = self.store("s.conf", "config_dirr = x\nhosts_own = 7\n[hwscanner]\nTimeout = 7\n"
                           "odd = 8\n[hwscaner]\ntimeout = 9\n[host]\ntimeout = 8\n")
        run = self.run_agent("list", "--config", store)
        self.assertEqual((run.returncode, run.stderr.decode()), (0, "".join(
            f"invscan: {store}:{line}: unknown key {rest}\n" for line, rest in (
                (1, '"config_dirr"; did you mean "config_dir"?'),
                (4, '"hwscanner.Timeout"; did you mean "hwscanner.timeout"?'),
                (5, '"hwscanner.odd"'),
                (7, '"hwscaner.timeout"; did you mean "hwscanner.timeout"?')))))
        sources = "".join(path.read_text() for path in (SOURCE / "src").rglob("*.cpp"))
        keys = set(re.findall(r'(?:OrvCfg::[gs]etKey|storeHas)\("([^"]+)"', sources))
        self.assertLess({"agent.redact_key", "hwscanner.sources"}, keys)
        known = self.store("known.conf", "".join(f"{key} =\n" for key in sorted(keys)))
        self.answer("list", "--config", known)

    def test_a_group_that_hangs_is_left_out(self):
        machine = self.make_machine(
            "hanging", MACHINE | {"commands": [{"line": "/sbin/runlevel", "hang": True}]}, FILES)
        # Short where nothing else may need it, too.
        for timeout, arguments in (("0.2", ["explain", "UNIX System Params"]),
                                   ("0.2", ["get", "UNIX System Params", "Run Level"]),
                                   ("5", ["--format", "json"])):
            run = self.run_agent(*arguments, "--classic", "--timeout", timeout, "--machine", machine,
                                 live=True)
            self.assert_fails(run, 1, "UNIX System Params: ", "--timeout")
            if arguments[0] == "explain":
                self.assertRegex(run.stdout.decode(), "(?s)waiting for: /sbin/runlevel\n.*"
                                 "  run-level record .*  /sbin/runlevel .* no answer yet\n")
        groups = json.loads(run.stdout)["groups"]
        self.assertEqual(groups["UNIX System Params"]["status"], "timeout")
        self.assertEqual(groups["Memory"]["status"], "ok")

    def test_outputs_that_cannot_be_written(self):
        reader, writer = os.pipe()
        os.close(reader)
        self.addCleanup(os.close, writer)
        run = self.run_agent("Memory", stdout=writer)
        self.assertEqual((run.returncode, run.stderr), (-signal.SIGPIPE, b""))
        self.assert_fails(self.run_agent("Memory", preexec_fn=lambda: os.close(1)), 2,
                          "standard output: ")
        for file, words in (("/dev/full", "/dev/full: no space"),
                            ("/no/where/x", "/no/where/x: no such"),
                            (self.scratch, f"{self.scratch}: is a directory")):
            self.assert_fails(self.run_agent("Memory", "--output", file), 2, words)

    def test_closed_streams_do_no_harm(self):
        file = self.scratch / "scan"
        run = self.run_agent("get", "Memory", "Page Size", "--output", file,
                             preexec_fn=lambda: os.closerange(0, 3))
        self.assertEqual((run.returncode, file.read_text()), (0, "4096\n"))


class OutputFiles(AgentTest):
    def test_file_has_what_standard_output_would_have(self):
        directory = self.directory("out")
        file = self.store("out/scan", "old")
        os.symlink("scan", directory / "link")
        expected = self.answer("Memory")
        file.chmod(0o604)
        self.answer("Memory", "--output", directory / "link")
        self.assertEqual(file.read_text(), expected)
        self.assertEqual(stat.S_IMODE(file.stat().st_mode), 0o604)
        self.assertEqual(sorted(os.listdir(directory)), ["link", "scan"])
        self.assertEqual(self.answer("Memory", "--output", "/dev/stdout"), expected)

    def test_failure_leaves_the_old_file_alone(self):
        directory = self.directory("out")
        file = self.store("out/scan", "old")
        run = self.run_agent("describe", "--output", file, **self.own_file_limit(100))
        self.assert_fails(run, 2, str(file), "too large")
        self.assertEqual((os.listdir(directory), file.read_text()), (["scan"], "old"))

    def test_trace_goes_to_its_file(self):
        file = self.scratch / "trace"
        for _ in range(2):
            self.answer("Operating System", "--trace", "max", "--trace-file", file)
        self.assertEqual(stat.S_IMODE(file.stat().st_mode), 0o600)
        lines = file.read_text().splitlines()
        self.assertEqual(sum("<--" in line for line in lines), sum("-->" in line for line in lines))
        self.assertGreater(len(lines), 2)
        os.symlink(file, self.scratch / "link")
        run = self.run_agent("--trace", "max", "--trace-file", self.scratch / "link")
        self.assert_fails(run, 2, "link")


class FirmwareDumps(AgentTest):
    TABLES = SOURCE / "tests/data/smbios"
    SERVER = TABLES / "dell-poweredge-r630.bin"

    def dump_of(self, table, *options):
        file = self.scratch / "dump"
        file.unlink(missing_ok=True)
        self.assertEqual(self.answer("smbios", "--read", table, "--dump", file, *options,
                                     live=True), "")
        return file

    def shown(self, table, *options):
        return self.answer("smbios", "--read", table, *options, live=True)

    def test_a_dump_tells_what_its_table_and_another_decoder_do(self):
        for table in sorted(self.TABLES.glob("*.bin")):
            dump = self.dump_of(table)
            for options in (("--classic",), ()):
                with self.subTest(table.name, options=options):
                    text = self.shown(table, *options)
                    self.assertEqual(self.shown(dump, *options), text)
                    self.assertNotRegex(text, "[\x00-\x09\x0b-\x1f\x7f-\x9f]")
            decoded = self.memory_texts(table.with_suffix(".txt").read_text())
            for ours, theirs in zip(self.memory_texts(text), decoded, strict=True):
                self.assertLessEqual(theirs, ours, table.name)
        self.assertEqual(stat.S_IMODE(dump.stat().st_mode), 0o600)
        self.assertRegex(self.shown(self.SERVER), r"(?m)^  Size +16 GiB$")
        blade = self.shown(self.TABLES / "dell-poweredge-1655mc.bin")
        self.assertRegex(blade, r"(?m)^Further Base Board$(.*\n)+?^  Serial number +\.2YTBM21")

    def test_hosts_rules_hold_for_a_dump_as_it_stands(self):
        """A revision of one byte, as of a table that a host made, opens no version's fields."""
        text = re.sub("Revision=.*", "Revision=0x23", self.dump_of(self.SERVER).read_text())
        dump = self.store("changed", text)
        for options, has_speed in ((), True), (("--classic",), False):
            shown = self.shown(dump, *options)
            self.assertTrue(shown.startswith("SMBIOS 2.3, "), shown)
            self.assertIn("\nMemory Device 1 of ", shown)
            self.assertEqual(" MT/s\n" in shown, has_speed, shown)

    @staticmethod
    def memory_texts(text):
        """Of each memory device: what is a text in both decoders' words."""
        name = r"(?mi)^[\t ]+(?:locator|bank|bank locator|form factor|part number)(?::|  ) *"
        devices = re.findall(r"(?m)^Memory Device(?: \d.*)?\n((?:[\t ]+.*\n)+)", text)
        return [set(re.findall(name + r"(?! |Not Specified|<BAD INDEX>)(.*\S)", device))
                for device in devices]

    def test_this_machine(self):
        """What one machine's capture shows is dumped and printed as its table is."""
        tables = self.machine / "root/sys/firmware/dmi/tables"
        tables.mkdir(parents=True)
        bytes = self.SERVER.read_bytes()
        (tables / "smbios_entry_point").write_bytes(bytes[:31])
        (tables / "DMI").write_bytes(bytes[32:])
        self.assertEqual(self.answer("smbios"), self.shown(self.SERVER))
        dump = self.scratch / "machine.dump"
        self.answer("smbios", "--dump", dump)
        self.assertEqual(dump.read_bytes(), self.dump_of(self.SERVER).read_bytes())

    def test_no_table(self):
        machine = self.make_machine("locked", MACHINE | {"unreadable": {
            "/sys/firmware/dmi/tables/smbios_entry_point": "EACCES", "/dev/mem": "EACCES"}}, FILES)
        run = self.run_agent("smbios", "--machine", machine, live=True)
        self.assert_fails(run, 2, "smbios_entry_point: permission denied",
                          "/dev/mem: permission denied when it was recorded; capture the machine "
                          "again as root")

    def test_binary_dumps_may_keep_the_table_elsewhere(self):
        whole = bytearray(self.SERVER.read_bytes())
        for address, gap in ((0xE0020, 0), (100, 68)):
            moved = whole[:32] + bytes(gap) + whole[32:]
            moved[0x18:0x1C] = address.to_bytes(4, "little")
            file = self.scratch / "moved"
            file.write_bytes(moved)
            self.assertEqual(self.shown(file), self.shown(self.SERVER))

    def test_files_that_are_no_dumps(self):
        whole = self.SERVER.read_bytes()
        text = self.dump_of(self.SERVER).read_text()
        length = f"{len(whole) - 32} bytes"
        os.mkfifo(self.scratch / "fifo")
        for name, content, words in (
                ("format", text.replace("Format=0x0001", "Format=0x0002"), "format 2, and only 1"),
                ("cut", text[:len(text) // 2], f"of {length} are there"),
                ("more", text + "0x00", f"more behind the {length}"),
                ("wide byte", text.replace("\n0x", "\n0x1", 1), "byte 0 is no number"),
                ("head", text.replace("SMBIOS NumTables=", "NumTables="), '"SMBIOS NumTables="'),
                ("length", re.sub("Length=0x....", "Length=0x1000001", text), "no number up to"),
                ("nothing", re.sub("(Length|NumTables)=.*", r"\1=0", text).split("\n0x")[0],
                 "the table is empty"),
                ("binary cut", whole[:-1], f"of {length} are there"),
                ("table alone", whole[32:], "neither a text dump nor an entry point"),
                ("fifo", None, "not a regular file"),
                ("missing", None, "no such file")):
            file = self.scratch / name
            if content is not None:
                file.write_bytes(content if isinstance(content, bytes) else content.encode())
            for options in ((), ("--classic",)):
                with self.subTest(name, options=options):
                    run = self.run_agent("smbios", "--read", file, *options, live=True)
                    self.assertEqual(run.stdout, b"")
                    self.assert_fails(run, 2, str(file), words)

    def test_dumps_go_to_new_files_or_forced_to_old_ones(self):
        directory = self.directory("out")
        old = self.store("out/old", "old")
        os.symlink("old", directory / "link")
        os.symlink("new", directory / "dangling")
        os.mkfifo(directory / "fifo")
        names = sorted(os.listdir(directory))
        write = ("smbios", "--read", self.SERVER, "--dump")
        for name, force, words in (
                ("old", False, "--force replaces it"), ("link", False, "not a regular file"),
                ("link", True, "not a regular file"), ("dangling", True, "not a regular file"),
                ("fifo", True, "not a regular file"), ("no/where", False, "no such file")):
            with self.subTest(name, force=force):
                run = self.run_agent(*write, directory / name, *["--force"] * force, live=True)
                self.assert_fails(run, 2, str(directory / name), words)
        run = self.run_agent(*write, old, "--force", live=True, **self.own_file_limit(1000))
        self.assert_fails(run, 2, str(old))
        self.assertEqual((sorted(os.listdir(directory)), old.read_text()), (names, "old"))
        self.answer(*write, old, "--force", live=True)
        self.assertEqual(old.read_bytes(), self.dump_of(self.SERVER).read_bytes())
        self.assertEqual(sorted(os.listdir(directory)), names)


class Redaction(AgentTest):
    def scan(self, key):
        return json.loads(self.answer("--format", "json", "--redact", "--config",
                                      self.key_file(key), "UNIX System Params", "Memory"))

    def test_tokens(self):
        first, again, other = (self.scan(key) for key in ("one", "one", "two"))
        token = "redacted-" + hmac.new(b"one", NODE.encode(), "sha256").hexdigest()[:16]
        row = first["groups"]["UNIX System Params"]["rows"][0]
        self.assertEqual({first["hostname"], row["Hostname"], row["Computer Alias"]}, {token})
        self.assertEqual(again["groups"]["UNIX System Params"]["rows"], [row])
        self.assertNotEqual(other["hostname"], token)
        self.assertEqual(first["groups"]["Memory"]["rows"][0]["Page Size"], 4096)

    def as_user(self, *arguments):
        """A run whose key file is in a home of its own."""
        home = self.scratch / "home"
        home.mkdir(exist_ok=True)
        options = {"env": {"HOME": str(home)}}
        if os.geteuid() == 0:
            self.open_to_all(self.machine)
            os.chown(home, NOBODY, NOBODY)
            options |= {"program": self.program_for_all(), "user": NOBODY, "group": NOBODY,
                        "extra_groups": []}
        return home / ".local/state/invscan/redact.key", self.run_agent(*arguments, **options)

    def test_key_file_is_made_once(self):
        ask = ("get", "UNIX System Params", "Hostname", "--redact")
        key, first = self.as_user(*ask)
        self.assertRegex(first.stdout.decode(), "^redacted-[0-9a-f]{16}\n$", first.stderr)
        self.assertEqual((stat.S_IMODE(key.stat().st_mode), key.stat().st_size), (0o600, 32))
        self.assertEqual(os.listdir(key.parent), ["redact.key"])
        self.assertEqual(self.as_user(*ask)[1].stdout, first.stdout)
        key.chmod(0o644)
        self.assert_fails(self.as_user(*ask)[1], 2, str(key), "remove the file")
        key.chmod(0o600)
        os.truncate(key, 5)
        self.assert_fails(self.as_user(*ask)[1], 2, str(key), "32 bytes")

    def test_tokens_of_a_captured_machine(self):
        """The replay of a redacted capture equals the redacted scan."""
        capture = self.scratch / "capture"
        groups = ("--format", "json", "Operating System", "UNIX System Params", "ComponentID", "Lpar")
        run = self.run_agent("capture", capture, "--redact", "--config", self.key_file("one"),
                             *groups, live=True)
        self.assertIn(b"replaced", run.stderr)
        scan = json.loads(run.stdout)
        replayed = json.loads(self.answer_here("--machine", capture, *groups))
        self.assertEqual(rows_of(replayed), rows_of(scan))
        self.assertEqual(json.loads((capture / "machine.json").read_text())["uname"]["nodename"],
                         scan["hostname"])
        self.assertRegex(scan["hostname"], "^redacted-")


def rows_of(scan):
    return scan["hostname"], scan["time"], {
        name: group["rows"] for name, group in scan["groups"].items()}


def without_zone(scan):
    """What a date is that nobody told depends on the time zone of who writes it."""
    return re.sub(rb'"[0-9.-]+"(, "[^"]+ text": "unknown")', rb"\1", scan)


class Differences(AgentTest):
    def replace(self, file, old, new):
        file.write_text(file.read_text().replace(old, new))

    def diff(self, *arguments, status=1, **options):
        run = self.run_agent("diff", *arguments, live=True, **options)
        self.assertEqual((run.returncode, run.stderr.decode()), (status, ""), arguments)
        return run.stdout.decode()

    def changed(self, before, change):
        """What is told of a capture after a change."""
        after = self.scratch / "after"
        shutil.copytree(before, after, symlinks=True)
        change(after)
        text = self.diff(before, after).split("\n\n", 1)[1]
        shutil.rmtree(after)
        return text

    def test_what_was_changed_is_told_and_nothing_else(self):
        def move_a_disk_and_add_one(capture):
            block = capture / "root/sys/block"
            place = Path(os.readlink(block / "sdb"))
            (block / place).rename(block / place.parent / "sdc")
            (block / "sdb").unlink()
            (block / "sdc").symlink_to(place.parent / "sdc")
            self.replace(capture / "machine.json", "=sdb", "=sdc")
            shutil.copytree(block / "vda", block / "vdb")
            (block / "vdb/serial").write_text("new")

        def change_an_address(capture):
            self.replace(capture / "machine.json", '"192.0.2.10"', '"192.0.2.77"')

        def change_a_module(capture):
            file = capture / "root/sys/firmware/dmi/tables/DMI"
            file.write_bytes(file.read_bytes().replace(b"\x00\x20\x0d", b"\x00\x40\x0d", 1))

        machines = SOURCE / "tests/machines"
        self.assertEqual(self.changed(machines / "disks", move_a_disk_and_add_one), """\
Storage
  changed: sdb
    Device  sdb -> sdc
  added: vdb
    Type           Virtual Disk (69)
    Serial Number  new
    Cylinders      128
    Sectors        32
    Heads          64
    Total Size     128 MB

PartitionToStorage
  changed: /dev/mapper/vg-data (sdb), /dev/md0 (sdb) (2 rows)
    StorageDevice  sdb -> sdc
""")
        self.assertEqual(self.changed(machines / "bonded-adapters", change_an_address), """\
IP Address
  changed: 192.0.2.10
    Address  192.0.2.10 -> 192.0.2.77
""")
        dump = (SOURCE / "tests/data/smbios/lenovo-thinkpad-t490.bin").read_bytes()
        tables = self.make_machine("laptop", MACHINE, FILES) / "root/sys/firmware/dmi/tables"
        tables.mkdir(parents=True)
        (tables / "smbios_entry_point").write_bytes(dump[:dump[6]])
        (tables / "DMI").write_bytes(dump[32:])
        self.assertEqual(self.changed(self.scratch / "laptop", change_a_module), """\
Memory Modules
  changed: ChannelA-DIMM0/BANK 0
    Module Size MB  8192 MB -> 16384 MB
""")

    def test_what_names_rows_is_documented(self):
        told = dict(re.findall(r"^\| ([\w ]+) \| (`.*) \|$",
                               (SOURCE / "docs/json.md").read_text(), re.MULTILINE))
        source = (SOURCE / "src/agent/compare/RowNames.cpp").read_text()
        named = re.findall(r'^    \{"([^"]+)",\s*\{[^{}]*\},(.*?)\}(?:, true)?\},$', source,
                           re.MULTILINE | re.DOTALL)
        self.assertGreater(len(named), 10)
        for group, keys in named:
            self.assertEqual(set(re.findall('"([^"]+)"', keys)),
                             set(re.findall("`([^`]+)`", told[group])), group)

    def test_kept_scans_are_scans(self):
        for machine in sorted((SOURCE / "tests/machines").iterdir()):
            kept = self.scratch / f"{machine.name}.json"
            for options in ([], ["--classic"]):
                scan = self.run_agent("--format", "json", "--output", kept, "--machine", machine,
                                      *options, live=True)
                again = self.run_agent("--format", "json", "--machine", kept, live=True)
                self.assertEqual((again.returncode, without_zone(again.stdout)),
                                 (scan.returncode, without_zone(kept.read_bytes())), machine)
                self.assertEqual(self.diff(kept, machine, *options, status=0).count("\n"), 1)

    def test_status_tells_what_came_of_it(self):
        kept = self.store("kept.json", self.answer("--format", "json", "Memory", "Regional"))
        other = self.store("other.json", kept.read_text())
        self.replace(other, "8000000", "9000000")
        key = self.key_file("k")
        hidden = self.scratch / "hidden.json"
        self.answer("--format", "json", "--redact", "--config", key, "--output", hidden)
        with kept.open() as text:
            self.diff("/dev/stdin", self.machine, status=0, stdin=text)
        self.assertIn("Total Physical  8000000 KiB -> 9000000 KiB\n", self.diff(kept, other))
        self.assertIn("redacted-", self.diff(hidden, self.machine))
        self.diff(hidden, self.machine, "--redact", "--config", key, status=0)
        schema = json.loads((SOURCE / "docs/invscan-diff.schema.json").read_text())
        jsonschema.validate(json.loads(self.diff("--format", "json", hidden, self.machine)), schema)
        found = json.loads(self.diff("--format", "json", other, self.machine))
        self.assertEqual(found["groups"]["Memory"]["changed"], [{"row": "", "attributes": {
            "Total Physical": {"a": 9000000, "b": 8000000}}}])
        hanging = self.make_machine("hanging", MACHINE | {"page_size": {"hang": True}}, FILES)
        run = self.run_agent("diff", kept, hanging, "--timeout", "0.5", live=True)
        self.assert_fails(run, 2, "Memory: ", "--timeout")
        self.assertIn(b"Memory: not comparable; A: ok, B: timeout", run.stdout)
        pipe = self.scratch / "pipe"
        os.mkfifo(pipe)
        for arguments, words in (([kept, pipe], "Not a regular file"), ([kept], "diff"),
                                 ([kept, self.scratch / "none"], "none"),
                                 ([kept, "-", "--machine", kept], "--machine"),
                                 ([key, "-"], "not an object")):
            self.assert_fails(self.run_agent("diff", *arguments, live=True), 2, words)


class Captures(AgentTest):
    def test_replay_equals_the_scan_asks_the_capture_only_and_is_for_any_user(self):
        capture = self.scratch / "capture"
        captured = json.loads(self.answer_here("capture", capture, "--format", "json"))
        self.assertGreater(len(captured["groups"]["Memory"]["rows"]), 0)
        program = self.program_for_all()
        self.open_to_all(capture)
        trace = self.scratch / "trace"
        trace.touch()
        trace.chmod(0o666)
        command = ["strace", "-f", "-o", trace, "-e",
                   "trace=%file,%network,uname,sysinfo", program,
                   "--machine", capture, "--format", "json"]
        run = subprocess.run(command, stdout=subprocess.PIPE, timeout=PATIENCE,
                             user=NOBODY if os.geteuid() == 0 else None,
                             env={"ASAN_OPTIONS": "detect_leaks=0", "PATH": os.environ["PATH"]})
        self.assertEqual(rows_of(json.loads(run.stdout)), rows_of(captured))

        # The program itself, what the C library reads for its own needs, and the capture; "???" is
        # the guard, killed while strace looks at it.
        expected = re.compile(
            rf"""execve\(|"{re.escape(str(self.scratch))}/|openat2?\(\d+,\s"|\(\d+,\s"",
            |"(/usr)?/lib/|"/etc/ld\.so\.|"/usr/share/locale/|"/dev/null["/]|"/etc/invscan/
            |"/proc/self/(exe|fd|maps|task|environ|cmdline)|socketpair\(AF_UNIX
            |recv|send|resumed>|\+\+\+|---|\?\?\?\(""", re.VERBOSE)
        others = [line for line in trace.read_text().splitlines() if not expected.search(line)]
        self.assertEqual(others, [])

    def test_native_scan_starts_few_processes(self):
        trace = self.scratch / "trace"
        # One worker does all but look up names of addresses, which takes threads besides; for file
        # systems it has a child. What the helper programs would answer, it answers itself.
        for groups, processes in (
                ((), 3), (("PCI Device", "Memory"), 1),
                (("Memory", "VirtualMachineGuest", "Lpar", "ComponentID"), 1)):
            subprocess.run(["strace", "-f", "-o", trace, "-e", "trace=execve,clone,clone3,fork,vfork",
                            PROGRAM, "--jobs", "1", *groups], stdout=subprocess.DEVNULL,
                           timeout=PATIENCE, env=os.environ | {"ASAN_OPTIONS": "detect_leaks=0"})
            text = trace.read_text()
            self.assertEqual(sorted(re.findall(r'execve\("[^"]*?([^/"]+)"', text)), ["invscan"])
            started = [line for line in text.splitlines()
                       if re.search(r"(?:clone|fork)3?\(", line)
                       and not re.search("CLONE_(THREAD|UNTRACED)", line)]  # or a leak checker's
            self.assertEqual(len(started), processes, started)

    def test_summary(self):
        capture = self.scratch / "capture"
        self.assertRegex(self.answer_here("capture", capture, "Memory"),
                         rf"^captured \d+ files? into {capture}; 1 of 1 group had a table\n$")

    def test_failure_removes_what_was_made_and_no_more(self):
        empty, fresh = self.directory("empty"), self.scratch / "fresh"
        for directory in (fresh, empty):
            run = self.run_agent("capture", directory, "Memory", "--output", "/dev/full", live=True)
            self.assert_fails(run, 2, "/dev/full")
        self.assertFalse(fresh.exists())
        self.assertEqual(os.listdir(empty), [])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
