#include "helpers/cpuid/Clock.h"

#include <cmath>
#include <string>

#include "common/text/Lines.h"

namespace invscan::cpuid {
namespace {

constexpr long kMostMhz = 1'000'000;

struct Sources {
  const Leaves& leaves;
  const Processor& processor;
  const Firmware& firmware;
  CpuInfo& cpuInfo;
};

long fromFrequencyLeaf(const Sources& sources) {
  // A hybrid's answer depends on the core that this runs on.
  return sources.processor.isHybrid ? 0 : bitsOf(sources.leaves.get(0x16).eax, 0, 15);
}

// "... CPU @ 2.40GHz"
long fromBrand(const Sources& sources) {
  const std::string& brand = sources.processor.brand;
  constexpr std::pair<const char*, double> kUnits[] = {{"MHz", 1}, {"GHz", 1e3}, {"THz", 1e6}};
  for (const auto& [unit, mhz] : kUnits) {
    const std::size_t end = brand.find(unit);
    if (end == brand.npos || end == 0) continue;
    const std::size_t before = brand.find_last_not_of("0123456789.", end - 1);
    const std::size_t begin = before == brand.npos ? 0 : before + 1;
    return std::lround(leadingReal(brand.substr(begin, end - begin)) * mhz);
  }
  return 0;
}

long numberIn(const char* path) {
  return leadingInteger(machine().readFile(path).text);
}

long fromBaseFrequency(const Sources&) {
  return numberIn("/sys/devices/system/cpu/cpu0/cpufreq/base_frequency") / 1000;
}

long fromNominalFrequency(const Sources&) {
  return numberIn("/sys/devices/system/cpu/cpu0/acpi_cppc/nominal_freq");
}

long fromFirmware(const Sources& sources) {
  return sources.firmware.processorClock();
}

long fromCpuInfo(const Sources& sources) {
  return std::lround(leadingReal(sources.cpuInfo.first("cpu MHz")));
}

// They go from what the maker states, over what the platform states, to what was measured just now.
constexpr long (*kSources[])(const Sources&) = {
    fromFrequencyLeaf,    fromBrand,    fromBaseFrequency,
    fromNominalFrequency, fromFirmware, fromCpuInfo,
};

}  // namespace

long findClock(const Leaves& leaves, const Processor& processor, const Firmware& firmware,
               CpuInfo& cpuInfo) {
  const Sources sources{leaves, processor, firmware, cpuInfo};
  for (const auto& ask : kSources) {
    const long mhz = ask(sources);
    if (mhz > 0 && mhz <= kMostMhz) return mhz;
  }
  return 0;
}

}  // namespace invscan::cpuid
