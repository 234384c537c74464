// How the fields of firmware records become texts.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "agent/Text.h"
#include "agent/smbios/SmbiosNames.h"
#include "base/Hex.h"
#include "base/Trim.h"

namespace invscan::agent {

// A line of a record's block. A field without a text is left out.
template <class Record>
struct Field {
  const char* name;
  std::string (*text)(const Record& record);
};

inline std::string code(unsigned value, std::size_t bytes) {
  std::string text = "0x";
  while (bytes-- > 0) {
    const auto byte = static_cast<unsigned char>(value >> 8 * bytes);
    appendHex(text, &byte, 1, kUpperHex);
  }
  return text;
}

// Some firmware pads its texts with blanks, or writes blanks for none.
template <auto get, class Record>
std::string text(const Record& record) {
  const char* value = (record.*get)();
  return value ? printable(std::string(trimmed(value, kBlank))) : "";
}

template <auto get, class Record>
std::string bits(const Record& record) {
  const auto value = (record.*get)();
  return code(value, sizeof value);
}

template <auto get, class Record>
std::string number(const Record& record) {
  return std::to_string((record.*get)());
}

inline constexpr char kMegahertz[] = " MHz";
inline constexpr char kMegatransfers[] = " MT/s";
inline constexpr char kNanoseconds[] = " ns";
inline constexpr char kBits[] = " bits";
inline constexpr char kNoUnit[] = "";

// Nothing and all bits set are what firmware writes for a figure that it does not know.
template <auto get, const auto& unit, class Record>
std::string measure(const Record& record) {
  const auto value = (record.*get)();
  const bool isKnown = value != 0 && value != static_cast<decltype(value)>(-1);
  return isKnown ? std::to_string(value) + unit : "";
}

inline std::string size(unsigned long long kibibytes) {
  constexpr const char* kUnits[] = {" KiB", " MiB", " GiB", " TiB"};
  std::size_t unit = 0;
  while (kibibytes != 0 && kibibytes % 1024 == 0 && unit + 1 < std::size(kUnits)) {
    kibibytes /= 1024;
    ++unit;
  }
  return std::to_string(kibibytes) + kUnits[unit];
}

template <auto get, class Record>
std::string size(const Record& record) {
  return size((record.*get)());
}

template <auto get, class Record>
std::string yesOrNo(const Record& record) {
  return (record.*get)() ? "yes" : "no";
}

// A code without a name stands for itself; 0 is what fields have that are not there.
template <auto& names>
std::string nameOf(unsigned value) {
  const auto* found = std::find_if(std::begin(names), std::end(names),
                                   [&](const CodeName& name) { return name.code == value; });
  if (found != std::end(names)) return found->name;
  return value == 0 ? "" : code(value, value > 0xFF ? 2 : 1);
}

template <auto get, auto& names, class Record>
std::string named(const Record& record) {
  return nameOf<names>((record.*get)());
}

template <auto get, auto& names, class Record>
std::string namedBits(const Record& record) {
  std::vector<std::string> set;
  for (const auto& [bit, name] : names) {
    if (((record.*get)() >> bit & 1) != 0) set.emplace_back(name);
  }
  return joined(set, ", ");
}

}  // namespace invscan::agent
