// The configuration file's text.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "base/IniText.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  invscan::IniEntries entries;
  const auto error = invscan::parseIni({reinterpret_cast<const char*>(data), size}, entries);
  if (error && (error->line < 1 || error->message.empty())) std::abort();
  for (const auto& [key, entry] : entries) {
    const std::string_view value = entry.value;
    const bool isTrimmed = !value.starts_with(' ') && !value.ends_with(' ');
    const bool isOneLine = value.find_first_of(std::string_view("\0\n", 2)) == value.npos;
    if (key.empty() || entry.line < 1 || !isTrimmed || !isOneLine) std::abort();
  }
  return 0;
}
