"""Scans a virtual machine with network adapters of many models and links of every kind, against ip,
ethtool and lspci inside, classic rows against ifconfig and netstat: network_test.py INVSCAN DIRECTORY

DIRECTORY keeps the kernel between runs."""

import re
import shlex
import shutil
import sys
import types
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).parent.parent))

import machine  # noqa: E402
import netns_test  # noqa: E402

PROGRAM = str(Path(sys.argv[1]).resolve())
DIRECTORY = Path(sys.argv[2]).resolve()
# By their places, as the shell there has commands of the same names.
TOOLS = {name: shutil.which(name, path="/usr/sbin:/usr/bin:/sbin:/bin")
         for name in ("ip", "ethtool", "lspci", "ifconfig", "netstat")}
FILES = (PROGRAM, *TOOLS.values(), "/bin/dash", "/lib/x86_64-linux-gnu/libudev.so.1",
         "/lib/udev/hwdb.bin", "/usr/share/misc/pci.ids")
MODULES = ("virtio-pci virtio-net e1000 e1000e e100 8139cp ne2k-pci pcnet32 tulip vmxnet3 xhci-pci "
           "cdc-ether rndis-host mac80211-hwsim bonding team team-mode-activebackup 8021q bridge veth "
           "dummy ifb macvlan macvtap ipvlan vrf vxlan geneve tun wireguard ipip sit ip-gre ip6-gre "
           "ip6-tunnel ip-vti ip6-vti xfrm-interface macsec vcan nlmon").split()
HARDWARE = ("Driver Name", "Driver Version", "Driver Path", "Manufacturer", "Physical Type")
MODELS = "virtio-net-pci e1000 e1000e i82551 rtl8139 ne2k_pci pcnet tulip vmxnet3".split()

# Each adapter is called by its driver, the rest are made.
LINKS = """
link set lo up; link set nic-e1000 master bond0; link set nic-e1000e master bond0; link set bond0 up
link add link bond0 name bond0.7 type vlan id 7; link set bond0.7 up
link add link nic-8139cp name lan8 type vlan id 8 protocol 802.1ad
link add team0 type team; link set nic-pcnet32 master team0
link add veth0 type veth peer name veth-of-bridge; link add br-lan type bridge
link set veth-of-bridge master br-lan; link set nic-vmxnet3 master br-lan
link add red type vrf table 9; link set red up; link set nic-tulip master red
link set nic-tulip address 02:00:00:00:00:99; link set nic-tulip up; link set nic-virtio_net up
link add macvlan0 link nic-tulip type macvlan; link add macvtap0 link nic-tulip type macvtap
link add ipvlan0 link nic-virtio_net type ipvlan; link add macsec0 link nic-ne2k-pci type macsec
link add tr0 type dummy; link add ifb-last type ifb; link add vcan0 type vcan; link add nlmon0 type nlmon
link add vx0 type vxlan id 4 dstport 4789; link add geneve0 type geneve id 4 remote 192.0.2.1
link add xfrm1 type xfrm dev bond0 if_id 1; tuntap add tun0 mode tun; tuntap add tap0 mode tap
link add wg0 type wireguard; link set wg0 up; link set veth0 up; link set veth-of-bridge up
addr add 192.0.2.10/24 dev bond0; addr add 192.0.2.11/24 dev bond0 label bond0:1
addr add 127.0.1.1/8 dev lo; addr add 198.51.100.1 peer 198.51.100.2/30 dev wg0
addr add 203.0.113.1/31 dev veth0; addr add 203.0.113.7/32 dev tr0; addr add 10.0.0.1/8 dev bond0.7
addr add 10.9.0.1/16 dev nic-virtio_net; addr add 172.16.0.1/24 dev nic-tulip
addr add 2001:db8::10/64 dev bond0 nodad; addr add 2001:db8::11/128 dev bond0 nodad
addr add fec0::10/64 dev bond0 nodad; addr add 2001:db8:7::1/64 dev bond0.7 nodad
addr add fd00::5 peer fd00::6/127 dev wg0
route add default via 192.0.2.1; route add default dev wg0 metric 9
route add 10.1.0.0/16 via 10.0.0.7; route add 10.9.9.0/24 via inet6 fe80::9 dev bond0
route add 203.0.113.64/26 nexthop via 10.9.0.2 nexthop via 192.0.2.3
route add 172.17.0.0/16 via 172.16.0.2 table 9
nexthop add id 5 via 203.0.113.0 dev veth0; route add 10.200.0.0/16 nhid 5
route add ::/0 via fe80::1 dev bond0; route add 2001:db8:1::/48 via 2001:db8::1
route add 2001:db8:2::/48 nexthop via fe80::7 dev bond0.7 nexthop via fe80::8 dev bond0
""".replace("; ", "\n") + "".join(
    f"link add {kind}1 type {kind} local {local} remote {remote} {options}\n"
    for local, remote, kinds, options in (
        ("192.0.2.2", "192.0.2.1", "ipip sit gre gretap", ""),
        ("192.0.2.2", "192.0.2.1", "erspan", "seq key 1"),
        ("192.0.2.3", "192.0.2.1", "vti", ""), ("fd00::2", "fd00::1", "ip6tnl ip6gre ip6gretap", ""),
        ("fd00::3", "fd00::1", "vti6", ""))
    for kind in kinds.split())
# What becomes of the machine before each look at it.
NETWORKS = {
    "everything": rf"""
        echo 1 >/proc/sys/kernel/printk
        for place in /sys/class/net/*/device/driver; do
          link=${{place#*net/}} driver=$(busybox readlink $place)
          {TOOLS["ip"]} link set ${{link%%/*}} name nic-${{driver##*/}} 2>/dev/null
        done
        modules=/lib/modules/$(busybox uname -r); mkdir -p $modules
        for module in /root/*.ko; do echo $module:; done >$modules/modules.dep
        {TOOLS["ip"]} -force -batch - <<END 2>&1
{LINKS}
END
        """,
    "no default route": f"{TOOLS['ip']} route flush default; {TOOLS['ip']} -6 route flush default",
    "no adapter": rf"""
        for link in $(busybox ls /sys/class/net); do {TOOLS["ip"]} link delete $link; done 2>/dev/null
        for pass in 1 2 3 4 5; do
          for module in $(busybox cut -d' ' -f1 /proc/modules); do busybox rmmod $module; done
        done 2>/dev/null; {TOOLS["ip"]} link set lo down; {TOOLS["ip"]} addr flush dev lo""",
}
NATIVE = [("ip", "-j", "-d", "addr"), ("ip", "-j", "-4", "route"),
          ("ip", "-j", "-6", "route", "show", "table", "all"), ("lspci", "-Dvmm"),
          (PROGRAM, "capture", "/root/capture", *netns_test.GROUPS),
          (PROGRAM, *netns_test.GROUPS, "--format", "json"),
          (PROGRAM, "--machine", "/root/capture", *netns_test.GROUPS, "--format", "json")]
# Of commands in a shell, which has its own ifconfig and netstat if it is busybox; they print the form
# that the rules were made for.
CLASSIC = [("ip", "-j", "addr"), ("ifconfig", "-a"), ("netstat", "-nr"),
           (PROGRAM, "--classic", *netns_test.GROUPS, "--format", "json")]
SHELLS = ("dash", "busybox")

# Link, attribute, value by ip, ethtool or lspci and that of the row, where they differ.
UNLIKE_TOOLS = {
    # By the directory of its radio.
    *((name, *each) for name in ("wlan0", "wlan1")
      for each in (("Type", 3, 12), ("Physical Type", "Ethernet", "Wireless"))),
    # What drivers tell ethtool alone; the kernel's release, where they tell none, is not taken.
    ("nic-virtio_net", "Driver Version", "1.0.0", None),
    ("nic-vmxnet3", "Driver Version", "1.7.0.0-k-NAPI", "1.7.0.0-k"),
    # Of another bus than lspci lists.
    ("nic-cdc_ether", "Manufacturer", None, "Netchip Technology, Inc."),
}


def key(network, command):
    return re.sub(r"\s+", "_", " ".join([network, *command]))


def line(command):
    if command[0] in ("ifconfig", "netstat"):
        return f"/bin/sh -c '{shlex.join(command)}' 2>/dev/null"
    return shlex.join([TOOLS.get(command[0], command[0]), *command[1:]]) + " 2>/dev/null"


def commands():
    for network, changes in NETWORKS.items():
        yield key(network, ["setup"]), f"rm -rf /root/capture; {{ {changes}\n}} 2>&1"
        yield from ((key(network, command), line(command)) for command in NATIVE)
        yield key(network, ["each"]), f"""
            for link in $(busybox ls /sys/class/net); do for asked in -P -i; do
              echo "@@ {key(network, ['ethtool'])}_${{asked}}_$link"; ethtool $asked $link 2>/dev/null
            done; done"""
        for shell in SHELLS:
            there = f"{network}, {shell}"
            yield key(there, ["shell"]), f"busybox ln -sf {shell} /bin/sh"
            yield from ((key(there, command), line(command)) for command in CLASSIC)


class Network(netns_test.Namespace):
    """What the commands printed while the machine had that network."""

    def __init__(self, outputs, name):
        self.outputs, self.name = outputs, name

    def run(self, *command, check=True):
        return types.SimpleNamespace(stdout=self.outputs[key(self.name, command)])

    def driver(self, link):
        """What the row of an adapter should tell of its hardware; nothing where there is none."""
        told = fields(self.run("ethtool", "-i", link).stdout)
        made = [each["ifname"] for each in self.tables("ip", "-j", "-d", "addr")
                if "info_kind" in each.get("linkinfo", {})]
        if link in made or not told:
            return dict.fromkeys(HARDWARE)
        makers = {found["Slot"]: found["Vendor"]
                  for found in map(fields, self.run("lspci", "-Dvmm").stdout.split("\n\n")) if found}
        release = machine.kernel(DIRECTORY / "kernel").name.removeprefix("vmlinuz-")
        return dict(zip(HARDWARE, (
            told["driver"], told["version"] if told["version"] != release else None,
            f"/root/{told['driver']}.ko", makers.get(told["bus-info"]), "Ethernet")))


def fields(text):
    return dict(re.findall(r"^(\S+):[ \t]+(.*)$", text, re.MULTILINE))


class Networks(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        nics = [option for number, model in enumerate(MODELS) for option in
                ("-device", f"{model},mac=52:54:00:00:00:{number:02x},romfile=")]
        outputs = machine.boot(DIRECTORY, FILES, dict(commands()), "-m", "512", *nics,
                               "-device", "qemu-xhci", "-device", "usb-net", modules=MODULES)
        cls.networks = [Network(outputs, name) for name in NETWORKS]
        cls.classic = [Network(outputs, f"{name}, {shell}") for name in NETWORKS for shell in SHELLS]

    def test_native_rows_are_what_tools_tell(self):
        for network in self.networks:
            found = netns_test.scan(network, PROGRAM, *netns_test.GROUPS)
            wanted = netns_test.expected(network)
            for row in wanted["Network Adapter"]:
                row.update(network.driver(row["Model"]))
            unlike = set()
            for group in netns_test.GROUPS:
                self.assertEqual(len(found[group]), len(wanted[group]), (network.name, group))
                unlike.update((theirs.get("Model", theirs.get("Address")), name, value, ours.get(name))
                              for ours, theirs in zip(found[group], wanted[group])
                              for name, value in theirs.items() if ours.get(name) != value)
            with self.subTest(network.name):
                self.assertEqual(unlike, UNLIKE_TOOLS if found["Network Adapter"] else set())
                self.assertEqual(network.run("setup").stdout, "")

    def test_classic_rows_are_what_the_rules_make_of_ifconfig_and_netstat(self):
        for network in self.classic:
            with self.subTest(network.name):
                netns_test.test_classic(network.name, network, PROGRAM)

    def test_captures_replay(self):
        for network in self.networks:
            replayed = netns_test.scan(network, PROGRAM, "--machine", "/root/capture",
                                       *netns_test.GROUPS)
            self.assertEqual(replayed, netns_test.scan(network, PROGRAM, *netns_test.GROUPS))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
