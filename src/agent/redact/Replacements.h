// Finds sensitive values in text and bytes, and puts others in their place.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>

#include "agent/redact/MountNames.h"
#include "agent/redact/Redactor.h"
#include "agent/scan/Scan.h"

namespace invscan::agent {

class Replacements {
 public:
  Replacements(const Scan& scan, const Redactor& redactor);

  // Whole words become tokens.
  std::string inText(std::string_view text);

  // The same in what lists addresses: those that no sensitive value is become tokens too.
  std::string inListing(std::string_view text);

  // A table of mounts or swap areas: names in it become what they are in scans, and count as
  // sensitive from then on.
  std::string inMounts(std::string_view text, MountTable table);

  // Whole words, and addresses in network order, become as many digits or bytes of their tokens.
  std::string inBytes(std::string_view bytes);

  std::size_t count() const { return count_; }

 private:
  void add(const std::string& value, const std::string& token);
  void addPath(const std::string& path);

  const Redactor& redactor_;
  std::map<std::string, std::string, std::less<>> words_;
  std::map<std::string, std::string, std::less<>> lines_;  // too short to be looked for in lines
  std::map<std::string, std::string, std::less<>> addresses_;  // as bytes
  std::size_t count_ = 0;
};

}  // namespace invscan::agent
