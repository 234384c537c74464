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
  bool isNeverZero;  // 0 says that no source told it
  std::string description;
  bool isCollected;     // whether this version has a collector for the group
  std::string sources;  // as in the traits; empty for what is never filled, or not collected
  std::vector<const kelEnumDef*> values;
};

}  // namespace invscan::agent
