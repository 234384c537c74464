// A value of machine.json, being read. Everything in it is hostile: each function below says what
// the value must be, and refuses another one with a line that names the place.
#pragma once

#include <climits>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

namespace invscan {

// For writing.
using Json = nlohmann::json;

struct CaptureNode;

// What is wrong with a capture, in one line that names file and place, whatever the capture holds.
class CaptureError : public std::runtime_error {
 public:
  explicit CaptureError(std::string text);
};

// A value refers to the one that it was taken from, which must outlive it.
class CaptureValue {
 public:
  // One that is in no other; name is what its place is called, such as the section it is of.
  CaptureValue(const CaptureNode& node, std::string_view name) : node_(&node), name_(name) {}

  bool isNull() const;
  bool isObject() const;

  std::string text() const;   // without NUL characters
  std::string bytes() const;  // written as hexadecimal digits
  unsigned long number(unsigned long most = ULONG_MAX) const;
  long seconds() const;
  long integer(long least, long most, const char* expected) const;
  bool flag() const;

  // The members of an object: those that it may have, one that it must have, and one that it may.
  void checkNames(std::initializer_list<std::string_view> names) const;
  CaptureValue operator[](const char* name) const&;
  CaptureValue operator[](const char* name) const&& = delete;
  std::optional<CaptureValue> find(const char* name) const&;
  std::optional<CaptureValue> find(const char* name) const&& = delete;

  // Calls with each element of a list, or with name and value of each member of an object.
  void forEachElement(const std::function<void(const CaptureValue&)>& take) const;
  void forEachMember(
      const std::function<void(const std::string&, const CaptureValue&)>& take) const;
  std::size_t size() const;         // of a list
  std::size_t memberCount() const;  // of an object

  [[noreturn]] void refuse(const std::string& expected) const;
  [[noreturn]] void refuseName() const;
  std::string place() const;

 private:
  static constexpr std::size_t kNoIndex = SIZE_MAX;

  CaptureValue(const CaptureNode& node, const CaptureValue* parent, std::size_t index);

  const CaptureNode& object() const;
  const CaptureNode& list() const;
  const CaptureNode* member(std::string_view name) const;

  const CaptureNode* node_;
  const CaptureValue* parent_ = nullptr;
  std::string_view name_;
  std::size_t index_ = kNoIndex;
};

// Bytes as text of machine.json: as hexadecimal digits, and whether they can stand as they are.
std::string hexDigits(std::string_view bytes);
bool isCaptureText(std::string_view bytes);

// Of a hexadecimal digit; -1 of another character.
int hexValue(char digit);

}  // namespace invscan
