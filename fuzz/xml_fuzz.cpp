// The hardware configuration file's text.

#include <invscan/hwconfig.h>

#include "FuzzTarget.h"
#include "base/XmlText.h"

namespace {

using namespace invscan;

bool areEqual(const Node& a, const Node& b) {
  const StringMap &left = a.getAttributes(), &right = b.getAttributes();
  if (a.getName() != b.getName() || a.getChildren().size() != b.getChildren().size() ||
      !std::equal(left.begin(), left.end(), right.begin(), right.end())) {
    return false;
  }
  for (std::size_t i = 0; i < a.getChildren().size(); ++i) {
    if (!areEqual(*a.getChildren()[i], *b.getChildren()[i])) return false;
  }
  return true;
}

class Sink : public HWParseNodeSink {
 public:
  void onNodeTree(Node* tree) override {
    ++trees;
    require(depthOf(*tree) <= 100);
    require(areEqual(*tree, *std::unique_ptr<Node>(tree->clone())));
    HWParseNodeSink::onNodeTree(tree);
  }
  void onCriticalError(const String& message, unsigned long line) override {
    ++errors;
    require(!message.isEmpty() && line >= 1);
  }

  int trees = 0;
  int errors = 0;

 private:
  static std::size_t depthOf(const Node& node) {
    std::size_t deepest = 0;
    for (const auto& child : node.getChildren()) deepest = std::max(deepest, depthOf(*child));
    return deepest + 1;
  }
};

template <class Info>
void readRecords(const Node* list) {
  if (!list) return;
  for (const auto& child : list->getChildren()) const Info info(*child);
}

}  // namespace

void invscan::tryInput(std::string_view text) {
  Sink sink;
  const bool isParsed = parseXml(text, sink);
  require(sink.trees == (isParsed ? 1 : 0) && sink.errors == (isParsed ? 0 : 1));
  readRecords<ProcessorInfo>(std::unique_ptr<Node>(sink.getNode(5)).get());
  readRecords<QCMInfo>(std::unique_ptr<Node>(sink.getNode(6)).get());
}
