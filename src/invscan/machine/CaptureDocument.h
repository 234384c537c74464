// The text of a machine.json as values, read once from front to back.
#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "invscan/machine/CaptureValue.h"

namespace invscan {

// A value, as it stands in a document. What is in it follows it.
struct CaptureNode {
  enum class Kind { null, yes, no, number, text, list, object };

  Kind kind = Kind::null;
  std::size_t extent = 1;  // nodes that it is made of, itself among them
  std::size_t count = 0;   // elements or members
  std::string_view name;   // of a member
  std::string_view text;   // of a text, without its escapes, or a number as it is written

  const CaptureNode* first() const { return this + 1; }
  const CaptureNode* next() const { return this + extent; }
};

class CaptureDocument {
 public:
  // Throws CaptureError, which names the line, when the text is not JSON.
  explicit CaptureDocument(std::string text);
  CaptureDocument(const CaptureDocument&) = delete;
  CaptureDocument& operator=(const CaptureDocument&) = delete;

  // The whole, and what its place is called in messages.
  CaptureValue value(std::string_view name = "") const { return {nodes_.front(), name}; }

 private:
  class Reader;

  std::string text_;
  std::deque<std::string> unescaped_;
  std::vector<CaptureNode> nodes_;
};

}  // namespace invscan
