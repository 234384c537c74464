// The answer of diskscan. docs/helpers.md tells what every value is.
#pragma once

#include <optional>
#include <string>

#include <invscan/vartree.h>

namespace invscan::diskscan {

// Scans the machine: the node "ScsiInfo" with all its tables, which belongs to the process.
VtNode* scanDisks();

// Why the machine cannot be scanned; nothing when it can.
std::optional<std::string> scanFailure();

}  // namespace invscan::diskscan
