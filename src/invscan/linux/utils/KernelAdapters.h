// The machine's network adapters, and what the kernel tells of them.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace invscan {

inline constexpr unsigned long kTypeOther = 2;  // of ADAPTER_TYPE_ENUM_DEF

// One adapter, by whichever source. What is not known is empty.
struct Adapter {
  std::string name;
  std::string hardwareAddress;      // in use
  std::string permanentAddress;     // of the hardware, or else the one in use
  unsigned long type = kTypeOther;  // of ADAPTER_TYPE_ENUM_DEF
  std::string manufacturer;
  std::string physicalType;
  std::string members;  // of a bond or team, joined by ", "
  std::string driverPath, driverVersion, driverName;
};

// All but loopbacks, by index; none when the kernel does not tell.
std::optional<std::vector<Adapter>> kernelAdapters();

// The value of ADAPTER_TYPE_ENUM_DEF for a kind of link and a type of its hardware, kTypeOther when
// it has none.
unsigned long adapterTypeOf(const std::string& kind, unsigned hardwareType, bool isWireless);
}  // namespace invscan
