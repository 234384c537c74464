// The question what the system's database of hardware knows of a device.
#pragma once

#include <map>
#include <string>

#include "invscan/machine/Question.h"

namespace invscan {

// Properties by name, such as ID_VENDOR_FROM_DATABASE.
using HardwareProperties = std::map<std::string, std::string>;

// A module alias, such as "pci:v00008086d000015F3sv...", and what is known of its device.
struct HardwareQuestion : PlainQuestion<HardwareProperties, std::string> {
  static constexpr const char* kSections[] = {"hardware"};
  static std::string keyName(const std::string& alias) { return alias; }
  static std::string logName(const std::string& alias) { return "hardware database " + alias; }
  static std::string outcome(const HardwareProperties& properties);
  static Answer live(const std::string& alias);
  static void write(Json& json, const HardwareProperties& properties);
  static Answer read(const CaptureValue& value);
};

}  // namespace invscan
