#include "invscan/linux/utils/Gateways.h"

#include <cstdio>
#include <optional>

#include <invscan/network.h>

#include "common/text/Lines.h"
#include "invscan/machine/Machine.h"
#include "log/Trace.h"

namespace invscan {
namespace {

using Quad = std::array<int, 4>;

constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";

// The fields at the front of a line; one that is longer than 100 characters counts as several. None
// when there are fewer.
template <std::size_t count>
std::optional<std::array<std::string_view, count>> frontFields(std::string_view line) {
  constexpr std::size_t kLongestField = 100;
  std::array<std::string_view, count> fields;
  for (std::string_view& field : fields) {
    std::string_view rest = line;
    field = nextField(rest, kWhiteSpace).substr(0, kLongestField);
    if (field.empty()) return std::nullopt;
    line.remove_prefix(static_cast<std::size_t>(field.end() - line.begin()));
  }
  return fields;
}

std::optional<Quad> fourNumbers(const char* text) {
  Quad numbers{};
  // No more digits than an int holds.
  const int count =
      std::sscanf(text, "%9d.%9d.%9d.%9d", &numbers[0], &numbers[1], &numbers[2], &numbers[3]);
  if (count != 4) return std::nullopt;
  return numbers;
}

Quad masked(Quad numbers, const Quad& mask) {
  for (std::size_t i = 0; i < numbers.size(); ++i) numbers[i] &= mask[i];
  return numbers;
}

std::string scopeOf(std::string_view address) {
  std::string scope;
  getScope(scope, std::string(address).c_str());
  return scope;
}

std::string scopeAndInterface(std::string_view address, std::string_view interface) {
  return scopeOf(address) + ' ' + std::string(interface);
}

bool isAddressInDigits(std::string_view text) {
  return text.size() == 32 &&
         text.find_first_not_of("0123456789ABCDEFabcdef") == std::string_view::npos;
}

std::string grouped(std::string_view digits) {
  std::string text(digits.substr(0, 4));
  for (std::size_t at = 4; at < digits.size(); at += 4) {
    text += ':';
    text += digits.substr(at, 4);
  }
  return text;
}

bool beginsWith(std::string_view text, std::string_view lowerCase) {
  for (std::size_t i = 0; i < lowerCase.size(); ++i) {
    if (i == text.size()) return false;
    const bool isUpper = text[i] >= 'A' && text[i] <= 'Z';
    if ((isUpper ? text[i] - 'A' + 'a' : text[i]) != lowerCase[i]) return false;
  }
  return true;
}

}  // namespace

std::list<std::string> parseGateways(std::string_view printed) {
  constexpr std::size_t kLongestLine = 1024;
  constexpr int kHeaderLines = 2;
  const Trace trace(getCcLogHw(), "collectGateways()");
  std::list<std::string> gateways;
  TextLines lines(printed, kLongestLine);
  std::string_view line;
  for (int i = 0; i < kHeaderLines; ++i) lines.next(line);
  while (lines.next(line)) {
    const auto fields = frontFields<8>(line);
    if (!fields) continue;
    const std::string_view gateway = (*fields)[1], flags = (*fields)[3];
    const bool isInUse = flags.find('U') != std::string_view::npos;
    const bool isGateway = flags.find('G') != std::string_view::npos;
    if (!isInUse || !isGateway) continue;
    gateways.emplace_back(gateway);
    trace.at().max("hardware gateway ip %s, destination %s", gateways.back().c_str(),
                   std::string((*fields)[0]).c_str());
  }
  return gateways;
}

GatewayFinder::GatewayFinder(const std::list<std::string>& gateways) : count_(gateways.size()) {
  for (const std::string& gateway : gateways) {
    if (const auto numbers = fourNumbers(gateway.c_str())) gateways_.push_back({gateway, *numbers});
  }
}

const std::string* GatewayFinder::find(const std::string& address, const std::string& mask) {
  const auto numbers = fourNumbers(address.c_str());
  const auto maskNumbers = fourNumbers(mask.c_str());
  if (!numbers || !maskNumbers) return nullptr;
  const Subnets& subnets = subnetsOf(*maskNumbers);
  const auto subnet = subnets.find(masked(*numbers, *maskNumbers));
  if (subnet == subnets.end()) return nullptr;
  return *subnet->second.first == address ? subnet->second.second : subnet->second.first;
}

const GatewayFinder::Subnets& GatewayFinder::subnetsOf(const Quad& mask) {
  const auto [entry, isNew] = subnetsByMask_.try_emplace(mask);
  Subnets& subnets = entry->second;
  if (!isNew) return subnets;
  for (const Gateway& gateway : gateways_) {
    Subnet& subnet = subnets[masked(gateway.numbers, mask)];
    if (!subnet.first) {
      subnet.first = &gateway.text;
    } else if (!subnet.second && gateway.text != *subnet.first) {
      subnet.second = &gateway.text;
    }
  }
  return subnets;
}

Ipv6GatewayFinder::Ipv6GatewayFinder(std::string_view routes) {
  for (std::string_view line; !(line = nextField(routes, "\n")).empty();) {
    const auto fields = frontFields<10>(line);
    if (!fields) continue;
    const std::string_view destination = (*fields)[0], nextHop = (*fields)[4],
                           interface = (*fields)[9];
    if (!isAddressInDigits(nextHop) || nextHop.find_first_not_of('0') == std::string_view::npos ||
        nextHop == destination) {
      continue;
    }
    byScopeAndInterface_.emplace(scopeAndInterface(nextHop, interface), grouped(nextHop));
  }
}

std::string Ipv6GatewayFinder::find(const std::string& address,
                                    const std::string& interface) const {
  const auto found = byScopeAndInterface_.find(scopeAndInterface(address, interface));
  return found == byScopeAndInterface_.end() ? std::string() : found->second;
}

Ipv6GatewayFinder readIpv6Gateways() {
  return Ipv6GatewayFinder(machine().readFile("/proc/net/ipv6_route", kTableLimit).text);
}

}  // namespace invscan

using namespace invscan;

void getScope(std::string& scope, const char* address) {
  if (!address) return;
  const std::string_view text = address;
  if (text.size() > 2 && (text[0] == '2' || text[0] == '3')) {
    scope = "global";
  } else if (text.size() > 4 && beginsWith(text, "fe80")) {
    scope = "link";
  } else if (text.size() >= 4 && (beginsWith(text, "fec") || beginsWith(text, "fed") ||
                                  beginsWith(text, "fee") || beginsWith(text, "fef"))) {
    scope = "site";
  }
}

void getGateway(const char* address, const char* interfaceName, char* gateway) {
  const std::string found = readIpv6Gateways().find(address, interfaceName);
  if (!found.empty()) gateway[found.copy(gateway, found.size())] = '\0';
}

void rtrim(char* text) {
  const std::string_view all = text;
  text[all.substr(0, all.find(' ')).size()] = '\0';
}

int IpAddressEnumerator::match_ips(const char* address, const char* gateway, const char* mask) {
  const auto ofAddress = fourNumbers(address), ofGateway = fourNumbers(gateway),
             ofMask = fourNumbers(mask);
  if (!ofAddress || !ofGateway || !ofMask) return 0;
  return masked(*ofAddress, *ofMask) == masked(*ofGateway, *ofMask) ? 1 : 0;
}
