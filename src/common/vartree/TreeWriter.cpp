#include "common/vartree/TreeWriter.h"

#undef NDEBUG  // hosts' mistakes are caught in every build
#include <cassert>

#include <algorithm>
#include <charconv>
#include <cwchar>
#include <string_view>
#include <vector>

#include <invscan/helper.h>

#include "base/Hex.h"

namespace invscan {
namespace {

constexpr std::string_view kProtocol = "1.0";
constexpr std::string_view kIndent = "   ";
constexpr int kDeepestIndent = 128;
constexpr std::size_t kPiece = 1 << 16;

template <typename Number, typename... Format>
void appendNumber(std::string& text, Number number, Format... format) {
  char digits[512];  // the largest double has 316 with six decimals
  const auto [end, error] = std::to_chars(digits, digits + sizeof digits, number, format...);
  text.append(digits, end);
}

void appendBytes(std::string& text, const unsigned char* bytes, unsigned long count) {
  appendNumber(text, static_cast<unsigned>(count));
  text += ',';
  appendHex(text, bytes, count, kLowerHex);
}

void appendWide(std::string& text, const wchar_t* wide) {
  constexpr std::size_t kLongestCharacter = 6;
  std::vector<unsigned char> utf8(std::wcslen(wide) * kLongestCharacter + 1);
  const unsigned long characters = stringToUTF8(utf8.data(), utf8.size(), wide);
  appendBytes(text, utf8.data(), characters);
}

void appendAddress(std::string& text, const void* address) {
  char digits[32];
  std::snprintf(digits, sizeof digits, "%p", address);
  text += digits;
}

// The letter of its kind, =, and the value.
void appendValue(std::string& text, const VtVariant& variant) {
  switch (variant.kind) {
    case kVtInteger:
      text += "i=";
      return appendNumber(text, variant.value.integer);
    case kVtString:
      text += "s=";
      text += variant.value.string;
      return;
    case kVtDouble:
      text += "f=";
      return appendNumber(text, variant.value.real, std::chars_format::fixed, 6);
    case kVtWideString:
      text += "u=";
      return appendWide(text, variant.value.wide);
    case kVtData:
      text += "d=";
      return appendBytes(text, variant.value.data, variant.length);
    default:
      text += "?=";
      return appendAddress(text, &variant);
  }
}

}  // namespace

void TreeWriter::response(int result, const char* message) {
  text_ += kProtocol;
  text_ += ' ';
  appendNumber(text_, result);
  if (message) text_.append(1, ' ').append(message);
  endLine();
}

void TreeWriter::value(const VtVariant& variant, int level) {
  indent(level);
  text_ += variant.name;
  text_ += ':';
  appendValue(text_, variant);
  endLine();
}

void TreeWriter::node(const VtNode& root, int level) {
  std::vector<const VtNode*> toCome;  // the next child of each open node
  const auto enter = [&](const VtNode& node) {
    open(node, level++);
    toCome.push_back(node.children);
  };
  enter(root);
  while (!toCome.empty()) {
    if (const VtNode* child = toCome.back()) {
      toCome.back() = child->next;
      enter(*child);
    } else {
      toCome.pop_back();
      close(--level);
    }
  }
}

void TreeWriter::open(const VtNode& node, int level) {
  assert(node.name != 0);
  indent(level);
  text_ += '(';
  text_ += node.name;
  endLine();
  for (const VtVariant* variant = node.values; variant; variant = variant->next) {
    value(*variant, level + 1);
  }
}

void TreeWriter::close(int level) {
  indent(level);
  text_ += ')';
  endLine();
}

void TreeWriter::indent(int level) {
  text_.append(kIndent.size() * static_cast<std::size_t>(std::clamp(level, 0, kDeepestIndent)),
               ' ');
}

void TreeWriter::endLine() {
  text_ += '\n';
  if (file_ && text_.size() >= kPiece) flush();
}

void TreeWriter::flush() {
  if (!file_) return;
  std::fwrite(text_.data(), 1, text_.size(), file_);
  text_.clear();
}

}  // namespace invscan

const char* vtGetIndentString() {
  return invscan::kIndent.data();
}

void vtIndent(int level) {
  while (level-- > 0) std::fputs(vtGetIndentString(), stdout);
}

void vtDumpValue(const VtVariant* value, int level) {
  assert(value != 0);
  assert(value->name != 0);
  invscan::TreeWriter(stdout).value(*value, level);
}

void vtDumpNode(const VtNode* node, int level) {
  if (node) invscan::TreeWriter(stdout).node(*node, level);
}

void vtDumpResponse(int result, const char* message) {
  invscan::TreeWriter(stdout).response(result, message);
}
