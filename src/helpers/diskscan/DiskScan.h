// The answer of diskscan. docs/helpers.md tells what every value is.
#pragma once

#include <memory>

#include <invscan/vartree.h>

#include "common/vartree/Release.h"

namespace invscan::diskscan {

struct TreeRelease {
  void operator()(VtNode* root) const { releaseTree(root); }
};
using Tree = std::unique_ptr<VtNode, TreeRelease>;

// Scans the machine: the node "ScsiInfo" with all its tables. Throws std::runtime_error when the
// machine tells nothing, or more than an answer can hold.
Tree scanDisks();

}  // namespace invscan::diskscan
