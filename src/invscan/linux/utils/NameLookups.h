// Reverse look-ups that do not hold a scan up.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <unordered_map>

namespace invscan {

// The look-ups of one enumeration of addresses: each address is asked once, and all together take
// seconds, however many addresses there are and however slow the name services. After a look-up
// that timed out, or found no name server within reach, the machine's own host table alone is asked
// for a while, by other enumerations of this process too.
class NameLookups {
 public:
  // The official name that an address has; none when it was not found.
  std::optional<std::string> find(const std::string& address);

 private:
  std::optional<std::string> ask(const std::string& address);

  using Clock = std::chrono::steady_clock;

  static constexpr Clock::duration kLimit = std::chrono::seconds(2);  // for one look-up
  Clock::duration rest_ = std::chrono::seconds(8);                    // for all of them
  std::unordered_map<std::string, std::optional<std::string>> names_;
};

}  // namespace invscan
