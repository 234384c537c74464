// Hostile outputs of ifconfig, netstat and nslookup, routing tables and resolv.conf. The first byte
// says which.
#include <invscan/network.h>

#include "FuzzTarget.h"
#include "invscan/linux/utils/Gateways.h"
#include "invscan/linux/utils/HostNames.h"
#include "invscan/linux/utils/InterfaceList.h"
#include "invscan/linux/utils/NameServers.h"

namespace {

using namespace invscan;

void checkHardwareAddress(const std::string& text) {
  std::string buffer = text;
  buffer.resize(std::max<std::size_t>(129, text.size() + 1));
  const bool isCanonical = convertMacToCanonical(buffer.data()) == 0;
  const std::string once = buffer.c_str();
  require(isCanonical ? once.size() == 17 : once == text);
  require(convertMacToCanonical(buffer.data()) == (isCanonical ? 0 : 1) && once == buffer.c_str());
  trimMac(buffer.data());
  require(once.starts_with(buffer.c_str()) && (!isCanonical || once == buffer.c_str()));
}

void checkInterfaces(std::string_view text) {
  IfInfoList list;
  readInterfaces(text, list);
  for (int i = 0; i < list.getCount(); ++i) {
    const IfInfo& interface = *list.get(i);
    if (interface.texts[IfInfo::kName]) {
      require(find_if(interface.texts[IfInfo::kName]->c_str(), list) == &interface);
    }
    const std::string& address = interface.text(IfInfo::kIPv4);
    const IfInfo* const carrier = findIPv4(list, address.c_str());
    require(address.empty() ? !carrier : carrier->text(IfInfo::kIPv4) == address);
    require(interface.ipv6.empty() || !interface.text(IfInfo::kIPv6).empty());
    for (const IPv6_entry& entry : interface.ipv6) require(!entry.address.empty());
    checkHardwareAddress(interface.text(IfInfo::kHardware));
  }
}

// What the rule says, gateway by gateway.
const std::string* firstMatch(const std::list<std::string>& gateways, const std::string& address,
                              const std::string& mask) {
  for (const std::string& gateway : gateways) {
    if (gateway != address &&
        IpAddressEnumerator::match_ips(address.c_str(), gateway.c_str(), mask.c_str()) != 0) {
      return &gateway;
    }
  }
  return nullptr;
}

void checkGateways(std::string_view text) {
  const std::list<std::string> gateways = parseGateways(text);
  GatewayFinder finder(gateways);
  std::list<std::string> addresses = gateways;
  addresses.resize(std::min<std::size_t>(addresses.size(), 8));
  addresses.emplace_back("10.0.0.5");
  for (const std::string& address : addresses) {
    for (const char* mask : {"255.255.255.0", "255.255.255.255", "0.0.0.0"}) {
      const std::string* const found = finder.find(address, mask);
      const std::string* const expected = firstMatch(gateways, address, mask);
      require(found && expected ? *found == *expected : !found && !expected);
    }
  }
}

void checkIpv6Gateways(std::string_view text) {
  const Ipv6GatewayFinder finder(text);
  for (const char* address : {"fe80::5", "2001:db8::5", "fd00::5", "fec0::5"}) {
    for (const char* interface : {"eth0", "lo"}) {
      const std::string gateway = finder.find(address, interface);
      require(gateway.empty() || gateway.size() == 39);
      std::string ofAddress, ofGateway;
      getScope(ofAddress, address);
      getScope(ofGateway, gateway.c_str());
      require(gateway.empty() || ofAddress == ofGateway);
    }
  }
}

void checkNameServers(std::string_view text) {
  const NameServers found = parseNameServers(text);
  require(!found.primary.empty() || found.secondary.empty());
  for (const std::string& one : {found.primary, found.secondary, found.domain}) {
    require(one.size() <= 127 && one.find_first_of(" \t\n") == one.npos);
  }
}

void checkNames(std::string_view text) {
  const std::string domain = parseLookup(text);
  require(text.find(domain) != text.npos);
  // Blanks are cut before the root's dot is, so that only those in front of one are left.
  require(domain.empty() || domain.find_last_not_of(" \t\n\v\f\r") == domain.size() - 1 ||
          text.find(domain + ".") != text.npos);
  std::string name(text.substr(0, text.find('\0')));
  const std::string whole = name;
  require(whole.find(IpAddressEnumerator::getDomainStr(name.data())) != whole.npos);
  require(std::string_view(name.c_str()) == whole.substr(0, whole.find('.')));
  checkHardwareAddress(whole);
}

}  // namespace

void invscan::tryInput(std::string_view input) {
  constexpr void (*kChecks[])(std::string_view) = {checkInterfaces, checkGateways,
                                                   checkIpv6Gateways, checkNameServers, checkNames};
  if (input.empty()) return;
  kChecks[static_cast<unsigned char>(input[0]) % std::size(kChecks)](input.substr(1));
}
