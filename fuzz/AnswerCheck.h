// What must hold of a helper's answer.
#pragma once

#include <algorithm>
#include <string_view>

#include <invscan/vartree.h>

#include "FuzzTarget.h"

namespace invscan {

// No text ends a line of the dump.
inline void checkAnswer(const VtNode* node) {
  for (const VtVariant* value = node->values; value; value = value->next) {
    const std::string_view text = value->kind == kVtString ? value->value.string : "";
    require(std::none_of(text.begin(), text.end(), [](unsigned char byte) { return byte < ' '; }));
  }
  for (const VtNode* child = node->children; child; child = child->next) checkAnswer(child);
}

}  // namespace invscan
