#include "invscan/linux/utils/NameLookups.h"

#include <algorithm>
#include <utility>

#include "invscan/machine/Machine.h"

namespace invscan {

std::optional<std::string> NameLookups::find(const std::string& address) {
  const auto [entry, isNew] = names_.try_emplace(address);
  if (isNew) entry->second = ask(address);
  return entry->second;
}

std::optional<std::string> NameLookups::ask(const std::string& address) {
  if (rest_.count() <= 0) {
    noteAccess("host name of " + address, "not asked: the name services took too long", 0);
    return std::nullopt;
  }
  const auto begin = Clock::now();
  HostLookup answer = machine().lookUpHost(
      address, std::chrono::ceil<std::chrono::milliseconds>(std::min(rest_, kLimit)));
  rest_ -= Clock::now() - begin;
  if (answer.outcome == HostLookupOutcome::TimedOut) rest_ = rest_.zero();
  if (answer.outcome != HostLookupOutcome::Found) return std::nullopt;
  return std::move(answer.name);
}

}  // namespace invscan
