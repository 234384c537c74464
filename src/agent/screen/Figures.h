// Values as people read them.
#pragma once

#include <string>

#include <invscan/catalogue.h>
#include <invscan/table.h>

#include "agent/formats/Formats.h"

namespace invscan::agent {

// What a terminal shows, and the unit where the text does not tell it itself.
struct Figure {
  std::string text;
  std::string unit = {};
  bool isPlaceholder = false;  // what firmware has where nobody filled in anything

  std::string withUnit() const { return unit.empty() ? text : text + " " + unit; }
};

// The meaning of a value, then its number; "yes" and "no"; what nobody filled in told as such. For
// a terminal, unless exact figures are wanted, sizes, speeds, spans and times are short: "23.5
// GiB", "2.6 GHz", "13 h 49 min", "2026-11-22 00:31".
Figure figureOf(const kelGroupDef& group, const kelAttribValue& record, const Style& style);

// Whether the value tells anything: neither empty nor a zero that stands for "unknown".
bool tellsAnything(const kelGroupDef& group, const kelAttribValue& record);

// The text as a heading, where the style has colours.
std::string emphasised(const std::string& text, const Style& style);

}  // namespace invscan::agent
