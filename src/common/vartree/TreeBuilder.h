// Builds a tree for the helpers' answers.
#pragma once

#include <algorithm>
#include <climits>
#include <string>
#include <string_view>

#include <invscan/vartree.h>

#include "common/vartree/Utf8.h"

namespace invscan {

// A node under construction; copies stand for the same node, which belongs to its tree. Control
// characters in texts become blanks: nothing in the text form is escaped, and a disk's or
// firmware's line end would forge values. Bytes that are not UTF-8, where a reader would cut the
// text, become question marks.
class TreeBuilder {
 public:
  // Continues a node, such as the root.
  explicit TreeBuilder(VtNode* node) : node_(node) {}

  TreeBuilder child(const char* name) {
    auto* node = new VtNode(name);
    node_->addChild(node);
    return TreeBuilder(node);
  }

  TreeBuilder& text(const char* name, const std::string& value) {
    node_->addValue(new VtVariant(name, clean(value).c_str()));
    return *this;
  }

  // A number beyond 32 bits becomes the nearest that they hold.
  TreeBuilder& number(const char* name, long value) {
    const long held = std::clamp<long>(value, INT_MIN, INT_MAX);
    node_->addValue(new VtVariant(name, static_cast<int>(held)));
    return *this;
  }

 private:
  static std::string clean(std::string text) {
    std::replace_if(
        text.begin(), text.end(),
        [](unsigned char letter) { return letter < ' ' || letter == 0x7F; }, ' ');
    std::size_t valid = utf8Prefix(text);
    while (valid < text.size()) {
      text[valid] = '?';
      valid += utf8Prefix(std::string_view(text).substr(valid));
    }
    return text;
  }

  VtNode* node_;
};

}  // namespace invscan
