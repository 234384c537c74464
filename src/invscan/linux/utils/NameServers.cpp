#include "invscan/linux/utils/NameServers.h"

#include <invscan/network.h>

#include "common/text/Lines.h"
#include "invscan/machine/Machine.h"

namespace invscan {
namespace {

constexpr std::string_view kBlanks = " \t\n";
constexpr std::size_t kLongestText = 127;

void takeFirst(std::string& text, std::string_view found) {
  if (text.empty()) text = cutText(found, kLongestText);
}

// False when there is nothing to write.
bool writeText(char* buffer, const std::string& text) {
  if (text.empty()) return false;
  buffer[text.copy(buffer, text.size())] = '\0';
  return true;
}

}  // namespace

NameServers parseNameServers(std::string_view resolvConf) {
  constexpr std::size_t kLongestLine = 1023;
  NameServers found;
  TextLines lines(resolvConf, kLongestLine);
  for (std::string_view line; lines.next(line);) {
    const std::string_view keyword = nextField(line, kBlanks);
    if (keyword == "nameserver") {
      takeFirst(found.primary.empty() ? found.primary : found.secondary, nextField(line, kBlanks));
    } else if (keyword == "domain") {
      takeFirst(found.domain, nextField(line, " \t\n#"));
    }
  }
  return found;
}

NameServers readNameServers() {
  return parseNameServers(machine().readFile("/etc/resolv.conf").text);
}

}  // namespace invscan

using namespace invscan;

int getNameservers(char* primary, char* secondary, char* domain) {
  const NameServers found = readNameServers();
  const bool hasDomain = !*domain && writeText(domain, found.domain);
  const bool hasServer = writeText(primary, found.primary);
  writeText(secondary, found.secondary);
  return hasServer || hasDomain ? 0 : -1;
}
