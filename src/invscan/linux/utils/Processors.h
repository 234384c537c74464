// The logical processors, as the kernel tells of them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace invscan {

// What is not known is -1, empty, or 0 where it is a size or a speed.
struct LogicalProcessor {
  long number = -1;
  bool isOnline = true;
  std::string vendor, modelName, microcode;
  long family = -1, model = -1, stepping = -1;
  unsigned long features = 0;  // as makeCPUflagsFromString() has them
  bool isLongMode = false, has3dNow = false;

  // Nothing of this is known of a processor that is offline.
  long package = -1, core = -1, apicId = -1, initialApicId = -1;
  long coresPerPackage = -1, threadsPerCore = -1;
  double mhz = 0;  // just now
  unsigned long nominalMhz = 0, maximumMhz = 0;
  unsigned long level2Kb = 0, level3Kb = 0;  // one cache of that level
};

// The processors in the text of /proc/cpuinfo, in its order.
std::vector<LogicalProcessor> parseCpuInfo(std::string_view text);

// Those of the machine; none when the kernel does not list any. Native sources add what /sys tells:
// speeds and caches of each processor, the threads of each core, so that hybrids are told as they
// are, and, behind all others, the processors that are there but offline: make and model are those
// of the first one.
std::vector<LogicalProcessor> readProcessors();

// EAX of CPUID leaf 1 for these numbers. Family and model may be of eight bits and more.
unsigned signatureOf(long family, long model, long stepping);

}  // namespace invscan
