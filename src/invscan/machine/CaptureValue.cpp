#include "invscan/machine/CaptureValue.h"

#include <algorithm>
#include <charconv>
#include <system_error>

#include "base/Hex.h"
#include "common/vartree/Utf8.h"
#include "invscan/machine/CaptureDocument.h"

namespace invscan {
namespace {

using Kind = CaptureNode::Kind;

std::string oneLine(std::string text) {
  constexpr std::size_t kLongest = 500;
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = '?';
  }
  return text.size() <= kLongest ? text : text.substr(0, kLongest) + "...";
}

// A number that is whole and fits; nothing of another value.
template <class Number>
std::optional<Number> numberOf(const CaptureNode& node) {
  const char* const end = node.text.data() + node.text.size();
  Number number = 0;
  const auto [stop, error] = std::from_chars(node.text.data(), end, number);
  if (node.kind != Kind::number || error != std::errc() || stop != end) return std::nullopt;
  return number;
}

}  // namespace

CaptureError::CaptureError(std::string text) : std::runtime_error(oneLine(std::move(text))) {
}

CaptureValue::CaptureValue(const CaptureNode& node, const CaptureValue* parent, std::size_t index)
    : node_(&node), parent_(parent), name_(node.name), index_(index) {
}

bool CaptureValue::isNull() const {
  return node_->kind == Kind::null;
}

bool CaptureValue::isObject() const {
  return node_->kind == Kind::object;
}

std::string CaptureValue::text() const {
  if (node_->kind != Kind::text) refuse("a text");
  if (node_->text.find('\0') != node_->text.npos) refuse("a text without NUL characters");
  return std::string(node_->text);
}

std::string CaptureValue::bytes() const {
  const std::string digits = text();
  if (digits.size() % 2 != 0) refuse("an even number of hexadecimal digits");
  std::string bytes;
  bytes.reserve(digits.size() / 2);
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    const int high = hexValue(digits[i]), low = hexValue(digits[i + 1]);
    if (high < 0 || low < 0) refuse("hexadecimal digits");
    bytes.push_back(static_cast<char>(high * 16 + low));
  }
  return bytes;
}

unsigned long CaptureValue::number(unsigned long most) const {
  const auto number = numberOf<unsigned long>(*node_);
  if (!number || *number > most) {
    refuse(most == ULONG_MAX ? "a whole number of 0 or more"
                             : "a whole number from 0 to " + std::to_string(most));
  }
  return *number;
}

long CaptureValue::integer(long least, long most, const char* expected) const {
  const auto number = numberOf<long>(*node_);
  if (!number || *number < least || *number > most) refuse(expected);
  return *number;
}

long CaptureValue::seconds() const {
  return integer(LONG_MIN, LONG_MAX, "a number of seconds, whole and in 63 bits");
}

bool CaptureValue::flag() const {
  if (node_->kind != Kind::yes && node_->kind != Kind::no) refuse("true or false");
  return node_->kind == Kind::yes;
}

const CaptureNode& CaptureValue::object() const {
  if (node_->kind != Kind::object) refuse("an object");
  return *node_;
}

const CaptureNode& CaptureValue::list() const {
  if (node_->kind != Kind::list) refuse("a list");
  return *node_;
}

// Of several members with one name the last counts.
const CaptureNode* CaptureValue::member(std::string_view name) const {
  const CaptureNode* found = nullptr;
  const CaptureNode* each = object().first();
  for (std::size_t left = node_->count; left-- > 0; each = each->next()) {
    if (each->name == name) found = each;
  }
  return found;
}

void CaptureValue::checkNames(std::initializer_list<std::string_view> names) const {
  forEachMember([&names](const std::string& name, const CaptureValue& member) {
    if (std::find(names.begin(), names.end(), name) == names.end()) member.refuseName();
  });
}

CaptureValue CaptureValue::operator[](const char* name) const& {
  const CaptureNode* found = member(name);
  if (!found) {
    const std::string whole = place();
    throw CaptureError("machine.json: missing key " + whole + (whole.empty() ? "" : ".") + name);
  }
  return {*found, this, kNoIndex};
}

std::optional<CaptureValue> CaptureValue::find(const char* name) const& {
  const CaptureNode* found = member(name);
  if (!found) return std::nullopt;
  return CaptureValue(*found, this, kNoIndex);
}

void CaptureValue::forEachElement(const std::function<void(const CaptureValue&)>& take) const {
  const CaptureNode* each = list().first();
  for (std::size_t index = 0; index < node_->count; ++index, each = each->next()) {
    take({*each, this, index});
  }
}

void CaptureValue::forEachMember(
    const std::function<void(const std::string&, const CaptureValue&)>& take) const {
  const CaptureNode* each = object().first();
  for (std::size_t left = node_->count; left-- > 0; each = each->next()) {
    take(std::string(each->name), {*each, this, kNoIndex});
  }
}

std::size_t CaptureValue::size() const {
  return list().count;
}

std::size_t CaptureValue::memberCount() const {
  return object().count;
}

void CaptureValue::refuse(const std::string& expected) const {
  throw CaptureError("machine.json: " + place() + ": expected " + expected);
}

void CaptureValue::refuseName() const {
  throw CaptureError("machine.json: unknown key " + place());
}

std::string CaptureValue::place() const {
  std::string place = parent_ ? parent_->place() : std::string();
  if (index_ != kNoIndex) return place + "[" + std::to_string(index_) + "]";
  if (!place.empty()) place += ".";
  return place.append(name_);
}

std::string hexDigits(std::string_view bytes) {
  return hex(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), kLowerHex);
}

bool isCaptureText(std::string_view bytes) {
  return utf8Prefix(bytes) == bytes.size() && bytes.find('\0') == bytes.npos;
}

int hexValue(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  return -1;
}

}  // namespace invscan
