// What a processor says of itself. All packages of a machine are taken to be of one make: the
// processor that this runs on answers for them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "helpers/cpuid/CpuInfo.h"
#include "helpers/cpuid/Leaves.h"

namespace invscan::cpuid {

struct Processor {
  std::string vendor;  // its signature, such as "GenuineIntel"; empty when nothing is known
  std::string brand;
  std::optional<std::uint32_t> signature;
  bool isHybrid = false;  // has cores of several kinds, and leaves that differ between them
  bool isLongMode = false;
  bool isHypervisorPresent = false;

  bool isIntel() const { return vendor == "GenuineIntel"; }
  bool isAmd() const { return vendor == "AuthenticAMD" || vendor == "HygonGenuine"; }
  // Counts the extended part in; 0 without a signature.
  unsigned family() const;
};

// Asks the leaves, and where there are none /proc/cpuinfo.
Processor readProcessor(const Leaves& leaves, CpuInfo& cpuInfo);

// What a package was made with, whatever of it is switched on; zeros when the leaves do not tell.
struct PackageShape {
  unsigned cores = 0;
  unsigned threadsPerCore = 0;
};
PackageShape readPackageShape(const Leaves& leaves, const Processor& processor);

// The sizes are those of one instance, in KB; 0 where there is no such cache. When nothing is known
// there is no value.
struct CacheSizes {
  std::uint64_t level2 = 0, level3 = 0;
};
std::optional<CacheSizes> readCaches(const Leaves& leaves, const Processor& processor);

}  // namespace invscan::cpuid
