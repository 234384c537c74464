#include <invscan/hwconfig.h>

#include <cwchar>
#include <list>
#include <string>
#include <vector>

#include <invscan/base/OrvCfg.h>
#include <invscan/factory.h>

#include "base/RegularFile.h"
#include "log/Trace.h"

using invscan::Trace;

namespace {

constexpr int kConfiguration = 1;
constexpr int kProcessors = 5;
constexpr int kQcms = 6;

constexpr int kLoaded = 0;
constexpr int kMalformed = 2;
constexpr int kUnreadable = 5;
constexpr int kNoNode = -1;

void traceMessage(const char* function, const String& message, unsigned long line) {
  const Trace trace(getCcLogHw(), function);
  trace.at().min("Message is %s at line %lu", message.toNarrow().c_str(), line);
}

class TracingSink : public ParseNodeSink {
 public:
  void onWarning(const String& message, unsigned long line) override {
    traceMessage("onWarning()", message, line);
  }
  void onError(const String& message, unsigned long line) override {
    traceMessage("onError()", message, line);
  }
  void onCriticalError(const String& message, unsigned long line) override {
    traceMessage("onCriticalError()", message, line);
  }
};

bool canBeRead(const std::string& path) {
  int error = 0;
  invscan::openRegularFile(path, error);
  return error == 0;
}

// The node that a mode is about.
template <class Parser, class Sink>
int readNode(const String& path, int mode, std::unique_ptr<Node>& node) {
  const Trace trace(getCcLogHw(), "readNode()");
  Sink sink;
  const Parser parser(path, sink);
  node.reset(sink.getNode(mode));
  trace.at().mid("hardware After parsing config file %s", path.toNarrow().c_str());
  if (parser.getStatus() != XmlOrvParser::kParsed) {
    trace.at().min("hardware ERROR! Failed to parse the xmlfile %s", path.toNarrow().c_str());
    return kMalformed;
  }
  return node ? kLoaded : kNoNode;
}

// Null without an error for a mode that is about none.
int findNode(const String& path, int mode, std::unique_ptr<Node>& node) {
  switch (mode) {
    case kConfiguration:
      return readNode<XmlOrvParser, TracingSink>(path, mode, node);
    case kProcessors:
    case kQcms:
      return readNode<HWXmlOrvParser, HWParseNodeSink>(path, mode, node);
    default:
      return kLoaded;
  }
}

// Texts of replaced attributes were handed out for as long as the factory lives.
std::list<AttributeList>& replacedAttributes() {
  static auto& lists = *new std::list<AttributeList>;
  return lists;
}

template <class Info>
void addRecords(const Node* list, const char* listName, const char* recordName,
                std::vector<Info*>& records) {
  const Trace trace(getCcLogHw(), "addRecords()");
  if (!list || list->getName() != listName) return;
  for (const auto& child : list->getChildren()) {
    if (child->getName() != recordName) continue;
    trace.at().max("hardware add a new element");
    records.push_back(new Info(*child));
  }
}

}  // namespace

ProcessorInfo::ProcessorInfo(const Node& element) {
  if (element.getName() != "Processor") return;
  const StringMap& attributes = element.getAttributes();
  manufactor = attributes.get("Manufactor");
  brandID = attributes.get("BrandID");
  signature = attributes.get("Signature");
  type = attributes.get("Type");
  family = attributes.get("Family");
  model = attributes.get("Model");
  pcx = attributes.get("PCX");
  description = attributes.get("Description");
  typeEnum = attributes.get("TypeEnum");
}

ProcessorInfo::~ProcessorInfo() = default;

QCMInfo::QCMInfo(const Node& element) {
  if (element.getName() != "QCM") return;
  const StringMap& attributes = element.getAttributes();
  family = attributes.get("Family");
  cc = attributes.get("CC");
  newFamily = attributes.get("NewFamily");
  coresPerPackage = attributes.get("CoresPerPackage");
  if (coresPerPackage.isEmpty()) coresPerPackage = "1";
  coresPerPackageCount = std::wcstoul(coresPerPackage.toWide(), nullptr, 0);
}

QCMInfo::~QCMInfo() = default;

void HWParseNodeSink::onNodeTree(Node* tree) {
  const Trace trace(getCcLogHw(), "onNodeTree()");
  const Node *processors = nullptr, *qcms = nullptr;
  std::vector<const Node*> rest = {tree};
  while (!rest.empty()) {
    const Node* const node = rest.back();
    rest.pop_back();
    if (node->getName() == "QCMs") {
      qcms = node;
      trace.at().mid("QCM node stored");
    } else if (node->getName() == "Processors") {
      processors = node;
      trace.at().mid("Processor node stored");
    }
    const auto& children = node->getChildren();
    for (auto child = children.rbegin(); child != children.rend(); ++child) {
      rest.push_back(child->get());
    }
  }
  if (processors) processors_.reset(processors->clone());
  if (qcms) qcms_.reset(qcms->clone());
}

void HWParseNodeSink::onWarning(const String& message, unsigned long line) {
  traceMessage("onWarning()", message, line);
}

void HWParseNodeSink::onError(const String& message, unsigned long line) {
  traceMessage("onError()", message, line);
}

void HWParseNodeSink::onCriticalError(const String& message, unsigned long line) {
  traceMessage("onCriticalError()", message, line);
}

Node* HWParseNodeSink::getNode(int mode) const {
  const auto& stored = mode == kQcms ? qcms_ : processors_;
  const bool isKnown = mode == kProcessors || mode == kQcms;
  return isKnown && stored ? stored->clone() : nullptr;
}

HWXmlOrvParser::HWXmlOrvParser(const String& path, HWParseNodeSink& sink)
    : XmlOrvParser(path, sink) {
  const Trace trace(getCcLogHw(), "HWXmlOrvParser()");
  if (getStatus() == kNotOpened) trace.at().min("Error opening the configuration file");
}

int GroupFactory::loadNodeFromFile(String path, int mode) {
  const Trace trace(getCcLogHw(), "loadNodeFromFile()");
  std::unique_ptr<Node> node;
  int result = kUnreadable;
  if (canBeRead(path.toNarrow())) {
    result = findNode(path, mode, node);
  } else {
    trace.at().min("hardware ERROR! Failed to open file %s for reading", path.toNarrow().c_str());
  }
  if (node) {
    loadedFiles_.push_back(path);
    takeNode(node.get(), mode);
  }
  trace.at().mid("hardware return =%d", result);
  return result;
}

void GroupFactory::takeNode(Node* node, int mode) {
  switch (mode) {
    case kConfiguration:
      takeSettings(*node);
      return getHWGroupFromNode(node);
    case kProcessors:
      return getProcessorFromNode(node);
    case kQcms:
      return getQCMFromNode(node);
  }
}

void GroupFactory::takeSettings(const Node& root) {
  const Trace trace(getCcLogHw(), "takeSettings()");
  if (const String* priority = root.getAttributes().find("priority")) {
    priority_ = *priority;
    trace.at().mid("New priority is %s", priority_.toNarrow().c_str());
  }
  // An empty share is one all the same: no limit, whatever the store says.
  if (const String* share = root.getAttributes().find("cpuThreshold")) {
    cpuThresholdText_ = *share;
    trace.at().mid("New cpuThreshold is %s", cpuThresholdText_.toNarrow().c_str());
  } else {
    cpuThresholdText_ = OrvCfg::getKey("hwscanner.cputhreshold");
  }
  cpuThreshold_.initialize(cpuThresholdText_);
}

void GroupFactory::getHWGroupFromNode(const Node* node) {
  if (!node) return;
  if (node->getName() == "Group") return takeGroup(*node);
  if (node->getName() != "Hardware") return;
  const Trace trace(getCcLogHw(), "getHWGroupFromNode()");
  for (const auto& [name, value] : node->getAttributes()) {
    trace.at().max("hardware get global attribute %s=%s", name.toNarrow().c_str(),
                   value.toNarrow().c_str());
    globalAttributes_.emplace_back(name, value);
  }
  for (const auto& child : node->getChildren()) {
    if (child->getName() == "Group") takeGroup(*child);
  }
}

void GroupFactory::takeGroup(const Node& group) {
  const Trace trace(getCcLogHw(), "takeGroup()");
  AttributeList attributes;
  for (const auto& [name, value] : group.getAttributes()) {
    if (name == "Name") continue;
    trace.at().max("hardware get group attribute %s=%s", name.toNarrow().c_str(),
                   value.toNarrow().c_str());
    attributes.emplace_back(name, value);
  }
  const String* name = group.getAttributes().find("Name");
  if (!name || attributes.empty()) return;
  trace.at().max("add a new element to the group...");
  // Groups that were handed out point to this very list and see what is new.
  AttributeList& current = groupAttributes_[*name];
  current.swap(attributes);
  if (!attributes.empty()) replacedAttributes().push_back(std::move(attributes));
}

void GroupFactory::getProcessorFromNode(Node* node) {
  addRecords(node, "Processors", "Processor", processors_);
}

void GroupFactory::getQCMFromNode(Node* node) {
  addRecords(node, "QCMs", "QCM", qcms_);
}
