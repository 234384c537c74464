// Why attributes have no value.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include <invscan/catalogue.h>

#include "agent/scan/Scan.h"

namespace invscan::agent {

// Whether an attribute of the group can come from what the access log calls by that name.
bool isSourceOf(const kelGroupDef& group, const std::string& source);

// Whether no attribute of the group comes from anything but these.
bool asksOnly(const kelGroupDef& group, std::initializer_list<std::string_view> sources);

// Whether this version collects the group at all.
bool hasCollector(const kelGroupDef& group);

// "; " and what helps against one of these outcomes; empty when nothing is known to.
std::string helpAgainst(const std::vector<std::string>& outcomes);

// Why the sources of an attribute gave nothing, and what would help; from the accesses that the
// scan noted.
std::string reasonForDefault(const GroupResult& result, const kelAttribDef& attribute);

}  // namespace invscan::agent
