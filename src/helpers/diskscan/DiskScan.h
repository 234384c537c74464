// The answer of diskscan. docs/helpers.md tells what every value is.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include <invscan/vartree.h>

#include "common/vartree/Release.h"

namespace invscan::diskscan {

struct TreeRelease {
  void operator()(VtNode* root) const { releaseTree(root); }
};
using Tree = std::unique_ptr<VtNode, TreeRelease>;

// Scans the machine: the node "ScsiInfo" with all its tables.
Tree scanDisks();

// Why the machine cannot be scanned; nothing when it can.
std::optional<std::string> scanFailure();

}  // namespace invscan::diskscan
