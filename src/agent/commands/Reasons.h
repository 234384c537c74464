// Why attributes have no value.
#pragma once

#include <string>
#include <vector>

#include <invscan/catalogue.h>

#include "agent/scan/Scan.h"

namespace invscan::agent {

// "; " and what helps against one of these outcomes; empty when nothing is known to.
std::string helpAgainst(const std::vector<std::string>& outcomes);

// Why the sources of an attribute gave nothing, and what would help; from the accesses that the
// scan noted.
std::string reasonForDefault(const GroupResult& result, const kelAttribDef& attribute);

}  // namespace invscan::agent
