#!/usr/bin/env python3
"""Finds code that asks the machine behind the seam's back, and includes that go the wrong way.

usage: seam_test.py SRC_DIR
"""

import pathlib
import re
import sys

# Where the machine may be asked.
SEAM = "invscan/machine/"

# Sources for files that the host names, which are none of the machine's. The platform layer reads
# others of that kind: the store and the hardware configuration file (base/RegularFile) are the
# host's own also when another machine is replayed.
HOSTS_FILES = {"invscan/SMBIOS/table/DumpFile.cpp"}

# Machinery for children of this process, which is nothing of the machine's: what a child asks of that
# goes through the seam in the child.
CHILDREN = {"invscan/com/children/CommandPipe.cpp", "invscan/com/children/FileSystemStatistics.cpp",
            "invscan/com/children/ForkedProbe.cpp", "invscan/com/children/StatisticsService.cpp"}
# What a helper program writes, and its own start and end.
HELPERS_OWN = re.compile(r"helpers/(\w+/main\.cpp|Program\.h)|helpers/cpuid/LeafTrace\.(cpp|h)")

# Functions with names of their own (patterns): not even mentioned.
FORBIDDEN_NAMES = r"""
    fopen freopen fdopen openat openat2 opendir fdopendir scandir ftw nftw glob wordexp
    popen posix_spawnp? vfork exec[lv]\w{0,2} fexecve
    uname gethostname getdomainname sysinfo sysconf pathconf getpagesize get_nprocs(_conf)?
    getloadavg hardware_concurrency getrusage
    getenv secure_getenv setenv unsetenv putenv clearenv environ
    setlocale tzset tzname localtime_r gmtime_r mktime
    gettimeofday clock_gettime timespec_get system_clock high_resolution_clock utc_clock
    f?statv?fs(64)? [fl]stat fstatat statx faccessat readlink(at)? realpath canonicalize_file_name
    [sg]etutx?(ent|id|line) [sg]etmntent(_r)? getpw(nam|uid) getgr(nam|gid) getlogin
    gethost(by\w+|ent) getaddrinfo getnameinfo getifaddrs if_name\w+ if_indextoname res_\w+
    socket socketpair recvfrom recvmsg sendto sendmsg ioctl mmap mmap64 iopl ioperm
    dlopen dlmopen dlsym syscall __get_cpuid __get_cpuid_count __cpuid __cpuid_count getauxval
    ifstream ofstream fstream filebuf filesystem random_device
""".split()

# Words that have other uses too: not called, unless as a member of an object.
FORBIDDEN_CALLS = """
    open open64 creat read pread write pwrite fork clone system time clock stat access connect bind
    send recv signal kill wait asm __asm__
""".split()

FORBIDDEN_HEADERS = """
    fstream filesystem dirent.h fcntl.h unistd.h spawn.h utmp.h utmpx.h netdb.h ifaddrs.h resolv.h
    mntent.h dlfcn.h cpuid.h ftw.h glob.h pwd.h grp.h
""".split()

REMEDY = "ask machine() instead (invscan/machine/Machine.h); what it lacks belongs there"

# The includes that sources below a directory must not have. Angle brackets are for public headers,
# but would find internal ones too.
INTERNAL = "<invscan/(machine|com|linux|SMBIOS)/"
DIRECTIONS = [
    ("", INTERNAL, "internal headers stand in quotes"),
    ("base/", r'"(?!base/)', "the platform layer's base stands on itself alone"),
    ("log/", r'"(?!log/|base/)', "the log stands on the base alone"),
    ("common/", r'"(?!common/|base/|log/)', "what is common knows nothing of the machine"),
    ("invscan/", r'"agent/|"helpers/', "the library knows nothing of agent and helpers"),
    ("helpers/", r'"agent/', "a helper knows nothing of the agent"),
    (SEAM, r'"invscan/(com|linux|SMBIOS)/', "the seam knows nothing of those who ask it"),
    ("agent/", r'"(?!agent/|base/|common/net/|helpers/Answers\.h)',
     "the agent is a host: public headers, the platform layer, the walk through datagrams and the "
     "helpers' answers only"),
]

TEXT_OR_COMMENT = re.compile(
    r'//[^\n]*|/\*.*?\*/'
    r'|R"(?P<delimiter>[^()\\\s]{0,16})\(.*?\)(?P=delimiter)"'
    r'|"(?:\\.|[^"\\\n])*"'
    r"|(?<![0-9a-fA-F])'(?:\\.|[^'\\\n])+'", re.DOTALL)
ANY_NAME = re.compile(r"(?<!\w)(" + "|".join(FORBIDDEN_NAMES) + r")(?!\w)")
CALL = re.compile(r"(?<!\w)(?P<scope>(?:\w+)?::)?(?<!\w)(?P<name>"
                  + "|".join(FORBIDDEN_CALLS) + r")\s*\(")
INCLUDE = re.compile(r'^[ \t]*#[ \t]*include[ \t]*([<"][^>"]*)', re.MULTILINE)
MEMBER = re.compile(r"(\.|->)\s*$")
# A type and a blank: what follows is declared here. The house format sees to the blanks.
TYPE = re.compile(r"(\w|\S>)[*&]?\s+$")
WORD_BEFORE_A_CALL = re.compile(
    r"\b(return|else|do|throw|and|or|not|co_return|co_await|co_yield)\s+$")


def blank(match):
    """Nothing but the line ends of what is no code."""
    return re.sub(r"[^\n]", " ", match.group())


def is_call(match):
    if match["scope"] not in (None, "::", "std::"):
        return False  # a function of another class
    before = match.string[max(match.start() - 80, 0):match.start()]
    if MEMBER.search(before):
        return False
    return not TYPE.search(before) or bool(WORD_BEFORE_A_CALL.search(before))


def direct_accesses(text):
    """Offset and word of each direct access in a source text."""
    includes = [(match.start(1), match[1][1:]) for match in INCLUDE.finditer(text)]
    code = TEXT_OR_COMMENT.sub(blank, INCLUDE.sub(blank, text))
    yield from ((place, f"<{name}>") for place, name in includes
                if name in FORBIDDEN_HEADERS or re.match(r"sys/(?!types\.h)", name))
    yield from ((match.start(), match[1]) for match in ANY_NAME.finditer(code))
    yield from ((match.start("name"), match["name"]) for match in CALL.finditer(code)
                if is_call(match))


def wrong_includes(text, pattern):
    for match in INCLUDE.finditer(text):
        if re.match(pattern, match[1]):
            yield match.start(1), match[1][1:]


def self_check():
    """This test is worth nothing when it finds nothing."""
    bad = [
        'FILE* f = fopen("/proc/stat", "r");', "::open(path, O_RDONLY);", "return open(path);",
        "now = std::time(0);", "x = 'a'; system(line);", "auto ask = &popen;",
        "#  include <sys/utsname.h>", "std::chrono::system_clock::now()", "!stat(path, &status)",
        'R"(text)"; fork();', "long a = 1'000; uname(&names);", "else system(line);",
        "(void)read(fd, buffer, n);", "x = a * time(0) + (1 > clock());",
    ]
    good = [
        "file.open(path);", "file->read(buffer);", "/* popen\n uname() */", "struct stat;",
        'trace.at().min("setlocale returned NULL; open(x)");', "FileText open(int limit);",
        "Files::open(path)", "const char* access(int x);", "set_time(limit)",
        "toLocalTime(time, parts);", 'R"(fopen("x"))"', "#include <cstring>",
    ]
    for line in bad:
        assert list(direct_accesses(line)), f"not found: {line}"
    for line in good:
        assert not list(direct_accesses(line)), f"found, but harmless: {line}"
    patterns = {directory: pattern for directory, pattern, _ in DIRECTIONS}
    for directory, name, is_wrong in (
            ("", "<invscan/machine/Machine.h>", True), ("", "<invscan/machine.h>", False),
            ("agent/", '"invscan/machine/Machine.h"', True), ("agent/", '"agent/Text.h"', False),
            (SEAM, '"invscan/com/model/Traits.h"', True), (SEAM, '"base/X.h"', False)):
        found = list(wrong_includes(f"#include {name}\n", patterns[directory]))
        assert bool(found) == is_wrong, f"{directory} includes {name}"


def findings(text, name):
    is_exempt = (name.startswith(SEAM) or name in HOSTS_FILES | CHILDREN
                 or HELPERS_OWN.fullmatch(name))
    if name.startswith(("invscan/", "helpers/")) and not is_exempt:
        yield from ((place, f"{word}: {REMEDY}") for place, word in direct_accesses(text))
    for directory, pattern, rule in DIRECTIONS:
        if name.startswith(directory):
            yield from ((place, f"includes {header}: {rule}")
                        for place, header in wrong_includes(text, pattern))


def missing_headers(public):
    """Public headers that the one for everything leaves out."""
    everything = (public / "invscan.h").read_text()
    for header in sorted(public.rglob("*.h")):
        name = f"<invscan/{header.relative_to(public).as_posix()}>"
        if header.name not in ("invscan.h", "export.h") and name not in everything:
            yield f"{public}/invscan.h:1: lacks {name}"


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    self_check()
    root = pathlib.Path(sys.argv[1])
    sources = sorted(path for path in root.rglob("*") if path.suffix in (".cpp", ".h"))
    assert sources, f"no sources below {root}"
    missing = list(missing_headers(root.parent / "include/invscan"))
    found = len(missing)
    print(*missing, sep="\n", end="\n" * bool(missing))
    for source in sources:
        text = source.read_text()
        for place, message in sorted(findings(text, source.relative_to(root).as_posix())):
            found += 1
            print(f"{source}:{text.count(chr(10), 0, place) + 1}: {message}")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
