#undef NDEBUG  // hosts' mistakes are caught in every build
#include <cassert>

#include <cstring>
#include <string_view>

#include <invscan/helper.h>
#include <invscan/vartree.h>

#include "common/vartree/Release.h"
#include "common/vartree/TreeArena.h"

namespace {

// What both kinds of list have in common.
template <typename Item>
void append(Item*& first, Item*& last, Item* item) {
  item->next = nullptr;
  (last ? last->next : first) = item;
  last = item;
}

const VtNode* firstChild(const VtNode* node, std::string_view name) {
  const VtNode* child = node->children;
  while (child && child->name != name) child = child->next;
  return child;
}

const VtNode* follow(const VtNode* node, std::string_view path) {
  while (node && !path.empty()) {
    const std::string_view name = path.substr(0, path.find('.'));
    node = firstChild(node, name);
    path.remove_prefix(name.size() < path.size() ? name.size() + 1 : name.size());
  }
  return node;
}

const VtNode* rootOf(const VtExecInfo* info) {
  return info ? info->tree : nullptr;
}

}  // namespace

VtNode::VtNode(const char* nodeName)
    : name(vtStrDup(nodeName)),
      next(nullptr),
      values(nullptr),
      children(nullptr),
      lastValue(nullptr),
      lastChild(nullptr) {
}

bool VtNode::addValue(VtVariant* v) {
  assert(v != 0);
  assert(v->name != 0);
  append(values, lastValue, v);
  return true;
}

bool VtNode::addChild(VtNode* n) {
  assert(n != 0);
  assert(n->name != 0);
  append(children, lastChild, n);
  return true;
}

VtNode* VtNode::getChild(const char* childName, int index) const {
  if (index < 0) return nullptr;
  for (VtNode* child = children; child; child = child->next) {
    const bool counts = !childName || std::strcmp(child->name, childName) == 0;
    if (counts && index-- == 0) return child;
  }
  return nullptr;
}

const VtVariant* VtNode::getValue(const char* valueName) const {
  assert(valueName && "name != 0");
  const VtVariant* variant = values;
  while (variant && std::strcmp(variant->name, valueName) != 0) variant = variant->next;
  return variant;
}

const VtVariant* VtNode::getValue(const char* path, const char* valueName) const {
  const VtNode* node = follow(this, path ? path : "");
  return node ? node->getValue(valueName) : nullptr;
}

const char* VtNode::getValue(const char* path, const char* valueName,
                             const char* defaultValue) const {
  return vtGetValue(getValue(path, valueName), defaultValue);
}

int VtNode::getValue(const char* path, const char* valueName, int defaultValue) const {
  return vtGetValue(getValue(path, valueName), defaultValue);
}

float VtNode::getValueF(const char* path, const char* valueName, float defaultValue) const {
  const VtVariant* variant = getValue(path, valueName);
  const bool fits = variant && variant->kind == kVtDouble;
  return fits ? static_cast<float>(variant->value.real) : defaultValue;
}

int vtGetValue(const VtVariant* variant, int defaultValue) {
  return variant && variant->kind == kVtInteger ? variant->value.integer : defaultValue;
}

const char* vtGetValue(const VtVariant* variant, const char* defaultValue) {
  return variant && variant->kind == kVtString ? variant->value.string : defaultValue;
}

const VtVariant* vtGetValue(VtExecInfo* info, const char* path, const char* name) {
  const VtNode* root = rootOf(info);
  return root ? root->getValue(path, name) : nullptr;
}

int vtGetValue(VtExecInfo* info, const char* path, const char* name, int defaultValue) {
  return vtGetValue(vtGetValue(info, path, name), defaultValue);
}

const char* vtGetValue(VtExecInfo* info, const char* path, const char* name,
                       const char* defaultValue) {
  return vtGetValue(vtGetValue(info, path, name), defaultValue);
}

VtNode* vtGetNode(const VtExecInfo* info, const char* name, int index) {
  if (!info || !info->tree || !name) return info ? info->tree : nullptr;
  return info->tree->getChild(name, index < 0 ? 0 : index);
}

namespace invscan {
namespace {

void release(VtVariant* variant) {
  if (TreeArena::made(variant)) return TreeArena::release(variant);
  delete[] variant->name;  // with the text behind it
  if (variant->kind == kVtWideString) delete[] variant->value.wide;
  if (variant->kind == kVtData) delete[] variant->value.data;
  delete variant;
}

void release(VtNode* node) {
  if (TreeArena::made(node)) return TreeArena::release(node);
  delete[] node->name;
  delete node;
}

}  // namespace

void releaseTree(VtNode* root) {
  // Children go in front of the siblings, so that one list is left of any tree.
  for (VtNode* node = root; node;) {
    for (VtVariant* variant = node->values; variant;) {
      VtVariant* next = variant->next;
      release(variant);
      variant = next;
    }
    if (node->lastChild) node->lastChild->next = node->next;
    VtNode* next = node->children ? node->children : node->next;
    release(node);
    node = next;
  }
}

}  // namespace invscan
