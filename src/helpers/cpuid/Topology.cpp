#include "helpers/cpuid/Topology.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string>

#include "helpers/cpuid/CpuInfo.h"
#include "invscan/linux/utils/CpuList.h"

namespace invscan::cpuid {
namespace {

// Counts processors that come in ascending order. A list is read for the first processor of a
// package or core only, and holds for all in it.
class Counter {
 public:
  explicit Counter(const std::vector<unsigned>& online)
      : isOnline_(kMostProcessors), isInKnownCore_(kMostProcessors), package_(kMostProcessors, -1) {
    for (const unsigned number : online) isOnline_[number] = true;
  }

  // False when the kernel does not tell where the processor sits.
  bool add(unsigned number) {
    if (package_[number] < 0 && !addPackage(number)) return false;
    Package& package = packages_[static_cast<std::size_t>(package_[number])];
    ++package.activeProcessors;
    return isInKnownCore_[number] || addCore(number, package);
  }

  std::vector<Package> packages() const { return packages_; }

 private:
  bool addPackage(unsigned number) {
    const auto members = siblingsOf(number, kPackageLists);
    if (!members) return false;
    for (const unsigned member : *members) {
      if (package_[member] < 0) package_[member] = static_cast<int>(packages_.size());
    }
    packages_.emplace_back();
    return true;
  }

  bool addCore(unsigned number, Package& package) {
    const auto members = siblingsOf(number, kCoreLists);
    if (!members) return false;
    unsigned count = 0;
    for (const unsigned member : *members) {
      isInKnownCore_[member] = true;
      if (isOnline_[member]) ++count;
    }
    ++package.activeCores;
    package.processorsPerCore = std::max(package.processorsPerCore, count);
    return true;
  }

  std::vector<bool> isOnline_, isInKnownCore_;
  std::vector<int> package_;  // by processor
  std::vector<Package> packages_;
};

std::vector<Package> fromTopologyFiles(const std::vector<unsigned>& online) {
  Counter counter(online);
  for (const unsigned number : online) {
    if (!counter.add(number)) return {};
  }
  return counter.packages();
}

// A processor of which no place is told is a core of its own in the first package.
std::vector<Package> fromCpuInfo() {
  std::map<long, std::map<long, unsigned>> processors;  // by package and core
  long unplaced = -1;
  for (const CpuInfo::Place& place : readPlaces()) {
    ++processors[place.package.value_or(0)][place.core ? *place.core : unplaced--];
  }
  std::vector<Package> packages;
  for (const auto& [id, cores] : processors) {
    Package package;
    package.activeCores = static_cast<unsigned>(cores.size());
    for (const auto& [core, count] : cores) {
      package.activeProcessors += count;
      package.processorsPerCore = std::max(package.processorsPerCore, count);
    }
    packages.push_back(package);
  }
  return packages;
}

unsigned countOnline(const std::vector<Package>& packages) {
  unsigned count = 0;
  for (const Package& package : packages) count += package.activeProcessors;
  return count;
}

// Deals out the processors that are offline.
void dealOut(unsigned offline, unsigned statedSize, std::vector<Package>& packages) {
  unsigned largest = 0;
  for (const Package& package : packages) largest = std::max(largest, package.activeProcessors);
  const bool isStated = statedSize >= largest;  // less is nonsense
  const unsigned size = isStated ? statedSize : largest;
  for (Package& package : packages) {
    const unsigned missing = std::min(offline, size - package.activeProcessors);
    package.totalProcessors = package.activeProcessors + missing;
    offline -= missing;
  }
  for (; isStated && offline > 0; offline -= packages.back().totalProcessors) {
    packages.emplace_back().totalProcessors = std::min(offline, size);
  }
  const auto count = static_cast<unsigned>(packages.size());
  for (unsigned n = 0; n < count; ++n) {
    packages[n].totalProcessors += offline / count + (n < offline % count ? 1 : 0);
  }
}

// The cores that so many processors make. Offline ones may be second threads of active cores.
void countCores(unsigned statedThreads, std::vector<Package>& packages) {
  unsigned threads = std::max(statedThreads, 1U);
  for (const Package& package : packages) threads = std::max(threads, package.processorsPerCore);
  for (Package& package : packages) {
    const bool isWhole = package.totalProcessors == package.activeProcessors;
    const unsigned cores = (package.totalProcessors + threads - 1) / threads;
    package.totalCores = isWhole ? package.activeCores : std::max(package.activeCores, cores);
  }
}

}  // namespace

std::vector<Package> readPackages(const PackageShape& shape) {
  const auto online = readCpuList(std::string(kCpuDirectory) + "online");
  std::vector<Package> packages;
  if (online) packages = fromTopologyFiles(*online);
  if (packages.empty()) packages = fromCpuInfo();
  if (packages.empty()) return packages;
  const auto present = readCpuList(std::string(kCpuDirectory) + "present");
  const unsigned active = countOnline(packages);
  const auto all = present ? static_cast<unsigned>(present->size()) : active;
  dealOut(std::max(all, active) - active, shape.cores * shape.threadsPerCore, packages);
  countCores(shape.threadsPerCore, packages);
  return packages;
}

}  // namespace invscan::cpuid
