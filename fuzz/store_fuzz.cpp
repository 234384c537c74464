// The configuration file's text.

#include "FuzzTarget.h"
#include "base/IniText.h"

void invscan::tryInput(std::string_view text) {
  IniEntries entries;
  const auto error = parseIni(text, entries);
  require(!error || (error->line >= 1 && !error->message.empty()));
  for (const auto& [key, entry] : entries) {
    const std::string_view value = entry.value;
    const bool isTrimmed = !value.starts_with(' ') && !value.ends_with(' ');
    const bool isOneLine = value.find_first_of(std::string_view("\0\n", 2)) == value.npos;
    require(!key.empty() && entry.line >= 1 && isTrimmed && isOneLine);
  }
}
