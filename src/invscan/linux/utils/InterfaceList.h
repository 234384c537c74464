// The interface list's parsers, for those who bring the text themselves. See <invscan/network.h>.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <invscan/network.h>

namespace invscan {

// Adds the interfaces that ifconfig printed.
void readInterfaces(std::string_view printed, IfInfoList& list);

// As convertMacToCanonical(); none when it refuses.
std::optional<std::string> canonicalHardwareAddress(std::string_view text);

// As trimMac().
std::string_view trimmedHardwareAddress(std::string_view text);

}  // namespace invscan
