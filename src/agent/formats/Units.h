// The catalogue's units in base units.
#pragma once

#include <string_view>

namespace invscan::agent {

struct Unit {
  std::string_view name;  // as the traits have it
  std::string_view base;  // what "factor / divisor" makes of it
  double factor = 1;
  double divisor = 1;
};

// The unit of an attribute; one without name for an attribute that has none.
const Unit& unitOf(unsigned long groupId, unsigned long attribId);

}  // namespace invscan::agent
