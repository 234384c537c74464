#include <arpa/inet.h>
#include <linux/if_addr.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>

#include <cerrno>
#include <cstring>
#include <utility>
#include <vector>

#include "common/net/NetlinkMessages.h"
#include "invscan/linux/utils/AddressKnowledge.h"
#include "invscan/machine/Machine.h"
#include "log/Trace.h"

using namespace invscan;

namespace {

constexpr char kNoHardwareAddress[] = "00:00:00:00:00:00";
constexpr std::size_t kHardwareAddressSize = 6;
constexpr std::size_t kBufferSize = 8192;
constexpr int kNoSocket = -1;

// The message that a header begins; none when it is of another type.
std::optional<NetlinkMessage> messageOfType(const nlmsghdr* header, int type) {
  NetlinkMessage message;
  NetlinkMessages messages({reinterpret_cast<const char*>(header), header->nlmsg_len});
  if (!messages.next(message) || message.type != type) return std::nullopt;
  return message;
}

const char* textOf(NetlinkFailure failure) {
  switch (failure) {
    case NetlinkFailure::None:
      break;
    case NetlinkFailure::Open:
      return "unable to open netlink socket";
    case NetlinkFailure::Bind:
      return "unable to bind netlink socket";
    case NetlinkFailure::Send:
      return "unable to send message";
    case NetlinkFailure::Receive:
      return "unable to receive message";
  }
  return nullptr;
}

}  // namespace

void NetlinkIpAddressEnumerator::enumerate(std::list<IpAddressData>& records) {
  const Trace trace(getCcLogHw(), "enumerate()");
  try {
    knowledge().beginEnumeration();
    Records found;
    std::vector<char> buffer(kBufferSize);
    const auto ask = [&](int type, Callback callback) {
      sendRequest(kNoSocket, type);
      processResponse(kNoSocket, buffer.data(), buffer.size(), found, callback);
    };
    ask(RTM_GETADDR, r_processIPs);
    ask(RTM_GETLINK, r_processMACs);
    for (auto& [index, record] : found) {
      getHostnameAndDomain(record.address, record.hostname, record.domain);
      knowledge().complete(record);
      if (record.macAddress.empty()) record.macAddress = kNoHardwareAddress;
      records.push_back(std::move(record));
    }
    trace.at().max("hardware %s, found %zu addresses", "NetlinkIpAddressEnumerator",
                   records.size());
  } catch (const char* error) {
    trace.at().min("hardware Error: %s, errno=%d", error, errno);
    records.clear();
  } catch (...) {
    trace.at().min("hardware Unknown error");
    records.clear();
  }
}

void NetlinkIpAddressEnumerator::sendRequest(int socketNumber, int type) {
  // The request names the family of packets, for which the kernel answers with those of all
  // families.
  NetlinkDump dump = machine().netlinkDump(type, AF_PACKET);
  if (const char* error = textOf(dump.failure)) {
    errno = dump.error;
    throw error;
  }
  answers_[socketNumber] = std::move(dump.datagrams);
}

void NetlinkIpAddressEnumerator::processResponse(int socketNumber, void* buffer,
                                                 unsigned long length, Records& records,
                                                 Callback callback) {
  auto answer = answers_.extract(socketNumber);
  if (answer.empty()) {
    errno = EAGAIN;  // as of a socket on which nothing comes in time
    throw textOf(NetlinkFailure::Receive);
  }
  for (std::string& datagram : answer.mapped()) {
    const bool fits = datagram.size() <= length;
    void* const place =
        fits ? std::memcpy(buffer, datagram.data(), datagram.size()) : datagram.data();
    processResponse(place, datagram.size(), records, callback);
  }
}

bool NetlinkIpAddressEnumerator::processResponse(void* datagram, unsigned long length,
                                                 Records& records, Callback callback) {
  auto* const bytes = static_cast<char*>(datagram);
  const std::string_view all(bytes, length);
  NetlinkMessages messages(all);
  bool isDone = false;
  for (NetlinkMessage message; messages.next(message);) {
    if (message.type == NLMSG_DONE) {
      isDone = true;
    } else {
      callback(records, reinterpret_cast<nlmsghdr*>(bytes + (message.whole.data() - all.data())));
    }
  }
  return isDone;
}

void NetlinkIpAddressEnumerator::r_processIPs(Records& records, nlmsghdr* header) {
  const auto message = messageOfType(header, RTM_NEWADDR);
  const auto about = message ? leadingRecord<ifaddrmsg>(message->payload) : std::nullopt;
  if (!about) return;
  std::optional<std::string> address, label;
  NetlinkAttributes attributes(*message, sizeof *about);
  for (NetlinkAttribute attribute; attributes.next(attribute);) {
    if (attribute.type == IFA_LOCAL) {
      if (auto text = ipv4Text(attribute.value)) address = std::move(text);
    } else if (attribute.type == IFA_LABEL) {
      if (auto text = terminatedText(attribute.value)) label = std::move(text);
    }
  }
  if (!address && !label) return;
  IpAddressData record;
  record.interfaceName = label.value_or("");
  record.address = address.value_or("");
  if (isLocal(record.address.c_str())) return;
  if (about->ifa_family == AF_INET) record.subnetMask = maskText(about->ifa_prefixlen);
  records.emplace(static_cast<int>(about->ifa_index), std::move(record));
}

void NetlinkIpAddressEnumerator::r_processMACs(Records& records, nlmsghdr* header) {
  const auto message = messageOfType(header, RTM_NEWLINK);
  const auto about = message ? leadingRecord<ifinfomsg>(message->payload) : std::nullopt;
  if (!about) return;
  NetlinkAttributes attributes(*message, sizeof *about);
  for (NetlinkAttribute attribute; attributes.next(attribute);) {
    if (attribute.type != IFLA_ADDRESS || attribute.value.size() < kHardwareAddressSize) continue;
    const std::string text = hardwareText(attribute.value.substr(0, kHardwareAddressSize));
    const auto [begin, end] = records.equal_range(about->ifi_index);
    for (auto entry = begin; entry != end; ++entry) entry->second.macAddress = text;
  }
}
