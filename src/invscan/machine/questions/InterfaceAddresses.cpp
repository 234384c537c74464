#include "invscan/machine/questions/InterfaceAddresses.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cstring>
#include <string_view>

#include <nlohmann/json.hpp>

#include "base/Descriptor.h"
#include "common/net/NetlinkMessages.h"

namespace invscan {
namespace {

constexpr std::size_t kMostBytes = 2000;
constexpr std::size_t kHardwareBytes = 6;

// What a capture calls the texts that may be there.
constexpr struct {
  const char* name;
  std::optional<std::string> InterfaceAddress::*member;
} kMembers[] = {{"address", &InterfaceAddress::address},
                {"netmask", &InterfaceAddress::netmask},
                {"hwaddr", &InterfaceAddress::hardwareAddress}};

std::string dottedQuad(const sockaddr& address) {
  sockaddr_in internet;
  std::memcpy(&internet, &address, sizeof internet);
  char text[INET_ADDRSTRLEN];
  return inet_ntop(AF_INET, &internet.sin_addr, text, sizeof text) ? text : "";
}

// What one of the ioctls tells of the interface that the request names.
bool ask(const Descriptor& socket, unsigned long question, const ifreq& interface, ifreq& answer) {
  answer = interface;
  return ioctl(socket.get(), question, &answer) == 0;
}

InterfaceAddress askInterface(const Descriptor& socket, const ifreq& interface) {
  InterfaceAddress result;
  result.name.assign(interface.ifr_name, strnlen(interface.ifr_name, IFNAMSIZ));
  ifreq answer;
  if (ask(socket, SIOCGIFADDR, interface, answer)) result.address = dottedQuad(answer.ifr_addr);
  if (ask(socket, SIOCGIFHWADDR, interface, answer)) {
    result.hardwareAddress =
        hardwareText(std::string_view(answer.ifr_hwaddr.sa_data, kHardwareBytes));
  }
  if (ask(socket, SIOCGIFNETMASK, interface, answer)) {
    result.netmask = dottedQuad(answer.ifr_netmask);
  }
  return result;
}

}  // namespace

InterfacesQuestion::Answer InterfacesQuestion::live(NoKey) {
  const Descriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (!socket) return std::nullopt;
  ifreq interfaces[kMostBytes / sizeof(ifreq)];
  ifconf list{};
  list.ifc_len = sizeof interfaces;
  list.ifc_req = interfaces;
  if (ioctl(socket.get(), SIOCGIFCONF, &list) != 0) return std::nullopt;
  std::vector<InterfaceAddress> result;
  const std::size_t count = static_cast<std::size_t>(list.ifc_len) / sizeof(ifreq);
  for (std::size_t i = 0; i < count; ++i) result.push_back(askInterface(socket, interfaces[i]));
  return result;
}

void InterfacesQuestion::write(Json& json, const Answer& interfaces) {
  if (!interfaces) return;
  json = Json::array();
  for (const InterfaceAddress& interface : *interfaces) {
    Json& entry = json.emplace_back(Json{{"name", interface.name}});
    for (const auto& [name, member] : kMembers) {
      if (const auto& text = interface.*member) entry[name] = *text;
    }
  }
}

InterfacesQuestion::Answer InterfacesQuestion::read(const CaptureValue& value) {
  std::vector<InterfaceAddress> interfaces;
  value.forEachElement([&](const CaptureValue& element) {
    element.checkNames({"name", "address", "netmask", "hwaddr"});
    InterfaceAddress& interface = interfaces.emplace_back();
    interface.name = element["name"].text();
    for (const auto& [name, member] : kMembers) {
      if (const auto found = element.find(name)) interface.*member = found->text();
    }
  });
  return interfaces;
}

}  // namespace invscan
