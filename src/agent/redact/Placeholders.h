// What stands where a secret could: the same on many machines, so that it tells none.
#pragma once

#include <string_view>

namespace invscan::agent {

// What firmware and devices have for a serial number, tag or id that nobody filled in:
// "To Be Filled By O.E.M.", "0123456789", "0000-0000", or nothing but blanks.
bool isPlaceholder(std::string_view value);

// A name that systems have before somebody gives them one, such as "localhost".
bool isCommonHostName(std::string_view name);

}  // namespace invscan::agent
