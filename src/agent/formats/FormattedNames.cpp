#include "agent/formats/FormattedNames.h"

#include <algorithm>

#include <invscan/traits.h>

#include "agent/Names.h"

namespace invscan::agent {

FormattedNames::FormattedNames(const kelGroupDef& group, Append append)
    : group_(group), append_(append), names_(attributesOf(group).size() + 1) {
}

const FormattedName& FormattedNames::of(unsigned long attribId) {
  FormattedName& place = names_[std::min(attribId - 1, names_.size() - 1)];
  if (place.name.empty() || place.attribId != attribId) {
    const AttributeTraits* const traits = attributeTraits(group_.id, attribId);
    place = {attribId, getAttribDefinitionFromId(&group_, attribId), "",
             traits && traits->isNeverZero};
    append_(place.name, attributeName(group_, attribId));
  }
  return place;
}

}  // namespace invscan::agent
