"""Virtual machines that boot Debian's kernel and run our program and independent tools inside."""

import gzip
import os
import re
import shutil
import subprocess
import sys
import unittest
from pathlib import Path

OVMF = "/usr/share/ovmf/OVMF.fd"
BUSYBOX = "/bin/busybox"
LIMIT_SECONDS = 1200
# In which a kernel comes to its init, unless the emulated processors wait for each other for ever.
START_SECONDS = 300

INIT = """#!/bin/busybox sh
/bin/busybox mount -t proc proc /proc
/bin/busybox mount -t sysfs sys /sys
/bin/busybox mount -t devtmpfs dev /dev
export PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8
{modules}
{commands}
/bin/busybox poweroff -f
"""


def kernel_package():
    """The package that Debian's kernel is in at present."""
    for refresh in (["true"], ["apt-get", "update", "-qq"]):
        if refresh[0] == "apt-get" and os.geteuid() != 0:
            raise unittest.SkipTest("no kernel: apt knows none before root has it updated")
        subprocess.run(refresh, check=True)
        depends = subprocess.run(["apt-cache", "depends", "linux-image-amd64"], text=True,
                                 stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout
        if found := re.search(r"Depends: (linux-image-\S+)", depends):
            return found.group(1)
    raise RuntimeError("no package linux-image-amd64 in reach")


def kernel(directory):
    """Debian's kernel image, taken out of its package without installing that."""
    images = sorted(Path(directory).glob("boot/vmlinuz-*"))
    if not images:
        if not shutil.which("apt-get"):
            raise unittest.SkipTest("no kernel: there is no apt here to download Debian's")
        Path(directory).mkdir(parents=True, exist_ok=True)
        subprocess.run(["apt-get", "download", "-qq", kernel_package()], cwd=directory, check=True,
                       stderr=subprocess.DEVNULL)
        archive = next(Path(directory).glob("linux-image-*.deb"))
        subprocess.run(["dpkg", "-x", archive, directory], check=True)
        archive.unlink()
        images = sorted(Path(directory).glob("boot/vmlinuz-*"))
    return images[-1]


def libraries(program):
    """What the loader needs to start a program, the loader included; nothing for other files."""
    listing = subprocess.run(["ldd", program], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                             text=True).stdout
    return {Path(path) for path in re.findall(r"(/\S+) \(0x", listing)}


def module_files(directory, names):
    """The kernel's modules of these names and what they need, in the order to load them."""
    place, = Path(directory).glob("lib/modules/*")
    if not (place / "modules.dep").exists():
        subprocess.run([BUSYBOX, "depmod", "-b", directory, place.name], check=True)
    needs = dict(line.split(":") for line in (place / "modules.dep").read_text().splitlines())
    paths = {Path(path).stem.replace("_", "-"): path for path in needs}
    order = [path for name in names
             for path in (*reversed(needs[paths[name]].split()), paths[name])]
    return [place / path for path in dict.fromkeys(order)]


def initramfs(target, files, commands, modules=()):
    """An archive with the files at their own paths and what programs among them need, and an init
    that loads the modules and runs the commands."""
    root = target.with_suffix(".root")
    shutil.rmtree(root, ignore_errors=True)
    for name in ("proc", "sys", "dev", "tmp", "root", "bin"):
        (root / name).mkdir(parents=True)
    shutil.copy(BUSYBOX, root / "bin/busybox")
    for name in ("sh", "cat"):
        (root / "bin" / name).symlink_to("busybox")
    for given in map(Path, files):
        for file in {given, *libraries(given)}:
            place = root / str(file).lstrip("/")
            place.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(file, place)
    for module in modules:
        shutil.copy(module, root / "root")
    # For every user there, whatever the umask is here.
    subprocess.run(["chmod", "-R", "go+rX", root], check=True)
    loading = "\n".join(f"/bin/busybox insmod /root/{module.name}" for module in modules)
    script = "\n".join(f"echo '@@ {name}'; {command}" for name, command in commands.items())
    (root / "init").write_text(INIT.format(modules=loading, commands=script + "\necho '@@ end'"))
    (root / "init").chmod(0o755)
    names = "\0".join(str(path.relative_to(root)) for path in sorted(root.rglob("*"))) + "\0"
    archive = subprocess.run(["cpio", "--null", "-o", "-H", "newc", "--quiet"], cwd=root,
                             input=names.encode(), stdout=subprocess.PIPE, check=True).stdout
    target.write_bytes(gzip.compress(archive, 1))


def console_of(command):
    """What a machine prints until it ends. One whose init prints nothing is started once more."""
    run = {"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE, "check": True}
    try:
        return subprocess.run(command, timeout=START_SECONDS, **run).stdout
    except subprocess.TimeoutExpired as late:
        if b"@@ " not in (late.stdout or b""):
            print("a machine did not start, and is started again", file=sys.stderr)
    return subprocess.run(command, timeout=LIMIT_SECONDS, **run).stdout


def boot(directory, files, commands, *options, modules=(), emulator="qemu-system-x86_64"):
    """Runs the commands inside a machine with those files of this one, options of qemu and modules of
    the kernel; what each printed, by name.

    The machine is emulated: the acceleration of nested machines is not to be relied on. Its kernel does
    not try its timer, which on a busy machine comes too late for it to go on."""
    directory = Path(directory)
    image = directory / "initramfs.gz"
    linux = kernel(directory / "kernel")
    initramfs(image, files, commands, module_files(directory / "kernel", modules))
    output = console_of(
        [emulator, "-accel", "tcg", "-display", "none", "-serial", "stdio",
         "-monitor", "none", "-nic", "none", "-no-reboot", "-kernel", linux, "-initrd", image,
         "-append", "console=ttyS0 quiet panic=-1 no_timer_check", *options])
    console = output.decode("utf-8", "replace").replace("\r\n", "\n")
    parts = re.split(r"^.*@@ (\S+)\n", console, flags=re.MULTILINE)
    outputs = dict(zip(parts[1::2], parts[2::2]))
    if "end" not in outputs:
        raise RuntimeError("the machine did not finish:\n" + console[-2000:])
    return outputs
