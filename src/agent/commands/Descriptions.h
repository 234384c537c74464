// The catalogue, and what is known beside it about every attribute, for people and programs.
#pragma once

#include <string>
#include <vector>

#include <invscan/catalogue.h>

namespace invscan::agent {

using Groups = std::vector<const kelGroupDef*>;

std::string describeAsText(const Groups& groups);
std::string describeAsJson(const Groups& groups);
std::string describeAsMarkdown(const Groups& groups);  // docs/catalogue.md
std::string describeAsSchema(const Groups& groups);    // docs/invscan.schema.json

}  // namespace invscan::agent
