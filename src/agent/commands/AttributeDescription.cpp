#include "agent/commands/AttributeDescription.h"

#include <algorithm>

#include <invscan/collectors.h>
#include <invscan/print.h>
#include <invscan/traits.h>

namespace invscan::agent {
namespace {

// Stands in where a group has attributes that nothing is told about.
constexpr AttributeTraits kUnknown = {0, "", Behaviour::Stable, false, "", "", nullptr};

const AttributeTraits& traitsOf(const kelGroupDef& group, const kelAttribDef& attribute) {
  const AttributeTraits* traits = attributeTraits(group.id, attribute.id);
  return traits ? *traits : kUnknown;
}

const char* behaviourName(Behaviour behaviour) {
  switch (behaviour) {
    case Behaviour::Identity:
      return "identity";
    case Behaviour::Stable:
      return "stable";
    case Behaviour::Volatile:
      return "volatile";
  }
  return "";
}

}  // namespace

AttributeDescription::AttributeDescription(const kelGroupDef& group, const kelAttribDef& attribute)
    : id(attribute.id),
      name(attribute.name),
      type(getKelAttribTypeAsString(attribute.type)),
      maxLength(attribute.maxLength),
      isKey(std::count(group.keys, group.keys + group.keyCount, attribute.id) > 0) {
  const AttributeTraits& traits = traitsOf(group, attribute);
  unit = traits.unit;
  behaviour = behaviourName(traits.behaviour);
  isSensitive = traits.sensitive;
  isNeverZero = traits.isNeverZero;
  description = traits.description;
  isCollected = findCollector(group.id) != nullptr;
  if (isCollected) sources = traits.sources;
  for (const kelEnumDef* entry = attribute.enums; entry && entry->value != kEndOfTable; ++entry) {
    values.push_back(entry);
  }
}

}  // namespace invscan::agent
