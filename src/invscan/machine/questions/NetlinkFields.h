// Netlink messages in fields, as a person writes them into a capture.
#pragma once

#include <string>

#include "invscan/machine/CaptureValue.h"

namespace invscan {

// The message that a kernel would send for a link, an address or a route; docs/capture.md has the
// fields. Refuses, by the value, what is none of these.
std::string netlinkMessage(const CaptureValue& object);

// The message that ends a dump.
std::string netlinkEnd();

}  // namespace invscan
