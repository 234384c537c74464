#!/usr/bin/env python3
"""Scans networks made for the purpose and holds the rows against what ip and ethtool tell, classic
rows against what ifconfig and netstat print.

usage: netns_test.py INVSCAN

Each network lives in a namespace of its own. Where none can be made the test is skipped, and so is a
kind of link that the kernel does not have.
"""

import contextlib
import hashlib
import ipaddress
import json
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import time

SKIPPED = 77
GROUPS = ("IP Address", "IPv6 Address", "Network Adapter")

# The commands of ip that make each network. A line that begins with "?" may fail.
NETWORKS = {
    "nothing at all": [],
    "loopback only": ["link set lo up", "addr add 127.0.1.1/8 dev lo", "addr add fd00::1/128 dev lo"],
    "veth pair with aliases and peers": [
        "link add veth0 type veth peer name veth1", "link set veth0 up", "link set veth1 up",
        "addr add 192.0.2.10/24 dev veth0", "addr add 192.0.2.11/24 dev veth0 label veth0:1",
        "addr add 198.51.100.1 peer 198.51.100.2/30 dev veth0",
        "addr add 10.0.0.1/32 dev veth1", "addr add 10.9.0.1/8 dev veth1",
        "addr add 2001:db8::10/64 dev veth0 nodad", "addr add 2001:db8::11/128 dev veth0 nodad",
        "addr add fd00::5 peer fd00::6/127 dev veth1",
        "route add default via 192.0.2.11", "route add 203.0.113.0/24 via 192.0.2.1",
        "-6 route add default via fe80::1 dev veth0", "-6 route add 2001:db8:1::/48 via 2001:db8::1",
        "-6 route add 2001:db8:2::/48 nexthop via fe80::7 dev veth1 nexthop via fe80::8 dev veth0"],
    "routes in several ways": [
        "link add enp3s0 type veth peer name wl-peer.1", "link set enp3s0 up",
        "link set wl-peer.1 up", "addr add 192.0.2.1/25 dev enp3s0",
        "addr add 192.0.2.129/25 dev wl-peer.1",
        "route add 203.0.113.0/24 nexthop via 192.0.2.2 dev enp3s0 nexthop via 192.0.2.130 dev wl-peer.1",
        "route add default via 192.0.2.3 table 100", "route add unreachable 10.0.0.0/8"],
    "names that are no words": [
        "link add br-lan type bridge", "link add br-x type bridge", "link set br-lan up",
        "addr add 192.0.2.1/24 dev br-lan", "addr add 192.0.2.2/24 dev br-x",
        "link add eth0 type veth peer name uplink", "link set eth0 master br-lan",
        "? link add link eth0 name eth0.100 type vlan id 100",
        "? link add link uplink name lan.7 type vlan id 7", "? addr add 192.0.2.3/32 dev lan.7"],
}

# By what the name begins with, as the classic source has it; else by what the kernel calls the link,
# or its hardware.
TYPES_BY_NAME = {"eth": 3, "tr": 4, "slip": 6, "escon": 7, "ctc": 8, "iucv": 9, "ppp": 10}
TYPES_BY_KIND = {"bridge": 17, "vlan": 18, "tun": 16, "vxlan": 16, "geneve": 16, "wireguard": 16,
                 "ipip": 16, "sit": 16, "gre": 16, "gretap": 16, "erspan": 16, "vti": 16, "ip6tnl": 16,
                 "ip6gre": 16, "ip6gretap": 16, "vti6": 16, "xfrm": 16}
TYPES_BY_HARDWARE = {"ether": 3, "ieee802.11/radiotap": 12}
OTHER = 2


class Namespace:
    def __init__(self, commands):
        self.name = f"invscan-test-{time.monotonic_ns()}"
        self.commands = commands
        self.inside = []  # what runs the commands there

    def __enter__(self):
        subprocess.run(["ip", "netns", "add", self.name], check=True, capture_output=True)
        for command in self.commands:
            done = self.run("ip", *command.lstrip("? ").split(), check=False)
            if done.returncode != 0 and not command.startswith("?"):
                raise SystemExit(f"ip {command}: {done.stderr}")
        return self

    def __exit__(self, *_):
        subprocess.run(["ip", "netns", "delete", self.name], check=True)

    def run(self, *command, check=True):
        return subprocess.run(["ip", "netns", "exec", self.name, *self.inside, *command],
                              check=check, text=True, capture_output=True)

    def tables(self, *command):
        text = self.run(*command).stdout
        return [entry for entry in json.loads(text or "[]") if entry]


def scan(namespace, *command):
    groups = json.loads(namespace.run(*command, "--format", "json").stdout)["groups"]
    for group in GROUPS:
        assert groups[group]["status"] == "ok", groups[group]
    return {group: groups[group]["rows"] for group in GROUPS}


def hops(routes):
    for route in routes:
        for hop in [route, *route.get("nexthops", [])]:
            if "gateway" in hop:
                yield {**route, **hop}


def rule_scope(address):
    text = str(address)
    return ("global" if text[0] in "23" else "link" if text.startswith("fe80")
            else "site" if text[:3] in ("fec", "fed", "fee", "fef") else "")


def ipv4_gateway(address, routes):
    interface = ipaddress.ip_interface(address)
    for hop in hops(routes):
        gateway = ipaddress.ip_address(hop["gateway"])
        if gateway != interface.ip and gateway in interface.network:
            return hop["gateway"]
    return ""


def ipv4_addresses(links):
    """Each that has a row, with the link that has it and its prefix."""
    for link in links:
        for each in addresses_of(link, "inet"):
            if not each["local"].startswith("127.0.0."):
                yield link, each["local"], f"{each['local']}/{each['prefixlen']}"


def ipv6_gateway(address, device, routes):
    for hop in hops(routes):
        gateway = ipaddress.ip_address(hop["gateway"])
        if hop["dev"] == device and rule_scope(gateway) == rule_scope(address):
            return gateway.exploded
    return ""


def type_by_name(name, otherwise=OTHER):
    return next((type for prefix, type in TYPES_BY_NAME.items() if name.startswith(prefix)), otherwise)


def type_of(link, kind):
    by_hardware = TYPES_BY_HARDWARE.get(link["link_type"], OTHER)
    return type_by_name(link["ifname"], TYPES_BY_KIND.get(kind, by_hardware))


def hardware(link):
    if link["link_type"] in ("ether", "infiniband", "ieee802.11/radiotap"):
        return link["address"].upper()
    return ""


def addresses_of(link, family):
    return [each for each in link["addr_info"] if each["family"] == family]


def expected(namespace):
    links = sorted(namespace.tables("ip", "-j", "-d", "addr"), key=lambda link: link["ifindex"])
    ipv4_routes = namespace.tables("ip", "-j", "-4", "route")
    ipv6_routes = namespace.tables("ip", "-j", "-6", "route", "show", "table", "all")
    rows = {group: [] for group in GROUPS}
    for link in links:
        ipv6 = addresses_of(link, "inet6")
        for _, local, address in ipv4_addresses([link]):
            rows["IP Address"].append({
                "Index": len(rows["IP Address"]) + 1, "Address": local,
                "Subnet": str(ipaddress.ip_interface(address).netmask),
                "Gateway": ipv4_gateway(address, ipv4_routes),
                "Permanent Mac Address": hardware(link)[:17] or "00:00:00:00:00:00",
                "IPV6Address": f"{ipv6[-1]['local']}/{ipv6[-1]['prefixlen']}" if ipv6 else ""})
        for each in ipv6:
            if (each["local"], each["prefixlen"]) == ("::1", 128):
                continue
            address = ipaddress.ip_address(each["local"])
            rows["IPv6 Address"].append({
                "Index": len(rows["IPv6 Address"]) + 1, "Address": each["local"],
                "Subnet": str(each["prefixlen"]), "Scope": each["scope"],
                "Gateway": ipv6_gateway(address, link["ifname"], ipv6_routes),
                "Permanent Mac Address": hardware(link), "Adapter Name": link["ifname"]})
        if link["link_type"] == "loopback":
            continue
        permanent = namespace.run("ethtool", "-P", link["ifname"]).stdout.split(": ")[-1].strip()
        members = [each["ifname"] for each in links if each.get("master") == link["ifname"]]
        kind = link.get("linkinfo", {}).get("info_kind", "")
        row = {"Index": len(rows["Network Adapter"]) + 1,
               "ID": hashlib.md5((hardware(link) + link["ifname"]).encode()).hexdigest(),
               "Permanent Address": (hardware(link) if permanent == "not set" or not hardware(link)
                                     else permanent.upper()),
               "Current Address": hardware(link),
               "Type": type_of(link, kind),
               "Model": link["ifname"]}
        if kind in ("bond", "team") and members:
            row["EtherChannel devices"] = ", ".join(members)
        rows["Network Adapter"].append(row)
    return rows


def compare(network, found, wanted):
    for group in GROUPS:
        assert len(found[group]) == len(wanted[group]), (network, found[group], wanted[group])
        for ours, theirs in zip(found[group], wanted[group]):
            shown = {name: ours.get(name) for name in theirs}
            assert shown == theirs, f"{network}: {group}:\n{shown}\n{theirs}"
            assert group != "Network Adapter" or all(
                value != "" for name, value in ours.items() if name not in theirs), ours


def listed_interfaces(printed):
    """What the classic rules make of "ifconfig -a": hardware address, IPv4 and IPv6 addresses by name.
    Of interfaces whose names begin alike, what the last one has counts."""
    interfaces = {}
    for block in re.split(r"\n(?=\S)", printed.replace("\n\n", "\n")):
        hardware = re.search(r"^\S.*HWaddr (\S+)", block)
        name, found = re.match("[A-Za-z0-9]*", block)[0], {
            "hardware": hardware[1].upper() if hardware else "",
            "inet": "".join(re.findall(r"\sinet\s.*?addr:\s*(\S+)", block)[-1:]),
            "inet6": re.findall(r"\sinet6\s.*?addr:\s*(\S+)", block)}
        interfaces.setdefault(name, found).update({key: value for key, value in found.items() if value})
    return interfaces


def classic(namespace):
    interfaces = listed_interfaces(namespace.run("ifconfig", "-a").stdout)
    rows = {"IP Address": [], "Network Adapter": []}
    for name, each in interfaces.items():
        if name != "lo":
            address = re.match("[0-9A-H:]*", each["hardware"])[0]
            rows["Network Adapter"].append({
                "Index": len(rows["Network Adapter"]) + 1,
                "ID": hashlib.md5((address + name).encode()).hexdigest(),
                "Permanent Address": address, "Current Address": address,
                "Type": type_by_name(name), "Model": name})
    table = namespace.run("netstat", "-nr", check=False).stdout  # fails where there is no route
    fields = [line.split() for line in table.splitlines()[2:]]
    routes = [{"gateway": line[1]} for line in fields if len(line) == 8 and {"U", "G"} <= set(line[3])]
    links = sorted(namespace.tables("ip", "-j", "addr"), key=lambda link: link["ifindex"])
    for link, local, address in ipv4_addresses(links):
        mac = link.get("address", "").upper()
        carrier = [one["inet6"] for one in interfaces.values() if one["inet"] == local][:1]
        rows["IP Address"].append({
            "Index": len(rows["IP Address"]) + 1, "Address": local,
            "Subnet": str(ipaddress.ip_interface(address).netmask),
            "Gateway": ipv4_gateway(address, routes),
            "Permanent Mac Address": mac[:17] if mac.count(":") >= 5 else "00:00:00:00:00:00",
            "IPV6Address": carrier[0][-1] if any(carrier) else ""})
    rows["IPv6 Address"] = [{"Address": address.split("/")[0], "Subnet": address.split("/")[1],
                             "Scope": rule_scope(address), "Adapter Name": name}
                            for name, each in interfaces.items() for address in each["inet6"]
                            if address != "::1/128"]
    return rows


def test_classic(network, namespace, program):
    found = scan(namespace, program, "--classic", *GROUPS)
    wanted = classic(namespace)
    compare(f"{network}, classic", found, wanted)
    assert all(ours.keys() - {"Type text"} == theirs.keys() for ours, theirs
               in zip(found["Network Adapter"], wanted["Network Adapter"])), found


def forms(text):
    """Patterns of an address as it may stand in a file, in lower case. The other order of bytes is
    that of the kernel's tables, where it stands alone; elsewhere such digits come about by chance."""
    hardware = text.count(":") >= 5 and "::" not in text and all(
        len(part) == 2 for part in text.split(":"))
    address = bytes.fromhex(text.replace(":", "")) if hardware else ipaddress.ip_address(text).packed
    yield from (re.escape(address.lower()), address.hex().encode(), re.escape(text.lower().encode()))
    yield rb"(?<![0-9a-f])%s(?![0-9a-f])" % address[::-1].hex().encode()
    if not hardware:
        yield re.escape(ipaddress.ip_address(text).exploded.encode())


def secrets(namespace):
    tables = [namespace.tables("ip", "-j", *command) for command in (
        ("addr",), ("-4", "route", "show", "table", "all"), ("-6", "route", "show", "table", "all"))]
    texts = re.findall(r'"(?:address|local|broadcast|gateway|prefsrc|permaddr)": ?"([^"/]+)', json.dumps(tables))
    return {text for text in texts
            if not re.match(r"(0|127|255)\.|::1?$|(00:){5}00|(ff:){5}ff|f[ef]..::$", text)}


def test_redaction(network, namespace, program, capture, found):
    """The same rows, with other addresses that belong together in the same way."""
    key = capture.with_suffix(".conf")
    key.write_text("[agent]\nredact_key = k\n")
    namespace.run(program, "capture", capture, "--redact", "--config", key)
    replayed = scan(namespace, program, *GROUPS, "--machine", capture)
    kept = ("Index", "Subnet", "Scope", "Adapter Name", "Type", "Model", "EtherChannel devices")
    for group in GROUPS:
        assert len(replayed[group]) == len(found[group]), (network, replayed[group])
        for ours, theirs in zip(replayed[group], found[group]):
            assert all(ours.get(name) == theirs.get(name) for name in kept), (network, ours, theirs)
            assert ([name for name, value in ours.items() if value == ""]
                    == [name for name, value in theirs.items() if value == ""]), (ours, theirs)
    files = {path: path.read_bytes().lower() for path in capture.rglob("*") if path.is_file()}
    for secret in secrets(namespace):
        for form in forms(secret):
            for path, contents in files.items():
                assert not re.search(form, contents), f"{network}: {secret} stands in {path} as {form}"


def test_networks(program):
    for network, commands in NETWORKS.items():
        with Namespace(commands) as namespace, tempfile.TemporaryDirectory() as scratch:
            found = scan(namespace, program, *GROUPS)
            compare(network, found, expected(namespace))
            if shutil.which("ifconfig"):
                test_classic(network, namespace, program)
            capture = pathlib.Path(scratch) / "capture"
            namespace.run(program, "capture", capture)
            replayed = scan(namespace, program, *GROUPS, "--machine", capture)
            assert replayed == found, f"{network}: replay differs"
            test_redaction(network, namespace, program, pathlib.Path(scratch) / "redacted", found)
        print(f"{network}: {', '.join(str(len(rows)) for rows in found.values())} rows")
    if not shutil.which("ifconfig"):
        print("classic rows: skipped, ifconfig (net-tools) is not installed")


NOT_ASKED = "not asked: the name services took too long, or none was there"
NO_NAME = "the name services know no name for it"
# What a server does with a question (none: there is no server), and what becomes of eight addresses.
NAME_SERVERS = {
    "one that is silent": ("127.0.0.9", "pass", {"no name service answered in time": 1, NOT_ASKED: 7}),
    "one that fails": ("127.0.0.9", r"s.sendto(question[:2] + b'\x81\x82' + question[4:], asker)",
                       {NO_NAME: 8, NOT_ASKED: 0}),
    "a closed port": ("127.0.0.9", None, {"no name server can be reached": 1, NOT_ASKED: 7}),
    "no route": ("198.18.0.1", None, {"no name server can be reached": 1, NOT_ASKED: 7}),
}


@contextlib.contextmanager
def name_server(namespace, directory, address, reaction):
    """The directory takes the place of /etc, whatever is there."""
    (directory / "resolv.conf").write_text(f"nameserver {address}\n")
    (directory / "nsswitch.conf").write_text("hosts: files dns\n")
    (directory / "hosts").write_text(
        "#\n198.51.100.1\tpeer.example.org p # first\n198.51.100.1 q\n2001:DB8:0::11 six\n")
    namespace.inside = ["sh", "-c", 'mount --bind "$0" /etc && exec "$@"', directory]
    program = ("import socket\ns = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)\n"
               f"s.bind(('{address}', 53))\nprint(flush=True)\n"
               f"while True:\n  question, asker = s.recvfrom(999)\n  {reaction}")
    server = subprocess.Popen(["ip", "netns", "exec", namespace.name, sys.executable, "-c",
                               program if reaction else "print()"], stdout=subprocess.PIPE)
    try:
        server.stdout.readline()
        yield
    finally:
        server.kill()
        server.wait()


def test_name_server(program, what, address, reaction, outcomes):
    commands = NETWORKS["veth pair with aliases and peers"] + ["link set lo up"]
    if not reaction:
        commands = [each for each in commands if "add default" not in each]
    with (Namespace(commands) as namespace, tempfile.TemporaryDirectory() as etc,
          name_server(namespace, pathlib.Path(etc), address, reaction)):
        begin = time.monotonic()
        found = scan(namespace, program, *GROUPS)
        seconds = time.monotonic() - begin
        compare(what, found, expected(namespace))
        names = {row["Address"]: row["Hostname"] + "." + row["Domain"]
                 for row in found["IP Address"] + found["IPv6 Address"]}
        assert all(names[row["Address"]] != "." for row in found["IP Address"]), names
        # Those of the host table, neither of which is looked up first.
        assert (names["198.51.100.1"], names["2001:db8::11"]) == ("peer.example.org", "six."), names
        assert found["IP Address"][0]["Primary DNS"] == address
        assert seconds < 6, f"took {seconds:.1f} s"
        told = json.loads(namespace.run(program, "explain", "--format", "json", "IP Address",
                                        "IPv6 Address").stdout)
        said = [use["outcome"] for group in told["groups"].values() for use in group["sources"]]
        assert "no route has a gateway in the subnet of the address" in said, said
        for outcome, times in outcomes.items():
            assert said.count(outcome) == times, f"{outcome}: {said}"
    print(f"name server, {what}: {seconds:.1f} s")


def main(program):
    try:
        with Namespace([]) as namespace:
            namespace.run("true")
    except (OSError, subprocess.CalledProcessError) as error:
        print(f"skipped: no network namespace can be made: {error}")
        return SKIPPED
    test_networks(program)
    for what, (address, reaction, outcomes) in NAME_SERVERS.items():
        test_name_server(program, what, address, reaction, outcomes)
    return 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
