// The question what the older interface ioctls tell.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "invscan/machine/Question.h"

namespace invscan {

// What is not told is not there.
struct InterfaceAddress {
  std::string name;
  std::optional<std::string> address, netmask;  // dotted quads
  std::optional<std::string> hardwareAddress;   // six upper-case pairs joined by ':'
};

// The kernel answers for the first 50 interfaces that have an IPv4 address; not at all when there
// is no socket.
struct InterfacesQuestion : PlainQuestion<std::optional<std::vector<InterfaceAddress>>> {
  static constexpr const char* kSections[] = {"interfaces"};
  static constexpr const char* kLogName = "interface ioctls";
  static Answer live(NoKey);
  static void write(Json& json, const Answer& interfaces);
  static Answer read(const CaptureValue& value);
};

}  // namespace invscan
