#include <invscan/base/Xml.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <iterator>
#include <string>

#include "base/RegularFile.h"
#include "base/XmlText.h"

namespace {

constexpr std::size_t kLargestFile = 1 << 20;

}  // namespace

const String* StringMap::find(const String& name) const {
  const auto found = std::find_if(entries_.begin(), entries_.end(),
                                  [&](const Entry& entry) { return entry.first == name; });
  return found == entries_.end() ? nullptr : &found->second;
}

String StringMap::get(const String& name) const {
  const String* value = find(name);
  return value ? *value : String();
}

Node::Node(String name, StringMap attributes)
    : name_(std::move(name)), attributes_(std::move(attributes)) {
}

// Hosts may build trees of any depth, so neither taking one apart nor copying it recurses.
Node::~Node() {
  std::vector<std::unique_ptr<Node>> rest = std::move(children_);
  while (!rest.empty()) {
    const std::unique_ptr<Node> node = std::move(rest.back());
    rest.pop_back();
    std::move(node->children_.begin(), node->children_.end(), std::back_inserter(rest));
    node->children_.clear();
  }
}

Node* Node::clone() const {
  auto copy = std::make_unique<Node>(name_, attributes_);
  std::vector<std::pair<const Node*, Node*>> rest = {{this, copy.get()}};
  while (!rest.empty()) {
    const auto [from, to] = rest.back();
    rest.pop_back();
    for (const auto& child : from->children_) {
      Node* const added = to->addChild(std::make_unique<Node>(child->name_, child->attributes_));
      rest.emplace_back(child.get(), added);
    }
  }
  return copy.release();
}

Node* Node::addChild(std::unique_ptr<Node> child) {
  return children_.emplace_back(std::move(child)).get();
}

NodeSink::~NodeSink() = default;

void NodeSink::onWarning(const String&, unsigned long) {
}

void NodeSink::onError(const String&, unsigned long) {
}

void NodeSink::onCriticalError(const String&, unsigned long) {
}

void ParseNodeSink::onNodeTree(Node* tree) {
  trees_.emplace_back(tree->clone());
}

Node* ParseNodeSink::getNode(int number) {
  const auto index = static_cast<std::size_t>(number) - 1;
  return index < trees_.size() ? trees_[index].release() : nullptr;
}

XmlOrvParser::XmlOrvParser(const String& path, NodeSink& sink) : status_(kParsed) {
  std::string text;
  if (const int error = invscan::readRegularFile(path.toNarrow(), kLargestFile, text)) {
    status_ = error == EFBIG ? kNotParsed : kNotOpened;
    sink.onError(invscan::regularFileError(error), 0);
  } else if (!invscan::parseXml(text, sink)) {
    status_ = kNotParsed;
  }
}

XmlOrvParser::~XmlOrvParser() = default;
