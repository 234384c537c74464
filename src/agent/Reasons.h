// Why attributes have no value.
#pragma once

#include <string>

#include <invscan/catalogue.h>

#include "agent/Scan.h"

namespace invscan::agent {

// Whether this version collects the group at all.
bool hasCollector(const kelGroupDef& group);

// Why the sources of an attribute gave nothing, and what would help; from the accesses that the
// scan noted.
std::string reasonForDefault(const GroupResult& result, const kelAttribDef& attribute);

}  // namespace invscan::agent
