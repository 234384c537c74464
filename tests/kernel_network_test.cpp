// Links, addresses and routes as the kernel tells them: whole machines of it are in
// tests/machines/bonded-adapters; here are single oddities, and what bounds reverse look-ups.
#include <gtest/gtest.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

#include "TestMachine.h"
#include "invscan/linux/utils/KernelAdapters.h"
#include "invscan/linux/utils/KernelAddresses.h"
#include "invscan/linux/utils/KernelTables.h"
#include "invscan/linux/utils/NameLookups.h"
#include "invscan/machine/CaptureDocument.h"

namespace invscan {
namespace {

NetlinkDump dumpOf(const std::string& json) {
  return NetlinkQuestion::read(CaptureDocument(json).value());
}

auto links(const std::string& json) {
  return answered<NetlinkQuestion>(dumpOf(json), {RTM_GETLINK, AF_PACKET});
}

auto addresses(const std::string& json) {
  return answered<NetlinkQuestion>(dumpOf(json), {RTM_GETADDR, AF_PACKET});
}

constexpr char kEth[] = R"([{"index": 2, "label": "eth0", "mac": "02:00:00:00:00:0a"}])";

TEST(KernelAddresses, AreNoneUnlessBothDumpsEndWell) {
  const char* const good = R"([{"index": 2, "address": "192.0.2.1", "prefix": 24}])";
  const char* const endless = R"(["00"])";
  // NLMSG_ERROR with -EPERM, then NLMSG_DONE.
  // An error message with -EPERM, and an end.
  const char* const refused =
      R"(["14000000020002000100000000000000ffffffff", "1400000003000200010000000000000000000000"])";
  for (const char* const bad : {endless, refused, "[]"}) {
    for (const bool badLinks : {true, false}) {
      const OnMachine scanned(
          {.plain = {links(badLinks ? bad : kEth), addresses(badLinks ? good : bad)}}, "native");
      EXPECT_FALSE(kernelIpv4Records()) << bad;
      EXPECT_FALSE(kernelIpv6Records()) << bad;
    }
  }
  const OnMachine scanned({.plain = {links(kEth), addresses(good)}}, "native");
  EXPECT_EQ(kernelIpv4Records()->size(), 1U);
}

// Attributes of a size that is none of theirs, in messages that are sound otherwise.
TEST(KernelTables, TakeNoAttributeOfAWrongSize) {
  const auto attribute = [](unsigned type, std::string_view value) {
    const nlattr header{static_cast<__u16>(sizeof(nlattr) + value.size()),
                        static_cast<__u16>(type)};
    std::string bytes(reinterpret_cast<const char*>(&header), sizeof header);
    bytes += value;
    bytes.resize(NLA_ALIGN(bytes.size()));
    return bytes;
  };
  const auto message = [](unsigned short type, const auto& record, const std::string& attributes) {
    NetlinkMessage result;
    static std::string payload;
    payload.assign(reinterpret_cast<const char*>(&record), sizeof record);
    payload += attributes;
    result.type = type;
    result.payload = payload;
    return result;
  };
  ifaddrmsg ipv4{AF_INET, 24, 0, 0, 2};
  for (const std::size_t size : {0, 3, 5, 16}) {
    const auto bytes = attribute(IFA_LOCAL, std::string(size, '\1'));
    EXPECT_FALSE(readAddress(message(RTM_NEWADDR, ipv4, bytes))) << size;
  }
  const auto unended = attribute(IFA_LOCAL, "\1\1\1\1") + attribute(IFA_LABEL, "eth0");
  EXPECT_EQ(readAddress(message(RTM_NEWADDR, ipv4, unended))->label, "");
  ipv4.ifa_family = AF_PACKET;
  EXPECT_FALSE(readAddress(message(RTM_NEWADDR, ipv4, unended)));

  const auto link = attribute(IFLA_ADDRESS, "\1\2\3\4\5") + attribute(IFLA_MASTER, "\1") +
                    attribute(IFLA_IFNAME, std::string_view("eth0\0x", 6));
  const auto found = readLink(message(RTM_NEWLINK, ifinfomsg{}, link));
  EXPECT_EQ(found->hardwareAddress + std::to_string(found->master) + found->name, "0eth0");
  EXPECT_FALSE(readLink(message(RTM_DELLINK, ifinfomsg{}, link)));

  rtmsg route{};
  route.rtm_family = AF_INET;
  route.rtm_type = RTN_UNICAST;
  // The second hop claims more than there is.
  rtnexthop hops[2]{{sizeof(rtnexthop) + 8, 0, 0, 3}, {99, 0, 0, 4}};
  std::string several(reinterpret_cast<const char*>(hops), sizeof *hops);
  several += attribute(RTA_GATEWAY, "\1\2\3\4");
  several.append(reinterpret_cast<const char*>(hops + 1), sizeof *hops);
  const auto many = readRoute(message(RTM_NEWROUTE, route, attribute(RTA_MULTIPATH, several)));
  ASSERT_EQ(many->hops.size(), 1U);
  EXPECT_EQ(many->hops[0].index, 3);
  EXPECT_FALSE(
      readRoute(message(RTM_NEWROUTE, route, attribute(RTA_GATEWAY, std::string(4, '\0')))));
}

TEST(KernelAdapters, HaveTheTypeOfTheirKindElseOfTheirHardware) {
  const std::tuple<const char*, unsigned, bool, unsigned long> cases[] = {
      {"", 1, false, 3},      {"", 1, true, 12},       {"bridge", 1, false, 17},
      {"vlan", 1, false, 18}, {"tun", 1, false, 16},   {"wireguard", 65534, false, 16},
      {"veth", 1, false, 3},  {"", 32, false, 13},     {"", 776, false, 16},
      {"", 512, false, 10},   {"", 280, false, 2},     {"", 785, false, 14},
      {"", 774, false, 5},    {"none", 9999, false, 2}};
  for (const auto& [kind, hardware, isWireless, type] : cases) {
    EXPECT_EQ(adapterTypeOf(kind, hardware, isWireless), type) << kind << hardware;
  }
}

TEST(NameLookups, AskEachAddressOnceAndNoneOnThatMachineAfterATimeOut) {
  const Answers answers{
      .plain = {answered<HostLookupQuestion>({HostLookupOutcome::Found, "a.b"}, {"192.0.2.1", {}}),
                answered<HostLookupQuestion>({HostLookupOutcome::TimedOut, ""}, {"192.0.2.3", {}}),
                answered<HostLookupQuestion>({HostLookupOutcome::Found, "c"}, {"192.0.2.4", {}})}};
  const OnMachine scanned(answers);
  startAccessLog();
  NameLookups lookups;
  for (const char* address : {"192.0.2.1", "192.0.2.1", "192.0.2.2", "192.0.2.3", "192.0.2.4"}) {
    const std::string known = std::string_view(address) == "192.0.2.1" ? "a.b" : "none";
    EXPECT_EQ(lookups.find(address).value_or("none"), known) << address;
  }
  EXPECT_EQ(NameLookups().find("192.0.2.1"), std::nullopt);
  const OnMachine another(answers);
  EXPECT_EQ(NameLookups().find("192.0.2.4"), "c");
  std::string outcomes;
  for (const Access& access : accessLog()) outcomes += access.source + ": " + access.outcome + "\n";
  EXPECT_EQ(outcomes,
            "host name of 192.0.2.1: ok\n"
            "host name of 192.0.2.2: the name services know no name for it\n"
            "host name of 192.0.2.3: no name service answered in time\n"
            "host name of 192.0.2.4: not asked: the name services took too long\n"
            "host name of 192.0.2.1: not asked: the name services took too long\n"
            "host name of 192.0.2.4: ok\n");
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
