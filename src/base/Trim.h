// Texts without what surrounds them. All of it is inline: the library and the agent each compile it
// in.
#pragma once

#include <algorithm>
#include <string_view>

namespace invscan {

inline constexpr std::string_view kBlank = " ";

inline std::string_view withoutLeading(std::string_view text, std::string_view unwanted) {
  text.remove_prefix(std::min(text.find_first_not_of(unwanted), text.size()));
  return text;
}

inline std::string_view withoutTrailing(std::string_view text, std::string_view unwanted) {
  return text.substr(0, text.find_last_not_of(unwanted) + 1);
}

inline std::string_view trimmed(std::string_view text, std::string_view unwanted) {
  return withoutLeading(withoutTrailing(text, unwanted), unwanted);
}

}  // namespace invscan
