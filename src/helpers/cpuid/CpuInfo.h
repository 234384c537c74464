// What the kernel prints about every processor: the source for what leaves and topology files did
// not tell.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace invscan::cpuid {

class CpuInfo {
 public:
  // A value of the first processor; empty when there is none.
  const std::string& first(const std::string& key);
  bool hasFlag(const std::string& flag);

  struct Place {
    std::optional<long> package, core;
  };

 private:
  std::optional<std::map<std::string, std::string>> first_;
};

// Where each online processor sits. The kernel takes its time for this on a large machine.
std::vector<CpuInfo::Place> readPlaces();

}  // namespace invscan::cpuid
