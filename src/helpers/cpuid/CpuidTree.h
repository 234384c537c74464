#pragma once

#include <invscan/vartree.h>

#include "helpers/cpuid/Leaves.h"

namespace invscan::cpuid {

// Scans the machine and returns the root of the answer's tree, which lives to the end of the
// process. What is not known is left out, so that readers take their defaults; the texts of system
// and hypervisor are always there.
VtNode* makeAnswer(const Leaves& leaves);

}  // namespace invscan::cpuid
