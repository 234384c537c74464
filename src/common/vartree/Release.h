// The end of a tree, where somebody knows that nobody reads it any more.
#pragma once

#include <invscan/vartree.h>

namespace invscan {

// Releases a node and all below it, none of which may be part of another tree; null is nothing.
void releaseTree(VtNode* root);

}  // namespace invscan
