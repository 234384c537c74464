// What the machine is, on one screen.
#pragma once

#include <vector>

#include <invscan/catalogue.h>

namespace invscan::agent {

// The groups of which the screen tells something, in catalogue order.
std::vector<const kelGroupDef*> summaryGroups();

}  // namespace invscan::agent
