// What there is to say about an attribute, put into words once for all forms of description.
#pragma once

#include <string>
#include <vector>

#include <invscan/catalogue.h>

namespace invscan::agent {

struct AttributeDescription {
  AttributeDescription(const kelGroupDef& group, const kelAttribDef& attribute);

  unsigned long id;
  std::string name;
  std::string type;  // "KEL_STRING"
  unsigned long maxLength;
  std::string unit;
  bool isKey;
  std::string behaviour;  // "identity", "stable" or "volatile"
  bool isSensitive;
  std::string description;
  std::string sources;  // as in the traits
  std::vector<const kelEnumDef*> values;
};

}  // namespace invscan::agent
