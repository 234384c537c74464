// The end of trees and answers, where somebody knows that nobody reads them any more.
#pragma once

#include <memory>

#include <invscan/helper.h>
#include <invscan/vartree.h>

namespace invscan {

// Releases a node and all below it, none of which may be part of another tree; null is nothing.
void releaseTree(VtNode* root);

// With message and tree.
void releaseAnswer(VtExecInfo* info);

struct Releaser {
  void operator()(VtNode* root) const { releaseTree(root); }
  void operator()(VtExecInfo* info) const { releaseAnswer(info); }
};

using Tree = std::unique_ptr<VtNode, Releaser>;
using Answer = std::unique_ptr<VtExecInfo, Releaser>;

}  // namespace invscan
