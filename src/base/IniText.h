// The text of a configuration file, as OrvCfg.h describes it.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace invscan {

struct IniEntry {
  std::string value;
  int line;
};

struct IniError {
  int line;
  std::string message;
};

// They are found by full name, section included.
using IniEntries = std::map<std::string, IniEntry>;

// Adds the entries of a text. Stops at the first line that is wrong and returns what is wrong.
std::optional<IniError> parseIni(std::string_view text, IniEntries& entries);

}  // namespace invscan
