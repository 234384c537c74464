#include "invscan/linux/utils/HostNames.h"

#include <arpa/inet.h>

#include "common/text/Lines.h"
#include "invscan/machine/Machine.h"
#include "log/Trace.h"

namespace invscan {
namespace {

constexpr std::size_t kLongestLine = 255;
constexpr std::string_view kBlanks = " \t\n";

// An IPv4 address as it is written normally. inet_aton() reads more than that, also what would mean
// something to a shell, so its reading is printed again.
std::optional<std::string> normalIpv4(const std::string& address) {
  in_addr parsed;
  char text[INET_ADDRSTRLEN];
  if (inet_aton(address.c_str(), &parsed) == 0) return std::nullopt;
  return inet_ntop(AF_INET, &parsed, text, sizeof text);
}

std::optional<std::string> normalIpv6(const std::string& address) {
  in6_addr parsed;
  char text[INET6_ADDRSTRLEN];
  if (inet_pton(AF_INET6, address.c_str(), &parsed) != 1) return std::nullopt;
  return inet_ntop(AF_INET6, &parsed, text, sizeof text);
}

// The domain of the name behind a mark. Cuts the line where it cuts the name, so that what is
// looked for next is not found behind that.
std::string domainBehind(std::string_view& line, std::string_view mark) {
  const std::size_t at = line.find(mark);
  if (at == std::string_view::npos) return {};
  std::string domain = domainOf(line.substr(at + mark.size()));
  line = line.substr(0, line.find('.', at + mark.size()));
  return domain;
}

}  // namespace

HostName splitName(std::string_view name) {
  const std::size_t dot = name.find('.');
  const bool hasDomain = dot != std::string_view::npos;
  return {std::string(name.substr(0, dot)),
          std::string(hasDomain ? name.substr(dot + 1) : std::string_view())};
}

std::string domainOf(std::string_view name) {
  std::string domain = *splitName(name).domain;
  domain.resize(domain.find_last_not_of(" \t\n\v\f\r") + 1);
  if (domain.size() > 1 && domain.back() == '.') domain.pop_back();
  return domain;
}

std::string parseLookup(std::string_view printed) {
  TextLines lines(printed, kLongestLine);
  for (std::string_view line; lines.next(line);) {
    for (const std::string_view mark : {"name =", "Name:"}) {
      std::string domain = domainBehind(line, mark);
      if (!domain.empty()) return domain;
    }
  }
  return {};
}

const HostName& HostNames::nameOf(const std::string& address) {
  const auto [entry, isNew] = names_.try_emplace(address);
  if (isNew) entry->second = findName(address);
  return entry->second;
}

HostName HostNames::findName(const std::string& address) {
  const Trace trace(getCcLogHw(), "getHostnameAndDomain()");
  const auto normal = normalIpv4(address);
  const auto found = normal ? lookups_.find(*normal) : std::nullopt;
  if (!found) return ownName();
  HostName name{splitName(*found).host, domainOf(*found)};
  if (name.domain->empty()) {
    name.domain = parseLookup(machine().runCommand("nslookup " + *normal).text);
  }
  trace.at().max("hardware hostname=>%s< domain=>%s", name.host->c_str(), name.domain->c_str());
  return name;
}

HostName HostNames::plainNameOf(const std::string& address) {
  const auto normal = normalIpv4(address);
  const auto found = normal ? lookups_.find(*normal) : std::nullopt;
  return found ? splitName(*found) : ownName();
}

HostName HostNames::ipv6NameOf(const std::string& address) {
  const Trace trace(getCcLogHw(), "getTable()");
  const auto normal = normalIpv6(address);
  if (!normal) trace.at().min("hardware Can't convert address into numeric values");
  const auto found = normal ? lookups_.find(*normal) : std::nullopt;
  if (normal && !found) trace.at().max("hardware Can't resolve address");
  return splitName(found.value_or(""));
}

const HostName& HostNames::ownName() {
  if (!ownName_) {
    const std::string printed = machine().runCommand("hostname").text;
    std::string_view line = firstLine(printed, kLongestLine);
    const std::string_view name = nextField(line, kBlanks);
    ownName_.emplace();
    if (!name.empty()) ownName_->host = name;
  }
  return *ownName_;
}

}  // namespace invscan
