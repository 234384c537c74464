// Values as people read them.
#pragma once

#include <string>

#include <invscan/catalogue.h>
#include <invscan/table.h>
#include <invscan/traits.h>

#include "agent/formats/Formats.h"
#include "agent/formats/Units.h"

namespace invscan::agent {

// What a terminal shows, and the unit where the text does not tell it itself.
struct Figure {
  std::string text;
  std::string unit = {};
  bool isPlaceholder = false;  // what firmware has where nobody filled in anything

  std::string withUnit() const { return unit.empty() ? text : text + " " + unit; }
};

// What the catalogue says of an attribute, looked up once for the values of all rows.
class AttributeFigures {
 public:
  AttributeFigures(const kelGroupDef& group, unsigned long attribId);

  const std::string& name() const { return name_; }

  // The meaning of a value, then its number; "yes" and "no"; what nobody filled in told as such.
  // For a terminal, unless exact figures are wanted, sizes, speeds, spans and times are short:
  // "23.5 GiB", "2.6 GHz", "13 h 49 min", "2026-11-22 00:31".
  Figure of(const kelAttribValue& record, const Style& style) const;

  // Whether the value tells anything: neither empty nor a zero that stands for "unknown".
  bool isTelling(const kelAttribValue& record) const;

 private:
  bool isUnknown(const kelAttribValue& record) const;

  unsigned long groupId_;
  const kelAttribDef* definition_;  // null: the catalogue does not know it
  const AttributeTraits* traits_;
  const Unit& unit_;
  std::string name_;
  bool isFirmwareText_;
};

// Of a single value.
Figure figureOf(const kelGroupDef& group, const kelAttribValue& record, const Style& style);

// The text as a heading, where the style has colours.
std::string emphasised(const std::string& text, const Style& style);

}  // namespace invscan::agent
