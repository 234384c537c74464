// Builds a tree for the helpers' answers.
#pragma once

#include <algorithm>
#include <climits>
#include <string>

#include <invscan/vartree.h>

namespace invscan {

// A node under construction; copies stand for the same node, which belongs to its tree. Control
// characters in texts become blanks: nothing in the text form is escaped, and a disk's or
// firmware's line end would forge values.
class TreeBuilder {
 public:
  // Continues a node, such as the root.
  explicit TreeBuilder(VtNode* node) : node_(node) {}

  TreeBuilder child(const char* name) {
    auto* node = new VtNode(name);
    node_->addChild(node);
    return TreeBuilder(node);
  }

  TreeBuilder& text(const char* name, std::string value) {
    std::replace_if(
        value.begin(), value.end(),
        [](unsigned char letter) { return letter < ' ' || letter == 0x7F; }, ' ');
    node_->addValue(new VtVariant(name, value.c_str()));
    return *this;
  }

  // A number beyond 32 bits becomes the nearest that they hold.
  TreeBuilder& number(const char* name, long value) {
    const long held = std::clamp<long>(value, INT_MIN, INT_MAX);
    node_->addValue(new VtVariant(name, static_cast<int>(held)));
    return *this;
  }

 private:
  VtNode* node_;
};

}  // namespace invscan
