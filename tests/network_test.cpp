// Interfaces, addresses, gateways and names: what the readers make of texts and messages, and rules
// that a whole machine's expected output would not show; what the kernel tells, and what bounds
// reverse look-ups.
#include <gtest/gtest.h>

#include <linux/if_addr.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include <invscan/invscan.h>

#include "Rendering.h"
#include "TestMachine.h"
#include "TracedText.h"
#include "agent/redact/NetlinkRedaction.h"
#include "agent/redact/Redactor.h"
#include "agent/redact/Replacements.h"
#include "invscan/linux/utils/HostNames.h"
#include "invscan/linux/utils/InterfaceList.h"
#include "invscan/linux/utils/KernelAddresses.h"
#include "invscan/linux/utils/KernelTables.h"
#include "invscan/linux/utils/NameLookups.h"
#include "invscan/machine/CaptureDocument.h"

namespace invscan {
namespace {

constexpr char kIfconfig[] = "ifconfig -a 2>/dev/null";

CapturedProgram printing(const std::string& text) {
  return {.output = text};
}

// "name 4=address 6=address hw=address [address scope][...]" for each interface, "-" for no text.
std::string described(const IfInfoList& list) {
  std::string text;
  for (int i = 0; i < list.getCount(); ++i) {
    const IfInfo& interface = *list.get(i);
    const auto member = [&](IfInfo::Member which) { return interface.texts[which].value_or("-"); };
    text += (i == 0 ? "" : "; ") + member(IfInfo::kName) + " 4=" + member(IfInfo::kIPv4) +
            " 6=" + member(IfInfo::kIPv6) + " hw=" + member(IfInfo::kHardware);
    for (const IPv6_entry& entry : interface.ipv6) {
      text += " [" + entry.address + " " + entry.scope + "]";
    }
  }
  return text;
}

TEST(InterfaceList, IsReadFromIfconfig) {
  const std::string longLine(482, 'x');
  const struct {
    const char* what;
    std::string printed, expected;
  } cases[] = {
      {"what is no hardware address stays as it is printed",
       "eth0  Link HWaddr 00:11:22:33:44:55  \nib0  Link HWaddr 80:00:00:48:FE:80:00\n",
       "eth0 4=- 6=- hw=00:11:22:33:44:55  ; ib0 4=- 6=- hw=80:00:00:48:FE:80:00"},
      {"lines that are none of an address",
       "eth0\n addr:1.2.3.4 inet\n xinet addr:1.2.3.4\n inetx addr:1.2.3.4\n inet 1.2.3.4\n"
       " inet addr:\n inet6 addr: \n inet4 addr:1.2.3.4\n\tinet\taddr:  10.0.0.9\tx\n",
       "eth0 4=10.0.0.9 6=- hw=-"},
      {"addresses of no interface, and interfaces without a name",
       " inet addr:1.2.3.4\n: HWaddr 0:0:0:0:0:1\n:\n inet addr:1.2.3.4\n:\n- HWaddr x\n",
       "- 4=- 6=- hw=00:00:00:00:00:01; - 4=1.2.3.4 6=- hw=-; - 4=- 6=- hw=x"},
      {"the end of a long line is dropped",
       "eth0 " + longLine + " HWaddr 00:11:22:33:44:55\n" + longLine + longLine + "\neth1 HWaddr 1",
       "eth0 4=- 6=- hw=00:11:22:33:44:05; " + (longLine + longLine).substr(0, 511) +
           " 4=- 6=- hw=-; eth1 4=- 6=- hw=1"},
  };
  for (const auto& test : cases) {
    const OnMachine machine({.commands = {{kIfconfig, printing(test.printed)}}});
    IfInfoList list;
    populateIfInfoList(list);
    EXPECT_EQ(described(list), test.expected) << test.what;
  }
}

TEST(InterfaceList, FindsTheFirstOfAnAddressAsItIsNow) {
  IfInfoList list;
  list.add({});
  EXPECT_EQ(list.getCount(), 0);
  for (const auto& [name, address] :
       {std::pair("eth0", "10.0.0.1"), {"eth1", "10.0.0.1"}, {"eth0", "10.0.0.2"}}) {
    IfInfo interface;
    interface.texts[IfInfo::kName] = name;
    interface.texts[IfInfo::kIPv4] = address;
    list.add(interface);
    EXPECT_EQ(find_if("eth0", list), list.get(0));
    EXPECT_EQ(findIPv4(list, "10.0.0.1"), list.get(std::string_view(address) == "10.0.0.2"));
  }
  for (const char* none : {"", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(findIPv4(list, none), nullptr);
  }
  for (const int none : {2, -1}) EXPECT_EQ(list.get(none), nullptr);
}

TEST(HardwareAddress, IsMadeCanonicalInPlace) {
  const std::string longest = std::string(116, '0') + "1:2:3:4:5:6";
  const struct {
    std::string text;
    int result;
    std::string canonical, trimmed;
  } cases[] = {
      {"0:1a:2b:3c:4d:5e", 0, "00:1A:2B:3C:4D:5E", "00:1A:2B:3C:4D:5E"},
      {"gh:1:2:3:4:5", 0, "GH:01:02:03:04:05", "GH:01:02:03:04:05"},
      {"0:1:2:3:4:i5", 1, "0:1:2:3:4:i5", "0:1:2:3:4:"},
      {"0:1:2:3:4:055", 1, "0:1:2:3:4:055", "0:1:2:3:4:055"},
      {"0:1:2:3:4", 1, "0:1:2:3:4", "0:1:2:3:4"},
      {"0:1:2:3:4:5:6", 1, "0:1:2:3:4:5:6", "0:1:2:3:4:5:6"},
      {"0:1:2::4:5", 1, "0:1:2::4:5", "0:1:2::4:5"},
      {"0:1:2:3:4:", 1, "0:1:2:3:4:", "0:1:2:3:4:"},
      {"aa:bb:cc:dd:ee:ff  ", 1, "aa:bb:cc:dd:ee:ff  ", ""},
      {"", 1, "", ""},
      {longest, 1, longest, longest},
      {longest + "x", 1, longest + "x", longest},
  };
  for (const auto& test : cases) {
    std::string buffer = test.text;
    buffer.resize(129);
    EXPECT_EQ(convertMacToCanonical(buffer.data()), test.result) << test.text;
    EXPECT_EQ(buffer.c_str(), test.canonical);
    trimMac(buffer.data());
    EXPECT_EQ(buffer.c_str(), test.trimmed);
  }
  char blanks[] = "00:11 22 ";
  rtrim(blanks);
  EXPECT_STREQ(blanks, "00:11");
}

TEST(Scope, IsToldByTheFirstCharacters) {
  const std::pair<const char*, const char*> cases[] = {
      {"2001:db8::1", "global"}, {"3ff", "global"},   {"20", "was"},
      {"fe80::1", "link"},       {"FE80::1", "link"}, {"fe80", "was"},
      {"fec0", "site"},          {"Fed0::", "site"},  {"feF", "was"},
      {"fe90::1", "was"},        {"::1", "was"},      {"", "was"},
      {nullptr, "was"},          {"feef", "site"},    {"fc00::1", "was"},
  };
  for (const auto& [address, expected] : cases) {
    std::string scope = "was";
    getScope(scope, address);
    EXPECT_EQ(scope, expected) << (address ? address : "null");
  }
}

TEST(Ipv6Gateway, IsTheNextHopInTheScopeOfTheAddress) {
  const std::string zero(32, '0'), link = "fe800000000000000211" + std::string("22fffe334455"),
                                   global = "20010db8000000000000000000000001",
                                   other = "fc000000" + zero.substr(8);
  const auto route = [&](const std::string& to, const std::string& via, const char* device) {
    return to + " 00 " + zero + " 00 " + via + " 00000400 00000001 00000000 00000003 " + device +
           "\n";
  };
  const char* const linkGateway = "fe80:0000:0000:0000:0211:22ff:fe33:4455";
  const struct {
    const char* what;
    std::string table;
    const char *address, *expected;
  } cases[] = {
      {"a default route, for the link", route(zero, link, "eth0"), "fe80::5", linkGateway},
      {"but not beyond", route(zero, link, "eth0"), "2001:db8::5", "none"},
      {"the first of a scope",
       route(zero, global, "eth0") + route(zero, link, "eth0") +
           route(zero, "fe80" + zero.substr(4), "eth0"),
       "fe80::5", linkGateway},
      {"no scope on both sides", route(zero, other, "eth0"), "fd00::5",
       "fc00:0000:0000:0000:0000:0000:0000:0000"},
      {"another interface", route(zero, link, "eth1") + route(zero, link, "eth"), "fe80::5",
       "none"},
      {"no next hop, or the destination's", route(link, zero, "eth0") + route(link, link, "eth0"),
       "fe80::5", "none"},
      {"too few fields", "a b\n" + route(zero, link, ""), "fe80::5", "none"},
      {"hops that are none",
       route(zero, link + "0", "eth0") + route(zero, link.substr(1), "eth0") +
           route(zero, "fe80:" + link.substr(5), "eth0"),
       "fe80::5", "none"},
  };
  for (const auto& test : cases) {
    const OnMachine machine({.files = {{"/proc/net/ipv6_route", {0, test.table}}}});
    char gateway[40] = "none";
    getGateway(test.address, "eth0", gateway);
    EXPECT_STREQ(gateway, test.expected) << test.what;
  }
}

TEST(NameServers, AreTheFirstTwoOfResolvConf) {
  const std::string name(200, 'n');
  const std::tuple<const char*, std::string, std::string> cases[] = {
      {"three of them", "nameserver 1.1.1.1\nnameserver\t2.2.2.2 x\nnameserver 3.3.3.3\n",
       "0 1.1.1.1|2.2.2.2|"},
      {"a comment behind the domain", "  domain example.org#x\ndomain other\n",
       "0 was|was|example.org"},
      {"no domain but a comment", "domain #x\n", "0 was|was|x"},
      {"nothing of the kind",
       "search a.b\n#nameserver 1.1.1.1\nNameserver 1.1.1.1\nnameserver\nnameservers 1.1.1.1\n"
       "domain\n",
       "-1 was|was|"},
      {"texts longer than the buffers", "nameserver " + name + "\ndomain " + name,
       "0 " + name.substr(0, 127) + "|was|" + name.substr(0, 127)},
      {"a line longer than any", "x" + std::string(1022, ' ') + "nameserver 1.1.1.1\n",
       "0 1.1.1.1|was|"},
  };
  const auto ask = [](const std::map<std::string, FileText>& files, const char* knownDomain) {
    const OnMachine machine({.files = files});
    char primary[128] = "was", secondary[128] = "was", domain[128] = "";
    strcpy(domain, knownDomain);
    const std::string result = std::to_string(getNameservers(primary, secondary, domain));
    return result + " " + primary + "|" + secondary + "|" + domain;
  };
  for (const auto& [what, text, expected] : cases) {
    EXPECT_EQ(ask({{"/etc/resolv.conf", {0, text}}}, ""), expected) << what;
  }
  EXPECT_EQ(ask({{"/etc/resolv.conf", {0, "domain a.b\n"}}}, "known"), "-1 was|was|known");
  EXPECT_EQ(ask({}, ""), "-1 was|was|");
}

TEST(Gateways, AreMatchedInTheOrderOfTheTable) {
  const std::string header = "Kernel IP routing table\nDestination Gateway Genmask Flags ...\n";
  const auto route = [](const std::string& gateway, const char* flags = "UG") {
    return "0.0.0.0 " + gateway + " 0.0.0.0 " + flags + " 0 0 0 eth0\n";
  };
  const struct {
    const char* what;
    std::string table;
    const char *address, *mask, *expected;
  } cases[] = {
      {"a mask of nothing takes any", route("192.0.2.1"), "10.0.0.5", "0.0.0.0", "192.0.2.1"},
      {"no match for a host mask", route("10.0.0.1"), "10.0.0.5", "255.255.255.255", "was"},
      {"not up, or no gateway", route("10.0.0.1", "G") + route("10.0.0.2", "U"), "10.0.0.5",
       "255.255.255.0", "was"},
      {"among other flags", route("10.0.0.1", "!UxG"), "10.0.0.5", "255.255.255.0", "10.0.0.1"},
      {"what is no address", route("_gateway") + route("10.0.0") + route("10.0.0.1x"), "10.0.0.5",
       "255.255.255.0", "10.0.0.1x"},
      {"a line with too few fields", "0.0.0.0 10.0.0.1 0.0.0.0 UG 0 0 0\n" + route("10.0.0.2"),
       "10.0.0.5", "255.255.255.0", "10.0.0.2"},
      {"a long field is two", std::string(101, 'x') + " 10.0.0.1 UG 0 0 0 0\n", "10.0.0.5",
       "255.255.255.0", "was"},
      {"an address that is none", route("10.0.0.1"), "10.0.0", "255.255.255.0", "was"},
      {"numbers beyond any", route("99999999999.0.0.1"), "10.0.0.1", "0.0.0.0", "was"},
  };
  struct Enumerator : IpAddressEnumerator {
    void enumerate(std::list<IpAddressData>&) override {}
  };
  for (const auto& test : cases) {
    const OnMachine machine({.commands = {{"netstat -nr", printing(header + test.table)}}});
    std::string gateway = "was";
    Enumerator().getGateway(gateway, test.address, test.mask);
    EXPECT_EQ(gateway, test.expected) << test.what;
  }
}

TEST(Gateways, AreReadAgainUntilThereAreAny) {
  const std::string table = "x\nx\n0.0.0.0 10.0.0.1 0.0.0.0 UG 0 0 0 eth0\n";
  NetlinkIpAddressEnumerator enumerator;
  for (const auto& [printed, expected] :
       {std::pair("", "none"), std::pair(table.c_str(), "10.0.0.1"), std::pair("", "10.0.0.1")}) {
    const OnMachine machine({.commands = {{"netstat -nr", printing(printed)}}});
    std::string gateway = "none";
    enumerator.getGateway(gateway, "10.0.0.5", "255.0.0.0");
    EXPECT_EQ(gateway, expected);
  }
}

TEST(Domain, IsWhatFollowsTheFirstDot) {
  const std::tuple<std::string, std::string, std::string> cases[] = {
      {"host.example.org", "host", "example.org"},
      {" host.example.org. \n", " host", "example.org"},
      {"host.example.org..", "host", "example.org."},
      {"host", "host", ""},
      {"host\n", "host\n", ""},
      {"host.", "host", ""},
      {"host..", "host", "."},
      {"host. \t\n", "host", ""},
      {"", "", ""},
  };
  for (auto [name, host, domain] : cases) {
    EXPECT_EQ(IpAddressEnumerator::getDomainStr(name.data()), domain) << host;
    EXPECT_EQ(name.c_str(), host);
  }
  EXPECT_EQ(IpAddressEnumerator::getDomainStr(nullptr), "");
}

TEST(Domain, IsTheFirstThatNslookupPrints) {
  const std::pair<const char*, const char*> cases[] = {
      {"Server: 1.1.1.1\n\n5.0.0.10.in-addr.arpa\tname = host.example.org.\n", "example.org"},
      {"Name:   host.example.org\nAddress: 10.0.0.5\n", "example.org"},
      {"x name = host\nx name = other.example.net.\n", "example.net"},
      {"x name = a Name: b.c\n", "c"},
      {"x name = .\nName: b.c", "c"},
      {"** server can't find 5.0.0.10.in-addr.arpa: NXDOMAIN\n", ""},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(parseLookup(text), expected) << text;
}

// Attributes of a netlink message.
std::string attribute(unsigned short type, const std::string& value, std::size_t claimed = 0) {
  const nlattr header{
      static_cast<unsigned short>(claimed ? claimed : sizeof(nlattr) + value.size()), type};
  std::string bytes(reinterpret_cast<const char*>(&header), sizeof header);
  bytes += value;
  return bytes.append((4 - bytes.size() % 4) % 4, '\0');
}

template <class Record>
std::string message(unsigned short type, Record record, const std::string& attributes) {
  const nlmsghdr header{static_cast<unsigned>(sizeof(nlmsghdr) + sizeof record + attributes.size()),
                        type, 0, 0, 0};
  return std::string(reinterpret_cast<const char*>(&header), sizeof header) +
         std::string(reinterpret_cast<const char*>(&record), sizeof record) + attributes;
}

std::string addressMessage(const std::string& attributes, unsigned char prefix = 24,
                           unsigned index = 2, unsigned char family = AF_INET) {
  return message(RTM_NEWADDR, ifaddrmsg{family, prefix, 0, 0, index}, attributes);
}

std::string linkMessage(const std::string& attributes, int index = 2) {
  return message(RTM_NEWLINK, ifinfomsg{AF_UNSPEC, 0, 1, index, 0, 0}, attributes);
}

// What both callbacks make of a datagram.
std::string listed(std::string datagram) {
  NetlinkIpAddressEnumerator::Records records;
  for (const auto callback :
       {NetlinkIpAddressEnumerator::r_processIPs, NetlinkIpAddressEnumerator::r_processMACs}) {
    NetlinkIpAddressEnumerator::processResponse(datagram.data(), datagram.size(), records,
                                                callback);
  }
  std::string text;
  for (const auto& [index, record] : records) {
    text += std::to_string(index) + " " + record.interfaceName + " " + record.address + " " +
            record.subnetMask + " " + record.macAddress + ";";
  }
  return text;
}

TEST(NetlinkMessages, AreTakenAsFarAsTheirLengthsHold) {
  using namespace std::string_literals;
  const std::string address = attribute(IFA_LOCAL, "\x0A\0\0\5"s);
  const std::string label = attribute(IFA_LABEL, "eth0\0"s);
  const std::string mac = attribute(IFLA_ADDRESS, "\x52\x54\0\xAB\xCD\1"s);
  const std::string whole = addressMessage(address + label);
  const struct {
    const char* what;
    std::string datagram;
    const char* expected;
  } cases[] = {
      {"a whole one with its link", whole + linkMessage(mac),
       "2 eth0 10.0.0.5 255.255.255.0 52:54:00:AB:CD:01;"},
      {"by index, then in order",
       addressMessage(address, 0, 9) + whole + addressMessage(label + address, 40),
       "2 eth0 10.0.0.5 255.255.255.0 ;2 eth0 10.0.0.5 255.255.255.255 ;9  10.0.0.5 0.0.0.0 ;"},
      {"IPv6 with a peer",
       addressMessage(attribute(IFA_LOCAL, std::string(16, 'x')), 64, 2, AF_INET6), ""},
      {"another family", addressMessage(address, 24, 2, AF_INET6), "2  10.0.0.5  ;"},
      {"a label and no address", addressMessage(label + attribute(IFA_ADDRESS, "\x0A\0\0\1"s)),
       "2 eth0  255.255.255.0 ;"},
      {"neither", addressMessage(attribute(IFA_ADDRESS, "\x0A\0\0\1"s)), ""},
      {"addresses of other sizes",
       addressMessage(attribute(IFA_LOCAL, "abc"), 24) +
           addressMessage(attribute(IFA_LOCAL, "abcde"), 24),
       ""},
      {"local ones",
       addressMessage(attribute(IFA_LOCAL, "\x7F\0\0\x09"s)) +
           addressMessage(attribute(IFA_LOCAL, "\x7F\0\1\1"s), 8),
       "2  127.0.1.1 255.0.0.0 ;"},
      {"a label without an end", addressMessage(attribute(IFA_LABEL, "eth0") + address),
       "2  10.0.0.5 255.255.255.0 ;"},
      {"hardware addresses of other sizes",
       whole + linkMessage(attribute(IFLA_ADDRESS, "abcd")) + linkMessage(mac, 3),
       "2 eth0 10.0.0.5 255.255.255.0 ;"},
      {"the first six bytes of a long one",
       whole + linkMessage(attribute(IFLA_ADDRESS, "ABCDEFGHIJ")),
       "2 eth0 10.0.0.5 255.255.255.0 41:42:43:44:45:46;"},
  };
  for (const auto& test : cases) EXPECT_EQ(listed(test.datagram), test.expected) << test.what;
}

auto dump(int type, std::vector<std::string> datagrams) {
  return answered<NetlinkQuestion>({NetlinkFailure::None, 0, std::move(datagrams)},
                                   {type, AF_PACKET});
}

const std::string kDone = message(NLMSG_DONE, 0, "");
const std::string kAddress = addressMessage(attribute(IFA_LOCAL, std::string("\x0A\0\0\5", 4)));

TEST(Addresses, AreCompletedByQuestionsAskedOnce) {
  std::string datagram;
  for (char last = 1; last <= 50; ++last) {
    datagram += addressMessage(attribute(IFA_LOCAL, std::string("\x0A\0\0", 3) + last));
  }
  const OnMachine machine(
      {.files = {{"/etc/resolv.conf", {0, "nameserver 10.0.0.53\n"}}},
       .commands = {{"hostname", printing("me.x y\n")}},
       .plain = {dump(RTM_GETADDR, {datagram, kDone}), dump(RTM_GETLINK, {kDone})}});
  startAccessLog();
  const std::string rows = valuesOf(6, {"Hostname", "Domain", "Primary DNS", "DHCP Enabled"});
  std::map<std::string, int> asked;
  for (const Access& access : accessLog()) ++asked[access.source];
  EXPECT_EQ(rows.substr(0, 25), "me.x||10.0.0.53|-;me.x||1");
  EXPECT_EQ(std::count(rows.begin(), rows.end(), ';'), 49);
  for (const char* source :
       {"hostname", "/etc/resolv.conf", "netstat -nr", kIfconfig, "host name of 10.0.0.50"}) {
    EXPECT_EQ(asked[source], 1) << source;
  }
}

TEST(Addresses, AreListedByTheOtherWayWhenALinkIsNotTold) {
  const OnMachine machine(
      {.plain = {dump(RTM_GETADDR, {kAddress + kDone}),
                 answered<InterfacesQuestion>({{{"eth7", "10.0.0.7", {}, {}}}})}});
  EXPECT_EQ(valuesOf(6, {"Address", "Subnet", "Permanent Mac Address"}), "10.0.0.7||");
}

TEST(Addresses, AreTracedOnTheWay) {
  const auto links = dump(RTM_GETLINK, {kDone});
  const auto addresses = dump(RTM_GETADDR, {kAddress + kDone});
  const NetlinkDump failed{NetlinkFailure::Receive, EIO, {}};
  const std::map<std::string, CapturedProgram> commands = {
      {"netstat -nr", printing("a\nb\n0.0.0.0 10.0.0.1 0.0.0.0 UG 0 0 0 eth0\n")},
      {kIfconfig, printing("eth0 Link\n inet6 addr: fe80::1/64\n inet6 addr: 2001::x/64\n")}};
  const std::map<std::string, FileText> files = {
      {"/etc/resolv.conf", {0, "nameserver 10.0.0.53\n"}}};
  const std::tuple<unsigned long, Answers, std::vector<const char*>> cases[] = {
      {6,
       {.files = files, .commands = commands, .plain = {links, addresses}},
       {"Using netlink to enumerate addresses", "hardware gateway ip 10.0.0.1, destination 0.0.0.0",
        "hardware gateways collected, gwlist size is 1", "hardware have match, gateway is 10.0.0.1",
        "done parsing resolv.conf...", "hardware NetlinkIpAddressEnumerator, found 1 addresses",
        "Found 1 interfaces"}},
      {6,
       {.plain = {links, addresses}},
       {"gwlist size is 0", "error during resolv.conf parsing.."}},
      {6,
       {.plain = {answered<NetlinkQuestion>(failed, {RTM_GETADDR, AF_PACKET}),
                  answered<InterfacesQuestion>(std::vector<InterfaceAddress>{
                      {"eth7", "10.0.0.7", {}, {}}, {"b", {}, {}, {}}})}},
       {"Error: unable to receive message, errno=5",
        "Netlink enumerator failed, trying legacy method", "ifc_len=80", "count =2",
        "MAC addr Failed"}},
      {51,
       {.files = files, .commands = commands},
       {"done parsing resolv.conf...", "Analyzing addressess on interface 0",
        "Interface address id 0", "Can't resolve address", "Interface address id 1",
        "Can't convert address into numeric values"}},
      {51, {.commands = commands}, {"WARNING! Failed parsing resolv.conf"}},
  };
  TracedText sink;
  for (const auto& [group, answers, texts] : cases) {
    const OnMachine machine(answers);
    sink.enable(CcLogWrapper::kMax);
    valuesOf(group, {"Index"});
    EXPECT_EQ(sink.missing(texts), "");
  }
}

TEST(NetlinkRequests, AreToldApartByTheirSockets) {
  const std::string mac = linkMessage(attribute(IFLA_ADDRESS, "ABCDEF"));
  const OnMachine machine(
      {.plain = {dump(RTM_GETADDR, {kAddress, kDone}), dump(RTM_GETLINK, {mac + kDone})}});
  using Enumerator = NetlinkIpAddressEnumerator;
  Enumerator enumerator;
  Enumerator::Records records;
  alignas(nlmsghdr) char buffer[48];  // which the link's answer does not fit
  enumerator.sendRequest(7, RTM_GETLINK);
  enumerator.sendRequest(8, RTM_GETADDR);
  enumerator.processResponse(8, buffer, sizeof buffer, records, Enumerator::r_processIPs);
  enumerator.processResponse(7, buffer, sizeof buffer, records, Enumerator::r_processMACs);
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records.begin()->second.macAddress, "41:42:43:44:45:46");
  EXPECT_THROW(
      enumerator.processResponse(7, buffer, sizeof buffer, records, Enumerator::r_processIPs),
      const char*);
  EXPECT_THROW(enumerator.sendRequest(7, RTM_GETROUTE), const char*);
}

auto inFields(int type, const std::string& json) {
  return answered<NetlinkQuestion>(NetlinkQuestion::read(CaptureDocument(json).value()),
                                   {type, AF_PACKET});
}

constexpr char kEth[] = R"([{"index": 2, "label": "eth0", "mac": "02:00:00:00:00:0a"}])";

TEST(KernelAddresses, AreNoneUnlessBothDumpsEndWell) {
  const char* const good = R"([{"index": 2, "address": "192.0.2.1", "prefix": 24}])";
  const char* const endless = R"(["00"])";
  // An error message with -EPERM, and an end.
  const char* const refused =
      R"(["14000000020002000100000000000000ffffffff", "1400000003000200010000000000000000000000"])";
  for (const char* const bad : {endless, refused, "[]"}) {
    for (const bool badLinks : {true, false}) {
      const OnMachine scanned({.plain = {inFields(RTM_GETLINK, badLinks ? bad : kEth),
                                         inFields(RTM_GETADDR, badLinks ? good : bad)}},
                              "native");
      EXPECT_FALSE(kernelIpv4Records()) << bad;
      EXPECT_FALSE(kernelIpv6Records()) << bad;
    }
  }
  const OnMachine scanned({.plain = {inFields(RTM_GETLINK, kEth), inFields(RTM_GETADDR, good)}},
                          "native");
  EXPECT_EQ(kernelIpv4Records()->size(), 1U);
}

TEST(NetlinkRedaction, KeepsWhatIsKnown) {
  using namespace std::string_literals;
  OrvCfg::setKey("agent.redact_key", "secret");
  const agent::Redactor redactor;
  OrvCfg::setKey("agent.redact_key", "");
  agent::Scan scan;
  scan.hostName = "node";
  agent::Replacements replacements(scan, redactor);
  const std::string known = attribute(IFLA_IFNAME, "eth0\0"s) + attribute(IFLA_MTU, "\xdc\5\0\0"s);
  const std::tuple<const char*, std::string, std::string> cases[] = {
      {"name and MTU", known, known},
      {"an alias that says whose it is", attribute(IFLA_IFALIAS, "work\0"s), ""},
      {"a name that is one's own", attribute(IFLA_IFNAME, "node\0"s),
       attribute(IFLA_IFNAME, redactor.token("node") + "\0"s)},
      {"a number of a wrong size", attribute(IFLA_MTU, std::string(8, '\0')), ""},
      {"a text without an end", attribute(IFLA_IFNAME, "eth0"), ""},
      {"one that is longer than the message", attribute(IFLA_IFNAME, "", 255), ""},
  };
  for (const auto& [what, told, kept] : cases) {
    EXPECT_EQ(agent::redactDatagram(linkMessage(told), replacements), linkMessage(kept)) << what;
  }
}

// What becomes of the other addresses when a name service is dead, netns_test.py tells.
TEST(NameLookups, AskEachAddressOnceAndAnewOnAnotherMachine) {
  const auto answer = [](HostLookupOutcome outcome, const char* name, const char* address) {
    return answered<HostLookupQuestion>({outcome, name}, {address, {}});
  };
  const Answers answers{.plain = {answer(HostLookupOutcome::Found, "a.b", "192.0.2.1"),
                                  answer(HostLookupOutcome::TimedOut, "", "192.0.2.3")}};
  const OnMachine scanned(answers);
  startAccessLog();
  NameLookups lookups;
  for (int i = 0; i < 2; ++i) EXPECT_EQ(lookups.find("192.0.2.1"), "a.b");
  EXPECT_EQ(lookups.find("192.0.2.3"), std::nullopt);
  EXPECT_EQ(NameLookups().find("192.0.2.6"), std::nullopt);
  const OnMachine another(answers);
  EXPECT_EQ(NameLookups().find("192.0.2.6"), std::nullopt);
  std::string outcomes;
  for (const Access& access : accessLog()) outcomes += access.outcome + "\n";
  EXPECT_EQ(outcomes,
            "ok\nno name service answered in time\n"
            "not asked: the name services took too long, or none was there\n"
            "the name services know no name for it\n");
  stopAccessLog();
}

TEST(Netlink, AnswersAHostThatHasTakenItsProcessId) {
  const int taken = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
  sockaddr_nl address{};
  address.nl_family = AF_NETLINK;
  address.nl_pid = static_cast<__u32>(getpid());
  const bool isBound = bind(taken, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
  const NetlinkDump dump = machine().netlinkDump(RTM_GETLINK, AF_PACKET);
  close(taken);
  ASSERT_TRUE(isBound);
  EXPECT_EQ(dump.failure, NetlinkFailure::None) << dump.error;
  const auto found = kernelLinks();
  EXPECT_TRUE(found && std::any_of(found->begin(), found->end(),
                                   [](const KernelLink& link) { return link.name == "lo"; }));
  EXPECT_EQ(machine().netlinkDump(9999, AF_PACKET).failure, NetlinkFailure::Receive);
}

}  // namespace
}  // namespace invscan
