// Finds sensitive values in text and bytes, and puts others in their place.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>

#include "agent/redact/MountNames.h"
#include "agent/redact/Redactor.h"
#include "agent/scan/Scan.h"

namespace invscan::agent {

class Address;

class Replacements {
 public:
  Replacements(const Scan& scan, const Redactor& redactor);

  // From now on the addresses in that text are sensitive too, also those that no value is: of
  // neighbours and networks. The second takes IPv6 addresses in 32 digits.
  void learn(std::string_view listing);
  void learnDigits(std::string_view listing);

  // The same of the values that tell a machine in what a helper printed, where no group was asked
  // for them, too.
  void learnAnswer(std::string_view answer);

  // Whole words become tokens, and addresses others of their kind (Addresses.h).
  std::string inText(std::string_view text);

  // A table of mounts or swap areas: names in it become what they are in scans, and count as
  // sensitive from then on.
  std::string inMounts(std::string_view text, MountTable table);

  // Whole words become as many digits of their tokens, UUIDs too, in either order of bytes, and
  // addresses in network order others.
  std::string inBytes(std::string_view bytes);

  // An address in network order, sensitive or not, becomes another one unless it tells nothing;
  // none when it is of no address's size.
  std::optional<std::string> inAddress(std::string_view bytes);

  std::size_t count() const { return count_; }

 private:
  using Table = std::map<std::string, std::string, std::less<>>;

  void add(const std::string& value);
  void addPath(const std::string& path);
  void add(const std::string& text, const Address& address);
  Table::const_iterator addressAt(std::string_view bytes) const;

  const Redactor& redactor_;
  Table words_;
  Table lines_;                                  // too short to be looked for in lines
  Table addresses_;                              // and UUIDs, as bytes
  std::set<std::size_t, std::greater<>> sizes_;  // of those
  std::unordered_map<std::string, std::string>
      substitutes_;  // of all that were asked for, as bytes
  std::size_t count_ = 0;
};

}  // namespace invscan::agent
