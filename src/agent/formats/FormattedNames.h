// The attributes of a group with their names as a form writes them: a name is looked up and escaped
// once for all rows.
#pragma once

#include <string>
#include <vector>

#include <invscan/catalogue.h>

namespace invscan::agent {

struct FormattedName {
  unsigned long attribId = 0;
  const kelAttribDef* attribute = nullptr;  // null: the catalogue does not know it
  std::string name;
  bool isNeverZero = false;  // AttributeTraits
};

class FormattedNames {
 public:
  using Append = void (*)(std::string& text, const std::string& name);

  FormattedNames(const kelGroupDef& group, Append append);

  // Valid until the next call.
  const FormattedName& of(unsigned long attribId);

 private:
  const kelGroupDef& group_;
  Append append_;
  std::vector<FormattedName> names_;  // by id; the last place is for ids beyond the catalogue's
};

}  // namespace invscan::agent
