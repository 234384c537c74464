// Finds what a person named in the catalogue.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <invscan/catalogue.h>

namespace invscan::agent {

// The name that is most like the word, or null when none is much like it.
const char* nearest(std::string_view word, const std::vector<const char*>& names);

// `; did you mean "Memory"?`, or nothing.
std::string suggestion(std::string_view word, const std::vector<const char*>& names);

bool sameIgnoringCase(std::string_view a, std::string_view b);

const std::vector<const kelGroupDef*>& allGroups();
std::vector<const kelAttribDef*> attributesOf(const kelGroupDef& group);

// Upper and lower case are the same here. These throw Failure, with the nearest name, for a name
// that does not exist.
const kelGroupDef& findGroup(const std::string& name);
const kelAttribDef& findAttribute(const kelGroupDef& group, const std::string& name);

// The named groups, each once and in catalogue order; all of them when none is named.
std::vector<const kelGroupDef*> findGroups(const std::vector<std::string>& names);

// Where the catalogue has a group of that name; its end for one that it does not have.
std::size_t placeInCatalogue(const kelGroupDef& group);

// The catalogue's name of an attribute.
std::string attributeName(const kelGroupDef& group, unsigned long attribId);

}  // namespace invscan::agent
