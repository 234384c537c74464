#include "base/XmlText.h"

#include <expat.h>

#include <cstddef>
#include <cstring>
#include <string>

namespace invscan {
namespace {

constexpr std::size_t kDeepest = 100;
// Entities may stand for entities, and expat follows such a chain by recursion.
constexpr int kMostEntities = 64;
// What a text of 1 MiB can say without entities and defaults takes about half of it.
constexpr std::size_t kLargestTree = 64 << 20;

// Handlers are called from C: running out of memory in one ends the process.
class Reader {
 public:
  explicit Reader(NodeSink& sink);
  ~Reader() { XML_ParserFree(parser_); }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  bool read(std::string_view text);

 private:
  static Reader& of(void* self) { return *static_cast<Reader*>(self); }
  void begin(const char* name, const char** attributes) noexcept;
  void end() noexcept;
  void declareEntity(const char* name, bool isExternal) noexcept;

  bool fits(std::size_t bytes);
  unsigned long line() const { return XML_GetCurrentLineNumber(parser_); }
  void warn(const std::string& message) { sink_.onWarning(message, line()); }
  void refuse(const char* reason);
  const char* trouble(XML_Status status) const;

  NodeSink& sink_;
  XML_Parser parser_;
  std::unique_ptr<Node> root_;
  std::vector<Node*> open_;  // from the root to the current element
  std::size_t treeSize_ = 0;
  int entities_ = 0;
  const char* refusal_ = nullptr;
};

Reader::Reader(NodeSink& sink) : sink_(sink), parser_(XML_ParserCreate(nullptr)) {
  XML_SetUserData(parser_, this);
  XML_SetElementHandler(
      parser_,
      [](void* self, const char* name, const char** attributes) {
        of(self).begin(name, attributes);
      },
      [](void* self, const char*) { of(self).end(); });
  XML_SetEntityDeclHandler(
      parser_,
      [](void* self, const char* name, int, const char*, int, const char*, const char* systemId,
         const char*, const char*) { of(self).declareEntity(name, systemId != nullptr); });
  XML_SetStartDoctypeDeclHandler(
      parser_, [](void* self, const char*, const char* systemId, const char*, int) {
        if (systemId) of(self).warn("external document type is left out");
      });
}

bool Reader::read(std::string_view text) {
  // All at once: expat begins a cut token anew with every piece.
  const XML_Status status =
      XML_Parse(parser_, text.data(), static_cast<int>(text.size()), XML_TRUE);
  if (const char* message = trouble(status)) {
    sink_.onCriticalError(message, line());
    return false;
  }
  sink_.onNodeTree(root_.get());
  return true;
}

const char* Reader::trouble(XML_Status status) const {
  if (refusal_) return refusal_;
  return status == XML_STATUS_OK ? nullptr : XML_ErrorString(XML_GetErrorCode(parser_));
}

void Reader::begin(const char* name, const char** attributes) noexcept {
  if (refusal_) return;
  if (open_.size() == kDeepest) return refuse("elements are nested too deep");
  if (!fits(sizeof(Node) + std::strlen(name) * sizeof(wchar_t))) return;
  StringMap map;
  for (; *attributes; attributes += 2) {
    const std::size_t length = std::strlen(attributes[0]) + std::strlen(attributes[1]);
    if (!fits(sizeof(StringMap::Entry) + length * sizeof(wchar_t))) return;
    map.add(attributes[0], attributes[1]);
  }
  auto node = std::make_unique<Node>(name, std::move(map));
  open_.push_back(open_.empty() ? (root_ = std::move(node)).get()
                                : open_.back()->addChild(std::move(node)));
}

void Reader::end() noexcept {
  if (!refusal_) open_.pop_back();
}

void Reader::declareEntity(const char* name, bool isExternal) noexcept {
  if (refusal_) return;
  if (++entities_ > kMostEntities) return refuse("too many entities");
  if (isExternal) warn(std::string("external entity is left out: ") + name);
}

// Takes that much of what the tree may have.
bool Reader::fits(std::size_t bytes) {
  treeSize_ += bytes;
  if (treeSize_ > kLargestTree) refuse("too much content");
  return !refusal_;
}

void Reader::refuse(const char* reason) {
  refusal_ = reason;
  XML_StopParser(parser_, XML_FALSE);
}

}  // namespace

bool parseXml(std::string_view text, NodeSink& sink) {
  return Reader(sink).read(text);
}

}  // namespace invscan
