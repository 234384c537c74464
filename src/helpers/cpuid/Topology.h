// How the kernel has the machine's processors arranged.
#pragma once

#include <vector>

#include "helpers/cpuid/Processor.h"

namespace invscan::cpuid {

// Active is what is online, total is with what is there, but switched off.
struct Package {
  unsigned activeProcessors = 0, activeCores = 0;
  unsigned totalProcessors = 0, totalCores = 0;
  unsigned processorsPerCore = 0;  // online, of the core that has most
};

// The packages in the order of their first online processor, behind them those that are all
// offline; none when neither /sys nor /proc/cpuinfo tells. Reads two files a package and one a
// core.
//
// The kernel does not tell where an offline processor sits. They are dealt out so that packages
// become alike: each is filled up to the size that the leaves state, or else that the largest has;
// what is left makes further packages of that stated size, or else is shared out.
std::vector<Package> readPackages(const PackageShape& shape);

}  // namespace invscan::cpuid
