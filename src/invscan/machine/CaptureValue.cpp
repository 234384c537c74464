#include "invscan/machine/CaptureValue.h"

#include <algorithm>

#include <nlohmann/json.hpp>

namespace invscan {
namespace {

std::string oneLine(std::string text) {
  constexpr std::size_t kLongest = 500;
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = '?';
  }
  return text.size() <= kLongest ? text : text.substr(0, kLongest) + "...";
}

int hexDigit(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  return -1;
}

}  // namespace

CaptureError::CaptureError(std::string text) : std::runtime_error(oneLine(std::move(text))) {
}

CaptureValue::CaptureValue(const Json& json, std::string_view name) : json_(&json), name_(name) {
}

bool CaptureValue::isNull() const {
  return json_->is_null();
}

bool CaptureValue::isObject() const {
  return json_->is_object();
}

void CaptureValue::checkObject() const {
  static_cast<void>(object());
}

std::string CaptureValue::text() const {
  if (!json_->is_string()) refuse("a text");
  const auto& text = json_->get_ref<const std::string&>();
  if (text.find('\0') != std::string::npos) refuse("a text without NUL characters");
  return text;
}

std::string CaptureValue::bytes() const {
  const std::string digits = text();
  if (digits.size() % 2 != 0) refuse("an even number of hexadecimal digits");
  std::string bytes;
  bytes.reserve(digits.size() / 2);
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    const int high = hexDigit(digits[i]), low = hexDigit(digits[i + 1]);
    if (high < 0 || low < 0) refuse("hexadecimal digits");
    bytes.push_back(static_cast<char>(high * 16 + low));
  }
  return bytes;
}

unsigned long CaptureValue::number(unsigned long most) const {
  if (!json_->is_number_unsigned() || json_->get<unsigned long>() > most) {
    refuse(most == ULONG_MAX ? "a whole number of 0 or more"
                             : "a whole number from 0 to " + std::to_string(most));
  }
  return json_->get<unsigned long>();
}

long CaptureValue::integer(long least, long most, const char* expected) const {
  const bool isLong = json_->is_number_integer() &&
                      (!json_->is_number_unsigned() || json_->get<unsigned long>() <= LONG_MAX);
  if (!isLong || json_->get<long>() < least || json_->get<long>() > most) refuse(expected);
  return json_->get<long>();
}

long CaptureValue::seconds() const {
  return integer(LONG_MIN, LONG_MAX, "a number of seconds, whole and in 63 bits");
}

bool CaptureValue::flag() const {
  if (!json_->is_boolean()) refuse("true or false");
  return json_->get<bool>();
}

const Json& CaptureValue::object() const {
  if (!json_->is_object()) refuse("an object");
  return *json_;
}

const Json& CaptureValue::list() const {
  if (!json_->is_array()) refuse("a list");
  return *json_;
}

void CaptureValue::checkNames(std::initializer_list<std::string_view> names) const {
  forEachMember([&names](const std::string& name, const CaptureValue& member) {
    if (std::find(names.begin(), names.end(), name) == names.end()) member.refuseName();
  });
}

CaptureValue CaptureValue::operator[](const char* name) const& {
  const auto found = object().find(name);
  if (found == json_->end()) {
    throw CaptureError("machine.json: missing key " +
                       CaptureValue(*json_, this, name, kNoIndex).place());
  }
  return {*found, this, name, kNoIndex};
}

std::optional<CaptureValue> CaptureValue::find(const char* name) const& {
  const auto found = object().find(name);
  if (found == json_->end()) return std::nullopt;
  return CaptureValue(*found, this, name, kNoIndex);
}

void CaptureValue::forEachElement(const std::function<void(const CaptureValue&)>& take) const {
  std::size_t index = 0;
  for (const Json& element : list()) take({element, this, {}, index++});
}

void CaptureValue::forEachMember(
    const std::function<void(const std::string&, const CaptureValue&)>& take) const {
  for (auto member = object().begin(); member != json_->end(); ++member) {
    take(member.key(), {*member, this, member.key(), kNoIndex});
  }
}

std::size_t CaptureValue::size() const {
  return list().size();
}

std::size_t CaptureValue::memberCount() const {
  return object().size();
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
  constexpr char kDigits[] = "0123456789abcdef";
  std::string digits;
  digits.reserve(bytes.size() * 2);
  for (const char byte : bytes) {
    digits.push_back(kDigits[static_cast<unsigned char>(byte) >> 4]);
    digits.push_back(kDigits[static_cast<unsigned char>(byte) & 15]);
  }
  return digits;
}

bool isCaptureText(const std::string& bytes) {
  try {
    static_cast<void>(Json(bytes).dump());
    return bytes.find('\0') == std::string::npos;
  } catch (const Json::exception&) {
    return false;  // not UTF-8
  }
}

}  // namespace invscan
